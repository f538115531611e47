#include "knanim/import/EulerAngles.h"

#include <cmath>
#include <numbers>

namespace knanim {
namespace {

constexpr double kDegrees = 180.0 / std::numbers::pi;

/// Below this cosine of y the angles x and z of a rotation given in single precision are mostly noise. Taking any z
/// there is wrong by less than a thousandth of a degree.
constexpr double kLockedCosine = 4e-6;

/// `angle` moved by whole turns to within half a turn of `target`.
double turnedTo(double target, double angle) { return angle + 360.0 * std::round((target - angle) / 360.0); }

double squaredDistance(EulerDegrees const& a, EulerDegrees const& b) {
  double const x = a.x - b.x;
  double const y = a.y - b.y;
  double const z = a.z - b.z;
  return x * x + y * y + z * z;
}

EulerDegrees turnedTo(EulerDegrees const& target, EulerDegrees const& angles) {
  return {turnedTo(target.x, angles.x), turnedTo(target.y, angles.y), turnedTo(target.z, angles.z)};
}

double cosineOfY(Matrix3 const& m) { return std::hypot(m[0][0], m[1][0]); }
double angleY(Matrix3 const& m) { return std::atan2(-m[2][0], cosineOfY(m)) * kDegrees; }

/// x for a given z where y is a quarter turn, up or down: only the difference or the sum of both is determined.
double lockedX(Matrix3 const& m, double z) {
  if (m[2][0] < 0) return std::atan2(m[0][1], m[1][1]) * kDegrees + z;
  return std::atan2(-m[0][1], m[1][1]) * kDegrees - z;
}

EulerDegrees freeAngles(Matrix3 const& m) {
  return {std::atan2(m[2][1], m[2][2]) * kDegrees, angleY(m), std::atan2(m[1][0], m[0][0]) * kDegrees};
}

}  // namespace

bool normalize(Rotation& rotation) {
  double const length = std::hypot(std::hypot(rotation.w, rotation.x), std::hypot(rotation.y, rotation.z));
  if (!std::isfinite(length) || length == 0) return false;
  rotation = {rotation.w / length, rotation.x / length, rotation.y / length, rotation.z / length};
  return true;
}

Matrix3 toMatrix(Rotation const& rotation) {
  auto const& [w, x, y, z] = rotation;
  return {{{1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)},
           {2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)},
           {2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)}}};
}

Matrix3 toMatrix(EulerDegrees const& angles) {
  double const cx = std::cos(angles.x / kDegrees);
  double const sx = std::sin(angles.x / kDegrees);
  double const cy = std::cos(angles.y / kDegrees);
  double const sy = std::sin(angles.y / kDegrees);
  double const cz = std::cos(angles.z / kDegrees);
  double const sz = std::sin(angles.z / kDegrees);
  return {{{cy * cz, sx * sy * cz - cx * sz, cx * sy * cz + sx * sz},
           {cy * sz, sx * sy * sz + cx * cz, cx * sy * sz - sx * cz},
           {-sy, sx * cy, cx * cy}}};
}

Rotation toRotation(EulerDegrees const& angles) {
  auto const half = [](double degrees) { return degrees / kDegrees / 2; };
  Rotation const x{std::cos(half(angles.x)), std::sin(half(angles.x)), 0, 0};
  Rotation const y{std::cos(half(angles.y)), 0, std::sin(half(angles.y)), 0};
  Rotation const z{std::cos(half(angles.z)), 0, 0, std::sin(half(angles.z))};
  return z * y * x;
}

Rotation operator*(Rotation const& a, Rotation const& b) {
  return {a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z, a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y,
          a.w * b.y - a.x * b.z + a.y * b.w + a.z * b.x, a.w * b.z + a.x * b.y - a.y * b.x + a.z * b.w};
}

Rotation inverse(Rotation const& rotation) { return {rotation.w, -rotation.x, -rotation.y, -rotation.z}; }

double angleBetween(Rotation const& a, Rotation const& b) {
  Rotation const turn = a * inverse(b);
  return 2 * std::atan2(std::hypot(turn.x, turn.y, turn.z), std::abs(turn.w)) * kDegrees;
}

EulerDegrees toEuler(Rotation const& rotation) {
  Matrix3 const m = toMatrix(rotation);
  if (cosineOfY(m) < kLockedCosine) return {lockedX(m, 0), angleY(m), 0};
  return freeAngles(m);
}

EulerDegrees toEulerNear(Rotation const& rotation, EulerDegrees const& previous) {
  Matrix3 const m = toMatrix(rotation);
  if (cosineOfY(m) < kLockedCosine) {
    return {turnedTo(previous.x, lockedX(m, previous.z)), turnedTo(previous.y, angleY(m)), previous.z};
  }
  EulerDegrees const principal = freeAngles(m);
  EulerDegrees const near = turnedTo(previous, principal);
  EulerDegrees const flipped = turnedTo(previous, {principal.x + 180, 180 - principal.y, principal.z + 180});
  return squaredDistance(near, previous) <= squaredDistance(flipped, previous) ? near : flipped;
}

}  // namespace knanim
