#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/import/ModelContent.h"
#include "knanim/scene/SceneParts.h"
#include "model/materials/Material.h"

#include <span>
#include <vector>

namespace knanim {

/// Counts what a scene shows.
void describeContent(SceneParts const& parts, ModelSummary& summary);

/// The meshes of a scene by number, for each of its parts: several nodes can show one geometry.
std::vector<std::size_t> meshNumbers(SceneParts const& parts);

/// From the first shape of a cache to its last one, in seconds.
std::optional<TimeSpan> timesOf(osg::AnimNode const& cache);

/// The shape caches of a scene as morphs, each with one target for each shape, and one after the other at the weight 1.
/// One too long for that has a key at its begin and end, without weights; a warning says so.
void describeCaches(SceneParts const& parts, ImportedModel& model);

/// What a material looks like, as far as models can tell.
ImportedMaterial describeMaterial(osg::MaterialPtr const& source);

/// What a scene shows, with the materials of its pool first.
ModelContent readStoredContent(SceneParts const& parts, std::span<osg::FieldContainerPtr const> pool);

}  // namespace knanim
