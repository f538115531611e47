#include "knanim/curvefiles/RotationFitting.h"

#include <algorithm>
#include <cmath>

namespace knanim {
namespace {

constexpr double kTolerance = 0.001;

double componentOf(EulerDegrees const& angles, std::size_t axis) {
  return axis == 0 ? angles.x : axis == 1 ? angles.y : angles.z;
}

EulerDegrees mix(EulerDegrees const& a, EulerDegrees const& b, double share) {
  return {std::lerp(a.x, b.x, share), std::lerp(a.y, b.y, share), std::lerp(a.z, b.z, share)};
}

/// The angles along one span, which run on from those at its begin.
class SpanAngles {
 public:
  SpanAngles(SourceRotation const& source, std::size_t span, EulerDegrees const& begin)
      : _source(source), _span(span) {
    _angles[0] = begin;
    for (std::size_t i = 1; i <= kSteps; ++i)
      _angles[i] = toEulerNear(source.at(span, static_cast<double>(i) / kSteps), _angles[i - 1]);
  }

  EulerDegrees const& last() const { return _angles[kSteps]; }
  EulerDegrees at(double share) const {
    auto const nearest = static_cast<std::size_t>(std::clamp(std::round(share * kSteps), 0.0, 1.0 * kSteps));
    if (share * kSteps == static_cast<double>(nearest)) return _angles[nearest];
    return toEulerNear(_source.at(_span, share), _angles[nearest]);
  }
  /// How far the rotations are from straight lines of angles.
  double bend() const {
    double largest = 0;
    for (std::size_t const i : {kSteps / 4, kSteps / 2, kSteps * 3 / 4}) {
      EulerDegrees const line = mix(_angles[0], last(), static_cast<double>(i) / kSteps);
      largest = std::max(largest, angleBetween(toRotation(line), toRotation(_angles[i])));
    }
    return largest;
  }

 private:
  static constexpr std::size_t kSteps = 32;

  SourceRotation const& _source;
  std::size_t _span;
  std::array<EulerDegrees, kSteps + 1> _angles;
};

/// Three curves that are built together.
class AngleFitter {
 public:
  AngleFitter(double time, EulerDegrees const& angles)
      : _fitters{CurveFitter({time, angles.x}, kTolerance), CurveFitter({time, angles.y}, kTolerance),
                 CurveFitter({time, angles.z}, kTolerance)} {}

  template <typename Step>
  void go(double time, EulerDegrees const& angles, Step const& step) {
    for (std::size_t axis = 0; axis < 3; ++axis)
      step(_fitters[axis], Key{time, componentOf(angles, axis)}, axis);
  }
  /// True for a span that is fitted.
  bool addSpan(SpanAngles const& angles, double end, SpanShape shape) {
    double const bend = angles.bend();
    if (shape == SpanShape::Straight && bend <= kTolerance) {
      _bend = std::max(_bend, bend);
      go(end, angles.last(),
         [](CurveFitter& fitter, Key const& key, std::size_t) { fitter.goStraight(key); });
      return false;
    }
    go(end, angles.last(), [&](CurveFitter& fitter, Key const& key, std::size_t axis) {
      fitter.follow(key, [&](double share) { return componentOf(angles.at(share), axis); });
    });
    return true;
  }
  FittedRotation result() const {
    FittedRotation result;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      result.forms[axis].keys = _fitters[axis].keys();
      result.forms[axis].isStraight = _fitters[axis].isStraight();
    }
    result.deviation = _bend;
    return result;
  }

 private:
  double _bend = 0;
  std::array<CurveFitter, 3> _fitters;
};

/// The largest angle between the curves and the file in some spans. The deviations of the single angles would not tell
/// it: near a quarter turn of y large ones cancel out.
double deviationIn(std::vector<std::size_t> const& spans, SourceRotation const& source,
                   std::array<CurveForm, 3> const& forms) {
  std::array<SourceCurve, 3> const curves = {toSourceCurve(forms[0]), toSourceCurve(forms[1]),
                                             toSourceCurve(forms[2])};
  double largest = 0;
  for (std::size_t const span : spans) {
    double const begin = source.times[span];
    double const end = source.times[span + 1];
    constexpr int kSamples = 8;
    for (int i = 0; i < kSamples; ++i) {
      double const share = (i + 0.5) / kSamples;
      double const time = std::lerp(begin, end, share);
      auto const at = [&](std::size_t axis) { return valueBeside(curves[axis], time, time); };
      largest = std::max(largest, angleBetween(toRotation({at(0), at(1), at(2)}), source.at(span, share)));
    }
  }
  return largest;
}

}  // namespace

FittedRotation fitRotation(SourceRotation const& source) {
  auto const hold = [](CurveFitter& each, Key const& key, std::size_t) { each.hold(key); };
  std::size_t const spans = source.times.size() - 1;
  EulerDegrees angles = toEuler(spans == 0 ? source.last : source.at(0, 0));
  AngleFitter fitter(source.times.front(), angles);
  std::vector<std::size_t> fitted;
  for (std::size_t i = 0; i < spans; ++i) {
    double const end = source.times[i + 1];
    Rotation const next = i + 1 < spans ? source.at(i + 1, 0) : source.last;
    if (source.shapes[i] == SpanShape::Held) {
      angles = toEulerNear(next, angles);
      fitter.go(end, angles, hold);
      continue;
    }
    SpanAngles const along(source, i, angles);
    angles = toEulerNear(next, along.last());
    if (angleBetween(source.at(i, 1), next) < kTolerance) {
      if (fitter.addSpan(along, end, source.shapes[i])) fitted.push_back(i);
      angles = along.last();
      continue;
    }
    if (fitter.addSpan(along, justBefore(end), source.shapes[i])) fitted.push_back(i);
    fitter.go(end, angles, hold);
  }
  FittedRotation result = fitter.result();
  result.deviation = std::max(result.deviation, deviationIn(fitted, source, result.forms));
  return result;
}

}  // namespace knanim
