#pragma once

#include "model/scenegraph/Node.h"

namespace osg {
inline namespace knscene {

class Transform3D;

/// The fields of a transform: angles in degrees, lengths in scene units.
class KNSCENE_API Transform3DBase : public NodeCore {
  KN_CONTAINER(Transform3DBase, Transform3D, NodeCore)
 public:
  /// Where the node is, in its parent's space, and its size along its own axes.
  KN_SFIELD(Vec3f, Translation, translation)
  KN_SFIELD(Vec3f, Scale, scale, Vec3f(1, 1, 1))
  /// Angles around x, y and z, applied in this order.
  KN_SFIELD(Vec3f, EulerRotation, eulerRotation)
  /// Angles of the frame that `EulerRotation` turns in.
  KN_SFIELD(Vec3f, EulerRotationOrientation, eulerRotationOrientation)
  /// The point that the rotation leaves in place, in the space of the parent before translation.
  KN_SFIELD(Vec3f, RotatePivot, rotatePivot)
  /// Switches of the host and of derived cores; see `Transform3D::hasFlag`.
  KN_SFIELD(UInt32, Flags, flags, 0U)
  KN_CONTAINER_END
};

/// A transform as the core of a node, or as a component of another core. Its matrix is
/// translation * pivot * orientation * rotation * inverse pivot * scale.
class KNSCENE_API Transform3D : public Transform3DBase {
 public:
  /// The matrix from the node's space to its parent's.
  Matrix getMatrix() const;

  /// Sets the rotation from angles in degrees, Rz * Ry * Rx, and announces it.
  void setRotationAsEuler(Vec3f const& degrees);
  /// Sets the frame that the rotation turns in, from such angles, and announces it.
  void setRotationOrientationAsEuler(Vec3f const& degrees);

  /// Whether all bits of `flag` are set.
  bool hasFlag(UInt32 flag) const { return (getFlags() & flag) == flag; }

  /// The angles of a rotation in the order of `setRotationAsEuler`; y lies within a quarter turn. `unit` 1 gives
  /// degrees, any other radians. Near a quarter turn of y, where x and z turn around one axis, x takes it all.
  static void convertQuatToEuler(Vec3f& euler, Quaternion const& rotation, int unit);

  void accumulateMatrix(Matrix& matrix) const override;
};

using Transform3DPtr = Transform3D::Ptr;

}  // namespace knscene
}  // namespace osg
