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

/// Names as the end of a sentence: "; near to it: "a", "b"". Empty without names.
std::string nearClause(std::span<std::string const> names);

}  // namespace knanim
