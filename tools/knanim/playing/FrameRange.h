#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/import/ModelImport.h"

#include <optional>
#include <variant>

namespace knanim {

/// Whole frames of a frame rate; frame n stands at n / fps seconds.
struct FrameRange {
  double framesPerSecond = 30;
  long long first = 0;
  long long last = 0;  ///< included

  std::size_t count() const { return static_cast<std::size_t>(last - first) + 1; }
  double time(long long frame) const { return static_cast<double>(frame) / framesPerSecond; }
};

/// Fails with `Usage` for a rate that is not positive or not finite.
std::optional<Failure> checkRate(double framesPerSecond);

/// The frames from the first one at or after `from` to the last one at or before `to`, both in seconds; where they
/// are not given, the ends of `span` count, and then at least the frame nearest to its begin is in the range.
/// Fails with `Usage` for a rate that is not positive, numbers that are not finite, a range turned around or
/// without a frame, and for more than ten million frames.
std::variant<FrameRange, Failure> frameRange(TimeSpan span, double framesPerSecond,
                                             std::optional<double> from, std::optional<double> to);

}  // namespace knanim
