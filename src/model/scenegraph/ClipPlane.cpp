#include "model/scenegraph/ClipPlane.h"

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(ClipPlaneBase, ClipPlane, "ClipPlane")

Vec4f ClipPlane::getPlane(Matrix const& toWorld) const {
  Matrix matrix = toWorld;
  if (getTransform().isAlive()) getTransform()->accumulateMatrix(matrix);
  Vec3f const normal = normalized(getNormal());
  Matrix inverse;
  if (!(length(normal) > 0.F) || !matrix.inverse(inverse)) return {};
  // A normal goes with the inverse transposed, which keeps it upright on a plane that is sheared.
  Vec3f moved;
  for (UInt32 i = 0; i < 3; ++i) {
    moved[i] = dot(normal, Vec3f(inverse(0, i), inverse(1, i), inverse(2, i)));
  }
  moved = normalized(moved);
  Pnt3f const onPlane = matrix.multMatrixPnt(Pnt3f(normal * getDistance()));
  return {moved.x(), moved.y(), moved.z(), dot(moved, Vec3f(onPlane))};
}

Vec4f ClipPlane::getWorldPlane(NodePtr const& node) const {
  return getPlane(node.isAlive() ? node->getToWorld() : Matrix());
}

}  // namespace knscene
}  // namespace osg
