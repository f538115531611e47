#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace knanim {

/// A PNG file with a palette of at most 256 colours, which for drawings of few colours is less than half as large
/// as one without. `pixels` are 0xRRGGBB, row by row from the top. Rare colours, as smooth rims have them, become
/// the nearest one of the palette. Nothing when these are more than a few in a hundred of the pixels, when there
/// are no pixels, and for want of memory.
std::optional<std::string> encodeIndexedPng(std::span<std::uint32_t const> pixels, std::uint32_t width);

}  // namespace knanim
