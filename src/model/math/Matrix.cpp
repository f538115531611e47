#include "model/math/Matrix.h"

#include "model/utils/OsgLog.h"

#include <Eigen/Geometry>
#include <Eigen/LU>
#include <Eigen/SVD>
#include <numbers>

namespace osg {
inline namespace knscene {

namespace {

using Map4 = Eigen::Map<Eigen::Matrix4f>;
using ConstMap4 = Eigen::Map<Eigen::Matrix4f const>;

constexpr Real32 RadiansPerDegree = static_cast<Real32>(std::numbers::pi / 180.0);

ConstMap4 view(Matrix const& matrix) { return ConstMap4(matrix.data()); }

Matrix fromEigen(Eigen::Matrix4f const& values) {
  Matrix result;
  Map4(result.data()) = values;
  return result;
}

Matrix fromLinear(Eigen::Matrix3f const& values) {
  Eigen::Matrix4f full = Eigen::Matrix4f::Identity();
  full.topLeftCorner<3, 3>() = values;
  return fromEigen(full);
}

}  // namespace

Quaternion Quaternion::fromAxisDegrees(Vec3f const& axis, Real32 degrees) {
  Vec3f const unit = normalized(axis);
  if (unit == Vec3f()) return {};
  Real32 const half = degrees * RadiansPerDegree * 0.5F;
  Real32 const sine = std::sin(half);
  return {unit.x() * sine, unit.y() * sine, unit.z() * sine, std::cos(half)};
}

Quaternion Quaternion::fromMatrix(Matrix const& matrix) {
  Eigen::Matrix3f const linear = view(matrix).topLeftCorner<3, 3>();
  if (!linear.allFinite()) {
    osgLogWarning("OpenSG", "MatToQuat: matrix is not finite\n");
    return {};
  }
  if ((linear * linear.transpose() - Eigen::Matrix3f::Identity()).norm() > 1e-2F ||
      linear.determinant() < 0.F) {
    osgLogWarning("OpenSG", "MatToQuat: matrix is no rotation\n");
    return {};
  }
  Eigen::Quaternionf const q = Eigen::Quaternionf(linear).normalized();
  return {q.x(), q.y(), q.z(), q.w()};
}

Matrix Matrix::translation(Vec3f const& offset) {
  Matrix result;
  for (UInt32 row = 0; row < 3; ++row) result(row, 3) = offset[row];
  return result;
}

Matrix Matrix::scale(Vec3f const& factors) {
  Matrix result;
  for (UInt32 i = 0; i < 3; ++i) result(i, i) = factors[i];
  return result;
}

Matrix Matrix::rotation(Quaternion const& rotation) {
  return fromLinear(Eigen::Quaternionf(rotation.w(), rotation.x(), rotation.y(), rotation.z())
                        .normalized()
                        .toRotationMatrix());
}

Matrix Matrix::rotationEuler(Vec3f const& degrees) {
  auto turn = [&](UInt32 axis) {
    return Eigen::AngleAxisf(degrees[axis] * RadiansPerDegree, Eigen::Vector3f::Unit(axis));
  };
  return fromLinear((turn(2) * turn(1) * turn(0)).toRotationMatrix());
}

Real32 Matrix::determinant3() const { return view(*this).topLeftCorner<3, 3>().determinant(); }

bool Matrix::inverse(Matrix& result) const {
  Eigen::FullPivLU<Eigen::Matrix4d> const lu(view(*this).cast<double>());
  if (!view(*this).allFinite() || !lu.isInvertible()) return false;
  result = fromEigen(lu.inverse().cast<float>());
  return true;
}

Pnt3f Matrix::multMatrixPnt(Pnt3f const& point) const {
  Eigen::Vector4f const moved = view(*this) * Eigen::Vector4f(point.x(), point.y(), point.z(), 1.F);
  return {moved.x(), moved.y(), moved.z()};
}

Pnt3f Matrix::multFullMatrixPnt(Pnt3f const& point) const {
  Eigen::Vector4f moved = view(*this) * Eigen::Vector4f(point.x(), point.y(), point.z(), 1.F);
  if (moved.w() == 0.F) {
    osgLogWarning("OpenSG", "multFullMatrixPnt: w == 0.0f!\n");
  } else {
    moved /= moved.w();
  }
  return {moved.x(), moved.y(), moved.z()};
}

Vec3f Matrix::multMatrixVec(Vec3f const& vector) const {
  Eigen::Vector3f const turned =
      view(*this).topLeftCorner<3, 3>() * Eigen::Vector3f(vector.x(), vector.y(), vector.z());
  return {turned.x(), turned.y(), turned.z()};
}

bool Matrix::polarDecompose(Matrix& rotation, Matrix& stretch) const {
  // Doubles, as the determinant of a small matrix vanishes in floats.
  Eigen::Matrix3d const linear = view(*this).topLeftCorner<3, 3>().cast<double>();
  double const determinant = linear.determinant();
  if (determinant == 0.0 || !linear.allFinite()) {
    osgLogWarning("OpenSG", "polarDecompose: Mk_det == 0.0\n");
    return false;
  }
  Eigen::JacobiSVD<Eigen::Matrix3d> const svd(linear, Eigen::ComputeFullU | Eigen::ComputeFullV);
  double const sign = determinant < 0.0 ? -1.0 : 1.0;
  Eigen::Matrix3d const turn = svd.matrixU() * svd.matrixV().transpose() * sign;
  Eigen::Matrix3d const symmetric =
      svd.matrixV() * svd.singularValues().asDiagonal() * svd.matrixV().transpose() * sign;
  rotation = fromLinear(turn.cast<float>());
  stretch = fromLinear(symmetric.cast<float>());
  return true;
}

Matrix operator*(Matrix const& a, Matrix const& b) { return fromEigen(view(a) * view(b)); }

}  // namespace knscene
}  // namespace osg
