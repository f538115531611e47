#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Up to three of the names that are most like a text, as "translation, scale", the nearest first; empty where none is.
/// Letters count alike in either case.
std::string nearNames(std::string_view text, std::vector<std::string> const& names);
