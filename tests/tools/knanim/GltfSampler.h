#pragma once

#include "support/Testing.h"

namespace knanim::test {

/// What the standard says a sampler gives, apart from turning the shorter way: one number for each component.
inline std::vector<double> play(std::vector<float> const& times, std::vector<float> const& values,
                                std::string const& interpolation, double time) {
  bool const isCubic = interpolation == "CUBICSPLINE";
  std::size_t const size = values.size() / times.size() / (isCubic ? 3 : 1);
  auto const at = [&](std::size_t key, std::size_t part, std::size_t i) {
    return static_cast<double>(values[(isCubic ? 3 * key + part : key) * size + i]);
  };
  std::size_t next = 0;
  while (next < times.size() && times[next] <= time) ++next;
  std::vector<double> result(size);
  for (std::size_t i = 0; i < size; ++i) {
    std::size_t const a = next == 0 ? 0 : next - 1;
    result[i] = at(a, 1, i);
    if (next == 0 || next == times.size() || interpolation == "STEP") continue;
    double const width = static_cast<double>(times[next]) - times[a];
    double const s = (time - times[a]) / width;
    if (!isCubic) {
      result[i] += s * (at(next, 1, i) - result[i]);
      continue;
    }
    result[i] = (2 * s * s * s - 3 * s * s + 1) * at(a, 1, i) +
                (s * s * s - 2 * s * s + s) * width * at(a, 2, i) +
                (3 * s * s - 2 * s * s * s) * at(next, 1, i) + (s * s * s - s * s) * width * at(next, 0, i);
  }
  if (size != 4) return result;
  double const length = std::sqrt(result[0] * result[0] + result[1] * result[1] + result[2] * result[2] +
                                  result[3] * result[3]);
  for (double& each : result) each /= length;
  return result;
}

}  // namespace knanim::test
