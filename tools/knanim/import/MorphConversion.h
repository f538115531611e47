#pragma once

#include "knanim/import/ImportedModel.h"

struct aiAnimation;
struct aiScene;

namespace knanim {

/// Fills `model.morphs` with the morph channels of an animation of the scene that `model` describes, and appends
/// warnings.
///
/// A channel names nodes, whose meshes it morphs, or meshes, wherever they stand. Behind the name of a node a star
/// and a number can follow, which tell the channels of one node apart. Of channels that morph the same mesh of a
/// node the first one counts.
///
/// Keys with a time or weight that is not finite are dropped, keys out of order are sorted, and of several keys at
/// one time the last one stands. A target that a key does not mention runs straight between the keys that do; one
/// that no key mentions keeps the weight that the mesh gives it. Weights of targets that the mesh does not have are
/// left out.
void convertMorphs(aiScene const& scene, aiAnimation const& animation, double ticksPerSecond,
                   ImportedModel& model);

}  // namespace knanim
