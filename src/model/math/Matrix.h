#pragma once

#include "model/math/Quaternion.h"
#include "model/math/Vectors.h"
#include "model/utils/Export.h"

#include <array>

namespace osg {
inline namespace knscene {

/// A 4x4 matrix of floats that acts on column vectors: `a * b` applies b first, a translation stands in the last
/// column. Stored column by column. A default-constructed matrix is the identity.
class KNSCENE_API Matrix {
 public:
  constexpr Matrix() = default;

  /// The matrix that moves, scales along the axes, or rotates.
  static Matrix translation(Vec3f const& offset);
  static Matrix scale(Vec3f const& factors);
  static Matrix rotation(Quaternion const& rotation);
  /// Rz * Ry * Rx from angles in degrees: the turn around x comes first.
  static Matrix rotationEuler(Vec3f const& degrees);

  /// An element, row and column from 0 to 3; all of them, column by column.
  Real32& operator()(UInt32 row, UInt32 column) { return _values[column * 4 + row]; }
  Real32 operator()(UInt32 row, UInt32 column) const { return _values[column * 4 + row]; }
  Real32 const* data() const { return _values.data(); }
  Real32* data() { return _values.data(); }

  /// The determinant of the upper left 3x3.
  Real32 determinant3() const;
  /// Stores the inverse and returns true; a singular or non-finite matrix returns false and leaves `result`.
  bool inverse(Matrix& result) const;

  /// A point under an affine matrix: the last row is taken as (0, 0, 0, 1).
  Pnt3f multMatrixPnt(Pnt3f const& point) const;
  /// A point under a projective matrix, divided by w; w = 0 gives the undivided point and a line in the log.
  Pnt3f multFullMatrixPnt(Pnt3f const& point) const;
  /// A direction: the upper left 3x3 alone.
  Vec3f multMatrixVec(Vec3f const& vector) const;

  /// Splits the upper left 3x3 into rotation * stretch by the polar decomposition (Higham, "Computing the Polar
  /// Decomposition", 1986), through the singular value decomposition. Returns false, with a line in the log,
  /// for a singular matrix.
  bool polarDecompose(Matrix& rotation, Matrix& stretch) const;

  /// First `b`, then `a`.
  friend KNSCENE_API Matrix operator*(Matrix const& a, Matrix const& b);
  /// Element by element.
  friend bool operator==(Matrix const&, Matrix const&) = default;

 private:
  std::array<Real32, 16> _values = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};

}  // namespace knscene
}  // namespace osg
