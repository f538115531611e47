#include "knanim/curvefiles/SourceCurve.h"

#include <algorithm>
#include <cmath>

namespace knanim {
namespace {

double bezier(double p0, double p1, double p2, double p3, double s) {
  double const t = 1 - s;
  return t * t * t * p0 + 3 * t * t * s * p1 + 3 * t * s * s * p2 + s * s * s * p3;
}

/// The curve parameter at which a Bezier curve from 0 to 1 has a value.
double parameterAt(double p1, double p2, double value) {
  double low = 0;
  double high = 1;
  constexpr int kBits = 53;
  for (int i = 0; i < kBits; ++i) {
    double const middle = (low + high) / 2;
    (bezier(0, p1, p2, 1, middle) < value ? low : high) = middle;
  }
  return (low + high) / 2;
}

}  // namespace

SourceSpan hermiteSpan(double width, double riseAtFirst, double riseAtSecond) {
  return {SpanShape::Bezier, {width / 3, riseAtFirst / 3}, {-width / 3, -riseAtSecond / 3}};
}

double valueInSpan(SourceCurve const& curve, std::size_t span, double share) {
  Key const& a = curve.keys[span];
  Key const& b = curve.keys[span + 1];
  SourceSpan const& between = curve.spans[span];
  if (share <= 0) return a.value;
  if (share >= 1) return b.value;
  if (between.shape == SpanShape::Held) return a.value;
  if (between.shape == SpanShape::Straight) return std::lerp(a.value, b.value, share);
  double const width = b.time - a.time;
  double const p1 = between.out.time / width;
  double const p2 = 1 + between.in.time / width;
  constexpr double kEven = 1e-12;
  bool const isEven = std::abs(3 * p1 - 1) < kEven && std::abs(3 * p2 - 2) < kEven;
  double const s = isEven ? share : parameterAt(p1, p2, share);
  return bezier(a.value, a.value + between.out.value, b.value + between.in.value, b.value, s);
}

double valueBeside(SourceCurve const& curve, double time, double inside) {
  auto const after = std::upper_bound(curve.keys.begin(), curve.keys.end(), inside,
                                      [](double t, Key const& key) { return t < key.time; });
  if (after == curve.keys.begin()) return curve.keys.front().value;
  if (after == curve.keys.end()) return curve.keys.back().value;
  Key const& before = *(after - 1);
  auto const span = static_cast<std::size_t>(after - curve.keys.begin()) - 1;
  if (curve.spans[span].shape == SpanShape::Held) return before.value;
  return valueInSpan(curve, span, (time - before.time) / (after->time - before.time));
}

SourceCurve scaled(SourceCurve curve, double factor) {
  for (Key& key : curve.keys) key.value *= factor;
  for (SourceSpan& span : curve.spans) {
    span.out.value *= factor;
    span.in.value *= factor;
  }
  curve.slopeBefore *= factor;
  curve.slopeAfter *= factor;
  return curve;
}

ValueRange valueRange(SourceCurve const& curve) {
  constexpr int kSamples = 8;
  ValueRange range(curve.keys.back().value);
  for (std::size_t i = 0; i < curve.spans.size(); ++i) {
    int const samples = curve.spans[i].shape == SpanShape::Bezier ? kSamples : 1;
    for (int k = 0; k < samples; ++k) range.add(valueInSpan(curve, i, static_cast<double>(k) / samples));
  }
  return range;
}

}  // namespace knanim
