#include "knanim/scene/ClipArrangement.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace knanim {
namespace {

/// One node whose rotation around y goes from `first` by 10 degrees within a second.
ImportedModel makeModel(double first, double seconds = 1) {
  ImportedModel model;
  model.nodes.resize(1);
  model.nodes[0].name = "root";
  model.summary.animations.resize(1);
  model.summary.animations[0].name = "from " + std::to_string(static_cast<int>(first));
  model.curves.resize(1);
  model.curves[0].kind = ChannelKind::Rotation;
  model.curves[0].component = 1;
  model.curves[0].keys = {{0, first}, {seconds, first + 10}};
  return model;
}

std::vector<SceneCurve> toVector(std::span<SceneCurve const> curves) {
  return {curves.begin(), curves.end()};
}

using Clips = std::vector<std::size_t>;

TEST(ClipArrangement, TheClipThatIsNearestInTimeWrites) {
  AnimatedScene scene(makeModel(0));
  std::vector<ClipSource> const sources = {{"a", toVector(scene.curves())},
                                           {"b", scene.addAnimation(makeModel(100))},
                                           {"still", scene.addAnimation(makeModel(300, 0))},
                                           {"c", scene.addAnimation(makeModel(200))}};
  ClipArrangement const arrangement(sources);
  auto const clips = arrangement.clips();
  ASSERT_EQ(clips.size(), 3U) << "an animation without length makes no clip";
  EXPECT_EQ(clips[1].name, "b");
  EXPECT_LT(clips[1].span.begin, clips[0].span.end);
  EXPECT_GT(clips[2].span.begin, clips[1].span.end);

  std::vector<double> const times = tellingTimes(clips);
  // before all, in 1, in 1 and 2, in 2, between, in 3, after all
  std::vector<Clips> const writers = {{0}, {0}, {1}, {1}, {1}, {2}, {2}};
  ASSERT_EQ(times.size(), writers.size());
  ClipProbe probe(arrangement, scene.curves()[0]);
  // Backwards too: what was written before must not matter.
  for (std::size_t step = 0; step < 2 * times.size(); ++step) {
    std::size_t const i = step < times.size() ? step : 2 * times.size() - 1 - step;
    ClipSample const sample = probe.sample(times[i]);
    EXPECT_EQ(sample.writers, writers[i]) << times[i];
    ASSERT_TRUE(sample.written) << times[i];
    EXPECT_EQ(*sample.written, sample.own[writers[i][0]]);
    double const begun = times[i] - clips[writers[i][0]].span.begin;
    EXPECT_NEAR(*sample.written,
                100.0 * static_cast<double>(writers[i][0]) + std::clamp(begun, 0.0, 1.0) * 10, 1e-3);
  }
}

}  // namespace
}  // namespace knanim
