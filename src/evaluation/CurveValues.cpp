#include "evaluation/CurveValue.h"
#include "evaluation/PlacedSegment.h"
#include "knAnimManager.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <tbb/parallel_for.h>

namespace {

using osg::AnimCurve;
using osg::AnimNode;
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

/// Looks for the only segment in which a time lies strictly, among keys that ascend, from the segment `lo` outwards in
/// growing steps. No answer for a time on a key, or outside.
std::optional<unsigned int> searchFrom(CCPnt const* keys, unsigned int n, unsigned int lo, float t) {
  unsigned int hi = lo;
  for (unsigned int step = 1; keys[hi].x() < t; step *= 2) {
    if (hi + 1 == n) return {};
    lo = hi;
    hi = std::min(hi + step, n - 1);
  }
  for (unsigned int step = 1; !(keys[lo].x() < t); step *= 2) {
    if (lo == 0) return {};
    hi = lo;
    lo -= std::min(step, lo);
  }
  // Branches: the processor reads ahead of them, where it would wait for each step of a computed choice.
  while (hi - lo > 1) {
    unsigned int const middle = lo + (hi - lo) / 2;
    if (keys[middle].x() < t) {
      lo = middle;
    } else [[unlikely]] {
      hi = middle;
    }
  }
  return t < keys[hi].x() ? std::optional(lo) : std::nullopt;
}

constexpr unsigned int NoSegment = AnimCurve::NoSegment;

/// A time that jumps is looked for from where it would stand among keys at equal distances. Few keys are counted sooner.
[[gnu::noinline]] unsigned int findSegmentFar(AnimCurve const& curve, CCPnt const* keys, unsigned int n,
                                              float t) {
  float const guess = curve.guessPlace(t);
  auto const last = static_cast<float>(n - 2);
  auto const first = static_cast<unsigned int>(guess > 0.F ? std::min(guess, last) : 0.F);
  std::optional<unsigned int> const lo = searchFrom(keys, n, std::min(first, n - 2), t);
  if (!lo) return NoSegment;
  curve.setSegmentHint(*lo);
  return *lo;
}

/// The only segment in which a time lies strictly, where the keys are known to ascend. Playback stays in the segment of
/// the last evaluation, or steps into the next, so these are looked at first; that spares the other keys, most of which
/// are not in the cache.
[[gnu::always_inline]] inline unsigned int findSegment(AnimCurve const& curve, CCPnt const* keys,
                                                       unsigned int n, float t) {
  unsigned int const hint = curve.getSegmentHint();
  if (hint == NoSegment) return NoSegment;
  // Where times jump, on which side of a key they are cannot be foreseen, so few keys are asked both questions at once.
  // Of many keys, the further ones are not in the cache.
  auto const isIn = [&](unsigned int lo) {
    return (static_cast<unsigned int>(keys[lo].x() < t) & static_cast<unsigned int>(t < keys[lo + 1].x())) !=
           0;
  };
  if (hint + 1 < n && (n <= ShortCurve || keys[hint].x() < t)) {
    if (isIn(hint)) return hint;
    if (hint + 2 < n && isIn(hint + 1)) {
      curve.setSegmentHint(hint + 1);
      return hint + 1;
    }
  }
  return n <= ShortCurve ? NoSegment : findSegmentFar(curve, keys, n, t);
}

/// The bisection's answer. Keys that are out of order have no hint: it must not depend on what was asked before.
KeyPlace findKeys(AnimCurve const& curve, CCPnt const* keys, unsigned int n, float t) {
  KeyPlace const place = n <= ShortCurve ? countKeys(keys, n, t) : bisect(keys, n, t);
  if (curve.getSegmentHint() == AnimCurve::NoSegment) {
    if (!ascend(keys, n)) return place;
    curve.setPlaces(keys[0].x(), static_cast<float>(n - 1) / (keys[n - 1].x() - keys[0].x()));
  }
  curve.setSegmentHint(place.lo);
  return place;
}

KeyPlace findPlace(AnimCurve const& curve, CCPnt const* keys, unsigned int n, float t) {
  unsigned int const lo = findSegment(curve, keys, n, t);
  if (lo != NoSegment) return {lo, lo + 1};
  return findKeys(curve, keys, n, t);
}

/// The value of a segment; true when it is to be solved for it.
bool needsSolving(AnimCurve const& curve, SegmentKeys const& k, float time, float& value) {
  if (curve.getForceLinearInterpolation()) {
    value = onLine(k, time);
    return false;
  }
  if (holdsValue(k)) {
    value = k.ay;
    return false;
  }
  return true;
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

/// The value of a curve with keys, but for the solving of a smooth segment: true when that is to follow. For a record, or
/// what stands for one: copying its numbers and calling another function would cost a sixth more. `getPlacement` is
/// asked outside the curve only.
template <class Placement, class Result>
[[gnu::always_inline]] inline bool find(float xoff, float xscale, Placement const& getPlacement,
                                        AnimCurve const& curve, Result& result, SegmentKeys& segment) {
  auto const& points = curve.getControlPoints();
  CCPnt const* const keys = points.data();
  auto const n = static_cast<unsigned int>(points.size());
  if (n == 1) {
    result.value = keys[0].y();
    return false;
  }

  auto const toCurveTime = [&](float time) { return xscale == 1.F ? time - xoff : (time - xoff) / xscale; };
  bool mayBeBetween = true;
  if (xscale > 0.F) {
    // Between two keys that stand before and after the time when they are placed, so do the first and the last.
    unsigned int const lo = findSegment(curve, keys, n, toCurveTime(result.time));
    mayBeBetween = lo != NoSegment;
    if (mayBeBetween) {
      segment = placeSegment(keys[lo], keys[lo + 1], false, xscale, xoff);
      if (segment.ax <= result.time && result.time <= segment.bx)
        return needsSolving(curve, segment, result.time, result.value);
    }
  }
  CCPnt const& start = xscale > 0.F ? keys[0] : keys[n - 1];
  CCPnt const& end = xscale > 0.F ? keys[n - 1] : keys[0];
  if (start.x() * xscale + xoff > result.time) {
    if (leave(result, getPlacement(), curve, false)) return false;
    mayBeBetween = true;
  } else if (result.time > end.x() * xscale + xoff) {
    if (leave(result, getPlacement(), curve, true)) return false;
    mayBeBetween = true;
  }

  float const time = toCurveTime(result.time);
  KeyPlace const place = mayBeBetween ? findPlace(curve, keys, n, time) : findKeys(curve, keys, n, time);
  bool const flipped = xscale < 0.F;
  unsigned int const hi = place.hi < n ? place.hi : n - 1;
  if (place.lo == hi) {
    result.value = keys[hi].y();
    return false;
  }
  segment = placeSegment(keys[flipped ? hi : place.lo], keys[flipped ? place.lo : hi], flipped, xscale, xoff);
  return needsSolving(curve, segment, result.time, result.value);
}

template <class Result>
void solve(SegmentKeys const& segment, Result& result) {
  float value = result.value;
  if (solveSegment(segment, result.time, value)) result.value = value;
}

}  // namespace

void computeCurveValue(knCurveData& record) {
  if (!record.node.isAlive() || !record.node->isActive() || !record.curve.isAlive()) return;
  AnimNode const& node = *record.node;
  AnimCurve const& curve = *record.curve;
  if (curve.isEmpty()) return;
  SegmentKeys segment;
  auto const getPlacement = [&] { return CurvePlacement(node); };
  if (find(node.getTotalOffset(), node.getTotalScale(), getPlacement, curve, record, segment))
    solve(segment, record);
}

void computeCurveValue(CurvePlacement const& placement, AnimCurve const& curve, CurveResult& result) {
  SegmentKeys segment;
  auto const getPlacement = [&] { return placement; };
  if (find(placement.totalOffset, placement.totalScale, getPlacement, curve, result, segment))
    solve(segment, result);
}

bool findCurveValue(AnimNode const& node, AnimCurve const& curve, CurveResult& result, SegmentKeys& segment) {
  auto const getPlacement = [&] { return CurvePlacement(node); };
  return find(node.getTotalOffset(), node.getTotalScale(), getPlacement, curve, result, segment);
}

void knAnimComputeCurveValueTask::compute(unsigned int first, unsigned int end) const {
  for (unsigned int i = first; i != end; ++i) computeCurveValue((*_data)[i]);
}

void knAnimManager::computeCurveValues(std::vector<knCurveData>& data, float time) {
  if (data.empty()) return;
  // Nothing to share out: trees of one curve play by thousands.
  if (data.size() == 1) return computeCurveValue(data.front());
  // A context of its own keeps cancellations elsewhere out of this loop.
  tbb::task_group_context context(tbb::task_group_context::isolated);
  tbb::parallel_for(tbb::blocked_range<unsigned int>(0, static_cast<unsigned int>(data.size()), 1),
                    knAnimComputeCurveValueTask(&data, time), tbb::simple_partitioner(), context);
}
