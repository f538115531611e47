#pragma once

#include "knanim/pictures/AxisTicks.h"
#include "knanim/pictures/Canvas.h"
#include "knanim/scene/ClipArrangement.h"

#include <string>
#include <vector>

namespace knanim {

/// Clips over time, and below them what became of one channel.
struct ClipsPicture {
  std::string title;
  std::string channel;
  std::string unit;
  AxisUnit axis = AxisUnit::Number;
  std::span<PlacedClip const> clips;
  std::vector<ClipSample> samples;  ///< ascending in time, close to each other
  std::vector<double> marks;        ///< times to point out, named a, b, c
};

/// "a", "b", ... "z", "aa": the name of a mark.
std::string markName(std::size_t index);

/// Draws a bar for each clip and the channel's value in the colour of the clip that it came from, grey where
/// several clips give the same one. False with a `message` when it cannot be drawn, as for want of memory.
bool drawClips(ClipsPicture const& picture, PictureFormat format, std::string& bytes, std::string& message);

}  // namespace knanim
