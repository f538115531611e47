#pragma once

#include "knanim/scene/LoadedScene.h"
#include "knanim/support/Failure.h"
#include "knanim/support/Options.h"

#include <optional>
#include <string>

namespace knanim {

/// Writes a scene as glTF 2.0, as one file (.glb) or with its data in the text (.gltf).
///
/// There is one animation for each name of blocks. Translations and scales go as they are: steps as STEP, straight lines
/// as LINEAR, segments whose tangents reach a third of their time as CUBICSPLINE. All else, and rotations, which are
/// angles here and quaternions there, is sampled so that what lies between the samples strays from the curve by no more
/// than the tolerances. Shape caches become morph targets with weights. What the form cannot hold is told in warnings:
/// repetitions, curves of other channels, shapes too many, skins that were not baked away are kept as skins.
std::optional<Failure> exportGltf(LoadedScene& loaded, std::string const& path, ExportOptions const& options,
                                  Terminal terminal);

}  // namespace knanim
