#pragma once

#include <utility>

namespace kntest {

/// A key in global time with its tangents, which are vectors relative to the key.
struct CurveKey {
  float x, y;
  float inX, inY;
  float outX, outY;
};

/// Whether the segment from a to b keeps a's value all along.
inline bool holds(CurveKey const& a, CurveKey const& b) {
  constexpr std::pair<float, float> Least{0.0001f, 0.0001f};
  return std::pair{a.outX, a.outY} < Least && std::pair{b.inX, b.inY} < Least;
}

}  // namespace kntest
