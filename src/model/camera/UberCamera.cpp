#include "model/camera/UberCamera.h"

#include "model/fields/ChangeList.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <limits>
#include <numbers>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(UberCameraBase, UberCamera, "UberCamera")

namespace {

/// Cameras whose aim node was alive when it was last looked at. Never destroyed: cameras may outlive statics.
std::vector<UberCameraPtr>& aimedCameras() {
  static auto* const cameras = new std::vector<UberCameraPtr>;
  return *cameras;
}

using Eigen::Matrix3d;
using Eigen::Vector3d;

constexpr double RadiansPerDegree = std::numbers::pi / 180.0;

template <class Values>
Vector3d toEigen(Values const& v) {
  return {v[0], v[1], v[2]};
}

template <class Result>
Result fromEigen(Vector3d const& v) {
  return Result(v.x(), v.y(), v.z());
}

template <TupleKind Kind, std::size_t N>
bool isFinite(Tuple<Kind, Real32, N> const& values) {
  return std::all_of(values.data(), values.data() + N, [](Real32 value) { return std::isfinite(value); });
}

Matrix3d turn(double degrees, int axis) {
  return Eigen::AngleAxisd(degrees * RadiansPerDegree, Vector3d::Unit(axis)).toRotationMatrix();
}

Matrix3d rotationOf(Vec3f const& degrees) {
  return turn(degrees[2], 2) * turn(degrees[1], 1) * turn(degrees[0], 0);
}

/// The angles of `rotationOf`. By arc tangents alone, so that they keep their digits at a quarter turn of y,
/// where cameras that look along x are.
Vec3f anglesOf(Matrix3d const& r) {
  double const cosineY = std::hypot(r(0, 0), r(1, 0));
  bool const isQuarterTurn = cosineY < 1e-9;
  Vector3d const angles(isQuarterTurn ? std::atan2(-r(1, 2), r(1, 1)) : std::atan2(r(2, 1), r(2, 2)),
                        std::atan2(-r(2, 0), cosineY), isQuarterTurn ? 0.0 : std::atan2(r(1, 0), r(0, 0)));
  return fromEigen<Vec3f>(angles / RadiansPerDegree);
}

/// The orientation that looks from one point at another. What the points and the up vector leave open is taken
/// from `present`.
Matrix3d lookAt(Vector3d const& from, Vector3d const& at, Vector3d const& up, Matrix3d const& present) {
  constexpr double LeastSine = 1e-6;
  Vector3d const back = from - at;
  Matrix3d axes;
  axes.col(2) = back.norm() > 0.0 ? back.normalized() : Vector3d(present.col(2));
  Vector3d side = up.normalized().cross(axes.col(2));
  if (!(side.norm() > LeastSine)) side = present.col(1).cross(axes.col(2));
  if (!(side.norm() > LeastSine)) side = present.col(0) - axes.col(2) * axes.col(2).dot(present.col(0));
  axes.col(0) = side.normalized();
  axes.col(1) = axes.col(2).cross(axes.col(0));
  return axes;
}

/// What counts as no share of a length.
constexpr double LeastShare = 1e-6;

bool isDistance(Real32 value) { return std::isfinite(value) && value > 0.F; }

bool isOpening(double radians) { return radians > 0.0 && radians < std::numbers::pi; }

/// Whether angles of view go with a `Fov` in degrees, and were not written by themselves.
bool areAnglesOf(Real32 fov, Vec2f const& angles) {
  double const vertical = fov * RadiansPerDegree;
  return std::abs(angles[1] - vertical) <= 1e-5 * vertical;
}

}  // namespace

UberCamera::UberCamera() {
  constexpr double FocalLength = 50.0;
  for (std::size_t i = 0; i < 2; ++i) {
    _fFieldOfView.getValue()[i] =
        static_cast<Real32>(2.0 * std::atan(getSensorSize()[i] / (2.0 * FocalLength)));
  }
  setFov(static_cast<Real32>(getFieldOfView()[1] / RadiansPerDegree));
  setTonemappingSettings(TonemappingSettings::create());
  setFogSettings(FogSettings::create());
  _inStep = state();
}

// --- Both sides in step -------------------------------------------------------------------------------------------

UberCamera::State UberCamera::state() const {
  return {getTranslation(), getEulerRotation(), getEulerRotationOrientation(),
          getRotatePivot(), _fFrom.getValue(),  _fAt.getValue(),
          _fUp.getValue(),  getRoll(),          getAtDistance(),
          getFov(),         getFieldOfView()};
}

BitVector UberCamera::difference(State const& before, State const& after) {
  BitVector mask;
  auto const compare = [&mask](auto const& a, auto const& b, BitVector field) {
    if (!(a == b)) mask |= field;
  };
  compare(before.translation, after.translation, TranslationFieldMask);
  compare(before.rotation, after.rotation, EulerRotationFieldMask);
  compare(before.orientation, after.orientation, EulerRotationOrientationFieldMask);
  compare(before.pivot, after.pivot, RotatePivotFieldMask);
  compare(before.from, after.from, FromFieldMask);
  compare(before.at, after.at, AtFieldMask);
  compare(before.up, after.up, UpFieldMask);
  compare(before.roll, after.roll, RollFieldMask);
  compare(before.atDistance, after.atDistance, AtDistanceFieldMask);
  compare(before.fov, after.fov, FovFieldMask);
  compare(before.fieldOfView, after.fieldOfView, FieldOfViewFieldMask);
  return mask;
}

void UberCamera::fieldsAssigned() {
  UberCameraBase::fieldsAssigned();
  enrolAmongAimed();
  _inStep = state();
}

void UberCamera::changed(BitVector const& mask, UInt32 origin) {
  UberCameraBase::changed(mask, origin);
  enrolAmongAimed();
  State const written = state();
  takeWrites();
  // What follows from the announced fields is noted with them; announcing it would only lead here again.
  BitVector const followed = difference(written, _inStep);
  ChangeList* const list = WinThreadBase::getCurrentChangeList();
  if (list != nullptr && followed.any()) list->addChanged(UberCameraPtr(this), followed);
}

/// The fields as they are once what was written since has been taken.
UberCamera::State UberCamera::settled() const {
  State result = state();
  State const& before = _inStep;
  // No distance but a finite one above 0 is taken, and no other value that is not finite.
  if (!isDistance(result.atDistance))
    result.atDistance = isDistance(before.atDistance) ? before.atDistance : 1.F;
  if (!std::isfinite(result.roll)) result.roll = before.roll;
  BitVector const mask = difference(before, result);
  if (mask.none()) return result;
  BitVector const turned = mask & (EulerRotationFieldMask | EulerRotationOrientationFieldMask);
  BitVector const placed =
      turned | (mask & (TranslationFieldMask | RotatePivotFieldMask | AtDistanceFieldMask));
  if ((mask & (FromFieldMask | AtFieldMask | UpFieldMask)).any()) {
    if (!isFinite(result.from)) result.from = before.from;
    if (!isFinite(result.at)) result.at = before.at;
    if (!isFinite(result.up)) result.up = before.up;
    placeByView(result, before.orientation, before.rotation, before.roll);
  } else {
    if (placed.any()) viewByPlace(result, turned.any());
    // A rotation that was written says how the camera leans; else the roll does.
    if ((mask & RollFieldMask).any() && turned.none()) {
      placeByView(result, result.orientation, result.rotation, before.roll);
    }
  }
  if ((mask & (FovFieldMask | FieldOfViewFieldMask)).any()) settleOptics(result, before);
  return result;
}

UberCamera::State UberCamera::takeWrites() {
  State const before = _inStep;
  store(settled());
  return before;
}

void UberCamera::store(State const& values) {
  setTranslation(values.translation);
  setEulerRotation(values.rotation);
  setEulerRotationOrientation(values.orientation);
  setRotatePivot(values.pivot);
  _fFrom.setValue(values.from);
  _fAt.setValue(values.at);
  _fUp.setValue(values.up);
  setRoll(values.roll);
  setAtDistance(values.atDistance);
  setFov(values.fov);
  setFieldOfView(values.fieldOfView);
  _inStep = values;
}

/// Angles that were written stay as they are until they go with `Fov` again, and move no lens: curves write in degrees
/// what they read in radians, so that a flight, which takes them along with `Fov`, would leave a lens of another kind
/// behind. A curve that keeps them where they are writes nothing, but means them all the same.
void UberCamera::settleOptics(State& values, State const& before) {
  double const vertical = values.fov * RadiansPerDegree;
  if (values.fov == before.fov || !isOpening(vertical)) return;
  if (!(values.fieldOfView == before.fieldOfView) || !areAnglesOf(before.fov, before.fieldOfView)) return;
  // The shape of the picture stays: the tangents keep their ratio.
  double const horizontal = before.fieldOfView[0];
  double const former = before.fieldOfView[1];
  double const shape =
      isOpening(horizontal) && isOpening(former) ? std::tan(horizontal / 2.0) / std::tan(former / 2.0) : 1.0;
  values.fieldOfView[0] = static_cast<Real32>(2.0 * std::atan(shape * std::tan(vertical / 2.0)));
  values.fieldOfView[1] = static_cast<Real32>(vertical);
}

/// `orientation`, `rotation` and `roll` are those of the former view: what the new one leaves open is taken from it.
void UberCamera::placeByView(State& values, Vec3f const& orientation, Vec3f const& rotation, Real32 roll) {
  Matrix3d const present = rotationOf(orientation) * rotationOf(rotation) * turn(-roll, 2);
  Vector3d const from = toEigen(values.from), at = toEigen(values.at);
  Matrix3d const wanted =
      lookAt(from, at, toEigen(values.up), present.allFinite() ? present : Matrix3d::Identity()) *
      turn(values.roll, 2);
  Vec3f const angles = anglesOf(rotationOf(values.orientation).transpose() * wanted);
  if (isFinite(angles)) values.rotation = angles;
  Vector3d const pivot = toEigen(values.pivot);
  Vec3f const translation = fromEigen<Vec3f>(from - pivot + wanted * pivot);
  if (isFinite(translation)) values.translation = translation;
  auto const distance = static_cast<Real32>((at - from).norm());
  if (isDistance(distance)) values.atDistance = distance;
}

void UberCamera::viewByPlace(State& values, bool isTurned) {
  Matrix3d const rotation = rotationOf(values.orientation) * rotationOf(values.rotation);
  Vector3d const pivot = toEigen(values.pivot);
  Vector3d const from = toEigen(values.translation) + pivot - rotation * pivot;
  if (!rotation.allFinite() || !from.allFinite()) return;
  values.from = fromEigen<Pnt3f>(from);
  values.at = fromEigen<Pnt3f>(from - rotation.col(2) * values.atDistance);
  if (isTurned) values.up = fromEigen<Vec3f>((rotation * turn(-values.roll, 2)).col(1));
}

void UberCamera::announceSince(State const& before) {
  BitVector const mask = difference(before, _inStep);
  if (mask.any()) announce(UberCameraPtr(this), mask);
}

void UberCamera::bringInStep() { announceSince(takeWrites()); }

// --- From, at and up ----------------------------------------------------------------------------------------------

Pnt3f UberCamera::getFrom(CameraSpace space) const {
  Pnt3f const from = settled().from;
  return space == WorldSpace ? pointToWorld(from) : from;
}

Pnt3f UberCamera::getAt(CameraSpace space) const {
  Pnt3f const at = settled().at;
  return space == WorldSpace ? pointToWorld(at) : at;
}

Vec3f UberCamera::getUp(CameraSpace space) const {
  Vec3f const up = settled().up;
  return space == WorldSpace ? vectorToWorld(up) : up;
}

void UberCamera::getFromAtUp(Pnt3f& from, Pnt3f& at, Vec3f& up, CameraSpace space) const {
  State const view = settled();
  from = space == WorldSpace ? pointToWorld(view.from) : view.from;
  at = space == WorldSpace ? pointToWorld(view.at) : view.at;
  up = space == WorldSpace ? vectorToWorld(view.up) : view.up;
}

void UberCamera::setFrom(Pnt3f const& from, CameraSpace space) {
  State const before = takeWrites();
  setView(before, space == WorldSpace ? pointToLocal(from) : from, _inStep.at, _inStep.up);
}

void UberCamera::setAt(Pnt3f const& at, CameraSpace space) {
  State const before = takeWrites();
  setView(before, _inStep.from, space == WorldSpace ? pointToLocal(at) : at, _inStep.up);
}

void UberCamera::setUp(Vec3f const& up, CameraSpace space) {
  State const before = takeWrites();
  setView(before, _inStep.from, _inStep.at, space == WorldSpace ? vectorToLocal(up) : up);
}

void UberCamera::setViewByFromAtUp(Pnt3f const& from, Pnt3f const& at, Vec3f const& up, CameraSpace space) {
  State const before = takeWrites();
  if (space == WorldSpace) {
    setView(before, pointToLocal(from), pointToLocal(at), vectorToLocal(up));
  } else {
    setView(before, from, at, up);
  }
}

void UberCamera::setView(State const& before, Pnt3f const& from, Pnt3f const& at, Vec3f const& up) {
  _fFrom.setValue(from);
  _fAt.setValue(at);
  _fUp.setValue(up);
  takeWrites();
  announceSince(before);
}

// --- The turntable ------------------------------------------------------------------------------------------------

/// How far off a place may be because coordinates are floats: between the rounding and four times as much.
double UberCamera::resolutionOf(State const& view) {
  double largest = 0.0;
  for (Pnt3f const& point : {view.from, view.at}) {
    for (std::size_t i = 0; i < 3; ++i) largest = std::max<double>(largest, std::abs(point[i]));
  }
  return largest * 4.0 * std::numeric_limits<Real32>::epsilon();
}

bool UberCamera::isOnTurntableAxis(State const& view) {
  return !(turntableDistanceOf(view) > LeastShare * (toEigen(view.from) - toEigen(view.at)).norm());
}

double UberCamera::turntableAngleOf(State const& view) {
  auto const angle = [](Vector3d const& direction) {
    return std::atan2(direction.x(), direction.z()) / RadiansPerDegree;
  };
  if (!isOnTurntableAxis(view)) return angle(toEigen(view.from) - toEigen(view.at));
  // On the axis: what is behind the camera, or where it looks straight down or up, what is below or above it.
  Matrix3d const axes = rotationOf(view.orientation) * rotationOf(view.rotation);
  Vector3d const back = axes.col(2);
  if (std::hypot(back.x(), back.z()) > LeastShare) return angle(back);
  return angle(axes.col(1) * (back.y() > 0.0 ? -1.0 : 1.0));
}

double UberCamera::turntableDistanceOf(State const& view) {
  return std::hypot(static_cast<double>(view.from.x()) - view.at.x(),
                    static_cast<double>(view.from.z()) - view.at.z());
}

Real32 UberCamera::getTurntableAngle() const { return static_cast<Real32>(turntableAngleOf(settled())); }

void UberCamera::setTurntableAngle(Real32 degrees) {
  if (!std::isfinite(degrees)) return;
  State const before = takeWrites();
  State view = _inStep;
  double const turnedBy = std::remainder(degrees - turntableAngleOf(view), 360.0);
  // What floats cannot tell apart is left as it is: each turn would be another one, and lean the camera a little.
  double resolution = 5e-5;
  if (!isOnTurntableAxis(view)) {
    resolution += resolutionOf(view) / turntableDistanceOf(view) / RadiansPerDegree;
  }
  if (std::abs(turnedBy) > resolution) {
    Matrix3d const turned = turn(turnedBy, 1);
    Vector3d const at = toEigen(view.at);
    view.from = fromEigen<Pnt3f>(at + turned * (toEigen(view.from) - at));
    view.up = fromEigen<Vec3f>(turned * toEigen(view.up));
    // The orientation turns too: where the view leaves it open, as straight above the centre, nothing else does.
    Matrix3d const frame = rotationOf(view.orientation);
    Vec3f const present = anglesOf(frame.transpose() * turned * frame * rotationOf(view.rotation));
    placeByView(view, view.orientation, present, view.roll);
    store(view);
  }
  announceSince(before);
}

Real32 UberCamera::getTurntableHeight() const {
  State const view = settled();
  return view.from.y() - view.at.y();
}

void UberCamera::setTurntableHeight(Real32 height) {
  State const before = takeWrites();
  Pnt3f from = _inStep.from;
  from[1] = _inStep.at.y() + height;
  setView(before, from, _inStep.at, _inStep.up);
}

Real32 UberCamera::getTurntableDistance() const {
  return static_cast<Real32>(turntableDistanceOf(settled()));
}

void UberCamera::setTurntableDistance(Real32 distance) {
  State const before = takeWrites();
  State const view = _inStep;
  double const wanted = std::max(distance, 0.F);
  Pnt3f from = view.from;
  if (!(std::abs(wanted - turntableDistanceOf(view)) <= resolutionOf(view))) {
    from = fromEigen<Pnt3f>(toEigen(view.at) + turn(turntableAngleOf(view), 1).col(2) * wanted);
    from[1] = view.from.y();
  }
  setView(before, from, view.at, view.up);
}

// --- The lens -----------------------------------------------------------------------------------------------------

Real32 UberCamera::getFocalLength() const {
  State const lens = settled();
  // Angles that were written by themselves are none of the lens.
  bool const isWhole = areAnglesOf(lens.fov, lens.fieldOfView);
  double const angle = isWhole ? lens.fieldOfView[0] : lens.fov * RadiansPerDegree;
  double const size = getSensorSize()[isWhole ? 0 : 1];
  if (!isOpening(angle) || !(size > 0.0)) return 0.F;
  return static_cast<Real32>(size / (2.0 * std::tan(angle / 2.0)));
}

void UberCamera::setFocalLength(Real32 millimetres) {
  Vec2f const sensor = getSensorSize();
  if (!std::isfinite(millimetres) || !(millimetres > 0.F)) return;
  if (!isFinite(sensor) || !(sensor[0] > 0.F && sensor[1] > 0.F)) return;
  State const before = takeWrites();
  double const twice = 2.0 * millimetres;
  setFieldOfView({2.0 * std::atan(sensor[0] / twice), 2.0 * std::atan(sensor[1] / twice)});
  setFov(static_cast<Real32>(2.0 * std::atan(sensor[1] / twice) / RadiansPerDegree));
  takeWrites();
  announceSince(before);
}

void UberCamera::setFStop(Real32 number) {
  if (!std::isfinite(number) || !(number > 0.F)) return;
  _fRelativeAperture.setValue(number);
  announce(UberCameraPtr(this), RelativeApertureFieldMask);
}

NodePtr UberCamera::getAimNode() const {
  return _fAimNode.getValue().isAlive() ? _fAimNode.getValue() : NodePtr();
}

void UberCamera::setAimNode(NodePtr const& node) {
  _fAimNode.setValue(node);
  enrolAmongAimed();
}

void UberCamera::enrolAmongAimed() {
  if (_isEnrolled || !getAimNode().isAlive()) return;
  _isEnrolled = true;
  aimedCameras().emplace_back(this);
}

std::vector<UberCameraPtr> UberCamera::getAimedCameras() {
  std::erase_if(aimedCameras(), [](UberCameraPtr const& camera) {
    if (!camera.isAlive()) return true;
    camera->_isEnrolled = camera->getAimNode().isAlive();
    return !camera->_isEnrolled;
  });
  return aimedCameras();
}

NodePtr UberCamera::getUpVectorNode() const {
  return _fUpVectorNode.getValue().isAlive() ? _fUpVectorNode.getValue() : NodePtr();
}

void UberCamera::setAnimationRoot(AnimNodePtr const& root) {
  AnimNode::_changed = true;
  AnimNodePtr const former = getAnimationRoot();
  root.addRef();
  _fAnimationRoot.setValue(root);
  animationMarkChanged();
  StructureCounter::advance();
  former.subRef();
}

Matrix UberCamera::getProjection(Real32 aspect) const {
  Matrix result = PerspectiveCamera::getProjection(aspect);
  result(0, 1) = result(0, 0) * getSkewFactor();
  return result;
}

Vec4f UberCamera::getViewEdges(Real32 aspect) const {
  if (getFrustumSides() != Vec4f()) return getFrustumSides();
  Vec4f edges = PerspectiveCamera::getViewEdges(aspect);
  Real32 const focalLength = getFocalLength();
  if (!(focalLength > 0.F)) return edges;
  Vec2f const shift = getPrincipalPointOffset() * (1.F / focalLength);
  return {edges[0] - shift[0], edges[1] - shift[0], edges[2] - shift[1], edges[3] - shift[1]};
}

}  // namespace knscene
}  // namespace osg
