#pragma once

#include "model/math/Vectors.h"
#include "model/utils/Export.h"

namespace osg {
inline namespace knscene {

class Matrix;

/// A rotation as a quaternion (x, y, z, w); a default-constructed one is the identity (0, 0, 0, 1).
class KNSCENE_API Quaternion {
 public:
  constexpr Quaternion() = default;
  /// The components as they are; a rotation has length 1.
  constexpr Quaternion(Real32 x, Real32 y, Real32 z, Real32 w) : _values{x, y, z, w} {}

  /// The rotation by `degrees` around `axis`; a zero axis gives the identity.
  static Quaternion fromAxisDegrees(Vec3f const& axis, Real32 degrees);
  /// The rotation of the upper left 3x3 of `matrix`, which must be a rotation without scale. A matrix that is
  /// none gives the identity and a line in the log.
  static Quaternion fromMatrix(Matrix const& matrix);

  /// The components x, y, z, w; the index is 0 to 3.
  constexpr Real32& operator[](std::size_t i) { return _values[i]; }
  constexpr Real32 const& operator[](std::size_t i) const { return _values[i]; }
  constexpr Real32* data() { return _values; }
  constexpr Real32 const* data() const { return _values; }
  constexpr Real32 x() const { return _values[0]; }
  constexpr Real32 y() const { return _values[1]; }
  constexpr Real32 z() const { return _values[2]; }
  constexpr Real32 w() const { return _values[3]; }

  /// First `b`, then `a`, as with matrices.
  friend Quaternion operator*(Quaternion const& a, Quaternion const& b) {
    return {a.w() * b.x() + a.x() * b.w() + a.y() * b.z() - a.z() * b.y(),
            a.w() * b.y() - a.x() * b.z() + a.y() * b.w() + a.z() * b.x(),
            a.w() * b.z() + a.x() * b.y() - a.y() * b.x() + a.z() * b.w(),
            a.w() * b.w() - a.x() * b.x() - a.y() * b.y() - a.z() * b.z()};
  }
  friend constexpr bool operator==(Quaternion const&, Quaternion const&) = default;

 private:
  Real32 _values[4] = {0.F, 0.F, 0.F, 1.F};
};

}  // namespace knscene
}  // namespace osg
