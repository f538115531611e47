#pragma once

#include "knanim/import/ImportedModel.h"

#include <cstdint>
#include <vector>

namespace knanim {

/// What a curve of a file does before its first and after its last key.
enum class Outside : std::uint8_t {
  Constant,      ///< the value of the nearest key
  Zero,          ///< 0
  Linear,        ///< a straight line from the nearest key, with a slope of its own
  Repeat,        ///< the curve again and again
  OffsetRepeat,  ///< the same, each repetition raised by the curve's rise
  Oscillate,     ///< the curve again and again, every other time backwards
};

/// How a curve of a file gets from one key to the next.
enum class SpanShape : std::uint8_t {
  Held,      ///< at the value of the first key until the second
  Straight,  ///< on a straight line
  Bezier,    ///< on a cubic Bezier curve in time and value
};

/// A vector in time (seconds) and value.
struct TimeValue {
  double time = 0;
  double value = 0;
};

/// From one key to the next. Of a Bezier span the vectors lead from the keys to the inner control points; with a third
/// of the span in time each it is a Hermite span, a cubic of time.
struct SourceSpan {
  SpanShape shape = SpanShape::Straight;
  TimeValue out = {};  ///< from the first key
  TimeValue in = {};   ///< from the second key
};

/// A Hermite span: slopes are rises over the whole width of the span.
SourceSpan hermiteSpan(double width, double riseAtFirst, double riseAtSecond);

/// A curve of one number as a file has it, in double precision. All numbers are finite, times ascend strictly.
struct SourceCurve {
  std::vector<Key> keys;          ///< at least one
  std::vector<SourceSpan> spans;  ///< one less than keys
  Outside before = Outside::Constant;
  Outside after = Outside::Constant;
  double slopeBefore = 0;  ///< per second, of `Outside::Linear`
  double slopeAfter = 0;
};

/// The value in a span at a share of its width in time, 0 to 1. Where a Bezier span turns back in time, one of the
/// values that bisection finds.
double valueInSpan(SourceCurve const& curve, std::size_t span, double share);

/// The value at a time as the span has it that `inside` lies in: at the end of a held span that is what was held. Outside
/// the keys the value of the nearest.
double valueBeside(SourceCurve const& curve, double time, double inside);

/// The curve with values and tangents times a factor.
SourceCurve scaled(SourceCurve curve, double factor);

/// The smallest and the largest of some values.
struct ValueRange {
  double low = 0;
  double high = 0;

  explicit ValueRange(double value) : low(value), high(value) {}
  void add(double value) {
    low = value < low ? value : low;
    high = value > high ? value : high;
  }
  double size() const { return high - low; }
  double largestMagnitude() const { return high > -low ? high : -low; }
};

/// From the first to the last key, as samples find it.
ValueRange valueRange(SourceCurve const& curve);

}  // namespace knanim
