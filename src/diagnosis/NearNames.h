#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Up to three of the names that are most like a text, as "translation, scale", the nearest first; empty where none is.
/// Letters count alike in either case, and a common beginning of four letters or more makes names near.
std::string nearNames(std::string_view text, std::vector<std::string> const& names);
/// What to add to a line that says there is no such name: "; near names: " with the nearest, or, where none is near,
/// "; it has: " with the first of all names, each without what follows a point. Empty where there are no names.
std::string nearClause(std::string_view text, std::vector<std::string> const& names);
