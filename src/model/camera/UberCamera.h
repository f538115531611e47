#pragma once

#include "model/camera/Camera.h"
#include "model/camera/FogSettings.h"
#include "model/camera/TonemappingSettings.h"
#include "model/sceneext/AnimNode.h"

#include <vector>

namespace osg {
inline namespace knscene {

class UberCamera;

/// The fields of a UberCamera.
class KNSCENE_API UberCameraBase : public PerspectiveCamera {
  KN_CONTAINER(UberCameraBase, UberCamera, PerspectiveCamera)
 public:
  /// The view in local space; see the operations of UberCamera. The fields do not have the names of the channels "from",
  /// "at" and "up", which go through those operations.
  KN_FIELD_BARE(SField<Pnt3f>, From, viewFrom, Plain)
  KN_FIELD_BARE(SField<Pnt3f>, At, viewAt, Plain, Pnt3f(0, 0, -1))
  KN_FIELD_BARE(SField<Vec3f>, Up, viewUp, Plain, Vec3f(0, 1, 0))
  /// A turn around the line of sight in degrees, after from, at and up; a positive one turns the camera
  /// counterclockwise as it looks.
  KN_SFIELD(Real32, Roll, roll, 0.F)
  /// The distance between from and at, above 0. While the two coincide, the last distance before that.
  KN_SFIELD(Real32, AtDistance, atDistance, 1.F)

  /// The full horizontal and vertical angles of view in radians, above 0 and below pi. They follow `Fov`.
  KN_SFIELD(Vec2f, FieldOfView, fieldOfView)
  /// Width and height of the sensor in millimetres.
  KN_SFIELD(Vec2f, SensorSize, sensorSize, Vec2f(36, 24))
  /// The shear of the picture: how far x moves with y.
  KN_SFIELD(Real32, SkewFactor, skewFactor, 0.F)
  /// Where the line of sight meets the sensor, from its centre, in millimetres.
  KN_SFIELD(Vec2f, PrincipalPointOffset, principalPointOffset)
  /// Left, right, bottom and top of what is seen, at distance 1. All zero: the angles of view decide.
  KN_SFIELD(Vec4f, FrustumSides, frustumSides)
  /// The denominator of the time of exposure: 50 means 1/50 s.
  KN_SFIELD(Real32, ShutterSpeed, shutterSpeed, 50.F)
  /// The distance that is sharp, in scene units.
  KN_SFIELD(Real32, FocusDistance, focusDistance, 10.F)
  /// The f-number, above 0; see `UberCamera::getFStop`.
  KN_FIELD_BARE(SField<Real32>, RelativeAperture, relativeAperture, Plain, 8.F)
  /// Whether pictures blur what moves.
  KN_SFIELD(bool, MotionBlur, motionBlur, false)

  /// The nodes that the camera is turned to and that its up vector points to. No reference is held.
  KN_FIELD_BARE(SField<NodePtr>, AimNode, aimNode, Plain)
  KN_FIELD_BARE(SField<NodePtr>, UpVectorNode, upVectorNode, Plain)

  /// A new camera has both; each may be null.
  KN_SFIELD_OWNED(TonemappingSettingsPtr, TonemappingSettings, tonemappingSettings)
  KN_SFIELD_OWNED(FogSettingsPtr, FogSettings, fogSettings)
  /// The root of the flights of this camera; null while there was none.
  KN_SFIELD_READ(AnimNodePtr, AnimationRoot, animationRoot, Owned)

  /// The time of one revolution of the turntable in seconds.
  KN_SFIELD(Real32, TurntableAnimationDuration, turntableAnimationDuration, 10.F)
  /// For a viewpoint of a camera track with the flag `TrackOverridesFlag`: fade-in, animation and pause in
  /// seconds, instead of those of the track. The fourth is the host's.
  KN_SFIELD(Vec4f, TrackOverrides, trackOverrides)
  KN_CONTAINER_END
};

/// The camera of a scene: a view, a lens, a sensor, and how it makes pictures.
///
/// The view is stored twice: as translation and rotation of the transform, and as from, at, up and roll. The two are
/// kept in step. The operations below update both and announce all changed fields at once, or nothing if none changed.
/// The getters below reflect all writes, even direct writes to fields that are not announced yet; the fields of the
/// other side follow with the announcement, whatever its mask. If both sides were written directly, from, at and up
/// win; rotation wins over roll. Pictures use `Fov`; `FieldOfView` follows it and keeps its aspect ratio. Angles that
/// are written to `FieldOfView` alone stay and change no picture; it follows again once its vertical angle equals
/// `Fov`.
///
/// Moving the transform moves `at` along, at its distance. If from and at coincide, if up lies along the line of sight,
/// or if values are not finite, the camera keeps a valid orientation: the former one, or one near it.
///
/// Main thread.
class KNSCENE_API UberCamera : public UberCameraBase {
 public:
  /// Switches of `Transform3D::hasFlag`.
  enum Flag : UInt32 {
    TrackOverridesFlag = 0x10,        ///< a viewpoint with durations of its own
    TurntableLoopFlag = 0x800,        ///< the turntable turns without end
    TurntableBackwardsFlag = 0x1000,  ///< the turntable turns toward smaller angles
    NavigatorFollowsFlag = 0x8000,    ///< the host's navigator follows the camera
  };

  /// A new camera has a lens of 50 mm on a sensor of 36 by 24 mm, so its `Fov` is 26.99 degrees, and not the 45 of a plain
  /// perspective camera.
  UberCamera();

  /// Where the camera is, and what it looks at.
  Pnt3f getFrom(CameraSpace space = LocalSpace) const;
  Pnt3f getAt(CameraSpace space = LocalSpace) const;
  /// The up vector as it was given: of any length, and not necessarily perpendicular to the line of sight.
  Vec3f getUp(CameraSpace space = LocalSpace) const;
  /// All three at once.
  void getFromAtUp(Pnt3f& from, Pnt3f& at, Vec3f& up, CameraSpace space = LocalSpace) const;

  /// Set one part of the view and keep the other two. A value that is not finite is ignored.
  void setFrom(Pnt3f const& from, CameraSpace space = LocalSpace);
  void setAt(Pnt3f const& at, CameraSpace space = LocalSpace);
  void setUp(Vec3f const& up, CameraSpace space = LocalSpace);
  void setViewByFromAtUp(Pnt3f const& from, Pnt3f const& at, Vec3f const& up, CameraSpace space = LocalSpace);

  /// The place of the camera on a turntable whose axis is the vertical line through `at` in local space: the angle in
  /// degrees within -180 to 180, 0 toward +z and 90 toward +x; the height above `at`; the distance from the axis. On
  /// the axis itself the angle is the one that the camera is turned by. The setters change one and keep the other two;
  /// turning takes the up vector along. A distance below 0 counts as 0. An angle or distance that differs from the
  /// present one by no more than what float coordinates can hold changes nothing.
  Real32 getTurntableAngle() const;
  void setTurntableAngle(Real32 degrees);
  Real32 getTurntableHeight() const;
  void setTurntableHeight(Real32 height);
  Real32 getTurntableDistance() const;
  void setTurntableDistance(Real32 distance);

  /// The focal length in millimetres, from the horizontal angle of view and the width of the sensor, or from `Fov`
  /// and the height where the angles of view were written by themselves; 0 where these give none. The setter sets
  /// both angles of view to suit; a length that is not above 0, or a sensor without size, is ignored.
  Real32 getFocalLength() const;
  void setFocalLength(Real32 millimetres);
  /// The f-number: focal length by diameter of the aperture. A zoom keeps it. One not above 0 is ignored.
  Real32 getFStop() const { return _fRelativeAperture.getValue(); }
  void setFStop(Real32 number);

  /// Brings the view in step with fields that were written directly, as announcing them would, and announces all that
  /// changed.
  void bringInStep();

  /// Null also when the node is gone.
  NodePtr getAimNode() const;
  NodePtr getUpVectorNode() const;
  void setAimNode(NodePtr const& node);
  void setUpVectorNode(NodePtr const& node) { _fUpVectorNode.setValue(node); }
  /// All living cameras of the process with an aim node that lives, in the order in which they were aimed. An aim
  /// that was written into the field itself counts once it is announced. Linear in their number.
  static std::vector<Ptr> getAimedCameras();

  /// Sets the root of the flights and raises `AnimNode::_changed`. Announces nothing.
  void setAnimationRoot(AnimNodePtr const& root);
  /// A camera that has had flights brings them along.
  bool marksAnimation() const override { return getAnimationRoot() != nullptr; }

  /// The frustum sides if they are given, else from `Fov`, `aspect` and the principal point: `Fov` gives the height,
  /// and `aspect` the width for it.
  Vec4f getViewEdges(Real32 aspect) const override;
  /// With the skew.
  Matrix getProjection(Real32 aspect) const override;

  void changed(BitVector const& mask, UInt32 origin) override;

 protected:
  void fieldsAssigned() override;

 private:
  /// All that is kept in step, to see what was written since.
  struct State {
    Vec3f translation, rotation, orientation, pivot;
    Pnt3f from, at;
    Vec3f up;
    Real32 roll, atDistance, fov;
    Vec2f fieldOfView;
  };

  State state() const;
  State settled() const;
  static BitVector difference(State const& before, State const& after);
  State takeWrites();
  void store(State const& values);
  void setView(State const& before, Pnt3f const& from, Pnt3f const& at, Vec3f const& up);
  void announceSince(State const& before);
  static void placeByView(State& values, Vec3f const& orientation, Vec3f const& rotation, Real32 roll);
  static void viewByPlace(State& values, bool isTurned);
  static void settleOptics(State& values, State const& before);
  static double resolutionOf(State const& view);
  static bool isOnTurntableAxis(State const& view);
  static double turntableAngleOf(State const& view);
  static double turntableDistanceOf(State const& view);

  void enrolAmongAimed();

  State _inStep;
  bool _isEnrolled = false;  ///< in the list behind getAimedCameras
};

using UberCameraPtr = UberCamera::Ptr;

}  // namespace knscene
}  // namespace osg
