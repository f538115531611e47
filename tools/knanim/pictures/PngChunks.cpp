#include "knanim/pictures/PngChunks.h"

#include <zlib.h>

namespace knanim {

void appendNumber(std::string& bytes, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xFFU);
}

void appendShortNumber(std::string& bytes, std::uint16_t number) {
  bytes += static_cast<char>(number >> 8U);
  bytes += static_cast<char>(number & 0xFFU);
}

void appendChunk(std::string& bytes, char const* type, std::string const& data) {
  appendNumber(bytes, static_cast<std::uint32_t>(data.size()));
  std::string const body = type + data;
  bytes += body;
  uLong const sum = crc32(0, reinterpret_cast<Bytef const*>(body.data()), static_cast<uInt>(body.size()));
  appendNumber(bytes, static_cast<std::uint32_t>(sum));
}

std::optional<std::string> packed(std::string const& bytes, int level) {
  uLongf size = compressBound(static_cast<uLong>(bytes.size()));
  std::string result(size, '\0');
  if (compress2(reinterpret_cast<Bytef*>(result.data()), &size, reinterpret_cast<Bytef const*>(bytes.data()),
                static_cast<uLong>(bytes.size()), level) != Z_OK)
    return std::nullopt;
  result.resize(size);
  return result;
}

}  // namespace knanim
