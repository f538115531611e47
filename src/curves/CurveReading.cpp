#include "evaluation/CurveEvaluation.h"
#include "knCurves.h"
#include "model/scenegraph/NodeQueries.h"

using osg::AnimCurve;
using osg::AnimCurvePtr;
using osg::AnimNodePtr;
using namespace CurveEvaluation;

namespace {

struct Instant {
  float time;
  float value = 0.F;
  float cycleValueOffset = 0.F;
};

/// A curve with keys, and where it stands.
struct PlacedCurve {
  AnimCurve const* curve = nullptr;
  FixedPlacement placement{};

  explicit PlacedCurve(AnimCurvePtr const& handle) {
    if (handle.isAlive() && !handle->isEmpty()) curve = &*handle;
  }
  explicit PlacedCurve(AnimNodePtr const& node) {
    auto const* const core = osg::coreOf<AnimCurve>(node);
    if (core == nullptr || core->isEmpty() || !node->isActive()) return;
    curve = core;
    placement = FixedPlacement(NodePlacement{*node});
  }
};

/// What reaches the field.
template <class Segments>
float valueAt(PlacedCurve const& placed, Segments&& segments, float time) {
  Instant at{time};
  evaluate(*placed.curve, placed.placement, segments, at);
  return at.value + at.cycleValueOffset;
}

std::optional<float> getValue(PlacedCurve const& placed, float time) {
  if (placed.curve == nullptr) return std::nullopt;
  return valueAt(placed, EachSegment(), time);
}

bool getValues(PlacedCurve const& placed, std::span<float const> times, std::span<float> values) {
  if (placed.curve == nullptr || values.size() < times.size()) return false;
  KeptSegment segment;
  for (std::size_t i = 0; i < times.size(); ++i) values[i] = valueAt(placed, segment, times[i]);
  return true;
}

/// The segment that a time falls into, as the lower index of its keys: on a key the one behind it in time, if there is
/// one, past keys at the same time.
unsigned int findSegment(AnimCurve const& curve, float t, bool flipped) {
  auto const& points = curve.getControlPoints();
  auto const n = static_cast<unsigned int>(points.size());
  osg::CCPnt const* const keys = points.data();
  KeyPlace const place = findKeys(curve, keys, n, t);
  auto const isOpen = [&](unsigned int lo) { return keys[lo].x() != keys[lo + 1].x(); };
  if (flipped) {
    unsigned int lo = place.lo == place.hi && place.lo > 0 ? place.lo - 1 : place.lo;
    lo = std::min(lo, n - 2);
    while (lo > 0 && !isOpen(lo)) --lo;
    return lo;
  }
  unsigned int lo = std::min(place.lo, n - 2);
  while (lo + 2 < n && !isOpen(lo)) ++lo;
  return lo;
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
  auto const& points = curve.getControlPoints();
  auto const n = static_cast<unsigned int>(points.size());
  if (n == 1) return 0.F;
  FixedPlacement const& placement = placed.placement;
  Instant at{time};
  bool mirrored = false;
  Side const side = sideOf(points.data(), n, placement, time);
  if (side != Side::Inside) {
    bool const post = side == Side::After;
    unsigned int const mode = post ? curve.getPostInfinityMode() : curve.getPreInfinityMode();
    if (mode == osg::LinearInfinity)
      return extrapolationSlope(placement, post ? points.back() : points.front(), post);
    if (mode < osg::CycleInfinity || mode > osg::OscillateInfinity) return 0.F;
    mirrored = wrapTime(at, placement, points.front(), points.back(), mode);
  }
  float const xoff = placement.totalOffset();
  float const xscale = placement.totalScale();
  bool const flipped = xscale < 0.F;
  unsigned int const lo = findSegment(curve, timeOfKeys(at.time, xscale, xoff), flipped);
  SegmentKeys const k =
      placeSegment(points[flipped ? lo + 1 : lo], points[flipped ? lo : lo + 1], flipped, xscale, xoff);
  std::optional<float> const slope = slopeOf(curve, k, at.time);
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
