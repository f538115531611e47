#pragma once

#include "model/math/Matrix.h"

#include <concepts>

namespace osg {
inline namespace knscene {

/// A matrix by the type of its elements.
template <std::same_as<Real32> Element>
using TransformationMatrix = Matrix;

/// The matrix of a camera at `from` that looks at `at` with `up` upwards: it takes camera space, where the camera looks
/// down -z with y up, to the space of the arguments. `up` need not be perpendicular to the line of sight, nor of length
/// 1. If from and at coincide, or up lies along the line of sight, a coordinate axis is used instead, so that the
/// rotation is always valid. Values that are not finite give the identity.
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
/// the eigenvectors of the stretch (Shoemake and Duff, "Matrix Animation and Polar Decomposition", 1992). For a matrix
/// that is singular or has values that are not finite, all parts but the translation are those of the identity.
KNSCENE_API TransformParts splitTransform(Matrix const& matrix);

}  // namespace knscene
}  // namespace osg
