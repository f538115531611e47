#include "knanim/playing/CadenceRecord.h"

#include "knanim/support/Text.h"

#include <algorithm>
#include <cmath>

namespace knanim {
namespace {

constexpr double kLongestBar = 32;

/// At least a sliver: what happened once among thousands is to be seen.
std::string bar(double share) {
  auto const blocks = std::lround(share * kLongestBar);
  if (blocks == 0) return "▏";
  std::string text;
  for (long i = 0; i < blocks; ++i) text += "█";
  return text;
}

std::string rightAligned(std::string const& text, std::size_t width) {
  std::size_t const length = widthInColumns(text);
  return std::string(width > length ? width - length : 0, ' ') + text;
}

struct Line {
  std::string step;
  std::uint64_t count = 0;
};

}  // namespace

void CadenceRecord::addFirst() {
  ++_passes;
  ++_shown;
}

void CadenceRecord::addStep(double frames) {
  ++_passes;
  if (frames == 0) {
    ++_steps[0];
    return;
  }
  ++_shown;
  _dropped += std::max(frames - 1, 0.0);
  ++_steps[std::max(std::llround(frames / _resolution), 1LL)];
}

std::uint64_t CadenceRecord::repeats() const {
  auto const found = _steps.find(0);
  return found == _steps.end() ? 0 : found->second;
}

std::vector<std::string> CadenceRecord::histogram(std::size_t mostLines) const {
  std::vector<Line> lines;
  std::uint64_t total = 0;
  std::uint64_t most = 0;
  for (auto const& [step, count] : _steps) {
    std::string const frames = brief(static_cast<double>(step) * _resolution);
    bool const hasRoom = lines.size() < mostLines;
    if (hasRoom) lines.push_back({step == 0 ? "repeat" : "+" + frames, 0});
    Line& line = lines.back();
    if (!hasRoom && !line.step.ends_with("up")) line.step += " and up";
    line.count += count;
    total += count;
    most = std::max(most, line.count);
  }
  std::size_t stepWidth = 0;
  for (Line const& line : lines) stepWidth = std::max(stepWidth, widthInColumns(line.step));
  std::size_t const countWidth = grouped(most).size();
  std::vector<std::string> result;
  for (Line const& line : lines) {
    double const share = static_cast<double>(line.count) / static_cast<double>(total);
    result.push_back(rightAligned(line.step, stepWidth) + "  " +
                     rightAligned(grouped(line.count), countWidth) + "  " +
                     bar(static_cast<double>(line.count) / static_cast<double>(most)) + ' ' +
                     brief(share * 100, 3) + " %");
  }
  return result;
}

}  // namespace knanim
