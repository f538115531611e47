#include "model/camera/UberCamera.h"

#include "model/fields/ChangeList.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <numbers>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(UberCameraBase, UberCamera, "UberCamera")

namespace {

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

bool isDistance(Real32 value) { return std::isfinite(value) && value > 0.F; }

bool isOpening(double radians) { return radians > 0.0 && radians < std::numbers::pi; }

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

UberCamera::State UberCamera::state() const {
  return {getTranslation(), getEulerRotation(), getEulerRotationOrientation(),
          getRotatePivot(), getFrom(),          getAt(),
          getUp(),          getRoll(),          getAtDistance(),
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
  _inStep = state();
}

void UberCamera::changed(BitVector const& mask, UInt32 origin) {
  UberCameraBase::changed(mask, origin);
  State const written = state();
  takeWrites();
  // What follows from the announced fields is noted with them; announcing it would only lead here again.
  BitVector const followed = difference(written, _inStep);
  ChangeList* const list = WinThreadBase::getCurrentChangeList();
  if (list != nullptr && followed.any()) list->addChanged(UberCameraPtr(this), followed);
}

UberCamera::State UberCamera::takeWrites() {
  State const before = _inStep;
  // No distance but a finite one above 0 is taken.
  if (!isDistance(getAtDistance())) setAtDistance(isDistance(before.atDistance) ? before.atDistance : 1.F);
  State const written = state();
  BitVector const mask = difference(before, written);
  if (mask.none()) return before;
  BitVector const place = TranslationFieldMask | EulerRotationFieldMask | EulerRotationOrientationFieldMask |
                          RotatePivotFieldMask;
  if ((mask & (FromFieldMask | AtFieldMask | UpFieldMask | RollFieldMask)).any()) {
    takeViewWrites(written);
  } else if ((mask & (place | AtDistanceFieldMask)).any()) {
    viewByPlace(written);
  }
  if ((mask & (FovFieldMask | FieldOfViewFieldMask)).any()) takeOpticsWrites(written);
  _inStep = state();
  return before;
}

void UberCamera::takeViewWrites(State const& written) {
  _fFrom.setValue(isFinite(written.from) ? written.from : _inStep.from);
  _fAt.setValue(isFinite(written.at) ? written.at : _inStep.at);
  _fUp.setValue(isFinite(written.up) ? written.up : _inStep.up);
  if (!std::isfinite(written.roll)) setRoll(_inStep.roll);
  placeByView();
}

void UberCamera::takeOpticsWrites(State const& written) {
  if (!(written.fieldOfView == _inStep.fieldOfView)) {
    double const vertical = written.fieldOfView[1];
    if (isOpening(vertical)) setFov(static_cast<Real32>(vertical / RadiansPerDegree));
    return;
  }
  double const vertical = written.fov * RadiansPerDegree;
  if (!isOpening(vertical)) return;
  // The shape of the picture stays: the tangents keep their ratio.
  auto const [horizontal, formerVertical] =
      std::pair<double, double>(getFieldOfView()[0], getFieldOfView()[1]);
  double const shape = isOpening(horizontal) && isOpening(formerVertical)
                           ? std::tan(horizontal / 2.0) / std::tan(formerVertical / 2.0)
                           : 1.0;
  setFieldOfView({2.0 * std::atan(shape * std::tan(vertical / 2.0)), vertical});
}

void UberCamera::placeByView() {
  Matrix3d const orientation = rotationOf(_inStep.orientation);
  Matrix3d const present = orientation * rotationOf(_inStep.rotation) * turn(-_inStep.roll, 2);
  bool const hasPresent = present.allFinite();
  Vector3d const from = toEigen(getFrom()), at = toEigen(getAt());
  Matrix3d const wanted =
      lookAt(from, at, toEigen(getUp()), hasPresent ? present : Matrix3d::Identity()) * turn(getRoll(), 2);
  Matrix3d const frame = rotationOf(getEulerRotationOrientation());
  Vec3f const angles = anglesOf(frame.transpose() * wanted);
  if (isFinite(angles)) setEulerRotation(angles);
  Vector3d const pivot = toEigen(getRotatePivot());
  Vec3f const translation = fromEigen<Vec3f>(from - pivot + wanted * pivot);
  if (isFinite(translation)) setTranslation(translation);
  auto const distance = static_cast<Real32>((at - from).norm());
  if (isDistance(distance)) setAtDistance(distance);
}

void UberCamera::viewByPlace(State const& written) {
  Matrix3d const rotation = rotationOf(written.orientation) * rotationOf(written.rotation);
  Vector3d const pivot = toEigen(written.pivot);
  Vector3d const from = toEigen(written.translation) + pivot - rotation * pivot;
  if (!rotation.allFinite() || !from.allFinite()) return;
  bool const isTurned = !(written.rotation == _inStep.rotation && written.orientation == _inStep.orientation);
  _fFrom.setValue(fromEigen<Pnt3f>(from));
  _fAt.setValue(fromEigen<Pnt3f>(from - rotation.col(2) * written.atDistance));
  if (isTurned) _fUp.setValue(fromEigen<Vec3f>((rotation * turn(-written.roll, 2)).col(1)));
}

void UberCamera::announceSince(State const& before) {
  BitVector const mask = difference(before, _inStep);
  if (mask.any()) announce(UberCameraPtr(this), mask);
}

Pnt3f UberCamera::getFrom(CameraSpace space) const {
  return space == WorldSpace ? pointToWorld(_fFrom.getValue()) : _fFrom.getValue();
}

Pnt3f UberCamera::getAt(CameraSpace space) const {
  return space == WorldSpace ? pointToWorld(_fAt.getValue()) : _fAt.getValue();
}

Vec3f UberCamera::getUp(CameraSpace space) const {
  return space == WorldSpace ? vectorToWorld(_fUp.getValue()) : _fUp.getValue();
}

void UberCamera::getFromAtUp(Pnt3f& from, Pnt3f& at, Vec3f& up, CameraSpace space) const {
  from = getFrom(space);
  at = getAt(space);
  up = getUp(space);
}

void UberCamera::setFrom(Pnt3f const& from, CameraSpace space) {
  State const before = takeWrites();
  setView(before, space == WorldSpace ? pointToLocal(from) : from, getAt(), getUp());
}

void UberCamera::setAt(Pnt3f const& at, CameraSpace space) {
  State const before = takeWrites();
  setView(before, getFrom(), space == WorldSpace ? pointToLocal(at) : at, getUp());
}

void UberCamera::setUp(Vec3f const& up, CameraSpace space) {
  State const before = takeWrites();
  setView(before, getFrom(), getAt(), space == WorldSpace ? vectorToLocal(up) : up);
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
  if (isFinite(from)) _fFrom.setValue(from);
  if (isFinite(at)) _fAt.setValue(at);
  if (isFinite(up)) _fUp.setValue(up);
  takeWrites();
  announceSince(before);
}

Real32 UberCamera::getTurntableAngle() const {
  Vector3d const offset = toEigen(getFrom()) - toEigen(getAt());
  constexpr double LeastShare = 1e-6;
  auto const angle = [](Vector3d const& direction) {
    return static_cast<Real32>(std::atan2(direction.x(), direction.z()) / RadiansPerDegree);
  };
  if (std::hypot(offset.x(), offset.z()) > LeastShare * offset.norm()) return angle(offset);
  // On the axis: what is behind the camera, or where it looks straight down or up, what is below or above it.
  Matrix3d const axes = rotationOf(getEulerRotationOrientation()) * rotationOf(getEulerRotation());
  Vector3d const back = axes.col(2);
  if (std::hypot(back.x(), back.z()) > LeastShare) return angle(back);
  return angle(axes.col(1) * (back.y() > 0.0 ? -1.0 : 1.0));
}

void UberCamera::setTurntableAngle(Real32 degrees) {
  if (!std::isfinite(degrees)) return;
  State const before = takeWrites();
  Matrix3d const turned = turn(static_cast<double>(degrees) - getTurntableAngle(), 1);
  Vector3d const at = toEigen(getAt());
  _fFrom.setValue(fromEigen<Pnt3f>(at + turned * (toEigen(getFrom()) - at)));
  _fUp.setValue(fromEigen<Vec3f>(turned * toEigen(getUp())));
  // The orientation turns too: where the view leaves it open, as straight above the centre, nothing else does.
  Matrix3d const frame = rotationOf(getEulerRotationOrientation());
  _inStep.rotation = anglesOf(frame.transpose() * turned * frame * rotationOf(getEulerRotation()));
  placeByView();
  _inStep = state();
  announceSince(before);
}

Real32 UberCamera::getTurntableHeight() const { return getFrom().y() - getAt().y(); }

void UberCamera::setTurntableHeight(Real32 height) {
  State const before = takeWrites();
  Pnt3f from = getFrom();
  from[1] = getAt().y() + height;
  setView(before, from, getAt(), getUp());
}

Real32 UberCamera::getTurntableDistance() const {
  return std::hypot(getFrom().x() - getAt().x(), getFrom().z() - getAt().z());
}

void UberCamera::setTurntableDistance(Real32 distance) {
  State const before = takeWrites();
  Vector3d const outwards = turn(getTurntableAngle(), 1).col(2);
  Vector3d from = toEigen(getAt()) + outwards * std::max(distance, 0.F);
  from.y() = getFrom().y();
  setView(before, fromEigen<Pnt3f>(from), getAt(), getUp());
}

Real32 UberCamera::getFocalLength() const {
  double const angle = getFieldOfView()[0];
  double const width = getSensorSize()[0];
  if (!isOpening(angle) || !(width > 0.0)) return 0.F;
  return static_cast<Real32>(width / (2.0 * std::tan(angle / 2.0)));
}

void UberCamera::setFocalLength(Real32 millimetres) {
  Vec2f const sensor = getSensorSize();
  if (!std::isfinite(millimetres) || !(millimetres > 0.F)) return;
  if (!isFinite(sensor) || !(sensor[0] > 0.F && sensor[1] > 0.F)) return;
  State const before = takeWrites();
  double const twice = 2.0 * millimetres;
  setFieldOfView({2.0 * std::atan(sensor[0] / twice), 2.0 * std::atan(sensor[1] / twice)});
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

NodePtr UberCamera::getUpVectorNode() const {
  return _fUpVectorNode.getValue().isAlive() ? _fUpVectorNode.getValue() : NodePtr();
}

void UberCamera::setAnimationRoot(AnimNodePtr const& root) {
  detail::replaceOwned(_fAnimationRoot, root);
  AnimNode::_changed = true;
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
