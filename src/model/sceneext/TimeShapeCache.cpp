#include "model/sceneext/TimeShapeCache.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(TimeShapeDataBase, TimeShapeData, "TimeShapeData")
KN_CONTAINER_TYPE(TimeShapeCacheBase, TimeShapeCache, "TimeShapeCache")

void TimeShapeCache::addShape(TimeShapeDataPtr const& shape) {
  if (!shape.isAlive() || !std::isfinite(shape->getTime())) return;
  shape.addRef();
  auto& shapes = _fShapes.getValues();
  auto place = shapes.end();
  while (place != shapes.begin()) {
    TimeShapeDataPtr const& before = *std::prev(place);
    if (before.isAlive() && before->getTime() <= shape->getTime()) break;
    --place;
  }
  shapes.insert(place, shape);
  timeRangeChanged();
}

void TimeShapeCache::clearShapes() {
  std::vector<TimeShapeDataPtr> const shapes = std::move(_fShapes.getValues());
  _fShapes.clear();
  for (TimeShapeDataPtr const& shape : shapes) shape.subRef();
  timeRangeChanged();
}

TimeShapeDataPtr TimeShapeCache::findShape(Real32 time, Real32 offset, Real32 scale) const {
  // A linear pass: entries may be null or dead, and a list of shapes is short beside the shapes themselves.
  Real32 const tolerance = std::max(1e-5F, std::abs(time) * 4.F * std::numeric_limits<Real32>::epsilon());
  TimeShapeDataPtr nearest;
  Real32 nearestDistance = tolerance;
  for (TimeShapeDataPtr const& shape : getShapes()) {
    if (!shape.isAlive()) continue;
    Real32 const distance = std::abs(shape->getTime() * scale + offset - time);
    bool const better = nearest ? distance < nearestDistance : distance <= nearestDistance;
    if (!better) continue;
    nearest = shape;
    nearestDistance = distance;
  }
  return nearest;
}

std::optional<TimeRange> TimeShapeCache::getTimeRange() const {
  std::optional<TimeRange> range;
  for (TimeShapeDataPtr const& shape : getShapes()) {
    if (!shape.isAlive()) continue;
    Real32 const time = shape->getTime();
    range = range ? TimeRange{std::min(range->min, time), std::max(range->max, time)} : TimeRange{time, time};
  }
  return range;
}

}  // namespace knscene
}  // namespace osg
