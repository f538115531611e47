#pragma once

#include "model/scenegraph/Transform3D.h"

namespace osg {
inline namespace knscene {

class Camera;
class PerspectiveCamera;

/// The fields of a Camera.
class KNSCENE_API CameraBase : public Transform3D {
  KN_CONTAINER(CameraBase, Camera, Transform3D)
 public:
  /// The near and far planes: nothing nearer or farther is seen. In scene units along the line of sight, above 0.
  KN_SFIELD(Real32, Near, near, 0.1F)
  KN_SFIELD(Real32, Far, far, 10000.F)
  KN_CONTAINER_END
};

/// A camera as the core of a node. Its matrix places it in the space of the node's parent; there it looks down
/// its own -z, with y up.
class KNSCENE_API Camera : public CameraBase {
 public:
  /// The space in which positions and directions of a camera are given.
  enum CameraSpace : UInt32 {
    LocalSpace = 0,  ///< the space of the parent of the camera's node, which the camera's transform acts in
    WorldSpace = 1,
  };

  /// The node that counts as this camera's: the first of those that use it, null when there is none.
  NodePtr getCameraNode() const;
  /// The matrix from the camera's local space to the world; the identity without a node or a parent above it.
  Matrix getLocalToWorld() const;

  /// Conversions between the camera's local space and the world. If the matrix to the world cannot be inverted,
  /// conversions to local space return their argument unchanged.
  virtual Pnt3f pointToWorld(Pnt3f const& local) const;
  virtual Vec3f vectorToWorld(Vec3f const& local) const;
  virtual Pnt3f pointToLocal(Pnt3f const& world) const;
  virtual Vec3f vectorToLocal(Vec3f const& world) const;
  virtual Matrix matrixToLocal(Matrix const& world) const;

 private:
  Matrix worldToLocal() const;
};

using CameraPtr = Camera::Ptr;

/// The fields of a PerspectiveCamera.
class KNSCENE_API PerspectiveCameraBase : public Camera {
  KN_CONTAINER(PerspectiveCameraBase, PerspectiveCamera, Camera)
 public:
  /// The full vertical angle of view in degrees, above 0 and below 180.
  KN_SFIELD(Real32, Fov, fov, 45.F)
  KN_CONTAINER_END
};

/// A camera with a vertical angle of view.
class KNSCENE_API PerspectiveCamera : public PerspectiveCameraBase {
 public:
  /// The edges of what is seen, at distance 1: left, right, bottom, top. `aspect` is width by height of the
  /// picture, above 0.
  virtual Vec4f getViewEdges(Real32 aspect) const;
  /// The projection from camera space, where the camera looks down -z, to the cube from -1 to 1; see `getViewEdges`.
  virtual Matrix getProjection(Real32 aspect) const;
};

using PerspectiveCameraPtr = PerspectiveCamera::Ptr;

}  // namespace knscene
}  // namespace osg
