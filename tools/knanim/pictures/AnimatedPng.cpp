#include "knanim/pictures/AnimatedPng.h"

#include "knanim/pictures/PngChunks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace knanim {
namespace {

constexpr int kPackingLevel = 7;
constexpr std::size_t kPixelBytes = 3;

/// Rows as they are, less the pixel to the left, or less the row above, in the numbers of PNG's filters.
enum Filter : std::uint8_t { None = 0, Left = 1, Above = 2 };
constexpr std::array<Filter, 3> kFilters = {None, Left, Above};

/// One row with its filter in front. `above` is empty for the first one.
std::string filtered(std::string const& row, std::string const& above, Filter filter) {
  std::string result(1, static_cast<char>(filter));
  for (std::size_t i = 0; i < row.size(); ++i) {
    char const left = i < kPixelBytes ? '\0' : row[i - kPixelBytes];
    char const up = above.empty() ? '\0' : above[i];
    int const less = filter == Left ? left : filter == Above ? up : 0;
    result += static_cast<char>(row[i] - less);
  }
  return result;
}

/// Small for rows that pack well, by PNG's usual rule of thumb: the sum of the bytes as signed numbers.
std::size_t weight(std::string const& row) {
  std::size_t sum = 0;
  for (char const byte : row) sum += static_cast<std::size_t>(std::abs(static_cast<signed char>(byte)));
  return sum;
}

}  // namespace

AnimatedPng::AnimatedPng(std::string path, std::uint32_t width, std::uint32_t height, std::uint32_t frames,
                         double framesPerSecond)
    : _output(std::move(path)), _width(width), _height(height) {
  // The larger both numbers, the nearer their ratio is to the rate.
  double const share = std::min(1000.0, std::floor(65535 / std::max(framesPerSecond, 1.0)));
  _delay = static_cast<std::uint16_t>(std::max(share, 1.0));
  _parts = static_cast<std::uint16_t>(std::clamp(std::round(share * framesPerSecond), 1.0, 65535.0));

  std::string header;
  appendNumber(header, width);
  appendNumber(header, height);
  header += std::string("\x08\x02\0\0\0", 5);  // eight bits for each of red, green and blue
  std::string control;
  appendNumber(control, frames);
  appendNumber(control, 0);  // over and over
  std::string bytes(kPngSignature);
  appendChunk(bytes, "IHDR", header);
  appendChunk(bytes, "acTL", control);
  _output.write(bytes);
}

AnimatedPng::Area AnimatedPng::changedArea(std::vector<std::uint32_t> const& pixels) const {
  if (_former.empty()) return {0, 0, _width, _height};
  std::uint32_t left = _width;
  std::uint32_t right = 0;
  std::uint32_t top = _height;
  std::uint32_t bottom = 0;
  for (std::uint32_t y = 0; y < _height; ++y) {
    for (std::uint32_t x = 0; x < _width; ++x) {
      std::size_t const at = std::size_t{y} * _width + x;
      if (pixels[at] == _former[at]) continue;
      left = std::min(left, x);
      right = std::max(right, x);
      top = std::min(top, y);
      bottom = y;
    }
  }
  // A picture that is the same again needs a pixel, too.
  if (left > right) return {};
  return {left, top, right - left + 1, bottom - top + 1};
}

std::string AnimatedPng::rowsOf(std::vector<std::uint32_t> const& pixels, Area const& area) const {
  std::string rows;
  std::string above;
  for (std::uint32_t y = area.top; y < area.top + area.height; ++y) {
    std::string row;
    for (std::uint32_t x = area.left; x < area.left + area.width; ++x) {
      std::uint32_t const pixel = pixels[std::size_t{y} * _width + x];
      for (int shift = 16; shift >= 0; shift -= 8) row += static_cast<char>(pixel >> shift & 0xFFU);
    }
    std::string best;
    for (Filter const filter : kFilters) {
      std::string candidate = filtered(row, above, filter);
      if (best.empty() || weight(candidate) < weight(best)) best = std::move(candidate);
    }
    rows += best;
    above = std::move(row);
  }
  return rows;
}

bool AnimatedPng::add(std::vector<std::uint32_t> const& pixels) {
  if (!message().empty()) return false;
  Area const area = changedArea(pixels);
  std::optional<std::string> const data = packed(rowsOf(pixels, area), kPackingLevel);
  if (!data) {
    _message = "there is not enough memory";
    return false;
  }
  std::string control;
  for (std::uint32_t const number : {_sequence++, area.width, area.height, area.left, area.top})
    appendNumber(control, number);
  appendShortNumber(control, _delay);
  appendShortNumber(control, _parts);
  control += std::string(2, '\0');  // it stays where the next one says nothing, and covers what was there
  std::string bytes;
  appendChunk(bytes, "fcTL", control);
  if (_former.empty()) {
    appendChunk(bytes, "IDAT", *data);
  } else {
    std::string numbered;
    appendNumber(numbered, _sequence++);
    appendChunk(bytes, "fdAT", numbered + *data);
  }
  _former = pixels;
  return _output.write(bytes);
}

bool AnimatedPng::commit() {
  std::string bytes;
  appendChunk(bytes, "IEND", {});
  return _message.empty() && _output.write(bytes) && _output.commit();
}

}  // namespace knanim
