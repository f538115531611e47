#pragma once

#include "knanim/support/Options.h"
#include "model/utils/knLog.h"

#include <string>
#include <vector>

namespace knanim {

/// Keeps the lines that the library logs while it lives, in place of the standard error stream. One at a time.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(LogCapture const&) = delete;
  LogCapture& operator=(LogCapture const&) = delete;

  /// The first error, fit for a terminal; `otherwise` when there was none.
  std::string reason(std::string const& otherwise) const;
  std::vector<std::string> const& warnings() const { return _warnings; }

 private:
  std::vector<std::string> _errors;
  std::vector<std::string> _warnings;
  knLog::Sink _former;
};

/// Sends what the library logs to a terminal while it lives, in the form of this program's own lines.
class LogToTerminal {
 public:
  explicit LogToTerminal(Terminal terminal);
  ~LogToTerminal();
  LogToTerminal(LogToTerminal const&) = delete;
  LogToTerminal& operator=(LogToTerminal const&) = delete;

 private:
  knLog::Sink _former;
};

}  // namespace knanim
