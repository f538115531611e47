#include "model/sceneext/VertexAnimCurves.h"

#include "model/sceneext/AnimBuilders.h"

namespace VertexAnimCurvesTest {

using namespace osg;
using namespace kntest;

using VertexAnimCurvesTest = SceneTest;

TEST_F(VertexAnimCurvesTest, HoldsItsCurvesAndTheirRange) {
  VertexAnimCurvesPtr const vertices = VertexAnimCurves::create();
  Held const node(newAnimNode(vertices));
  Held const position(newCurve({{1, 0}, {3, 0}}));
  AnimCurvePtr const normal = newCurve({{-2, 0}, {2, 0}});
  auto const raises = [](auto const& edit) {
    AnimNode::_changed = false;
    edit();
    return AnimNode::_changed;
  };
  EXPECT_FALSE(raises([&] { vertices->addPositionCurve({}); }));
  EXPECT_TRUE(raises([&] { vertices->addPositionCurve(position); }));
  EXPECT_TRUE(raises([&] { vertices->addNormalCurve(normal); }));
  vertices->addNormalCurve(AnimCurve::create());
  position->addPoints({{9, 0}});
  EXPECT_EQ(animRangeOf(node), (TimeRange{-2, 9})) << "an empty curve spans nothing";
  EXPECT_TRUE(raises([&] { vertices->clearCurves(); }));
  EXPECT_EQ(animRangeOf(node), std::nullopt);
  EXPECT_TRUE(position->getRefCount() == 1 && !normal.isAlive());
}

}  // namespace VertexAnimCurvesTest
