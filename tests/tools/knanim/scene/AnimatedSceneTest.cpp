#include "knanim/scene/AnimatedScene.h"

#include "knanim/import/ModelImport.h"
#include "model/fields/FieldContainerFactory.h"
#include "tools/knanim/TestFiles.h"

#include <cmath>

namespace knanim {
namespace {

ImportedModel makeModel(std::vector<Key> keys, Extrapolation outside = Extrapolation::Constant) {
  ImportedModel model;
  model.nodes.resize(2);
  model.nodes[0].name = "root";
  model.nodes[1].name = "arm";
  model.nodes[1].parent = 0;
  model.curves.resize(1);
  model.curves[0].node = 1;
  model.curves[0].kind = ChannelKind::Rotation;
  model.curves[0].component = 1;
  model.curves[0].before = outside;
  model.curves[0].after = outside;
  model.curves[0].keys = std::move(keys);
  return model;
}

float valueAt(ImportedModel const& model, double time) {
  AnimatedScene const scene(model);
  CurveReader reader(scene.curves());
  reader.evaluate(time);
  return reader.value(0);
}

/// Straight lines between keys, in double precision.
double expectedAt(std::vector<Key> const& keys, double time) {
  if (time <= keys.front().time) return keys.front().value;
  if (time >= keys.back().time) return keys.back().value;
  std::size_t i = 1;
  while (keys[i].time < time) ++i;
  double const share = (time - keys[i - 1].time) / (keys[i].time - keys[i - 1].time);
  return keys[i - 1].value + share * (keys[i].value - keys[i - 1].value);
}

TEST(AnimatedScene, LinesBetweenKeysAndBehaviourOutside) {
  std::vector<Key> const keys = {{1, 0}, {2, 10}, {4, -10}};
  struct Case {
    Extrapolation outside;
    double time;
    float value;
  };
  for (Case const& each : {Case{Extrapolation::Constant, 0, 0}, Case{Extrapolation::Constant, 1.5, 5},
                           Case{Extrapolation::Constant, 3, 0}, Case{Extrapolation::Constant, 9, -10},
                           Case{Extrapolation::Linear, 0, -10}, Case{Extrapolation::Linear, 1.25, 2.5},
                           Case{Extrapolation::Linear, 5, -20}, Case{Extrapolation::Repeat, 4.5, 5},
                           Case{Extrapolation::Repeat, 0.5, -5}}) {
    EXPECT_FLOAT_EQ(valueAt(makeModel(keys, each.outside), each.time), each.value) << each.time;
  }
  EXPECT_EQ(valueAt(makeModel({{3, 7}}, Extrapolation::Repeat), 100), 7);
  // A second evaluation does not depend on the first, whose time was wrapped.
  AnimatedScene const scene(makeModel(keys, Extrapolation::Repeat));
  CurveReader reader(scene.curves());
  reader.evaluate(1003.5);
  reader.evaluate(1.5);
  EXPECT_FLOAT_EQ(reader.value(0), 5);
}

TEST(AnimatedScene, CurvesStandUnderTheirNodesAndGoWithTheScene) {
  auto const alive = [] {
    std::size_t count = 0;
    for (auto const& container : *osg::FieldContainerFactory::the().getFieldContainerStore()) {
      count += container.isAlive() ? 1U : 0U;
    }
    return count;
  };
  { AnimatedScene const first(makeModel({{0, 1}})); }  // the library makes what it keeps
  std::size_t const before = alive();
  {
    AnimatedScene const scene(makeModel({{0, 1}, {1, 2}}));
    osg::NodePtr const arm = scene.root()->getChild(0)->getChild(0);
    EXPECT_STREQ(osg::NodeUtils::getName(arm), "arm");
    std::vector<osg::AnimNodePtr> blocks;
    knAnimManager::getAnimAttachment(arm)->getTopLevelBlockNodes(blocks);
    ASSERT_EQ(blocks.size(), 1U);
    std::vector<osg::NodePtr> const& curves = blocks[0]->getChildren().getValues();
    ASSERT_EQ(curves.size(), 1U);
    EXPECT_STREQ(osg::NodeUtils::getName(curves[0]), "rotation.Y");
    auto const curve = osg::dcast<osg::AnimCurvePtr>(curves[0]->getCore());
    EXPECT_EQ(curve->getName(), "eulerRotation");
    EXPECT_EQ(curve->getChannelName(), "rotation");
    EXPECT_EQ(curve->getSuffix(), "Y");
    EXPECT_EQ(curve->getValueIndex(), 1U);
    EXPECT_GT(alive(), before);
  }
  EXPECT_EQ(alive(), before);
}

TEST(AnimatedScene, ARealModelReadsTheSameAsItsKeys) {
  auto opened = ModelFile::open(test::modelPath("BVH/01_01.bvh"));
  auto const loaded = std::get<ModelFile>(opened).load(0);
  auto const& model = std::get<ImportedModel>(loaded);
  AnimatedScene const scene(model);
  CurveReader all(scene.curves());
  std::vector<std::size_t> const some = {200, 3};
  CurveReader few(scene, some);
  ASSERT_EQ(all.size(), model.curves.size());
  for (int frame = -3; frame < 700; frame += 7) {
    double const time = static_cast<float>(frame / 30.0);
    all.evaluate(time);
    few.evaluate(time);
    for (std::size_t i = 0; i < all.size(); ++i) {
      // A time in single precision misses by a micro-second here, within which a joint of this film turns little.
      ASSERT_NEAR(all.value(i), expectedAt(model.curves[i].keys, time), 0.02)
          << model.curveName(model.curves[i]);
    }
    EXPECT_EQ(few.value(0), all.value(200));
    EXPECT_EQ(few.value(1), all.value(3));
  }
}

}  // namespace
}  // namespace knanim
