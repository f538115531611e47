#pragma once

#include "evaluation/SegmentSolver.h"
#include "model/records/knCurveData.h"

/// The three numbers of a record that its computation reads and writes.
struct CurveResult {
  float value = 0.F;
  float time = 0.F;
  float cycleValueOffset = 0.F;
};

/// Where a curve stands in time: with all nodes above it, and by its own node alone. In its own time, to begin with.
struct CurvePlacement {
  float totalOffset = 0.F;
  float totalScale = 1.F;
  float ownOffset = 0.F;
  float ownScale = 1.F;

  CurvePlacement() = default;
  explicit CurvePlacement(osg::AnimNode const& node)
      : totalOffset(node.getTotalOffset()),
        totalScale(node.getTotalScale()),
        ownOffset(node.getOffset().x()),
        ownScale(node.getScale()) {}

  /// From the time of evaluation to the curve's own.
  float toCurveTime(float time) const {
    return totalScale == 1.F ? time - totalOffset : (time - totalOffset) / totalScale;
  }
};

/// Computes a curve with keys; see knAnimManager::computeCurveValues. Any thread.
void computeCurveValue(CurvePlacement const& placement, osg::AnimCurve const& curve, CurveResult& result);
/// The same at an active node, but for the solving of a smooth segment: true when solveSegment, with the result's time
/// and value, is to follow. Any thread.
bool findCurveValue(osg::AnimNode const& node, osg::AnimCurve const& curve, CurveResult& result,
                    SegmentKeys& segment);
/// Computes one record. Any thread.
void computeCurveValue(knCurveData& record);

/// The slope of a linear extension. Tangent components enter as if they were coordinates, which they are nowhere else,
/// and only the node's own placement counts: that is how the mode has always read, and scenes rely on it.
float extrapolationSlope(CurvePlacement const& placement, osg::CCPnt const& key, bool post);
/// Wraps the time into the curve's range by its period, for a mode that cycles. The node's own placement alone counts,
/// its ancestors' does not: that is meant, and differs from the rest of the computation. Returns whether the curve is
/// read backwards there.
bool wrapTime(CurveResult& result, CurvePlacement const& placement, osg::CCPnt const& first,
              osg::CCPnt const& last, unsigned int mode);

/// Whether the segment between two keys keeps the earlier one's value: for tangents, scaled as its node is, that reach
/// less than a tenth of a millisecond into it. An in tangent that points backwards, as is normal, always does.
inline bool holdsValue(osg::Vec2f const& out, osg::Vec2f const& in) {
  constexpr osg::Vec2f Threshold(0.0001F, 0.0001F);
  return out < Threshold && in < Threshold;
}
