#pragma once

#include "knanim/import/ImportedModel.h"

struct aiScene;

namespace knanim {

/// Nodes and summary of a scene; no curves. Nodes with equal names become "name", "name#2" and so on, nodes
/// without a name become "unnamed". The importer, the format and the file's size are left empty.
ImportedModel describeScene(aiScene const& scene);

/// Fills `model.curves` and `model.morphs` with an animation of the scene that `model` describes, adds nodes
/// that only the animation knows, and appends warnings. False when the scene has no animation of that index.
///
/// Keys whose time or value is not finite are dropped; keys out of order are sorted; of several keys at one
/// time the last one stands. Each of these gives one warning per channel. A channel that has no key left is
/// left out. Rotations become Euler angles that run on from key to key without a jump.
bool convertAnimation(aiScene const& scene, std::size_t index, ImportedModel& model);

}  // namespace knanim
