#include "knanim/pictures/IndexedPng.h"

#include "knanim/pictures/PngChunks.h"

#include <algorithm>
#include <functional>
#include <unordered_map>
#include <vector>

namespace knanim {
namespace {

constexpr std::size_t kMostColors = 256;
constexpr std::size_t kMostDistinctColors = 40'000;
constexpr double kMostApproximated = 0.04;  ///< share of the pixels
constexpr double kMostMisshown = 0.0004;    ///< share of those that would get another colour altogether
constexpr int kOtherColor = 3 * 20 * 20;    ///< from here on, as a distance

using Counts = std::unordered_map<std::uint32_t, std::size_t>;

/// Empty when there are too many colours.
Counts countColors(std::span<std::uint32_t const> pixels) {
  Counts counts;
  for (std::size_t begin = 0; begin < pixels.size();) {
    std::size_t end = begin + 1;
    while (end < pixels.size() && pixels[end] == pixels[begin]) ++end;
    counts[pixels[begin]] += end - begin;
    if (counts.size() > kMostDistinctColors) return {};
    begin = end;
  }
  return counts;
}

std::vector<std::uint32_t> choosePalette(Counts const& counts, std::size_t pixels) {
  std::vector<std::pair<std::size_t, std::uint32_t>> colors;
  for (auto const& [color, count] : counts) colors.emplace_back(count, color);
  std::sort(colors.begin(), colors.end(), std::greater<>());
  std::vector<std::uint32_t> palette;
  std::size_t covered = 0;
  for (std::size_t i = 0; i < colors.size() && i < kMostColors; ++i) {
    palette.push_back(colors[i].second);
    covered += colors[i].first;
  }
  auto const missing = static_cast<double>(pixels - covered);
  if (missing > kMostApproximated * static_cast<double>(pixels)) palette.clear();
  return palette;
}

int distance(std::uint32_t a, std::uint32_t b) {
  int sum = 0;
  for (unsigned shift = 0; shift < 24; shift += 8) {
    int const difference = static_cast<int>(a >> shift & 0xFFU) - static_cast<int>(b >> shift & 0xFFU);
    sum += difference * difference;
  }
  return sum;
}

std::uint8_t nearest(std::vector<std::uint32_t> const& palette, std::uint32_t color) {
  auto const found = std::min_element(
      palette.begin(), palette.end(),
      [color](std::uint32_t a, std::uint32_t b) { return distance(a, color) < distance(b, color); });
  return static_cast<std::uint8_t>(found - palette.begin());
}

/// Thin lines in a colour of their own are few pixels, and must not take on that of what is around them.
bool showsAll(std::vector<std::uint32_t> const& palette, Counts const& counts, std::size_t pixels) {
  std::size_t misshown = 0;
  for (auto const& [color, count] : counts) {
    if (distance(palette[nearest(palette, color)], color) >= kOtherColor) misshown += count;
  }
  return static_cast<double>(misshown) <= kMostMisshown * static_cast<double>(pixels);
}

/// One byte for each pixel, and before each row the filter that leaves it as it is.
std::string indexRows(std::span<std::uint32_t const> pixels, std::uint32_t width, Counts const& counts,
                      std::vector<std::uint32_t> const& palette) {
  std::unordered_map<std::uint32_t, std::uint8_t> places;
  for (auto const& [color, count] : counts) places[color] = nearest(palette, color);
  std::string rows;
  rows.reserve(pixels.size() + pixels.size() / width);
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    if (i % width == 0) rows += '\0';
    bool const repeats = i > 0 && pixels[i] == pixels[i - 1] && i % width != 0;
    rows += repeats ? rows.back() : static_cast<char>(places[pixels[i]]);
  }
  return rows;
}

}  // namespace

std::optional<std::string> encodeIndexedPng(std::span<std::uint32_t const> pixels, std::uint32_t width) {
  if (width == 0 || pixels.empty() || pixels.size() % width != 0) return std::nullopt;
  Counts const counts = countColors(pixels);
  if (counts.empty()) return std::nullopt;
  std::vector<std::uint32_t> const palette = choosePalette(counts, pixels.size());
  if (palette.empty() || !showsAll(palette, counts, pixels.size())) return std::nullopt;

  std::string const rows = indexRows(pixels, width, counts, palette);
  std::optional<std::string> const data = packed(rows, 9);
  if (!data) return std::nullopt;

  std::string header;
  appendNumber(header, width);
  appendNumber(header, static_cast<std::uint32_t>(pixels.size() / width));
  header += std::string("\x08\x03\0\0\0", 5);  // eight bits for each index into the palette
  std::string colors;
  for (std::uint32_t const color : palette) {
    for (int shift = 16; shift >= 0; shift -= 8) colors += static_cast<char>(color >> shift & 0xFFU);
  }
  std::string bytes(kPngSignature);
  appendChunk(bytes, "IHDR", header);
  appendChunk(bytes, "PLTE", colors);
  appendChunk(bytes, "IDAT", *data);
  appendChunk(bytes, "IEND", {});
  return bytes;
}

}  // namespace knanim
