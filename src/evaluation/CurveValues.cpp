#include "evaluation/CurveValue.h"
#include "evaluation/PlacedSegment.h"
#include "knAnimManager.h"

#include <cmath>
#include <limits>
#include <tbb/parallel_for.h>

namespace {

using osg::AnimCurve;
using osg::CCPnt;

// All arithmetic is in floats, in the order written: results are compared bit by bit with earlier releases. Only
// the cubic is solved in doubles.

constexpr unsigned int ShortCurve = 16;

/// Where a time falls among the keys: exactly on one (`lo == hi`), or between two, where `hi` can be one past the
/// last key.
struct KeyPlace {
  unsigned int lo;
  unsigned int hi;
};

KeyPlace bisect(CCPnt const* keys, unsigned int n, float t) {
  unsigned int lo = 0;
  unsigned int hi = n;
  unsigned int mid = n / 2;
  while (true) {
    float const x = keys[mid].x();
    if (x == t) return {mid, mid};
    bool const above = x > t;
    hi = above ? mid : hi;
    lo = above ? lo : mid;
    if (hi - lo < 2) return {lo, hi};
    mid = lo + (hi - lo) / 2;
  }
}

/// The same answer without a chain of dependent steps. Times that do not ascend strictly, or are no numbers, are left
/// to the bisection, whose path then decides.
KeyPlace countKeys(CCPnt const* keys, unsigned int n, float t) {
  unsigned int before = 0;
  unsigned int steps = 0;
  float previous = -std::numeric_limits<float>::infinity();
  for (unsigned int i = 0; i < n; ++i) {
    float const x = keys[i].x();
    before += x > t ? 0U : 1U;
    steps += previous < x ? 1U : 0U;
    previous = x;
  }
  if (steps != n) return bisect(keys, n, t);
  unsigned int const lo = before > 0 ? before - 1 : 0;
  // The bisection never looks at the first key.
  return {lo, lo > 0 && keys[lo].x() == t ? lo : lo + 1};
}

bool ascend(CCPnt const* keys, unsigned int n) {
  for (unsigned int i = 1; i < n; ++i) {
    if (!(keys[i - 1].x() <= keys[i].x())) return false;
  }
  return true;
}

/// Playback stays in a segment, or steps into the next. So the segment of the last evaluation is looked at first; that
/// spares the other keys, most of which are not in the cache. Keys that are out of order have no hint: the answer must
/// not depend on what was asked before.
KeyPlace findKeys(AnimCurve const& curve, CCPnt const* keys, unsigned int n, float t) {
  unsigned int const hint = curve.getSegmentHint();
  for (unsigned int lo = hint; lo <= hint + 1 && lo + 1 < n; ++lo) {
    // Strictly between two sorted keys there is only one answer, the bisection's.
    if (!(keys[lo].x() < t && t < keys[lo + 1].x())) continue;
    if (lo != hint) curve.setSegmentHint(lo);
    return {lo, lo + 1};
  }
  KeyPlace const place = n <= ShortCurve ? countKeys(keys, n, t) : bisect(keys, n, t);
  if (hint != AnimCurve::NoSegment || ascend(keys, n)) curve.setSegmentHint(place.lo);
  return place;
}

/// The value of a segment. False leaves the value as it is.
bool evaluateSegment(AnimCurve const& curve, SegmentKeys const& k, float time, float& value) {
  if (curve.getForceLinearInterpolation()) {
    value = onLine(k, time);
    return true;
  }
  if (holdsValue(k)) {
    value = k.ay;
    return true;
  }
  return solveSegment(k, time, value);
}

float extrapolate(CurvePlacement const& placement, CCPnt const& key, bool post, float time) {
  float const s = placement.ownScale;
  float const o = placement.ownOffset;
  float const slope = extrapolationSlope(placement, key, post);
  if (post) return slope * time + (key.y() - (key.x() * s + o) * slope);
  return slope * time + (key.outY() - (key.outX() * s + o) * slope);
}

/// For a time outside the curve: true when the value is found, false when the computation goes on with a wrapped
/// time.
bool applyInfinity(CurveResult& result, CurvePlacement const& placement, AnimCurve const& curve, bool post) {
  CCPnt const& first = curve.getControlPoints().front();
  CCPnt const& last = curve.getControlPoints().back();
  unsigned int const mode = post ? curve.getPostInfinityMode() : curve.getPreInfinityMode();
  switch (mode) {
    case osg::LinearInfinity:
      result.value = extrapolate(placement, post ? last : first, post, result.time);
      return true;
    case osg::CycleInfinity:
    case osg::CycleRelativeInfinity:
    case osg::OscillateInfinity:
      wrapTime(result, placement, first, last, mode);
      return false;
    default:
      // The key at that end of time; a flipped node has its first key there last.
      result.value = (placement.ownScale > 0.F) != post ? first.y() : last.y();
      return true;
  }
}

}  // namespace

float extrapolationSlope(CurvePlacement const& placement, CCPnt const& key, bool post) {
  float const s = placement.ownScale;
  float const o = placement.ownOffset;
  float const x = key.x() * s + o;
  return post ? (key.y() - key.inY()) / (x - (key.inX() * s + o))
              : (key.outY() - key.y()) / (key.outX() * s + o - x);
}

bool wrapTime(CurveResult& result, CurvePlacement const& placement, CCPnt const& first, CCPnt const& last,
              unsigned int mode) {
  float const s = placement.ownScale;
  float const o = placement.ownOffset;
  float const start = first.x() * s + o;
  float const end = last.x() * s + o;
  float const length = end - start;
  float const k = (result.time - start) / length;
  float const r = k < 0.F ? std::floor(k) : std::trunc(k);
  result.time = result.time - r * length;
  if (mode == osg::CycleRelativeInfinity) result.cycleValueOffset = (last.y() - first.y()) * r;
  bool const mirrored = mode == osg::OscillateInfinity && std::fmod(std::fabs(r), 2.F) == 1.F;
  if (mirrored) result.time = end - (result.time - start);
  return mirrored;
}

namespace {

/// applyInfinity, for a record or what stands for one.
template <class Result>
[[gnu::noinline]] bool leave(Result& result, CurvePlacement placement, AnimCurve const& curve, bool post) {
  CurveResult outside{result.value, result.time, result.cycleValueOffset};
  bool const isFound = applyInfinity(outside, placement, curve, post);
  result.value = outside.value;
  result.time = outside.time;
  result.cycleValueOffset = outside.cycleValueOffset;
  return isFound;
}

/// For a record, or what stands for one: copying its numbers and calling another function would cost a sixth more.
template <class Result>
[[gnu::always_inline]] inline void compute(CurvePlacement const& placement, AnimCurve const& curve,
                                           Result& result) {
  auto const& points = curve.getControlPoints();
  CCPnt const* const keys = points.data();
  auto const n = static_cast<unsigned int>(points.size());
  if (n == 1) {
    result.value = keys[0].y();
    return;
  }

  float const xoff = placement.totalOffset;
  float const xscale = placement.totalScale;
  CCPnt const& start = xscale > 0.F ? keys[0] : keys[n - 1];
  CCPnt const& end = xscale > 0.F ? keys[n - 1] : keys[0];
  if (start.x() * xscale + xoff > result.time) {
    if (leave(result, placement, curve, false)) return;
  } else if (result.time > end.x() * xscale + xoff) {
    if (leave(result, placement, curve, true)) return;
  }

  float const time = result.time;
  KeyPlace const place = findKeys(curve, keys, n, placement.toCurveTime(time));
  bool const flipped = xscale < 0.F;
  unsigned int const hi = place.hi < n ? place.hi : n - 1;
  if (place.lo == hi) {
    result.value = keys[hi].y();
    return;
  }
  SegmentKeys const k =
      placeSegment(keys[flipped ? hi : place.lo], keys[flipped ? place.lo : hi], flipped, xscale, xoff);
  float value = result.value;
  if (evaluateSegment(curve, k, time, value)) result.value = value;
}

}  // namespace

void computeCurveValue(knCurveData& record) {
  if (!record.node.isAlive() || !record.node->isActive() || !record.curve.isAlive()) return;
  if (!record.curve->isEmpty()) compute(CurvePlacement(*record.node), *record.curve, record);
}

void computeCurveValue(CurvePlacement const& placement, AnimCurve const& curve, CurveResult& result) {
  compute(placement, curve, result);
}

void knAnimComputeCurveValueTask::compute(unsigned int first, unsigned int end) const {
  for (unsigned int i = first; i != end; ++i) computeCurveValue((*_data)[i]);
}

void knAnimManager::computeCurveValues(std::vector<knCurveData>& data, float time) {
  if (data.empty()) return;
  // A context of its own keeps cancellations elsewhere out of this loop.
  tbb::task_group_context context(tbb::task_group_context::isolated);
  tbb::parallel_for(tbb::blocked_range<unsigned int>(0, static_cast<unsigned int>(data.size()), 1),
                    knAnimComputeCurveValueTask(&data, time), tbb::simple_partitioner(), context);
}
