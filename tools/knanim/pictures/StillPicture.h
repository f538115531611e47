#pragma once

#include "knanim/scene/LoadedScene.h"

#include <optional>
#include <string>

namespace knanim {

/// Draws the scene as it stands now, whatever its animations would make of it, into a .png or .svg file, seen
/// by a camera as for `shootFilm`. Animations of the scene are switched off for good. Hidden nodes are drawn too.
std::optional<Failure> drawStill(LoadedScene const& loaded, std::string const& path,
                                 std::string const& camera, std::string const& subtitle, Terminal terminal);

}  // namespace knanim
