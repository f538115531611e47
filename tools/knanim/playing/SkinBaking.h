#pragma once

#include "knanim/import/ModelImport.h"
#include "knanim/playing/FrameRange.h"
#include "knanim/playing/Playback.h"
#include "knanim/scene/AnimatedScene.h"
#include "knanim/support/Options.h"

#include <optional>

namespace knanim {

/// Plays all frames, and hangs on every mesh with bones a cache with one shape for each of them: the vertices as the
/// bones place them then, in the space of the mesh's node. From then on the caches write the geometries, and no bones
/// are needed to show them; a cache of morphs that a mesh had gives way. Between whole frames the vertices run
/// straight.
///
/// A mesh whose node shrinks to nothing in some frame keeps its bones, with a warning. Fails with `Usage` when the
/// shapes would take more than `kMostShapeBytes`, and with `Failed` when interrupted; the scene is then as before.
std::optional<Failure> bakeSkins(ImportedModel const& model, ModelContent const& content,
                                 AnimatedScene& scene, FrameRange const& frames, Playback& playback,
                                 Terminal terminal);

}  // namespace knanim
