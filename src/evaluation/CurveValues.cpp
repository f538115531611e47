#include "evaluation/CurveValue.h"
#include "evaluation/SegmentSolver.h"
#include "knAnimManager.h"

#include <cmath>
#include <limits>
#include <tbb/parallel_for.h>

namespace {

using osg::AnimCurve;
using osg::AnimNode;
using osg::CCPnt;
using osg::Vec2f;

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

/// The value between two keys of the array, `a` the earlier one in time. False leaves the value as it is.
bool evaluateSegment(AnimCurve const& curve, CCPnt const& a, CCPnt const& b, bool flipped, float xscale,
                     float xoff, float time, float& value) {
  float const ax = a.x() * xscale + xoff;
  float const bx = b.x() * xscale + xoff;
  // In a flipped node time runs backwards through the keys, so the tangents change sides.
  Vec2f const out = flipped ? Vec2f(a.inX() * xscale, a.inY()) : Vec2f(a.outX() * xscale, a.outY());
  Vec2f const in = flipped ? Vec2f(b.outX() * xscale, b.outY()) : Vec2f(b.inX() * xscale, b.inY());
  if (curve.getForceLinearInterpolation()) {
    value = a.y() + ((time - ax) * b.y() - (time - ax) * a.y()) / (bx - ax);
    return true;
  }
  if (holdsValue(out, in)) {
    value = a.y();
    return true;
  }
  return solveSegment({ax, a.y(), out.x(), out.y(), bx, b.y(), in.x(), in.y()}, time, value);
}

/// Linear extrapolation. Tangent components enter as if they were coordinates, which they are nowhere else, and
/// only the node's own placement counts: that is how the mode has always read, and scenes rely on it.
float extrapolate(AnimNode const& node, CCPnt const& key, bool post, float time) {
  float const s = node.getScale();
  float const o = node.getOffset().x();
  float const x = key.x() * s + o;
  if (post) {
    float const ix = key.inX() * s + o;
    float const slope = (key.y() - key.inY()) / (x - ix);
    return slope * time + (key.y() - x * slope);
  }
  float const ox = key.outX() * s + o;
  float const slope = (key.outY() - key.y()) / (ox - x);
  return slope * time + (key.outY() - ox * slope);
}

/// Wraps the record's time into the curve's range by its period. The node's own placement alone counts, its
/// ancestors' does not: that is meant, and differs from the rest of the computation.
void wrapTime(knCurveData& record, AnimNode const& node, CCPnt const& first, CCPnt const& last,
              unsigned int mode) {
  float const s = node.getScale();
  float const o = node.getOffset().x();
  float const start = first.x() * s + o;
  float const end = last.x() * s + o;
  float const length = end - start;
  float const k = (record.time - start) / length;
  float const r = k < 0.F ? std::floor(k) : std::trunc(k);
  record.time = record.time - r * length;
  if (mode == osg::CycleRelativeInfinity) record.cycleValueOffset = (last.y() - first.y()) * r;
  bool const mirrored = std::fmod(std::fabs(r), 2.F) == 1.F;
  if (mode == osg::OscillateInfinity && mirrored) record.time = end - (record.time - start);
}

/// For a time outside the curve: true when the value is found, false when the computation goes on with a wrapped
/// time.
bool applyInfinity(knCurveData& record, AnimNode const& node, AnimCurve const& curve, bool post) {
  CCPnt const& first = curve.getControlPoints().front();
  CCPnt const& last = curve.getControlPoints().back();
  unsigned int const mode = post ? curve.getPostInfinityMode() : curve.getPreInfinityMode();
  switch (mode) {
    case osg::LinearInfinity:
      record.value = extrapolate(node, post ? last : first, post, record.time);
      return true;
    case osg::CycleInfinity:
    case osg::CycleRelativeInfinity:
    case osg::OscillateInfinity:
      wrapTime(record, node, first, last, mode);
      return false;
    default:
      // The key at that end of time; a flipped node has its first key there last.
      record.value = (node.getScale() > 0.F) != post ? first.y() : last.y();
      return true;
  }
}

}  // namespace

void computeCurveValue(knCurveData& record) {
  if (!record.node.isAlive() || !record.node->isActive() || !record.curve.isAlive()) return;
  AnimNode const& node = *record.node;
  AnimCurve const& curve = *record.curve;
  auto const& points = curve.getControlPoints();
  if (points.empty()) return;
  CCPnt const* const keys = points.data();
  auto const n = static_cast<unsigned int>(points.size());
  if (n == 1) {
    record.value = keys[0].y();
    return;
  }

  float const xoff = node.getTotalOffset();
  float const xscale = node.getTotalScale();
  CCPnt const& start = xscale > 0.F ? keys[0] : keys[n - 1];
  CCPnt const& end = xscale > 0.F ? keys[n - 1] : keys[0];
  if (start.x() * xscale + xoff > record.time) {
    if (applyInfinity(record, node, curve, false)) return;
  } else if (record.time > end.x() * xscale + xoff) {
    if (applyInfinity(record, node, curve, true)) return;
  }

  float const time = record.time;
  KeyPlace const place = findKeys(curve, keys, n, xscale == 1.F ? time - xoff : (time - xoff) / xscale);
  bool const flipped = xscale < 0.F;
  unsigned int const hi = place.hi < n ? place.hi : n - 1;
  if (place.lo == hi) {
    record.value = keys[hi].y();
    return;
  }
  CCPnt const& a = keys[flipped ? hi : place.lo];
  CCPnt const& b = keys[flipped ? place.lo : hi];
  float value = record.value;
  if (evaluateSegment(curve, a, b, flipped, xscale, xoff, time, value)) record.value = value;
}

void knAnimComputeCurveValueTask::operator()(tbb::blocked_range<unsigned int> const& range) const {
  for (unsigned int i = range.begin(); i != range.end(); ++i) computeCurveValue((*_data)[i]);
}

void knAnimManager::computeCurveValues(std::vector<knCurveData>& data, float time) {
  if (data.empty()) return;
  // A context of its own keeps cancellations elsewhere out of this loop.
  tbb::task_group_context context(tbb::task_group_context::isolated);
  tbb::parallel_for(tbb::blocked_range<unsigned int>(0, static_cast<unsigned int>(data.size()), 1),
                    knAnimComputeCurveValueTask(&data, time), tbb::simple_partitioner(), context);
}
