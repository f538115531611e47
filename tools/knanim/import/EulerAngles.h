#pragma once

#include <array>

namespace knanim {

/// A rotation as a unit quaternion of double precision.
struct Rotation {
  double w = 1;
  double x = 0;
  double y = 0;
  double z = 0;
};

/// Angles in degrees of the rotation R = Rz(z) * Ry(y) * Rx(x) with column vectors: the turn around x is applied
/// first. This is the order of a transform's `eulerRotation`.
struct EulerDegrees {
  double x = 0;
  double y = 0;
  double z = 0;
};

/// The rotation scaled to unit length. False, and no change, when a component is not finite or all are zero.
bool normalize(Rotation& rotation);

/// A rotation matrix, row by row.
using Matrix3 = std::array<std::array<double, 3>, 3>;

Matrix3 toMatrix(Rotation const& rotation);
Matrix3 toMatrix(EulerDegrees const& angles);

Rotation toRotation(EulerDegrees const& angles);
/// The turn `b`, and then `a`.
Rotation operator*(Rotation const& a, Rotation const& b);
/// The turn back of a unit rotation.
Rotation inverse(Rotation const& rotation);
/// The angle between two unit rotations, 0 to 180 degrees.
double angleBetween(Rotation const& a, Rotation const& b);

/// The angles of a unit rotation with y within a quarter turn, x and z within half a turn. At a quarter turn of y,
/// where x and z turn around one axis, z is 0.
EulerDegrees toEuler(Rotation const& rotation);

/// The angles of a unit rotation that lie nearest to `previous`: of both triples that describe it, (x, y, z) and
/// (x + 180, 180 - y, z + 180), each moved by whole turns, the one with the smaller distance. The angles are not
/// bounded. At a quarter turn of y, z keeps its previous value and x takes the rest.
EulerDegrees toEulerNear(Rotation const& rotation, EulerDegrees const& previous);

}  // namespace knanim
