#include "knanim/scene/AnimatedScene.h"

#include <gtest/gtest.h>

namespace knanim::AnimatedSceneTest {

ImportedModel makeModel(std::vector<Key> keys, Extrapolation outside = Extrapolation::Constant) {
  ImportedModel model;
  model.nodes.resize(2);
  model.nodes[1].parent = 0;
  model.curves = {{1, ChannelKind::Rotation, 1, outside, outside, std::move(keys)}};
  return model;
}

float valueAt(ImportedModel const& model, double time) {
  AnimatedScene const scene(model);
  CurveReader reader(scene.curves());
  reader.evaluate(time);
  return reader.value(0);
}

TEST(AnimatedScene, TangentsRoundOffCurvesThatHaveNone) {
  ImportedModel model = makeModel({{0, 0}, {1, 10}, {2, 10}, {4, -10}}, Extrapolation::Linear);
  model.tangents = Tangents::Auto;
  EXPECT_GT(valueAt(model, 1.5), 10.5);
  model.tangents = Tangents::Clamped;
  EXPECT_FLOAT_EQ(valueAt(model, 1.5), 10);
  EXPECT_GT(valueAt(model, 0.9), 9.2);
  // Straight on in the direction of the ends.
  EXPECT_FLOAT_EQ(valueAt(model, -1), -10);
  EXPECT_FLOAT_EQ(valueAt(model, 5), -20);
  EXPECT_FLOAT_EQ(valueAt(makeModel({{1, 0}, {2, 10}, {4, -10}}, Extrapolation::Repeat), 4.5), 5);
}

}  // namespace knanim::AnimatedSceneTest
