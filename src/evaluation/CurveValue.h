#pragma once

#include "model/records/knCurveData.h"

/// Computes one record; see knAnimManager::computeCurveValues. Any thread.
void computeCurveValue(knCurveData& record);

/// Whether the segment between two keys keeps the earlier one's value: for tangents, scaled as its node is, that reach
/// less than a tenth of a millisecond into it. An in tangent that points backwards, as is normal, always does.
inline bool holdsValue(osg::Vec2f const& out, osg::Vec2f const& in) {
  constexpr osg::Vec2f Threshold(0.0001F, 0.0001F);
  return out < Threshold && in < Threshold;
}
