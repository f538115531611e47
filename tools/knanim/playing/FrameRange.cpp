#include "knanim/playing/FrameRange.h"

#include "knanim/support/Text.h"

#include <algorithm>
#include <cmath>

namespace knanim {
namespace {

constexpr double kMostFrames = 10'000'000;
/// Frame numbers above this would not count up one by one any more.
constexpr double kLargestFrame = 1e15;
/// A frame this near to an end, in frames, is still in the range: times of files are rarely exact.
constexpr double kSlack = 1e-4;

Failure usage(std::string message) { return {ExitCode::Usage, std::move(message)}; }

}  // namespace

std::optional<Failure> checkRate(double framesPerSecond) {
  if (std::isfinite(framesPerSecond) && framesPerSecond > 0) return std::nullopt;
  return usage("--fps must be finite and above 0");
}

std::variant<FrameRange, Failure> frameRange(TimeSpan span, double framesPerSecond,
                                             std::optional<double> from, std::optional<double> to) {
  if (auto failure = checkRate(framesPerSecond)) return std::move(*failure);
  double const begin = from.value_or(span.begin);
  double const end = to.value_or(span.end);
  if (!std::isfinite(begin) || !std::isfinite(end)) return usage("--from and --to must be finite");
  if (begin > end && from && !to)
    return usage("--from " + brief(begin) + " s is after the end of the animation at " + brief(end) + " s");
  if (begin > end && to && !from)
    return usage("--to " + brief(end) + " s is before the start of the animation at " + brief(begin) + " s");
  if (begin > end) {
    return usage("the range from " + brief(begin) + " s to " + brief(end) + " s ends before it begins");
  }
  double const first = std::ceil(begin * framesPerSecond - kSlack);
  double last = std::floor(end * framesPerSecond + kSlack);
  if (last < first && (!from || !to)) last = first;
  if (last < first) {
    return usage("there is no whole frame between " + brief(begin) + " s and " + brief(end) + " s at " +
                 brief(framesPerSecond) + " frames per second");
  }
  if (std::max(std::abs(first), std::abs(last)) > kLargestFrame && last - first < kMostFrames)
    return usage(brief(std::max(std::abs(begin), std::abs(end))) +
                 " s is too far from 0 s for a frame number");
  if (last - first >= kMostFrames) {
    return usage("from " + brief(begin) + " s to " + brief(end) + " s there are " + brief(last - first + 1) +
                 " frames, more than can be played; give a shorter range or a lower frame rate");
  }
  return FrameRange{framesPerSecond, static_cast<long long>(first), static_cast<long long>(last)};
}

}  // namespace knanim
