#pragma once

#include "model/utils/Export.h"

#include <atomic>
#include <cstdarg>
#include <mutex>
#include <ostream>
#include <string>

namespace osg {
inline namespace knscene {

/// How much a line matters, from the most to the least.
enum class LogLevel { Fatal, Warning, Notice, Info, Debug };

/// A recursive lock: the thread that holds it may take it again, and must release it as often.
class KNSCENE_API Lock {
 public:
  Lock() = default;
  Lock(Lock const&) = delete;
  Lock& operator=(Lock const&) = delete;

  /// Keep other threads from writing meanwhile.
  void aquire() { _mutex.lock(); }
  void release() { _mutex.unlock(); }

 private:
  std::recursive_mutex _mutex;
};

/// The lock that keeps the pieces of one line together.
class KNSCENE_API LogLock : public Lock {};

/// The scene graph's own log, for reports of its numeric routines; what a user must know goes to knLog
/// instead.
///
/// There is one log, reached by doInitLog() or `osgLogP`. A line is a header followed by its text; the macros
/// at the end of this file write a whole line, and evaluate and format it only when its level is enabled.
/// Lines may be written and settings changed from any thread.
class KNSCENE_API Log {
 public:
  /// A stream that drops what is written to it.
  static std::ostream* _nilstreamP;
  /// Taken around every line.
  static LogLock* _pLogLock;

  Log(Log const&) = delete;
  Log& operator=(Log const&) = delete;

  /// Lines of this level and of those that matter more are written. Warning at first.
  void setLevel(LogLevel level) { _level.store(level, std::memory_order_relaxed); }
  LogLevel level() const { return _level.load(std::memory_order_relaxed); }
  /// Whether lines of `level` are written.
  bool checkLevel(LogLevel level) const { return level <= this->level(); }

  /// Restricts the log to the lines of one module; null or empty lets all modules through, as at first.
  void setModule(char const* module);
  /// Whether lines of `module` are written; null is a module without a name.
  bool checkModule(char const* module) const;

  /// Sends further lines to `stream`, which must live until it is replaced; null means the standard error
  /// stream.
  void setStream(std::ostream* stream);
  /// Where lines of `level` go: the log's stream when the level is enabled, the nil stream otherwise.
  std::ostream& stream(LogLevel level) const;

  /// Begins a line: level, module, and the place in the source, of whose file only the last path component is
  /// told. Everything up to the next header belongs to this line, and is dropped when the level or the module
  /// is not enabled. Hold the lock from here to the end of the line. Null texts are left out.
  void doHeader(LogLevel level, char const* module, char const* file, int line);
  /// Adds to the line begun last, formatted as by printf. A null format adds nothing.
  void doLog(char const* format, ...) __attribute__((format(printf, 2, 3)));
  /// Writes a whole line under the lock, ending it when the text does not.
  void writeLine(LogLevel level, char const* module, char const* file, int line, char const* format, ...)
      __attribute__((format(printf, 6, 7)));

 private:
  friend Log& doInitLog();
  Log() = default;

  bool append(char const* format, std::va_list arguments);

  std::atomic<LogLevel> _level = LogLevel::Warning;
  std::string _module;                  // guarded by the lock, as are the following
  std::ostream* _stream = nullptr;      // null: the standard error stream
  std::ostream* _lineStream = nullptr;  // of the line begun last; null: none is begun
};

/// Makes the log, its lock and the nil stream, and sets `osgLogP`. Done at load; calling it again does
/// nothing but give the log, which lives until the process ends. Safe from the constructors and destructors
/// of statics.
KNSCENE_API Log& doInitLog();

/// The log. Null only before this library's statics are made; doInitLog() is never too early.
KNSCENE_API extern Log* osgLogP;

}  // namespace knscene
}  // namespace osg

/// Writes one line to the scene graph's log: level, module, printf format and its arguments.
#define osgLogLine(level, module, ...)                                          \
  do {                                                                          \
    ::osg::Log& osgLogLine_log = ::osg::doInitLog();                            \
    if (osgLogLine_log.checkLevel(level))                                       \
      osgLogLine_log.writeLine(level, module, __FILE__, __LINE__, __VA_ARGS__); \
  } while (false)
#define osgLogWarning(module, ...) osgLogLine(::osg::LogLevel::Warning, module, __VA_ARGS__)
