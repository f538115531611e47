#include "diagnosis/Refusal.h"
#include "evaluation/PlacedSegment.h"
#include "knCurves.h"
#include "model/utils/knLog.h"

#include <algorithm>
#include <cmath>
#include <limits>

using osg::AnimCurvePtr;
using osg::CCPnt;
using osg::Int32;
using osg::UInt32;
using osg::Vec2f;

namespace {

struct Point {
  double x;
  double y;
};

Point operator-(Point const& a, Point const& b) { return {a.x - b.x, a.y - b.y}; }
Point between(Point const& a, Point const& b, double s) {
  return {a.x + s * (b.x - a.x), a.y + s * (b.y - a.y)};
}
Vec2f toVector(Point const& p) { return {static_cast<float>(p.x), static_cast<float>(p.y)}; }

/// The inner control points of a segment as vectors from its ends.
struct Handles {
  Point out;
  Point in;
};

/// A short part of a segment is nearly straight in time, and its cubic term as good as zero, where evaluation finds no
/// root, or a wrong one. Handles a little longer or shorter along themselves keep the term at `least`; what that does
/// to the shape is of third order.
void keepCubicTerm(Handles& handles, double width, double least) {
  double const reach = (handles.out.x - handles.in.x) / width;
  double const term = 3.0 * reach - 2.0;
  if (std::fabs(term) >= least || !(reach > 0.0)) return;
  double const factor = (2.0 + std::copysign(least, term)) / (3.0 * reach);
  handles.out = {handles.out.x * factor, handles.out.y * factor};
  handles.in = {handles.in.x * factor, handles.in.y * factor};
}

/// How far a part of a segment is from the whole, where that is looked at.
double differenceOf(CCPnt const& a, CCPnt const& b, SegmentSolver const& whole) {
  constexpr int Samples = 24;
  SegmentSolver const part(placeSegment(a, b, false, 1.F, 0.F));
  double largest = 0.0;
  for (int i = 1; i < Samples; ++i) {
    float const time = std::lerp(a.x(), b.x(), static_cast<float>(i) / Samples);
    float value;
    float before;
    if (!whole.value(time, before)) continue;
    if (!part.value(time, value)) return std::numeric_limits<double>::infinity();
    largest = std::fmax(largest, std::fabs(static_cast<double>(value) - before));
  }
  return largest;
}

struct Parts {
  CCPnt a;
  CCPnt key;
  CCPnt b;
};

/// The segment between two keys, divided at a parameter by de Casteljau's algorithm.
Parts divideAt(Parts parts, SegmentKeys const& k, double s, double leastCubicTerm) {
  Point const p0{k.ax, k.ay};
  Point const p1{k.ax + k.aoutX, k.ay + k.aoutY};
  Point const p2{k.bx + k.binX, k.by + k.binY};
  Point const p3{k.bx, k.by};
  Point const q0 = between(p0, p1, s);
  Point const q1 = between(p1, p2, s);
  Point const q2 = between(p2, p3, s);
  Point const r0 = between(q0, q1, s);
  Point const r1 = between(q1, q2, s);
  parts.key.setY(static_cast<float>(between(r0, r1, s).y));
  Point const place{parts.key.x(), parts.key.y()};
  Handles left{q0 - p0, r0 - place};
  Handles right{r1 - place, q2 - p3};
  keepCubicTerm(left, place.x - p0.x, leastCubicTerm);
  keepCubicTerm(right, p3.x - place.x, leastCubicTerm);
  parts.a.setOuttangent(toVector(left.out));
  parts.key.setIntangent(toVector(left.in));
  parts.key.setOuttangent(toVector(right.out));
  parts.b.setIntangent(toVector(right.in));
  return parts;
}

/// Puts a key on the Bezier segment between two others. Of a few ways to keep clear of where evaluation finds no root the
/// one is taken that changes the shape least.
bool divide(Parts& parts) {
  constexpr double LeastCubicTerms[] = {0.0003, 0.0012, 0.005};
  SegmentKeys const k = placeSegment(parts.a, parts.b, false, 1.F, 0.F);
  SegmentSolver const whole(k);
  // With its inner points between its ends a segment never turns back in time.
  auto const isInside = [&](float x) { return x >= k.ax && x <= k.bx; };
  double s;
  if (!isInside(k.ax + k.aoutX) || !isInside(k.bx + k.binX) || !whole.parameter(parts.key.x(), s))
    return false;
  s = std::clamp(s, 0.0, 1.0);

  Parts best;
  double least = std::numeric_limits<double>::infinity();
  for (double const cubicTerm : LeastCubicTerms) {
    Parts const divided = divideAt(parts, k, s, cubicTerm);
    double const difference =
        std::fmax(differenceOf(divided.a, divided.key, whole), differenceOf(divided.key, divided.b, whole));
    if (difference >= least) continue;
    best = divided;
    least = difference;
  }
  if (!std::isfinite(least)) return false;
  parts = best;
  // A part with a tangent that short would hold its value.
  return !holdsValue(best.a.outtangent(), best.key.intangent()) &&
         !holdsValue(best.key.outtangent(), best.b.intangent());
}

bool isStraight(CCPnt const& a, CCPnt const& b) {
  return a.outFollows() && a.outType() == osg::LinearTangent && b.inFollows() &&
         b.inType() == osg::LinearTangent;
}

}  // namespace

Int32 knCurves::insertPoint(AnimCurvePtr const& curveArgument, float time) {
  AnimCurvePtr const curve = curveArgument;
  if (!curve.isAlive()) return -1;
  if (!std::isfinite(time)) {
    knLog::error((titleOf(curve) + ": no key is inserted: the time is not finite").c_str());
    return -1;
  }
  auto const& present = std::as_const(*curve).getControlPoints().getValues();
  auto const next = std::lower_bound(present.begin(), present.end(), time,
                                     [](CCPnt const& key, float t) { return key.x() < t; });
  auto const index = next - present.begin();
  if (next != present.end() && next->x() == time) return static_cast<Int32>(index);
  if (next == present.begin() || next == present.end()) return -1;

  Parts parts{*(next - 1), {}, *next};
  auto& [a, key, b] = parts;
  key = CCPnt({time, a.y()}, {}, {}, b.inType(), a.outType());
  SegmentKeys const k = placeSegment(a, b, false, 1.F, 0.F);
  bool const isLine = curve->getForceLinearInterpolation() || isStraight(a, b);
  if (isLine) {
    key = CCPnt({time, onLine(k, time)}, {}, {}, osg::LinearTangent, osg::LinearTangent);
    key.setIntangent({}, true);
    key.setOuttangent({}, true);
  } else if (!holdsValue(k) && !divide(parts)) {
    return -1;
  }

  auto& keys = curve->getControlPoints().getValues();
  keys[static_cast<std::size_t>(index) - 1] = a;
  keys[static_cast<std::size_t>(index)] = b;
  keys.insert(keys.begin() + index, key);
  if (isLine) {
    auto const at = static_cast<UInt32>(index);
    if (isStraight(a, b)) {
      curve->computeOuttangent(at - 1, -1);
      curve->computeIntangent(at + 1, -1);
    }
    curve->computeIntangent(at, -1);
    curve->computeOuttangent(at, -1);
  }
  announce(curve, osg::AnimCurveBase::ControlPointsFieldMask);
  return static_cast<Int32>(index);
}
