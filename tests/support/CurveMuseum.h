#pragma once

#include "support/CurveKey.h"
#include "support/Testing.h"

namespace kntest {

/// A curve that has a reason to go wrong.
struct MuseumCurve {
  std::string_view name;
  std::vector<CurveKey> keys;
  bool finite = true;  ///< false: some number is infinite or not-a-number
};

inline std::vector<MuseumCurve> curveMuseum() {
  constexpr float Least = std::numeric_limits<float>::denorm_min();
  return {
      {"no key", {}},
      {"one key", {{2, 5, -1, 0, 1, 0}}},
      {"rolling",
       {{0, 0, 0, 0, 0.4f, 0.8f},
        {1, 2, -0.4f, -0.8f, 0.8f, 0},
        {3, -1, -0.8f, 0, 0.2f, 5},
        {3.5f, 4, -0.25f, 0, 0, 0}}},
      {"zero tangents hold", {{0, 1, 0, 0, 0, 0}, {1, 3, 0, 0, 0, 0}, {2, 7, 0, 0, 0, 0}}},
      {"hold, then move", {{0, 1, 0, 0, 0, 0}, {1, 3, 0, 0, 0.4f, 1}, {2, 7, -0.4f, -1, 0, 0}}},
      {"vertical start", {{0, 0, 0, 0, 0, 4}, {1, 1, 0.5f, 0, 0, 0}}},
      {"vertical end", {{0, 0, 0, 0, 0.5f, 0}, {1, 1, 0, 4, 0, 0}}},
      {"vertical middle", {{0, 0, 0, 0, 1, 0}, {1, 1, -1, 0, 0, 0}}},
      {"overshoots both ends", {{0, 0, 0, 0, 3, 0}, {1, 1, -3, 0, 0, 0}}},
      {"starts backwards", {{0, 0, 0, 0, -0.5f, 1}, {1, 1, -0.3f, 1, 0, 0}}},
      {"arrives backwards", {{0, 0, 0, 0, 0.3f, 1}, {1, 1, 0.5f, 1, 0, 0}}},
      {"step of two keys",
       {{0, 0, 0, 0, 0.4f, 0}, {1, 1, -0.4f, 0, 0.4f, 0}, {1, 5, -0.4f, 0, 0.4f, 0}, {2, 6, -0.4f, 0, 0, 0}}},
      {"all keys at one time", {{1, 1, -1, 0, 1, 0}, {1, 2, -1, 0, 1, 0}, {1, 3, -1, 0, 1, 0}}},
      {"huge", {{-2e30f, -1e30f, 0, 0, 1e30f, 5e29f}, {2e30f, 1e30f, -1e30f, 2e30f, 0, 0}}},
      {"tiny", {{0, 0, 0, 0, 4e-30f, 1}, {1e-29f, 1, -4e-30f, 1, 0, 0}}},
      {"least width", {{0, 0, 0, 0, 0.4f, 0}, {Least, 1, -0.4f, 0, 0, 0}}},
      {"symmetric thirds", {{0, 0, 0, 0, 1.0f / 3, 1}, {1, 1, -1.0f / 3, 1, 0, 0}}},
      {"vanishing cubic term", {{0, 0, 0, 0, 1, 1}, {18, 1, -11, 1, 0, 0}}},
      {"almost vanishing cubic term", {{0, 0, 0, 0, 0, 1}, {1, 1, -2.0f / 3, 1, 0, 0}}},
      {"value not a number", {{0, NAN, 0, 0, 0.4f, 0}, {1, 1, -0.4f, 0, 0, 0}}, false},
      {"time not a number",
       {{0, 0, 0, 0, 0.4f, 0}, {NAN, 1, -0.4f, 0, 0.4f, 0}, {2, 2, -0.4f, 0, 0, 0}},
       false},
      {"infinite tangent", {{0, 0, 0, 0, INFINITY, 0}, {1, 1, -0.4f, 0, 0, 0}}, false},
      {"infinite value", {{0, 0, 0, 0, 0.4f, INFINITY}, {1, INFINITY, -0.4f, 0, 0, 0}}, false},
      {"infinite time", {{-INFINITY, 0, 0, 0, 0.4f, 1}, {1, 1, -0.4f, 0, 0, 0}}, false},
  };
}

}  // namespace kntest
