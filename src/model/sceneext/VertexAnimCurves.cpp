#include "model/sceneext/VertexAnimCurves.h"

#include "model/sceneext/AnimNode.h"

#include <algorithm>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(VertexAnimCurvesBase, VertexAnimCurves, "VertexAnimCurves")

void VertexAnimCurves::addPositionCurve(AnimCurvePtr const& curve) { add(_fPositionCurves, curve); }

void VertexAnimCurves::addNormalCurve(AnimCurvePtr const& curve) { add(_fNormalCurves, curve); }

template <class Visit>
void VertexAnimCurves::forEachCurve(Visit visit) {
  for (MField<AnimCurvePtr> const* const list : {&_fPositionCurves, &_fNormalCurves}) {
    for (AnimCurvePtr const& curve : *list) {
      if (curve.isAlive()) visit(*curve);
    }
  }
}

void VertexAnimCurves::add(MField<AnimCurvePtr>& list, AnimCurvePtr const& curve) {
  if (!curve.isAlive()) return;
  curve.addRef();
  list.push_back(curve);
  curve->getTimeRangeUsers().add(VertexAnimCurvesPtr(this));
  AnimNode::_changed = true;
  StructureCounter::advance();
  timeRangeChanged();
}

void VertexAnimCurves::clearCurves() {
  forEachCurve([this](AnimCurve& curve) { curve.getTimeRangeUsers().sub(VertexAnimCurvesPtr(this)); });
  std::vector<AnimCurvePtr> const positions = std::move(_fPositionCurves.getValues());
  std::vector<AnimCurvePtr> const normals = std::move(_fNormalCurves.getValues());
  _fPositionCurves.clear();
  _fNormalCurves.clear();
  AnimNode::_changed = true;
  StructureCounter::advance();
  timeRangeChanged();
  for (AnimCurvePtr const& curve : positions) curve.subRef();
  for (AnimCurvePtr const& curve : normals) curve.subRef();
}

void VertexAnimCurves::fieldsAssigned() {
  Inherited::fieldsAssigned();
  forEachCurve([this](AnimCurve& curve) { curve.getTimeRangeUsers().add(VertexAnimCurvesPtr(this)); });
}

void VertexAnimCurves::onDestroy() {
  forEachCurve([this](AnimCurve& curve) { curve.getTimeRangeUsers().sub(VertexAnimCurvesPtr(this)); });
  Inherited::onDestroy();
}

std::optional<TimeRange> VertexAnimCurves::getTimeRange() const {
  std::optional<TimeRange> range;
  for (MField<AnimCurvePtr> const* const list : {&getPositionCurves(), &getNormalCurves()}) {
    for (AnimCurvePtr const& curve : *list) {
      std::optional<TimeRange> const own = curve.isAlive() ? curve->measureTimeRange() : std::nullopt;
      if (!own) continue;
      range = range ? TimeRange{std::min(range->min, own->min), std::max(range->max, own->max)} : *own;
    }
  }
  return range;
}

}  // namespace knscene
}  // namespace osg
