#pragma once

#include "model/camera/UberCamera.h"

#include <optional>

namespace osg {
inline namespace knscene {

/// The aim constraint of a camera: it keeps the camera turned to its aim node, and its up vector to its up vector node
/// when it has one. The camera's own `AimNode` and `UpVectorNode` are all there is behind it; this is a view of them
/// that is made when asked for. Main thread.
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

  /// The point in the world that a node is aimed at: where its transform turns around, or the origin of the space
  /// below it. The origin of the world for a null or dead handle.
  static Pnt3f getAimPos(NodePtr const& node);

  /// Turns the camera where it stands: it looks at the aim node, with its up vector toward the up vector node, or as
  /// it was when there is none. Announces what changed, and nothing when nothing did. Nothing happens when the aim
  /// stands where the camera does, when a place is not finite, and when the aim node is a node of the camera's or stands
  /// below one, as it would run away from the camera for ever. An up target in line with the aim keeps the former up
  /// vector.
  void evaluate() const;

 private:
  explicit AimConstraint(UberCameraPtr const& camera) : _camera(camera) {}

  UberCameraPtr _camera;
};

}  // namespace knscene
}  // namespace osg
