#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/scene/AnimatedScene.h"
#include "knanim/support/Failure.h"

#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace knanim {

/// How curves lose keys.
enum class ReductionMethod : std::uint8_t {
  Fit,     ///< few Bezier segments within a tolerance that is proven
  Points,  ///< Ramer-Douglas-Peucker at the library's fixed tolerance, straight lines after it
};

/// Fails with `Usage` for tolerances that cannot be read.
std::optional<Failure> checkTolerances(std::span<std::string const> texts);

/// Tolerances for the curves of a model, in their order and units, from "PATTERN=VALUE" or "VALUE" for all. Patterns
/// are those of `chooseChannels`, and the names of channels ("rotation"); the last one that fits decides. "VALUE%" is a
/// part of `figureSize`, for translations. Curves that none fits have 0.1 degree, 0.1 % of the size or 0.001. Fails
/// with `Usage` for what cannot be read, is negative or fits nothing.
std::variant<std::vector<double>, Failure> chooseTolerances(ImportedModel const& model,
                                                            std::span<std::string const> texts,
                                                            double figureSize);

/// The longest side of the box around what can be seen of a scene as it stands; 0 for an empty one.
double sizeOfFigure(ImportedModel const& model, ModelContent const& content, AnimatedScene const& scene);

struct ReducedCurve {
  std::size_t keysBefore = 0;
  std::size_t keysAfter = 0;
  double error = 0;  ///< no difference is larger
  double found = 0;  ///< a difference that occurs
};

struct SceneReduction {
  std::vector<ReducedCurve> curves;  ///< in the order of the scene's
  double seconds = 0;                ///< of work
};

/// Reduces all curves of a scene. Tolerances count for `Fit` alone.
SceneReduction reduceScene(AnimatedScene const& scene, ReductionMethod method,
                           std::span<double const> tolerances);

}  // namespace knanim
