#include "knanim/support/ProgressBar.h"

#include "knanim/support/Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <sys/ioctl.h>
#include <unistd.h>

namespace knanim {
namespace {

constexpr std::chrono::milliseconds kInterval{50};
/// Nobody reads the remaining time of less than this, and early on it would be a guess.
constexpr std::chrono::seconds kSettled{1};
constexpr int kLongestBar = 40;
constexpr int kShortestBar = 5;
/// A column in eighths, from one eighth to seven.
constexpr std::array<char const*, 7> kEighths = {"▏", "▎", "▍", "▌", "▋", "▊", "▉"};

int columns(std::FILE* terminal) {
  winsize size{};
  bool const known = ioctl(fileno(terminal), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 80;
}

std::string bar(double share, int length) {
  int const eighths = static_cast<int>(share * length * 8);
  std::string result;
  int used = eighths / 8;
  for (int i = 0; i < used; ++i) result += "█";
  if (eighths % 8 != 0) {
    result += kEighths[static_cast<std::size_t>(eighths % 8 - 1)];
    ++used;
  }
  for (; used < length; ++used) result += "░";
  return result;
}

std::string clockTime(std::chrono::seconds time) {
  auto const seconds = time.count() % 60;
  return std::to_string(time.count() / 60) + (seconds < 10 ? ":0" : ":") + std::to_string(seconds);
}

}  // namespace

std::string progressLine(std::string_view label, std::uint64_t done, std::uint64_t total, int width,
                         std::chrono::seconds remaining) {
  double const share =
      total == 0 ? 1 : static_cast<double>(std::min(done, total)) / static_cast<double>(total);
  std::string const percent = std::to_string(static_cast<int>(share * 100)) + '%';
  std::string tail = std::string(4 - std::min<std::size_t>(4, percent.size()), ' ') + percent;
  if (remaining.count() >= 0) tail += "  " + clockTime(remaining) + " left";

  auto const room = static_cast<std::size_t>(std::max(width, 0));
  auto const fixed = widthInColumns(label) + tail.size() + 4;
  if (fixed + kShortestBar > room) return shortened(std::string(label) + tail, room);
  int const length = std::min(kLongestBar, static_cast<int>(room - fixed));
  return std::string(label) + "  " + bar(share, length) + "  " + tail;
}

ProgressBar::ProgressBar(std::FILE* terminal, std::string label, std::uint64_t total)
    : _terminal(terminal), _label(std::move(label)), _total(total), _isShown(isatty(fileno(terminal)) == 1) {}

ProgressBar::~ProgressBar() {
  if (!_isDrawn) return;
  std::fputs("\r\x1b[K", _terminal);
  std::fflush(_terminal);
}

void ProgressBar::update(std::uint64_t done) {
  if (!_isShown) return;
  auto const now = Clock::now();
  if (now < _next) return;
  _next = now + kInterval;
  auto const spent = now - _begin;
  std::chrono::seconds remaining{-1};
  if (spent >= kSettled && done > 0 && done < _total) {
    double const rest = std::chrono::duration<double>(spent).count() * static_cast<double>(_total - done) /
                        static_cast<double>(done);
    remaining = std::chrono::seconds(std::llround(rest));
  }
  // One column stays free, as a full line would wrap on some terminals.
  std::string const line = progressLine(_label, done, _total, columns(_terminal) - 1, remaining);
  std::fputs(("\r" + line + "\x1b[K").c_str(), _terminal);
  std::fflush(_terminal);
  _isDrawn = true;
}

}  // namespace knanim
