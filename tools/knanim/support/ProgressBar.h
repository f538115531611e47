#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace knanim {

/// One line of a progress display in at most `width` columns: what is done, a bar, the share in percent and, when
/// `remaining` is not negative, the time that is still needed. A total of 0 counts as done.
std::string progressLine(std::string_view label, std::uint64_t done, std::uint64_t total, int width,
                         std::chrono::seconds remaining);

/// Draws progress on a terminal, over and over on one line, at most some twenty times a second; on anything that
/// is no terminal it draws nothing. The line is wiped at the end.
class ProgressBar {
 public:
  ProgressBar(std::FILE* terminal, std::string label, std::uint64_t total);
  ~ProgressBar();
  ProgressBar(ProgressBar const&) = delete;
  ProgressBar& operator=(ProgressBar const&) = delete;

  void update(std::uint64_t done);
  bool isShown() const { return _isShown; }

 private:
  using Clock = std::chrono::steady_clock;

  std::FILE* _terminal;
  std::string _label;
  std::uint64_t _total;
  bool _isShown;
  bool _isDrawn = false;
  Clock::time_point _begin = Clock::now();
  Clock::time_point _next = _begin;
};

}  // namespace knanim
