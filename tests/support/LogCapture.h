#pragma once

#include "model/utils/knLog.h"
#include "support/Testing.h"

#include <mutex>

namespace kntest {

/// Collects the lines of knLog while it lives, from all threads, and keeps them off the standard error
/// stream. Captures may be nested: the inner one takes the lines, its end gives them back to the outer one.
class LogCapture {
 public:
  struct Line {
    knLog::Level level;
    std::string text;

    friend bool operator==(Line const&, Line const&) = default;
  };

  LogCapture() {
    _previous = knLog::setSink([this](knLog::Level level, std::string_view text) {
      std::lock_guard const lock(_mutex);
      _lines.push_back({level, std::string(text)});
    });
  }
  ~LogCapture() { knLog::setSink(std::move(_previous)); }
  LogCapture(LogCapture const&) = delete;
  LogCapture& operator=(LogCapture const&) = delete;

  std::vector<Line> lines() const {
    std::lock_guard const lock(_mutex);
    return _lines;
  }
  std::vector<std::string> errors() const { return texts(knLog::Level::Error); }
  std::vector<std::string> warnings() const { return texts(knLog::Level::Warning); }

  /// Whether a line of any level holds `part`.
  bool contains(std::string_view part) const {
    return std::ranges::any_of(lines(),
                               [&](Line const& line) { return line.text.find(part) != std::string::npos; });
  }

 private:
  std::vector<std::string> texts(knLog::Level level) const {
    std::vector<std::string> result;
    for (Line const& line : lines())
      if (line.level == level) result.push_back(line.text);
    return result;
  }

  mutable std::mutex _mutex;
  std::vector<Line> _lines;
  knLog::Sink _previous;
};

}  // namespace kntest
