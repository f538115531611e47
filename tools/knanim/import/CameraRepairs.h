#pragma once

#include "knanim/import/ModelContent.h"

namespace knanim {

/// Aims the cameras of formats whose importers do not say where they look: .ase and .lws, whose cameras look along -z of
/// their node, and .3ds, where the file itself is asked. Other files stay as they are.
void repairCameras(std::string const& path, ImportedModel const& model, ModelContent& content);

/// What of the cameras of a file gets lost; empty when nothing does.
std::string lostOfCameras(std::string const& path, std::size_t cameras);

}  // namespace knanim
