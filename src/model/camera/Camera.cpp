#include "model/camera/Camera.h"

#include <numbers>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE_ABSTRACT(CameraBase, "Camera")
KN_CONTAINER_TYPE(PerspectiveCameraBase, PerspectiveCamera, "PerspectiveCamera")

NodePtr Camera::getCameraNode() const {
  for (NodePtr const& node : getParents()) {
    if (node.isAlive()) return node;
  }
  return {};
}

Matrix Camera::getLocalToWorld() const {
  NodePtr const node = getCameraNode();
  return node && node->getParent().isAlive() ? node->getParent()->getToWorld() : Matrix();
}

Matrix Camera::worldToLocal() const {
  Matrix result;
  getLocalToWorld().inverse(result);
  return result;
}

Pnt3f Camera::pointToWorld(Pnt3f const& local) const { return getLocalToWorld().multMatrixPnt(local); }
Vec3f Camera::vectorToWorld(Vec3f const& local) const { return getLocalToWorld().multMatrixVec(local); }
Pnt3f Camera::pointToLocal(Pnt3f const& world) const { return worldToLocal().multMatrixPnt(world); }
Vec3f Camera::vectorToLocal(Vec3f const& world) const { return worldToLocal().multMatrixVec(world); }
Matrix Camera::matrixToLocal(Matrix const& world) const { return worldToLocal() * world; }

Vec4f PerspectiveCamera::getViewEdges(Real32 aspect) const {
  Real32 const top = std::tan(getFov() * static_cast<Real32>(std::numbers::pi / 360.0));
  return {-top * aspect, top * aspect, -top, top};
}

Matrix PerspectiveCamera::getProjection(Real32 aspect) const {
  Vec4f const edges = getViewEdges(aspect);
  Real32 const width = edges[1] - edges[0];
  Real32 const height = edges[3] - edges[2];
  Real32 const depth = getFar() - getNear();
  Matrix result;
  result(0, 0) = 2.F / width;
  result(0, 2) = (edges[0] + edges[1]) / width;
  result(1, 1) = 2.F / height;
  result(1, 2) = (edges[2] + edges[3]) / height;
  result(2, 2) = -(getFar() + getNear()) / depth;
  result(2, 3) = -2.F * getFar() * getNear() / depth;
  result(3, 2) = -1.F;
  result(3, 3) = 0.F;
  return result;
}

}  // namespace knscene
}  // namespace osg
