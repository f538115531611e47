#pragma once

#include "knanim/scene/LoadedScene.h"
#include "knanim/support/Failure.h"
#include "knanim/support/Options.h"

#include <optional>
#include <span>
#include <string>

namespace knanim {

/// What a path can be written as, by its extension.
enum class SceneForm : std::uint8_t { Scene, Gltf };

/// Nothing for an extension that names no form: .osb and .json are the library's own scenes, .gltf and .glb are glTF 2.0.
std::optional<SceneForm> sceneForm(std::string const& path);

/// Refuses with `Usage` a path of no known form, and one that leads to one of the files that are read.
std::optional<Failure> checkSceneOutput(std::string const& path, std::span<std::string const> inputs);

/// Writes a scene with all animations of its file, each as it was switched on or off. A model that was imported gets a
/// timeline over its animation. The file is either complete and new, or what it was before. Prints warnings for what the
/// form cannot hold, and rows that tell of the file.
std::optional<Failure> saveScene(LoadedScene& loaded, std::string const& path, ExportOptions const& options,
                                 Terminal terminal);

/// Writes the animations of one object as an animation file of the library.
std::optional<Failure> saveObject(LoadedScene& loaded, std::string const& object, std::string const& path,
                                  Terminal terminal);

}  // namespace knanim
