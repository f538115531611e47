#include "model/constraint/AimConstraint.h"

#include "model/scenegraph/NodeQueries.h"

#include <algorithm>
#include <cmath>

namespace osg {
inline namespace knscene {

namespace {

/// Relative to the distances that are compared.
Real32 const Tolerance = 1e-6F;

bool isFinite(Pnt3f const& point) {
  return std::isfinite(point.x()) && std::isfinite(point.y()) && std::isfinite(point.z());
}

/// Whether two places differ by more than rounding.
bool areApart(Pnt3f const& a, Pnt3f const& b) {
  Real32 const scale = std::max({std::abs(a.x()), std::abs(a.y()), std::abs(a.z()), Real32(1e-6)});
  return length(b - a) > Tolerance * scale;
}

bool isAtOrBelow(NodePtr node, NodePtr const& ancestor) {
  for (; node.isAlive(); node = node->getParent()) {
    if (node == ancestor) return true;
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
  if (!aimNode.isAlive() || isAtOrBelow(aimNode, _camera->getCameraNode())) return;
  Pnt3f from;
  Pnt3f formerAt;
  Vec3f up;
  _camera->getFromAtUp(from, formerAt, up, Camera::WorldSpace);
  Pnt3f const at = getAimPos(aimNode);
  if (!isFinite(from) || !isFinite(at) || !areApart(from, at)) return;
  NodePtr const upNode = getUpVectorNode();
  if (upNode.isAlive() && !isAtOrBelow(upNode, _camera->getCameraNode())) {
    Vec3f const wanted = getAimPos(upNode) - from;
    Vec3f const sight = at - from;
    Real32 const size = length(wanted);
    bool const isUsable =
        std::isfinite(size) && size > 0 && length(cross(wanted, sight)) > 1e-5F * size * length(sight);
    if (isUsable) up = wanted * (1 / size);
  }
  _camera->setViewByFromAtUp(from, at, up, Camera::WorldSpace);
}

}  // namespace knscene
}  // namespace osg
