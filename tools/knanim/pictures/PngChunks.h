#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace knanim {

/// What a PNG file begins with.
inline constexpr std::string_view kPngSignature = "\x89PNG\r\n\x1A\n";

/// Appends a number in the byte order of PNG, highest byte first.
void appendNumber(std::string& bytes, std::uint32_t number);
void appendShortNumber(std::string& bytes, std::uint16_t number);

/// Appends a chunk: its length, its type of four letters, the data, and their CRC.
void appendChunk(std::string& bytes, char const* type, std::string const& data);

/// A zlib stream at a level from 0 to 9; nothing for want of memory.
std::optional<std::string> packed(std::string const& bytes, int level);

}  // namespace knanim
