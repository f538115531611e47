#include "model/scenegraph/Transform3D.h"

#include <numbers>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(Transform3DBase, Transform3D, "Transform3D")

Matrix Transform3D::getMatrix() const {
  Matrix result = Matrix::translation(getTranslation() + getRotatePivot());
  if (getEulerRotationOrientation() != Vec3f()) {
    result = result * Matrix::rotationEuler(getEulerRotationOrientation());
  }
  return result * Matrix::rotationEuler(getEulerRotation()) * Matrix::translation(-getRotatePivot()) *
         Matrix::scale(getScale());
}

void Transform3D::setRotationAsEuler(Vec3f const& degrees) {
  setEulerRotation(degrees);
  announce(Transform3DPtr(this), EulerRotationFieldMask);
}

void Transform3D::setRotationOrientationAsEuler(Vec3f const& degrees) {
  setEulerRotationOrientation(degrees);
  announce(Transform3DPtr(this), EulerRotationOrientationFieldMask);
}

void Transform3D::accumulateMatrix(Matrix& matrix) const { matrix = matrix * getMatrix(); }

void Transform3D::convertQuatToEuler(Vec3f& euler, Quaternion const& rotation, int unit) {
  // Doubles and arc tangents, as an arcsine near 1 is good for a few hundredths of a degree only.
  double const x = rotation.x();
  double const y = rotation.y();
  double const z = rotation.z();
  double const w = rotation.w();
  double const size = x * x + y * y + z * z + w * w;
  double const scale = size > 0.0 ? 2.0 / size : 0.0;
  double const sineY = (w * y - x * z) * scale;
  double const sineZ = (x * y + w * z) * scale;
  double const cosineZ = 1.0 - (y * y + z * z) * scale;
  double const cosineY = std::hypot(sineZ, cosineZ);
  double angles[3] = {2.0 * std::atan2(x, w), std::atan2(sineY, cosineY), 0.0};
  // At a quarter turn of y only the sum of the other two is told.
  if (cosineY > 1e-9) {
    angles[0] = std::atan2((y * z + w * x) * scale, 1.0 - (x * x + y * y) * scale);
    angles[2] = std::atan2(sineZ, cosineZ);
  }
  double const factor = unit == 1 ? 180.0 / std::numbers::pi : 1.0;
  for (std::size_t i = 0; i < 3; ++i) euler[i] = static_cast<Real32>(angles[i] * factor);
}

}  // namespace knscene
}  // namespace osg
