#pragma once

#include "knanim/curvefiles/SourceCurve.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace knanim {

/// How a span ends in a LightWave scene, by the shape of its later key.
enum class LightWaveShape : std::uint8_t { Tcb, Hermite, Bezier, Linear, Stepped, Bezier2D };

/// A key of an envelope. The parameters are, by shape: tension, continuity and bias first; incoming and outgoing
/// tangent fourth and fifth; for `Bezier2D` incoming time and value, outgoing time and value first.
struct LightWaveKey {
  double time = 0;  ///< seconds
  double value = 0;
  LightWaveShape shape = LightWaveShape::Tcb;
  std::array<double, 6> parameters = {};
};

/// A channel of a motion.
struct LightWaveEnvelope {
  std::vector<LightWaveKey> keys;
  Outside before = Outside::Constant;
  Outside after = Outside::Constant;
};

/// An object, bone, light or camera. Channels: position x, y, z; heading, pitch and bank in radians; scale x, y, z.
struct LightWaveItem {
  std::string id;  ///< eight digits of base 16
  std::array<LightWaveEnvelope, 9> channels;
};

struct LightWaveScene {
  std::vector<LightWaveItem> items;
  std::vector<std::string> warnings;
  std::string failure;  ///< why nothing could be read; empty otherwise
};

/// Reads the motions of a scene in its text form, of version 3 on. Keys are put in order; those that cannot be read are
/// left out with a warning.
LightWaveScene readLightWaveScene(std::string_view text);

/// The envelope as spans, with at least one key. Tangents by the format's formulas: Kochanek and Bartels 1984, for keys at
/// any distances.
SourceCurve toSourceCurve(LightWaveEnvelope const& envelope);

}  // namespace knanim
