#pragma once

#include "evaluation/CurveValue.h"
#include "evaluation/SegmentSolver.h"

#include <cmath>
#include <limits>

/// The value of a curve at a time: what the records of an evaluation, single values and series of values have in
/// common. All arithmetic is in floats, in the order written: results are compared bit by bit with earlier releases.
/// Only the cubic of a segment is solved in doubles.
namespace CurveEvaluation {

// --- Placement ----------------------------------------------------------------------------------------------------

/// Where a node puts a curve in time: with its ancestors, and by itself.
struct NodePlacement {
  osg::AnimNode const& node;

  float totalScale() const { return node.getTotalScale(); }
  float totalOffset() const { return node.getTotalOffset(); }
  float ownScale() const { return node.getScale(); }
  float ownOffset() const { return node.getOffset().x(); }
};

/// The same, read once; by itself that of a curve in its own time.
class FixedPlacement {
 public:
  FixedPlacement() = default;
  explicit FixedPlacement(NodePlacement const& of)
      : _totalScale(of.totalScale()),
        _totalOffset(of.totalOffset()),
        _ownScale(of.ownScale()),
        _ownOffset(of.ownOffset()) {}

  float totalScale() const { return _totalScale; }
  float totalOffset() const { return _totalOffset; }
  float ownScale() const { return _ownScale; }
  float ownOffset() const { return _ownOffset; }

 private:
  float _totalScale = 1.F;
  float _totalOffset = 0.F;
  float _ownScale = 1.F;
  float _ownOffset = 0.F;
};

// --- Keys ---------------------------------------------------------------------------------------------------------

/// Where a time falls among the keys: exactly on one (`lo == hi`), or between two, where `hi` can be one past the
/// last key.
struct KeyPlace {
  unsigned int lo;
  unsigned int hi;
};

inline KeyPlace bisect(osg::CCPnt const* keys, unsigned int n, float t) {
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
inline KeyPlace countKeys(osg::CCPnt const* keys, unsigned int n, float t) {
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

inline bool ascend(osg::CCPnt const* keys, unsigned int n) {
  for (unsigned int i = 1; i < n; ++i) {
    if (!(keys[i - 1].x() <= keys[i].x())) return false;
  }
  return true;
}

/// Playback stays in a segment, or steps into the next. So the segment of the last evaluation is looked at first; that
/// spares the other keys, most of which are not in the cache. Keys that are out of order have no hint: the answer must
/// not depend on what was asked before.
inline KeyPlace findKeys(osg::AnimCurve const& curve, osg::CCPnt const* keys, unsigned int n, float t) {
  constexpr unsigned int ShortCurve = 16;
  unsigned int const hint = curve.getSegmentHint();
  for (unsigned int lo = hint; lo <= hint + 1 && lo + 1 < n; ++lo) {
    // Strictly between two sorted keys there is only one answer, the bisection's.
    if (!(keys[lo].x() < t && t < keys[lo + 1].x())) continue;
    if (lo != hint) curve.setSegmentHint(lo);
    return {lo, lo + 1};
  }
  KeyPlace const place = n <= ShortCurve ? countKeys(keys, n, t) : bisect(keys, n, t);
  if (hint != osg::AnimCurve::NoSegment || ascend(keys, n)) curve.setSegmentHint(place.lo);
  return place;
}

// --- Segments -----------------------------------------------------------------------------------------------------

/// A segment put in time, `a` the earlier key. In a flipped node time runs backwards through the keys, so the tangents
/// change sides.
inline SegmentKeys placeSegment(osg::CCPnt const& a, osg::CCPnt const& b, bool flipped, float xscale,
                                float xoff) {
  SegmentKeys keys;
  keys.ax = a.x() * xscale + xoff;
  keys.ay = a.y();
  keys.aoutX = flipped ? a.inX() * xscale : a.outX() * xscale;
  keys.aoutY = flipped ? a.inY() : a.outY();
  keys.bx = b.x() * xscale + xoff;
  keys.by = b.y();
  keys.binX = flipped ? b.outX() * xscale : b.inX() * xscale;
  keys.binY = flipped ? b.outY() : b.inY();
  return keys;
}

inline float onLine(SegmentKeys const& k, float time) {
  return k.ay + ((time - k.ax) * k.by - (time - k.ax) * k.ay) / (k.bx - k.ax);
}

inline bool holdsValue(SegmentKeys const& k) { return ::holdsValue({k.aoutX, k.aoutY}, {k.binX, k.binY}); }

/// Takes each segment as it comes and keeps none.
struct EachSegment {
  static bool covers(float) { return false; }
  static bool evaluateCovering(float, float&) { return false; }

  /// False leaves the value as it is.
  static bool evaluate(osg::AnimCurve const& curve, SegmentKeys const& k, KeyPlace, float time,
                       float& value) {
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
};

/// Keeps the last segment, with all of its solution that does not depend on the time, for the next times in it.
class KeptSegment {
 public:
  /// Whether a time, in the curve's own axis, falls into the segment that is kept.
  bool covers(float t) const { return _from < t && t < _to; }

  bool evaluateCovering(float time, float& value) const {
    switch (_shape) {
      case Shape::Line:
        value = onLine(_keys, time);
        return true;
      case Shape::Held:
        value = _keys.ay;
        return true;
      default:
        return _solver.value(time, value);
    }
  }

  bool evaluate(osg::AnimCurve const& curve, SegmentKeys const& k, KeyPlace place, float time, float& value) {
    keep(curve, k, place);
    return evaluateCovering(time, value);
  }

 private:
  enum class Shape { Line, Held, Bezier };

  void keep(osg::AnimCurve const& curve, SegmentKeys const& k, KeyPlace place) {
    _keys = k;
    _shape = curve.getForceLinearInterpolation() ? Shape::Line : holdsValue(k) ? Shape::Held : Shape::Bezier;
    if (_shape == Shape::Bezier) _solver = SegmentSolver(k);
    // Of keys out of order, which have no hint, the search has to find the segment each time.
    bool const isSorted = curve.getSegmentHint() != osg::AnimCurve::NoSegment;
    auto const& keys = curve.getControlPoints();
    _from = isSorted ? keys[place.lo].x() : std::numeric_limits<float>::infinity();
    _to = isSorted ? keys[place.hi].x() : -std::numeric_limits<float>::infinity();
  }

  float _from = std::numeric_limits<float>::infinity();
  float _to = -std::numeric_limits<float>::infinity();
  Shape _shape = Shape::Held;
  SegmentKeys _keys{};
  SegmentSolver _solver{SegmentKeys{}};
};

// --- Outside the keys ---------------------------------------------------------------------------------------------

/// The slope of a linear extension. Tangent components enter as if they were coordinates, which they are nowhere else,
/// and only the node's own placement counts: that is how the mode has always read, and scenes rely on it.
template <class Placement>
float extrapolationSlope(Placement const& placement, osg::CCPnt const& key, bool post) {
  float const s = placement.ownScale();
  float const o = placement.ownOffset();
  float const x = key.x() * s + o;
  return post ? (key.y() - key.inY()) / (x - (key.inX() * s + o))
              : (key.outY() - key.y()) / (key.outX() * s + o - x);
}

template <class Placement>
float extrapolate(Placement const& placement, osg::CCPnt const& key, bool post, float time) {
  float const s = placement.ownScale();
  float const o = placement.ownOffset();
  float const slope = extrapolationSlope(placement, key, post);
  if (post) return slope * time + (key.y() - (key.x() * s + o) * slope);
  return slope * time + (key.outY() - (key.outX() * s + o) * slope);
}

/// Wraps the time into the curve's range by its period. The node's own placement alone counts, its ancestors' does not:
/// that is meant, and differs from the rest of the computation. Returns whether time runs backwards there.
template <class Placement, class Instant>
bool wrapTime(Instant& at, Placement const& placement, osg::CCPnt const& first, osg::CCPnt const& last,
              unsigned int mode) {
  float const s = placement.ownScale();
  float const o = placement.ownOffset();
  float const start = first.x() * s + o;
  float const end = last.x() * s + o;
  float const length = end - start;
  float const k = (at.time - start) / length;
  float const r = k < 0.F ? std::floor(k) : std::trunc(k);
  at.time = at.time - r * length;
  if (mode == osg::CycleRelativeInfinity) at.cycleValueOffset = (last.y() - first.y()) * r;
  bool const mirrored = mode == osg::OscillateInfinity && std::fmod(std::fabs(r), 2.F) == 1.F;
  if (mirrored) at.time = end - (at.time - start);
  return mirrored;
}

/// For a time outside the curve: true when the value is found, false when the computation goes on with a wrapped
/// time.
template <class Placement, class Instant>
bool applyInfinity(Instant& at, Placement const& placement, osg::AnimCurve const& curve, bool post) {
  osg::CCPnt const& first = curve.getControlPoints().front();
  osg::CCPnt const& last = curve.getControlPoints().back();
  unsigned int const mode = post ? curve.getPostInfinityMode() : curve.getPreInfinityMode();
  switch (mode) {
    case osg::LinearInfinity:
      at.value = extrapolate(placement, post ? last : first, post, at.time);
      return true;
    case osg::CycleInfinity:
    case osg::CycleRelativeInfinity:
    case osg::OscillateInfinity:
      wrapTime(at, placement, first, last, mode);
      return false;
    default:
      // The key at that end of time; a flipped node has its first key there last.
      at.value = (placement.ownScale() > 0.F) != post ? first.y() : last.y();
      return true;
  }
}

enum class Side { Inside, Before, After };

/// Where a time stands to a curve of at least two keys.
template <class Placement>
Side sideOf(osg::CCPnt const* keys, unsigned int n, Placement const& placement, float time) {
  float const xoff = placement.totalOffset();
  float const xscale = placement.totalScale();
  osg::CCPnt const& start = xscale > 0.F ? keys[0] : keys[n - 1];
  osg::CCPnt const& end = xscale > 0.F ? keys[n - 1] : keys[0];
  if (start.x() * xscale + xoff > time) return Side::Before;
  return time > end.x() * xscale + xoff ? Side::After : Side::Inside;
}

inline float timeOfKeys(float time, float xscale, float xoff) {
  return xscale == 1.F ? time - xoff : (time - xoff) / xscale;
}

// --- The whole ----------------------------------------------------------------------------------------------------

/// Computes `at.value` at `at.time`, which the modes that cycle wrap; "cycle relative" sets `at.cycleValueOffset`. A
/// curve without keys, and a segment without a solution, leave the value as it is.
template <class Placement, class Segments, class Instant>
void evaluate(osg::AnimCurve const& curve, Placement const& placement, Segments&& segments, Instant& at) {
  auto const& points = curve.getControlPoints();
  if (points.empty()) return;
  osg::CCPnt const* const keys = points.data();
  auto const n = static_cast<unsigned int>(points.size());
  if (n == 1) {
    at.value = keys[0].y();
    return;
  }
  Side const side = sideOf(keys, n, placement, at.time);
  if (side != Side::Inside && applyInfinity(at, placement, curve, side == Side::After)) return;

  float const xoff = placement.totalOffset();
  float const xscale = placement.totalScale();
  float const time = at.time;
  float const t = timeOfKeys(time, xscale, xoff);
  float value = at.value;
  if (segments.covers(t)) {
    if (segments.evaluateCovering(time, value)) at.value = value;
    return;
  }
  KeyPlace const place = findKeys(curve, keys, n, t);
  unsigned int const hi = place.hi < n ? place.hi : n - 1;
  if (place.lo == hi) {
    at.value = keys[hi].y();
    return;
  }
  bool const flipped = xscale < 0.F;
  SegmentKeys const k =
      placeSegment(keys[flipped ? hi : place.lo], keys[flipped ? place.lo : hi], flipped, xscale, xoff);
  if (segments.evaluate(curve, k, {place.lo, hi}, time, value)) at.value = value;
}

}  // namespace CurveEvaluation
