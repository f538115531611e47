#pragma once

#include "model/camera/UberCamera.h"

#include <optional>

namespace osg {
inline namespace knscene {

/// The aim constraint of a camera: it keeps the camera turned to its aim node, and its up vector to its up vector node
/// when it has one. It has no data of its own: it is made on request, as a view of the camera's `AimNode` and
/// `UpVectorNode`. Main thread.
class KNSCENE_API AimConstraint {
 public:
  /// The constraint of a camera that has an aim node; nothing for any other, and for null and dead handles.
  static std::optional<AimConstraint> of(UberCameraPtr const& camera);

  /// The camera.
  UberCameraPtr const& getCamera() const { return _camera; }
  /// Null also when the node, or the camera, has gone.
  NodePtr getAimNode() const { return _camera.isAlive() ? _camera->getAimNode() : NodePtr(); }
  NodePtr getUpVectorNode() const { return _camera.isAlive() ? _camera->getUpVectorNode() : NodePtr(); }
  /// Whether there is an up vector node.
  bool hasUpVectorSources() const { return getUpVectorNode().isAlive(); }

  /// The point of a node that a camera aims at, in the world: the pivot of its transform, or else the origin of the
  /// space below it. The origin of the world for a null or dead handle.
  static Pnt3f getAimPos(NodePtr const& node);

  /// Turns the camera where it stands: it looks at the aim node, with its up vector toward the up vector node, or as
  /// it was when there is none. Announces what changed, if anything. Nothing happens if the aim is at the camera's
  /// position, if a position is not finite, or if the aim node is one of the camera's nodes or below one: it would then
  /// move with the camera. If the up target is in line with the aim, the former up vector stays.
  void evaluate() const;

 private:
  explicit AimConstraint(UberCameraPtr const& camera) : _camera(camera) {}

  UberCameraPtr _camera;
};

}  // namespace knscene
}  // namespace osg
