#pragma once

#include "knanim/import/ModelImport.h"
#include "knanim/support/Options.h"

#include <cstddef>
#include <optional>
#include <string>

namespace knanim {

/// Prints all that `info` tells as JSON; `animation` is the index of the one whose nodes are listed, if there is one.
void printInfoJson(ModelFile const& file, std::string const& path, std::optional<std::size_t> animation,
                   Terminal terminal);

}  // namespace knanim
