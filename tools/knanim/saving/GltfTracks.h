#pragma once

#include "knanim/scene/HungCurves.h"
#include "knanim/support/Options.h"

#include <string>
#include <vector>

namespace knanim {

enum class GltfInterpolation : std::uint8_t { Step, Linear, Cubic };

/// An animation channel as glTF has it.
struct GltfTrack {
  std::string path;  ///< "translation", "rotation", "scale"
  GltfInterpolation interpolation = GltfInterpolation::Linear;
  bool isSampled = false;    ///< else the values are those of the curves at every time
  std::vector<float> times;  ///< ascending strictly
  std::vector<float>
      values;  ///< three for each time, four for rotations (x, y, z, w); thrice as many for `Cubic`
};

/// What the curves of one node become. Curves of one component on the same channel: the last one counts. Outside of its
/// keys a channel keeps its value. Where it is sampled, values between the samples were compared with the curves at
/// three points each, and stay within half of the tolerances there.
std::vector<GltfTrack> makeTracks(std::span<HungCurve const> curves, ExportOptions const& options);

/// What a node's transform is made of in glTF: its turn is about the origin, and there is no further frame.
struct GltfPlace {
  std::array<double, 3> translation;
  std::array<double, 4> rotation;  ///< x, y, z, w
  std::array<double, 3> scale;
};
GltfPlace placeOf(osg::Transform3D const& transform);

}  // namespace knanim
