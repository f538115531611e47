#include "editing/EvaluatedSegment.h"

#include "evaluation/CurveValue.h"

#include <algorithm>
#include <array>
#include <limits>

using osg::CCPnt;

namespace {

/// The least cubic term of a segment's normalised time, and the least distance of its discriminant from zero, at which
/// the solver's root is good to about 1e-9.
constexpr double LeastCubicTerm = 0.01;
constexpr double LeastDiscriminant = 1e-4;

bool isFinite(CCPnt const& a, CCPnt const& b) {
  std::array<float, 8> const numbers{a.x(), a.y(), a.outX(), a.outY(), b.x(), b.y(), b.inX(), b.inY()};
  return std::ranges::all_of(numbers, [](float number) { return std::isfinite(number); });
}

/// Whether the floats that a straight line is evaluated in, products of time and value, neither overflow nor vanish.
bool isLineInRange(CCPnt const& a, CCPnt const& b, double width) {
  constexpr double LeastWidth = 1e-30;
  double const largest = std::fmax(1.0, std::fmax(std::fabs(a.y()), std::fabs(b.y())));
  return width >= LeastWidth && 2.0 * width * largest <= std::numeric_limits<float>::max();
}

/// Whether time never turns back, for inner control points at the parts `a1` and `a2` of the segment.
bool ascends(double a1, double a2) {
  if (a1 < 0.0 || a2 > 1.0) return false;
  double const middle = a2 - a1;
  return middle >= 0.0 || middle * middle < a1 * (1.0 - a2);
}

/// Whether the closed form has one and the same case, well away from its limits, for all times in the segment. The
/// discriminant of the depressed cubic is a parabola in time.
bool isSolvedWell(double a1, double a2) {
  double const a = 1.0 - 3.0 * (a2 - a1);
  if (std::fabs(a) < LeastCubicTerm) return false;
  double const b = 3.0 * (a2 - 2.0 * a1) / a;
  double const c = 3.0 * a1 / a;
  double const p3 = (c - b * b / 3.0) / 3.0;
  double const first = b * (2.0 * b * b / 27.0 - c / 3.0) / 2.0;
  double const last = first - 0.5 / a;
  double const cube = p3 * p3 * p3;
  double const largest = cube + std::fmax(first * first, last * last);
  if (largest <= -LeastDiscriminant) return true;
  bool const changesSign = (first <= 0.0) != (last <= 0.0);
  double const least = cube + (changesSign ? 0.0 : std::fmin(first * first, last * last));
  return least >= LeastDiscriminant;
}

BezierCubic straight(double from, double to) {
  return {from, from + (to - from) / 3.0, to - (to - from) / 3.0, to};
}

}  // namespace

double EvaluatedSegment::parameterAt(double t, double guess) const {
  if (kind == SegmentKind::Line) return (t - start()) / (end() - start());
  // Newton's method, kept within a bracket.
  double lo = 0.0;
  double hi = 1.0;
  double s = guess;
  for (int i = 0; i < 60; ++i) {
    double const error = time.at(s) - t;
    (error > 0.0 ? hi : lo) = s;
    double next = s - error / time.slopeAt(s);
    if (!(next >= lo && next <= hi)) next = 0.5 * (lo + hi);
    if (std::fabs(next - s) < 1e-15) return next;
    // From here the next step is below rounding.
    bool const closeBy = std::fabs(next - s) < 1e-8;
    s = next;
    if (closeBy) return s;
  }
  return s;
}

EvaluatedSegment segmentBetween(CCPnt const& a, CCPnt const& b, bool forceLinear) {
  EvaluatedSegment segment;
  double const width = static_cast<double>(b.x()) - a.x();
  if (!isFinite(a, b) || !(width > 0.0)) return segment;
  if (forceLinear) {
    if (!isLineInRange(a, b, width)) return segment;
    segment.kind = SegmentKind::Line;
    segment.time = straight(a.x(), b.x());
    segment.value = straight(a.y(), b.y());
    return segment;
  }
  float const x1 = a.x() + a.outX();
  float const x2 = b.x() + b.inX();
  float const y1 = a.y() + a.outY();
  float const y2 = b.y() + b.inY();
  segment.time = {a.x(), x1, x2, b.x()};
  segment.value = {a.y(), y1, y2, b.y()};
  double const a1 = (x1 - segment.start()) / width;
  double const a2 = (x2 - segment.start()) / width;
  if (holdsValue(a.outtangent(), b.intangent())) {
    segment.kind = SegmentKind::Held;
  } else if (ascends(a1, a2) && isSolvedWell(a1, a2)) {
    segment.kind = SegmentKind::Bezier;
  }
  return segment;
}
