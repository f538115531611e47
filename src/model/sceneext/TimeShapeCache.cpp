#include "model/sceneext/TimeShapeCache.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(TimeShapeDataBase, TimeShapeData, "TimeShapeData")
KN_CONTAINER_TYPE(TimeShapeCacheBase, TimeShapeCache, "TimeShapeCache")

void TimeShapeData::setTime(Real32 const& seconds) {
  TimeShapeDataBase::setTime(seconds);
  _timeRangeUsers.timeRangeChanged();
}

void TimeShapeData::changed(BitVector const& mask, UInt32 origin) {
  TimeShapeDataBase::changed(mask, origin);
  followChange(mask);
}

void TimeShapeData::followChange(BitVector const& mask) {
  TimeShapeDataBase::followChange(mask);
  if ((mask & TimeFieldMask).any()) _timeRangeUsers.timeRangeChanged();
}

void TimeShapeData::onDestroy() {
  _timeRangeUsers.timeRangeChanged();
  Inherited::onDestroy();
}

void TimeShapeCache::addShape(TimeShapeDataPtr const& shapeArgument) {
  TimeShapeDataPtr const shape = shapeArgument;
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
  shape->getTimeRangeUsers().add(TimeShapeCachePtr(this));
  StructureCounter::advance();
  timeRangeChanged();
}

void TimeShapeCache::clearShapes() {
  std::vector<TimeShapeDataPtr> const shapes = std::move(_fShapes.getValues());
  _fShapes.clear();
  for (TimeShapeDataPtr const& shape : shapes) {
    if (shape.isAlive()) shape->getTimeRangeUsers().sub(TimeShapeCachePtr(this));
  }
  StructureCounter::advance();
  timeRangeChanged();
  for (TimeShapeDataPtr const& shape : shapes) shape.subRef();
}

void TimeShapeCache::fieldsAssigned() {
  Inherited::fieldsAssigned();
  for (TimeShapeDataPtr const& shape : _fShapes) {
    if (shape.isAlive()) shape->getTimeRangeUsers().add(TimeShapeCachePtr(this));
  }
}

void TimeShapeCache::onDestroy() {
  for (TimeShapeDataPtr const& shape : _fShapes) {
    if (shape.isAlive()) shape->getTimeRangeUsers().sub(TimeShapeCachePtr(this));
  }
  Inherited::onDestroy();
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
