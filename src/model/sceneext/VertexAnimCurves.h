#pragma once

#include "model/sceneext/AnimCurve.h"

namespace osg {
inline namespace knscene {

class VertexAnimCurves;

/// Each curve moves the vertex of its `VertexIndex`. Entries may be null.
class KNSCENE_API VertexAnimCurvesBase : public AnimObject {
  KN_CONTAINER(VertexAnimCurvesBase, VertexAnimCurves, AnimObject)
 public:
  /// The curves that move positions, and those that move normals.
  KN_MFIELD_READ(AnimCurvePtr, PositionCurves, positionCurves, Owned)
  KN_MFIELD_READ(AnimCurvePtr, NormalCurves, normalCurves, Owned)
  KN_CONTAINER_END
};

/// Vertex animation held as curves.
class KNSCENE_API VertexAnimCurves : public VertexAnimCurvesBase {
 public:
  /// Adds a curve at the end of a list and takes a reference to it. Null and dead handles are ignored.
  void addPositionCurve(AnimCurvePtr const& curve);
  void addNormalCurve(AnimCurvePtr const& curve);
  /// Empties both lists.
  void clearCurves();

  /// The range over all curves of both lists.
  std::optional<TimeRange> getTimeRange() const override;

 protected:
  void fieldsAssigned() override;
  void onDestroy() override;

 private:
  template <class Visit>
  void forEachCurve(Visit visit);
  void add(MField<AnimCurvePtr>& list, AnimCurvePtr const& curve);
};

using VertexAnimCurvesPtr = VertexAnimCurves::Ptr;

}  // namespace knscene
}  // namespace osg
