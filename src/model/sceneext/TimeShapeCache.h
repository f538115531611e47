#pragma once

#include "model/sceneext/AnimObject.h"

namespace osg {
inline namespace knscene {

class TimeShapeCache;
class TimeShapeData;

/// One stored shape: the positions and normals of a geometry at one time. Two shapes blend only when both have the same
/// number of positions, and as many normals.
class KNSCENE_API TimeShapeDataBase : public FieldContainer {
  KN_CONTAINER(TimeShapeDataBase, TimeShapeData, FieldContainer)
 public:
  /// Stored time in seconds, in the axis of the cache node.
  KN_SFIELD(Real32, Time, time, 0.F)
  /// The vertices, in the space of the geometry, and their normals.
  KN_MFIELD(Pnt3f, Positions, positions)
  KN_MFIELD(Vec3f, Normals, normals)
  KN_CONTAINER_END
};

/// One shape of a cache.
class KNSCENE_API TimeShapeData : public TimeShapeDataBase {
 public:
  /// Does not move the shape within the list of a cache that holds it.
  void setTime(Real32 const& seconds);

  void changed(BitVector const& mask, UInt32 origin) override;
  void followChange(BitVector const& mask) override;

  /// Kept by the caches that hold this shape.
  TimeRangeUsers& getTimeRangeUsers() { return _timeRangeUsers; }

 protected:
  void onDestroy() override;

 private:
  TimeRangeUsers _timeRangeUsers;
};

using TimeShapeDataPtr = TimeShapeData::Ptr;

/// The fields of a TimeShapeCache.
class KNSCENE_API TimeShapeCacheBase : public AnimObject {
  KN_CONTAINER(TimeShapeCacheBase, TimeShapeCache, AnimObject)
 public:
  /// The shapes in order of the times that they had when they were added; entries may be null.
  KN_MFIELD_READ(TimeShapeDataPtr, Shapes, shapes, Owned)
  KN_CONTAINER_END
};

/// Vertex animation as a list of whole shapes.
class KNSCENE_API TimeShapeCache : public TimeShapeCacheBase {
 public:
  /// Adds a shape at its place in time, after those of the same time, and takes a reference to it. Null, dead
  /// handles and shapes without a finite time are ignored.
  void addShape(TimeShapeDataPtr const& shape);
  /// Removes all shapes.
  void clearShapes();

  /// The shape that stands at `time`: the one whose stored time, times `scale`, plus `offset`, is nearest to it,
  /// if it lies within a hundred-thousandth of a second or of the time's own precision as a float; else null.
  /// Among equally near ones the first counts. Linear in the number of shapes.
  TimeShapeDataPtr findShape(Real32 time, Real32 offset, Real32 scale) const;

  std::optional<TimeRange> getTimeRange() const override;

 protected:
  void fieldsAssigned() override;
  void onDestroy() override;
};

using TimeShapeCachePtr = TimeShapeCache::Ptr;

}  // namespace knscene
}  // namespace osg
