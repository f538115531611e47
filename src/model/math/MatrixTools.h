#pragma once

#include "model/math/Matrix.h"

#include <concepts>

namespace osg {
inline namespace knscene {

/// A matrix by the type of its elements.
template <std::same_as<Real32> Element>
using TransformationMatrix = Matrix;

/// What a camera does that stands at `from`, looks at `at` and has `up` upwards: its matrix takes the space in which it
/// looks down -z, with y up, to the space that the arguments are given in. `up` need not be upright on the line of
/// sight, nor of length 1. Where from and at coincide, or up lies along the line of sight, the nearest axis that does
/// not stands in, so that the rotation is valid always. Values that are not finite give the identity.
KNSCENE_API Matrix lookAt(Pnt3f const& from, Pnt3f const& at, Vec3f const& up);

/// The parts of an affine matrix M = T * R * SO * S * SO^-1: translation, rotation, and a stretch by `scale` along the
/// axes that `scaleOrientation` turns to. A matrix that mirrors has negative factors. `center` is the point that
/// rotation and stretch leave in place; a matrix does not tell one, so it is always the origin.
struct TransformParts {
  /// The parts, as above.
  Vec3f translation;
  Quaternion rotation;
  Vec3f scale = Vec3f(1, 1, 1);
  Quaternion scaleOrientation;
  Vec3f center;
};

/// Splits a matrix by its polar decomposition (Higham, "Computing the Polar Decomposition with Applications", 1986) and
/// the eigenvectors of the stretch (Shoemake and Duff, "Matrix Animation and Polar Decomposition", 1992). A singular
/// matrix keeps its translation, and its rotation is the identity; so are all parts but the translation where values are
/// not finite.
KNSCENE_API TransformParts splitTransform(Matrix const& matrix);

}  // namespace knscene
}  // namespace osg
