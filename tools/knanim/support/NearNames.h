#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace knanim {

/// The names that someone may have meant who wrote `wanted`: those with few letters changed, added or left
/// out, and those that hold it or are held by it, whatever the case. The nearest first, each once, five at
/// most.
std::vector<std::string> nearNames(std::string_view wanted, std::span<std::string const> names);

/// The files of a path's folder that have near names, each with its folder.
std::vector<std::string> nearFiles(std::string const& path);

/// Names as the end of a sentence: "; did you mean "a" or "b"?". Empty without names.
std::string nearClause(std::span<std::string const> names);

/// What there is in the place of a name that is not there, as the end of a sentence: the near names, or else the first few
/// of all, as "; there are "a", "b" and 3 more". Empty without names.
std::string insteadClause(std::string_view wanted, std::span<std::string const> names);

}  // namespace knanim
