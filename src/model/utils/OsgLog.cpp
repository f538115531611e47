#include "model/utils/OsgLog.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <iostream>

namespace osg {
inline namespace knscene {

namespace {

class LockGuard {
 public:
  LockGuard() { Log::_pLogLock->aquire(); }
  ~LockGuard() { Log::_pLogLock->release(); }
  LockGuard(LockGuard const&) = delete;
  LockGuard& operator=(LockGuard const&) = delete;
};

char const* name(LogLevel level) {
  switch (level) {
    case LogLevel::Fatal:
      return "FATAL";
    case LogLevel::Warning:
      return "WARNING";
    case LogLevel::Notice:
      return "NOTICE";
    case LogLevel::Info:
      return "INFO";
    case LogLevel::Debug:
      return "DEBUG";
  }
  return "LOG";
}

char const* lastPathComponent(char const* file) {
  char const* const slash = std::strrchr(file, '/');
  return slash != nullptr ? slash + 1 : file;
}

[[maybe_unused]] Log& logMadeAtLoad = doInitLog();

}  // namespace

std::ostream* Log::_nilstreamP = nullptr;
LogLock* Log::_pLogLock = nullptr;
Log* osgLogP = nullptr;

Log& doInitLog() {
  static Log& instance = [&]() -> Log& {
    Log::_nilstreamP = new std::ostream(nullptr);
    Log::_pLogLock = new LogLock;
    osgLogP = new Log;
    return *osgLogP;
  }();
  return instance;
}

void Log::setModule(char const* module) {
  LockGuard const guard;
  _module = module != nullptr ? module : "";
}

bool Log::checkModule(char const* module) const {
  LockGuard const guard;
  return _module.empty() || (module != nullptr && _module == module);
}

void Log::setStream(std::ostream* stream) {
  LockGuard const guard;
  _stream = stream;
  _lineStream = nullptr;
}

std::ostream& Log::stream(LogLevel level) const {
  LockGuard const guard;
  if (!checkLevel(level)) return *_nilstreamP;
  return _stream != nullptr ? *_stream : std::cerr;
}

void Log::doHeader(LogLevel level, char const* module, char const* file, int line) {
  LockGuard const guard;
  _lineStream = checkModule(module) ? &stream(level) : _nilstreamP;
  *_lineStream << name(level) << ": ";
  if (module != nullptr) *_lineStream << module << ": ";
  if (file != nullptr) *_lineStream << lastPathComponent(file) << ':' << line << ": ";
}

void Log::doLog(char const* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  append(format, arguments);
  va_end(arguments);
}

void Log::writeLine(LogLevel level, char const* module, char const* file, int line, char const* format, ...) {
  if (format == nullptr) return;
  LockGuard const guard;
  doHeader(level, module, file, line);
  std::va_list arguments;
  va_start(arguments, format);
  bool const isEnded = append(format, arguments);
  va_end(arguments);
  if (!isEnded) *_lineStream << '\n';
}

/// Whether the text written last ends its line.
bool Log::append(char const* format, std::va_list arguments) {
  if (format == nullptr) return false;
  LockGuard const guard;
  if (_lineStream == nullptr || _lineStream == _nilstreamP) return false;
  std::va_list again;
  va_copy(again, arguments);
  std::array<char, 512> shortText{};
  std::string longText;
  char const* text = shortText.data();
  int const length = std::vsnprintf(shortText.data(), shortText.size(), format, arguments);
  if (length >= static_cast<int>(shortText.size())) {
    longText.resize(static_cast<std::size_t>(length));  // its terminating null takes that of the text
    std::vsnprintf(longText.data(), longText.size() + 1, format, again);
    text = longText.data();
  }
  va_end(again);
  if (length <= 0) return false;
  _lineStream->write(text, length);
  return text[length - 1] == '\n';
}

}  // namespace knscene
}  // namespace osg
