#include "model/constraint/AimConstraint.h"

#include "model/scenegraph/NodeQueries.h"

#include <algorithm>
#include <cmath>

namespace osg {
inline namespace knscene {

namespace {

/// What floats cannot tell apart after a way through several spaces, relative to the size of what is compared.
Real32 const Tolerance = 4e-6F;

bool isFinite(Pnt3f const& point) {
  return std::isfinite(point.x()) && std::isfinite(point.y()) && std::isfinite(point.z());
}

Real32 sizeOf(Pnt3f const& point) {
  return std::max({std::abs(point.x()), std::abs(point.y()), std::abs(point.z())});
}

bool areApart(Pnt3f const& a, Pnt3f const& b, Real32 size) { return length(b - a) > Tolerance * size; }

/// Whether a node moves when the camera does: it is one of the camera's nodes, or stands below one.
bool isMovedBy(UberCameraPtr const& camera, NodePtr node) {
  for (; node.isAlive(); node = node->getParent()) {
    if (node->getCore() == camera) return true;
  }
  return false;
}

}  // namespace

std::optional<AimConstraint> AimConstraint::of(UberCameraPtr const& camera) {
  if (!camera.isAlive() || !camera->getAimNode().isAlive()) return std::nullopt;
  return AimConstraint(camera);
}

Pnt3f AimConstraint::getAimPos(NodePtr const& node) {
  if (!node.isAlive()) return {};
  // Before its scale, a transform leaves its pivot in place: the pivot's place in the space of the parent is
  // translation and pivot.
  auto const* const transform = coreOf<Transform3D>(node);
  if (transform == nullptr) return node->getToWorld().multMatrixPnt({});
  Vec3f const place = transform->getTranslation() + transform->getRotatePivot();
  Pnt3f const local(place.x(), place.y(), place.z());
  return node->getParent().isAlive() ? node->getParent()->getToWorld().multMatrixPnt(local) : local;
}

void AimConstraint::evaluate() const {
  NodePtr const aimNode = getAimNode();
  if (!aimNode.isAlive() || isMovedBy(_camera, aimNode)) return;
  Pnt3f from;
  Pnt3f formerAt;
  Vec3f up;
  _camera->getFromAtUp(from, formerAt, up, Camera::WorldSpace);
  Pnt3f const at = getAimPos(aimNode);
  Matrix toLocal;
  // No turn of the camera is seen in a space without extent.
  if (!_camera->getLocalToWorld().inverse(toLocal)) return;
  if (!isFinite(from) || !isFinite(at)) return;
  Real32 const size = std::max(sizeOf(from), sizeOf(at));
  if (!areApart(from, at, size)) return;
  Vec3f const formerUp = up;
  NodePtr const upNode = getUpVectorNode();
  if (upNode.isAlive() && !isMovedBy(_camera, upNode)) {
    Vec3f const wanted = getAimPos(upNode) - from;
    Vec3f const sight = at - from;
    Real32 const distance = length(wanted);
    bool const isUsable = std::isfinite(distance) && distance > 0 &&
                          length(cross(wanted, sight)) > 1e-5F * distance * length(sight);
    if (isUsable) up = wanted * (1 / distance);
  }
  // Nothing is set where floats cannot hold the difference, so that a camera at rest stays at rest.
  bool const leans = length(normalized(up) - normalized(formerUp)) > Tolerance;
  if (!leans && !areApart(at, formerAt, size)) return;
  // Where the camera stands, and an up vector that stays, go through no other space: the rounding would add up.
  _camera->setViewByFromAtUp(_camera->getFrom(), toLocal.multMatrixPnt(at),
                             up == formerUp ? _camera->getUp() : toLocal.multMatrixVec(up));
}

}  // namespace knscene
}  // namespace osg
