#pragma once

#include "knCurves.h"
#include "knanim/import/ModelImport.h"
#include "knanim/scene/AnimatedScene.h"
#include "tools/knanim/TestFiles.h"

#include <cmath>
#include <functional>
#include <random>

namespace knanim::test {

/// The first animation of a file in a scene.
struct PlayedFile {
  ImportedModel model;
  AnimatedScene scene;

  explicit PlayedFile(std::string const& path)
      : model(std::get<ImportedModel>(std::get<ModelFile>(ModelFile::open(path)).load(0))), scene(model) {}

  SceneCurve const& curve(std::string const& name) const {
    for (std::size_t i = 0; i < model.curves.size(); ++i) {
      if (model.curveName(model.curves[i]) == name) return scene.curves()[i];
    }
    throw std::runtime_error("no curve " + name);
  }
};

/// The largest difference from a function at 1,000 times.
inline double differenceOf(SceneCurve const& curve, std::function<double(double)> const& wanted, float from,
                           float to) {
  static std::mt19937 random(1);
  std::vector<float> times(1000);
  std::vector<float> values(times.size());
  for (float& time : times) time = std::uniform_real_distribution<float>(from, to)(random);
  if (!knCurves::getValues(curve.node, times, values)) return INFINITY;
  double largest = 0;
  for (std::size_t i = 0; i < times.size(); ++i)
    largest = std::max(largest, std::abs(values[i] - wanted(times[i])));
  return largest;
}

/// Expects a curve to be within 1e-5 of the function's range from `begin` to `end`, there, before and after.
inline void expectLike(SceneCurve const& curve, std::function<double(double)> const& wanted, float begin,
                       float end) {
  double low = wanted(begin);
  double high = low;
  for (int i = 1; i < 1000; ++i) {
    double const value = wanted(std::lerp(begin, end, static_cast<float>(i) / 1000));
    low = std::min(low, value);
    high = std::max(high, value);
  }
  float const aside = 3 * std::max(end - begin, 1.F);
  for (auto const& [from, to] : {std::pair(begin - aside, begin), {begin, end}, {end, end + aside}})
    EXPECT_LE(differenceOf(curve, wanted, from, to), std::max(1e-5 * (high - low), 1e-12))
        << from << " to " << to;
}

}  // namespace knanim::test
