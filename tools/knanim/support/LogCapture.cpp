#include "knanim/support/LogCapture.h"

#include "knanim/support/Console.h"
#include "knanim/support/Text.h"

namespace knanim {

LogCapture::LogCapture() {
  _former = knLog::setSink([this](knLog::Level level, std::string_view text) {
    (level == knLog::Level::Error ? _errors : _warnings).push_back(printable(text));
  });
}

LogCapture::~LogCapture() { knLog::setSink(std::move(_former)); }

LogToTerminal::LogToTerminal(Terminal terminal) {
  _former = knLog::setSink([terminal](knLog::Level level, std::string_view text) {
    if (level == knLog::Level::Warning) return warn(printable(text), terminal);
    std::fprintf(terminal.errors, "knanim: %s\n", printable(text).c_str());
  });
}

LogToTerminal::~LogToTerminal() { knLog::setSink(std::move(_former)); }

std::string LogCapture::reason(std::string const& otherwise) const {
  return _errors.empty() ? otherwise : _errors.front();
}

}  // namespace knanim
