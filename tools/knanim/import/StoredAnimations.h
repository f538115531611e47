#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/scene/SceneParts.h"

#include <vector>

namespace knanim {

/// The name by which the first animation of a stored model is listed when it stands for all that is switched on.
inline constexpr char const* kAllActive = "all that is switched on";

/// The animations of a scene, each with `rate` as its ticks: one for each name of blocks, and what is switched on where
/// that is no single one of them. What hangs on nodes without a block belongs to all of them. Linear in what hangs there,
/// however many names there are.
std::vector<AnimationSummary> summarizeAnimations(SceneParts const& parts, double rate);

}  // namespace knanim
