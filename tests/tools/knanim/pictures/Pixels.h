#pragma once

#include <algorithm>
#include <cairo.h>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string_view>
#include <vector>

namespace knanim::test {

struct Pixels {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<std::uint32_t> values;

  std::uint32_t at(std::size_t x, std::size_t y) const { return values[y * width + x]; }
  /// How many have exactly this colour.
  std::ptrdiff_t count(std::uint32_t color) const { return std::count(values.begin(), values.end(), color); }
};

inline cairo_status_t readBytes(void* source, unsigned char* data, unsigned length) {
  auto& rest = *static_cast<std::string_view*>(source);
  if (rest.size() < length) return CAIRO_STATUS_READ_ERROR;
  std::memcpy(data, rest.data(), length);
  rest.remove_prefix(length);
  return CAIRO_STATUS_SUCCESS;
}

/// A picture of points as it comes out of the file.
inline Pixels decode(std::string_view png) {
  cairo_surface_t* const surface = cairo_image_surface_create_from_png_stream(readBytes, &png);
  EXPECT_EQ(cairo_surface_status(surface), CAIRO_STATUS_SUCCESS);
  Pixels pixels{static_cast<std::size_t>(cairo_image_surface_get_width(surface)),
                static_cast<std::size_t>(cairo_image_surface_get_height(surface)),
                {}};
  for (std::size_t y = 0; y < pixels.height; ++y) {
    auto const* const row = reinterpret_cast<std::uint32_t const*>(
        cairo_image_surface_get_data(surface) +
        y * static_cast<std::size_t>(cairo_image_surface_get_stride(surface)));
    for (std::size_t x = 0; x < pixels.width; ++x) pixels.values.push_back(row[x] & 0xFFFFFFU);
  }
  cairo_surface_destroy(surface);
  return pixels;
}

}  // namespace knanim::test
