#include "model/math/MatrixTools.h"

#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <cmath>

namespace osg {
inline namespace knscene {

namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;

template <class Triple>
Vector3d toEigen(Triple const& values) {
  return {values.x(), values.y(), values.z()};
}

void setColumn(Matrix& matrix, UInt32 column, Vector3d const& values) {
  for (UInt32 row = 0; row < 3; ++row) matrix(row, column) = static_cast<Real32>(values[row]);
}

Matrix3d linearPart(Matrix const& matrix) {
  return Eigen::Map<Eigen::Matrix4f const>(matrix.data()).topLeftCorner<3, 3>().cast<double>();
}

Quaternion toQuaternion(Matrix3d const& rotation) {
  Eigen::Quaterniond const q = Eigen::Quaterniond(rotation).normalized();
  return {static_cast<Real32>(q.x()), static_cast<Real32>(q.y()), static_cast<Real32>(q.z()),
          static_cast<Real32>(q.w())};
}

/// The axis that leans least on a direction.
Vector3d farthestAxis(Vector3d const& direction) {
  Vector3d::Index axis = 0;
  direction.cwiseAbs().minCoeff(&axis);
  return Vector3d::Unit(axis);
}

}  // namespace

Matrix lookAt(Pnt3f const& from, Pnt3f const& at, Vec3f const& up) {
  Vector3d const place = toEigen(from);
  Vector3d back = place - toEigen(at);
  Vector3d const upright = toEigen(up);
  if (!place.allFinite() || !back.allFinite() || !upright.allFinite()) return {};
  back = back.norm() > 0 ? Vector3d(back.normalized()) : Vector3d::UnitZ();
  Vector3d right = upright.normalized().cross(back);
  if (!(right.norm() > 1e-6)) right = farthestAxis(back).cross(back);
  right.normalize();
  Matrix result;
  setColumn(result, 0, right);
  setColumn(result, 1, back.cross(right));
  setColumn(result, 2, back);
  setColumn(result, 3, place);
  return result;
}

TransformParts splitTransform(Matrix const& matrix) {
  TransformParts parts;
  parts.translation = {matrix(0, 3), matrix(1, 3), matrix(2, 3)};
  Matrix3d const linear = linearPart(matrix);
  double const determinant = linear.determinant();
  if (!linear.allFinite() || determinant == 0) return parts;
  Matrix rotation;
  Matrix stretch;
  if (!matrix.polarDecompose(rotation, stretch)) return parts;
  parts.rotation = toQuaternion(linearPart(rotation));
  // From the exact rotation, as the stretch was rounded on its own.
  Matrix3d const symmetric = linearPart(rotation).transpose() * linear;
  Eigen::SelfAdjointEigenSolver<Matrix3d> const solver((symmetric + symmetric.transpose()) / 2);
  Matrix3d axes = solver.eigenvectors();
  Vector3d factors = solver.eigenvalues();
  // Where the stretch runs along the axes as they are, they stay: the solver sorts them by their factors.
  double const offAxis = std::abs(symmetric(0, 1)) + std::abs(symmetric(0, 2)) + std::abs(symmetric(1, 2));
  if (offAxis <= 1e-6 * symmetric.norm()) {
    axes.setIdentity();
    factors = symmetric.diagonal();
  }
  if (axes.determinant() < 0) axes.col(0) *= -1;
  parts.scale = {static_cast<Real32>(factors.x()), static_cast<Real32>(factors.y()),
                 static_cast<Real32>(factors.z())};
  parts.scaleOrientation = toQuaternion(axes);
  return parts;
}

}  // namespace knscene
}  // namespace osg
