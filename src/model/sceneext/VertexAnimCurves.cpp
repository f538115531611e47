#include "model/sceneext/VertexAnimCurves.h"

#include "model/sceneext/AnimNode.h"

#include <algorithm>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(VertexAnimCurvesBase, VertexAnimCurves, "VertexAnimCurves")

void VertexAnimCurves::addPositionCurve(AnimCurvePtr const& curve) { add(_fPositionCurves, curve); }

void VertexAnimCurves::addNormalCurve(AnimCurvePtr const& curve) { add(_fNormalCurves, curve); }

void VertexAnimCurves::add(MField<AnimCurvePtr>& list, AnimCurvePtr const& curve) {
  if (!curve.isAlive()) return;
  curve.addRef();
  list.push_back(curve);
  AnimNode::_changed = true;
  timeRangeChanged();
}

void VertexAnimCurves::clearCurves() {
  for (MField<AnimCurvePtr>* const list : {&_fPositionCurves, &_fNormalCurves}) {
    std::vector<AnimCurvePtr> const curves = std::move(list->getValues());
    list->clear();
    for (AnimCurvePtr const& curve : curves) curve.subRef();
  }
  AnimNode::_changed = true;
  timeRangeChanged();
}

std::optional<TimeRange> VertexAnimCurves::getTimeRange() const {
  std::optional<TimeRange> range;
  for (MField<AnimCurvePtr> const* const list : {&getPositionCurves(), &getNormalCurves()}) {
    for (AnimCurvePtr const& curve : *list) {
      std::optional<TimeRange> const own = curve.isAlive() ? curve->getTimeRange() : std::nullopt;
      if (!own) continue;
      range = range ? TimeRange{std::min(range->min, own->min), std::max(range->max, own->max)} : *own;
    }
  }
  return range;
}

}  // namespace knscene
}  // namespace osg
