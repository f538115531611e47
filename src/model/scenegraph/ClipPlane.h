#pragma once

#include "model/scenegraph/Transform3D.h"

namespace osg {
inline namespace knscene {

class ClipPlane;

/// The fields of a ClipPlane.
class KNSCENE_API ClipPlaneBase : public NodeCore {
  KN_CONTAINER(ClipPlaneBase, ClipPlane, NodeCore)
 public:
  /// Moves the plane in the space of the node; null leaves it where normal and distance put it.
  KN_SFIELD_OWNED(Transform3DPtr, Transform, transform)
  /// Whether the plane cuts.
  KN_SFIELD(bool, Active, active, true)
  /// Points to the side that is kept; of any length above 0.
  KN_SFIELD(Vec3f, Normal, normal, Vec3f(0, 0, 1))
  /// How far the plane lies from the origin along the normal, in scene units.
  KN_SFIELD(Real32, Distance, distance, 0.F)
  KN_CONTAINER_END
};

/// A plane that cuts away what lies behind it. It does not move the children of its node.
class KNSCENE_API ClipPlane : public ClipPlaneBase {
 public:
  /// The plane in the space of the node: a unit normal and the distance d, so that what is kept has
  /// dot(normal, point) >= d. All zero for a normal without direction or a transform that is singular.
  Vec4f getPlane() const { return getPlane(Matrix()); }
  /// The same in the world, for a node that has this core; null stands for the world itself.
  Vec4f getWorldPlane(NodePtr const& node) const;

 private:
  Vec4f getPlane(Matrix const& toWorld) const;
};

using ClipPlanePtr = ClipPlane::Ptr;

}  // namespace knscene
}  // namespace osg
