#include "knanim/curvefiles/CurveFitting.h"

#include "model/sceneext/AnimCurve.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

namespace knanim {
namespace {

/// Evaluation holds the value of a span whose tangent reaches less than this, in seconds.
constexpr float kShortestTangent = 0.000101F;
/// Leading terms of the time's cubic, in widths of the span: the larger, the safer where rounding of late times moves
/// it; the smaller, the nearer to a cubic of time.
constexpr std::array kCubicTerms = {0.4, 0.05, 0.01, 0.002, 0.0005, 0.0001, 0.00005};
constexpr double kLeastOwnTerm = 0.001;

/// A share of a span's width as rounding of times sees it.
double roundingOf(float begin, float end) {
  float const latest = std::max(std::abs(begin), std::abs(end));
  double const step =
      static_cast<double>(std::nextafter(latest, std::numeric_limits<float>::infinity())) - latest;
  return step / (static_cast<double>(end) - begin);
}

/// A Bezier segment as evaluation sees it, its time from 0 to 1.
struct Segment {
  double x1, x2;
  double y0, y1, y2, y3;

  double cubicTerm() const { return 1 - 3 * (x2 - x1); }
  double time(double s) const {
    double const t = 1 - s;
    return 3 * t * t * s * x1 + 3 * t * s * s * x2 + s * s * s;
  }
  double value(double s) const {
    double const t = 1 - s;
    return t * t * t * y0 + 3 * t * t * s * y1 + 3 * t * s * s * y2 + s * s * s * y3;
  }
};

Segment segmentOf(BezierKey const& a, BezierKey const& b) {
  double const width = static_cast<double>(b.time) - a.time;
  float const x1 = a.time + a.out[0];
  float const x2 = b.time + b.in[0];
  float const y1 = a.value + a.out[1];
  float const y2 = b.value + b.in[1];
  return {(static_cast<double>(x1) - a.time) / width,
          (static_cast<double>(x2) - a.time) / width,
          a.value,
          y1,
          y2,
          b.value};
}

void markBent(BezierKey& a, BezierKey& b) {
  a.outType = osg::SmoothTangent;
  b.inType = osg::SmoothTangent;
}

}  // namespace

/// A part of a span between two keys.
struct CurveFitter::Piece {
  BezierKey a;
  BezierKey b;
  std::function<double(double)> const* valueAt;  ///< of the whole span
  double first;                                  ///< the part's share of the span
  double last;
  double deviation = std::numeric_limits<double>::infinity();

  double shareAt(double inPart) const { return std::lerp(first, last, inPart); }
  void measure() {
    constexpr int kSamples = 16;
    Segment const segment = segmentOf(a, b);
    deviation = 0;
    for (int i = 1; i < kSamples; ++i) {
      double const s = static_cast<double>(i) / kSamples;
      double const wanted = (*valueAt)(shareAt(segment.time(s)));
      deviation = std::max(deviation, std::abs(segment.value(s) - wanted));
    }
  }
};

CurveFitter::CurveFitter(Key const& first, double tolerance) : _tolerance(tolerance) {
  _keys.push_back(makeKey(first));
}

BezierKey CurveFitter::makeKey(Key const& key) const {
  return {static_cast<float>(key.time), static_cast<float>(key.value), {}, {}, 0, 0};
}

void CurveFitter::hold(Key const& next) {
  if (_keys.back().value != static_cast<float>(next.value)) _isStraight = false;
  _keys.push_back(makeKey(next));
}

void CurveFitter::goStraight(Key const& next) {
  constexpr float kReach = 0.4F;
  BezierKey& a = _keys.back();
  BezierKey b = makeKey(next);
  a.out = {std::max(kReach * (b.time - a.time), kShortestTangent), kReach * (b.value - a.value)};
  b.in = {-kReach * (b.time - a.time), -kReach * (b.value - a.value)};
  a.outType = osg::LinearTangent;
  b.inType = osg::LinearTangent;
  _keys.push_back(b);
}

void CurveFitter::bend(SourceCurve const& curve, std::size_t span) {
  std::function<double(double)> const valueAt = [&](double share) { return valueInSpan(curve, span, share); };
  SourceSpan const& source = curve.spans[span];
  Piece own{_keys.back(), makeKey(curve.keys[span + 1]), &valueAt, 0, 1};
  own.a.out = {std::max(static_cast<float>(source.out.time), kShortestTangent),
               static_cast<float>(source.out.value)};
  own.b.in = {std::min(static_cast<float>(source.in.time), 0.F), static_cast<float>(source.in.value)};
  markBent(own.a, own.b);
  Segment const segment = segmentOf(own.a, own.b);
  bool const staysInside = segment.x1 <= 1 && segment.x2 >= 0;
  double const least = std::max(kLeastOwnTerm, 8 * roundingOf(own.a.time, own.b.time));
  bool const isSolvedWell = staysInside && std::abs(segment.cubicTerm()) >= least;
  if (isSolvedWell) own.measure();
  if (own.deviation <= _tolerance) return append(own);
  std::size_t const count = _keys.size();
  double const before = std::exchange(_deviation, 0);
  follow(curve.keys[span + 1], valueAt);
  if (own.deviation <= _deviation) {
    _keys.resize(count);
    _deviation = 0;
    append(own);
  }
  _deviation = std::max(_deviation, before);
}

/// The part with a certain leading term, fitted by values at the two parameters where the difference of a parabola from
/// the fit changes its sign, so that it is the same on all three stretches.
CurveFitter::Piece CurveFitter::fitWith(Piece piece, double cubicTerm) const {
  double const width = static_cast<double>(piece.b.time) - piece.a.time;
  double const rounding = roundingOf(piece.a.time, piece.b.time);
  double const reach = (2 + std::max(cubicTerm, 24 * rounding)) / 6;
  auto const x = static_cast<float>(reach * width);
  if (!(x >= kShortestTangent) || !(x <= width)) return piece;
  piece.a.out = {x, 0};
  piece.b.in = {-x, 0};
  Segment segment = segmentOf(piece.a, piece.b);

  constexpr double kSecond = 1 / std::numbers::sqrt2;
  constexpr double kFirst = 1 - kSecond;
  segment.y1 = 0;
  segment.y2 = 0;
  double const early = (*piece.valueAt)(piece.shareAt(segment.time(kFirst))) - segment.value(kFirst);
  double const late = (*piece.valueAt)(piece.shareAt(segment.time(kSecond))) - segment.value(kSecond);
  // The weights of y1 and y2 at the first parameter; they change places at the second.
  constexpr double kLarge = 3 * kSecond * kSecond * kFirst;
  constexpr double kSmall = 3 * kSecond * kFirst * kFirst;
  constexpr double kDeterminant = kLarge * kLarge - kSmall * kSmall;
  double const y1 = (early * kLarge - late * kSmall) / kDeterminant;
  double const y2 = (late * kLarge - early * kSmall) / kDeterminant;
  piece.a.out[1] = static_cast<float>(y1 - piece.a.value);
  piece.b.in[1] = static_cast<float>(y2 - piece.b.value);
  markBent(piece.a, piece.b);
  piece.measure();
  return piece;
}

/// By the safest of the terms that is near enough, or the nearest.
CurveFitter::Piece CurveFitter::fit(Piece piece) const {
  Piece best = piece;
  for (double const term : kCubicTerms) {
    Piece const tried = fitWith(piece, term);
    if (tried.deviation < best.deviation) best = tried;
    if (best.deviation <= _tolerance / 2) break;
  }
  return best;
}

void CurveFitter::append(Piece const& piece) {
  _keys.back().out = piece.a.out;
  _keys.back().outType = piece.a.outType;
  _keys.push_back(piece.b);
  _deviation = std::max(_deviation, piece.deviation);
  _isStraight = false;
}

void CurveFitter::follow(Key const& next, std::function<double(double)> const& valueAt) {
  constexpr double kShortestPart = 0.002;
  constexpr double kSmallestShare = 1.0 / 256;
  BezierKey const end = makeKey(next);
  double const begin = _keys.back().time;
  double const width = end.time - begin;
  std::vector<double> lasts = {1};
  double first = 0;
  while (!lasts.empty()) {
    double const last = lasts.back();
    double const time = begin + last * width;
    BezierKey const b = last == 1 ? end : makeKey({time, valueAt(last)});
    Piece const best = fit({_keys.back(), b, &valueAt, first, last});
    double const middle = (static_cast<float>(begin + (first + last) / 2 * width) - begin) / width;
    bool const isSmall = last - first <= kSmallestShare || (last - first) * width < kShortestPart;
    if (best.deviation > _tolerance && !isSmall && middle > first && middle < last) {
      lasts.push_back(middle);
      continue;
    }
    if (std::isfinite(best.deviation)) {
      append(best);
    } else {
      goStraight({b.time, b.value});
      _deviation =
          std::max(_deviation, std::abs(valueAt((first + last) / 2) - (valueAt(first) + valueAt(last)) / 2));
    }
    first = last;
    lasts.pop_back();
  }
}

SourceCurve toSourceCurve(CurveForm const& form) {
  SourceCurve curve;
  for (BezierKey const& key : form.keys) {
    if (!curve.keys.empty()) {
      BezierKey const& former = form.keys[curve.spans.size()];
      SourceSpan span{SpanShape::Bezier, {former.out[0], former.out[1]}, {key.in[0], key.in[1]}};
      if (former.out[0] < kShortestTangent) span.shape = SpanShape::Held;
      if (form.isStraight) span.shape = SpanShape::Straight;
      curve.spans.push_back(span);
    }
    curve.keys.push_back({key.time, key.value});
  }
  return curve;
}

std::vector<Key> listKeys(CurveForm const& form) {
  std::vector<Key> keys;
  for (BezierKey const& key : form.keys) {
    if (!keys.empty() && keys.back().time >= key.time) keys.pop_back();
    keys.push_back({key.time, key.value});
  }
  return keys;
}

namespace {

/// Half of what is allowed, as a fit looks at some values only.
double toleranceFor(ValueRange const& range) {
  constexpr double kRounding = 2.5e-7;
  return std::max(kFitShare / 2 * range.size(), kRounding * range.largestMagnitude());
}

FittedCurve resultOf(CurveFitter const& fitter, ValueRange const& range) {
  FittedCurve result;
  result.form.keys = fitter.keys();
  result.form.isStraight = fitter.isStraight();
  result.keys = listKeys(result.form);
  result.deviation = fitter.deviation();
  result.range = range.size();
  result.isNear = fitter.deviation() <= 2 * toleranceFor(range);
  return result;
}

bool isConstant(ValueRange const& range) {
  constexpr double kNoise = 1e-7;
  constexpr double kNone = 1e-12;
  return range.size() <= std::max(kNoise * range.largestMagnitude(), kNone);
}

}  // namespace

double justBefore(double time) { return std::nextafter(static_cast<float>(time), -HUGE_VALF); }

FittedCurve fitCurve(SourceCurve const& source) {
  ValueRange const range = valueRange(source);
  CurveFitter fitter(source.keys.front(), toleranceFor(range));
  for (std::size_t i = 0; i < source.spans.size(); ++i) {
    Key const& next = source.keys[i + 1];
    switch (source.spans[i].shape) {
      case SpanShape::Held:
        fitter.hold(next);
        break;
      case SpanShape::Straight:
        fitter.goStraight(next);
        break;
      case SpanShape::Bezier:
        fitter.bend(source, i);
        break;
    }
  }
  FittedCurve result = resultOf(fitter, range);
  if (source.keys.size() > 1)
    addEnds(result.form, source.before, source.slopeBefore, source.after, source.slopeAfter);
  return result;
}

FittedCurve fitFunction(SourceFunction const& source) {
  constexpr int kSamples = 8;
  std::size_t const spans = source.times.size() - 1;
  ValueRange range(source.last);
  for (std::size_t i = 0; i < spans; ++i) {
    int const samples = source.shapes[i] == SpanShape::Held ? 1 : kSamples;
    for (int k = 0; k < samples; ++k) range.add(source.at(i, static_cast<double>(k) / samples));
  }
  double const tolerance = toleranceFor(range);
  CurveFitter fitter({source.times.front(), spans > 0 ? source.at(0, 0) : source.last}, tolerance);
  for (std::size_t i = 0; i < spans && !isConstant(range); ++i) {
    Key const next{source.times[i + 1], i + 1 < spans ? source.at(i + 1, 0) : source.last};
    if (source.shapes[i] == SpanShape::Held) {
      fitter.hold(next);
      continue;
    }
    double const end = source.at(i, 1);
    bool const jumps = std::abs(end - next.value) > tolerance;
    Key const before{jumps ? justBefore(next.time) : next.time, end};
    fitter.follow(before, [&](double share) { return source.at(i, share); });
    if (jumps) fitter.hold(next);
  }
  return resultOf(fitter, range);
}

namespace {

std::uint32_t infinityMode(Outside outside) {
  switch (outside) {
    case Outside::Linear:
      return osg::LinearInfinity;
    case Outside::Repeat:
      return osg::CycleInfinity;
    case Outside::OffsetRepeat:
      return osg::CycleRelativeInfinity;
    case Outside::Oscillate:
      return osg::OscillateInfinity;
    case Outside::Constant:
    case Outside::Zero:
      break;
  }
  return osg::ConstantInfinity;
}

}  // namespace

void addEnds(CurveForm& form, Outside before, double slopeBefore, Outside after, double slopeAfter) {
  constexpr float kEnd = std::numeric_limits<float>::infinity();
  form.before = infinityMode(before);
  form.after = infinityMode(after);
  if (after == Outside::Zero) {
    form.keys.back().out = {0, 0};
    form.keys.push_back({std::nextafter(form.keys.back().time, kEnd), 0, {}, {}, 0, 0});
  } else if (after == Outside::Linear) {
    BezierKey end = form.keys.back();
    // The line goes through the key and the point that the vector names by its two numbers.
    end.in = {end.time - 1, static_cast<float>(end.value - slopeAfter)};
    end.out = {0, 0};
    form.keys.push_back(end);
  }
  if (before == Outside::Zero) {
    form.keys.insert(form.keys.begin(),
                     BezierKey{std::nextafter(form.keys.front().time, -kEnd), 0, {}, {}, 0, 0});
  } else if (before == Outside::Linear) {
    BezierKey begin = form.keys.front();
    begin.in = {0, 0};
    begin.out = {begin.time + 1, static_cast<float>(begin.value + slopeBefore)};
    form.keys.insert(form.keys.begin(), begin);
  }
}

}  // namespace knanim
