#pragma once

#include "knanim/support/OutputFile.h"

#include <cstdint>
#include <vector>

namespace knanim {

/// Writes pictures one after the other into one PNG file that moves (APNG): browsers play it over and over, other
/// programs show its first picture. Of each picture the rectangle is stored in which it differs from the one before.
class AnimatedPng {
 public:
  /// Pictures of `width` by `height` pixels; as many as `frames` have to follow.
  AnimatedPng(std::string path, std::uint32_t width, std::uint32_t height, std::uint32_t frames,
              double framesPerSecond);

  /// Appends a picture of pixels as 0xRRGGBB, row by row from the top. False once anything failed.
  bool add(std::vector<std::uint32_t> const& pixels);
  /// Ends the file, and puts it in its place. False when anything failed, now or earlier.
  bool commit();
  /// Why it failed; empty while all is good.
  std::string message() const { return _message.empty() ? _output.message() : _message; }

 private:
  struct Area {
    std::uint32_t left = 0;
    std::uint32_t top = 0;
    std::uint32_t width = 1;
    std::uint32_t height = 1;
  };
  Area changedArea(std::vector<std::uint32_t> const& pixels) const;
  std::string rowsOf(std::vector<std::uint32_t> const& pixels, Area const& area) const;

  OutputFile _output;
  std::uint32_t _width;
  std::uint32_t _height;
  std::uint16_t _delay = 1;  ///< of a picture, in parts of a second
  std::uint16_t _parts = 30;
  std::uint32_t _sequence = 0;
  std::vector<std::uint32_t> _former;  ///< the picture before
  std::string _message;
};

}  // namespace knanim
