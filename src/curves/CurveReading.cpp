#include "evaluation/PlacedSegment.h"
#include "knCurves.h"
#include "model/scenegraph/NodeQueries.h"

#include <algorithm>
#include <limits>

using osg::AnimCurve;
using osg::AnimCurvePtr;
using osg::AnimNodePtr;
using osg::CCPnt;

namespace {

/// A curve with keys, and where it stands.
struct PlacedCurve {
  AnimCurve const* curve = nullptr;
  CurvePlacement placement{};

  explicit PlacedCurve(AnimCurvePtr const& handle) {
    if (handle.isAlive() && !handle->isEmpty()) curve = &*handle;
  }
  explicit PlacedCurve(AnimNodePtr const& node) {
    auto const* const core = osg::coreOf<AnimCurve>(node);
    if (core == nullptr || core->isEmpty() || !node->isActive()) return;
    curve = core;
    placement = CurvePlacement(*node);
  }

  /// What reaches the field.
  float valueAt(float time) const {
    CurveResult result{0.F, time, 0.F};
    computeCurveValue(placement, *curve, result);
    return result.value + result.cycleValueOffset;
  }
};

std::optional<float> getValue(PlacedCurve const& placed, float time) {
  if (placed.curve == nullptr) return std::nullopt;
  return placed.valueAt(time);
}

/// The segment that was read last, with all of its solution that does not depend on the time.
class KeptSegment {
 public:
  explicit KeptSegment(PlacedCurve const& placed) : _placed(placed) {}

  float valueAt(float time) {
    float const t = _placed.placement.toCurveTime(time);
    // Strictly between two keys, in the curve's time and in that of the evaluation, there is only one answer.
    bool const isKept = _from < t && t < _to && _keys.ax < time && time < _keys.bx;
    if (isKept) return valueInside(time);
    float const value = _placed.valueAt(time);
    keepSegmentAt(t);
    return value;
  }

 private:
  enum class Shape { Line, Held, Bezier };

  float valueInside(float time) const {
    switch (_shape) {
      case Shape::Line:
        return onLine(_keys, time);
      case Shape::Held:
        return _keys.ay;
      case Shape::Bezier:
        break;
    }
    float value = 0.F;
    return _solver.value(time, value) ? value : 0.F;
  }

  /// The computation has left a hint to the segment. Keys out of order have none, and are searched each time.
  void keepSegmentAt(float t) {
    AnimCurve const& curve = *_placed.curve;
    auto const& keys = curve.getControlPoints();
    osg::UInt32 const lo = curve.getSegmentHint();
    if (lo == AnimCurve::NoSegment || lo + 1 >= keys.size()) return;
    if (!(keys[lo].x() < t && t < keys[lo + 1].x())) return;
    float const xscale = _placed.placement.totalScale;
    bool const flipped = xscale < 0.F;
    _from = keys[lo].x();
    _to = keys[lo + 1].x();
    _keys = placeSegment(keys[flipped ? lo + 1 : lo], keys[flipped ? lo : lo + 1], flipped, xscale,
                         _placed.placement.totalOffset);
    _shape = curve.getForceLinearInterpolation() ? Shape::Line
             : holdsValue(_keys)                 ? Shape::Held
                                                 : Shape::Bezier;
    if (_shape == Shape::Bezier) _solver = SegmentSolver(_keys);
  }

  PlacedCurve const& _placed;
  float _from = std::numeric_limits<float>::infinity();
  float _to = -std::numeric_limits<float>::infinity();
  Shape _shape = Shape::Held;
  SegmentKeys _keys{};
  SegmentSolver _solver{SegmentKeys{}};
};

bool getValues(PlacedCurve const& placed, std::span<float const> times, std::span<float> values) {
  if (placed.curve == nullptr || values.size() < times.size()) return false;
  KeptSegment segment(placed);
  for (std::size_t i = 0; i < times.size(); ++i) values[i] = segment.valueAt(times[i]);
  return true;
}

/// The segment that a time falls into, as the lower index of its keys: on a key the one behind it in time, if there is
/// one, past keys at the same time.
std::size_t findSegment(osg::MField<CCPnt> const& keys, float t, bool flipped) {
  auto const earlier = [](CCPnt const& key, float time) { return key.x() < time; };
  auto const later = [](float time, CCPnt const& key) { return time < key.x(); };
  auto const place = flipped ? std::lower_bound(keys.begin(), keys.end(), t, earlier)
                             : std::upper_bound(keys.begin(), keys.end(), t, later);
  auto const behind = static_cast<std::size_t>(place - keys.begin());
  return std::clamp<std::size_t>(behind, 1, keys.size() - 1) - 1;
}

std::optional<float> slopeOf(AnimCurve const& curve, SegmentKeys const& k, float time) {
  if (curve.getForceLinearInterpolation()) return (k.by - k.ay) / (k.bx - k.ax);
  if (holdsValue(k)) return 0.F;
  double slope;
  if (!SegmentSolver(k).slope(time, slope)) return std::nullopt;
  return static_cast<float>(slope);
}

std::optional<float> getSlope(PlacedCurve const& placed, float time) {
  if (placed.curve == nullptr) return std::nullopt;
  AnimCurve const& curve = *placed.curve;
  auto const& keys = curve.getControlPoints();
  if (keys.size() == 1) return 0.F;
  CurvePlacement const& placement = placed.placement;
  float const xoff = placement.totalOffset;
  float const xscale = placement.totalScale;
  bool const flipped = xscale < 0.F;
  bool const isBefore = time < (flipped ? keys.back() : keys.front()).x() * xscale + xoff;
  bool const isAfter = time > (flipped ? keys.front() : keys.back()).x() * xscale + xoff;
  CurveResult wrapped{0.F, time, 0.F};
  bool mirrored = false;
  if (isBefore || isAfter) {
    unsigned int const mode = isAfter ? curve.getPostInfinityMode() : curve.getPreInfinityMode();
    if (mode == osg::LinearInfinity)
      return extrapolationSlope(placement, isAfter ? keys.back() : keys.front(), isAfter);
    if (mode < osg::CycleInfinity || mode > osg::OscillateInfinity) return 0.F;
    mirrored = wrapTime(wrapped, placement, keys.front(), keys.back(), mode);
  }
  float const t = placement.toCurveTime(wrapped.time);
  // Nodes above count for the place of the keys, but not for the period: what is past the keys then keeps their last value.
  if ((isBefore || isAfter) && t > keys.back().x()) return 0.F;
  std::size_t const lo = findSegment(keys, t, flipped);
  SegmentKeys const k =
      placeSegment(keys[flipped ? lo + 1 : lo], keys[flipped ? lo : lo + 1], flipped, xscale, xoff);
  std::optional<float> const slope = slopeOf(curve, k, wrapped.time);
  return mirrored && slope ? -*slope : slope;
}

}  // namespace

std::optional<float> knCurves::getValue(AnimCurvePtr const& curve, float time) {
  return ::getValue(PlacedCurve(curve), time);
}

std::optional<float> knCurves::getValue(AnimNodePtr const& node, float time) {
  return ::getValue(PlacedCurve(node), time);
}

bool knCurves::getValues(AnimCurvePtr const& curve, std::span<float const> times, std::span<float> values) {
  return ::getValues(PlacedCurve(curve), times, values);
}

bool knCurves::getValues(AnimNodePtr const& node, std::span<float const> times, std::span<float> values) {
  return ::getValues(PlacedCurve(node), times, values);
}

std::optional<float> knCurves::getSlope(AnimCurvePtr const& curve, float time) {
  return ::getSlope(PlacedCurve(curve), time);
}

std::optional<float> knCurves::getSlope(AnimNodePtr const& node, float time) {
  return ::getSlope(PlacedCurve(node), time);
}
