#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace knanim {

/// What an axis measures: it decides which steps are round.
enum class AxisUnit : std::uint8_t { Number, Degrees, Seconds };

struct AxisTicks {
  double step = 1;
  std::vector<double> values;       ///< ascending, within the range that was asked for
  std::vector<std::string> labels;  ///< one for each value, with the same number of decimals
};

/// Ticks at round values for the range from `low` to `high`, two at least and `most` (2 or more) at most. Angles step by
/// parts of a turn, times by parts of a minute. The range has to be finite and not empty.
AxisTicks roundTicks(double low, double high, int most, AxisUnit unit);

struct AxisRange {
  double low = 0;
  double high = 1;
};

/// The range to show for values between `low` and `high`: a little more on either side. When the values differ by
/// no more than rounding, or by less than anyone would see in an angle, they get a wide range around them instead.
AxisRange paddedRange(double low, double high, AxisUnit unit);

}  // namespace knanim
