#pragma once

#include "evaluation/CurveValue.h"
#include "evaluation/SegmentSolver.h"

/// A segment put in time, `a` the earlier key. In a flipped node time runs backwards through the keys, so the tangents
/// change sides.
inline SegmentKeys placeSegment(osg::CCPnt const& a, osg::CCPnt const& b, bool flipped, float xscale,
                                float xoff) {
  SegmentKeys keys;
  keys.ax = a.x() * xscale + xoff;
  keys.ay = a.y();
  keys.aoutX = (flipped ? a.inX() : a.outX()) * xscale;
  keys.aoutY = flipped ? a.inY() : a.outY();
  keys.bx = b.x() * xscale + xoff;
  keys.by = b.y();
  keys.binX = (flipped ? b.outX() : b.inX()) * xscale;
  keys.binY = flipped ? b.outY() : b.inY();
  return keys;
}

/// The value of a segment that is a straight line, in floats and in this order of terms.
inline float onLine(SegmentKeys const& k, float time) {
  return k.ay + ((time - k.ax) * k.by - (time - k.ax) * k.ay) / (k.bx - k.ax);
}

inline bool holdsValue(SegmentKeys const& k) {
  return holdsValue(osg::Vec2f(k.aoutX, k.aoutY), osg::Vec2f(k.binX, k.binY));
}
