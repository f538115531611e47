#include "model/sceneext/VertexAnimCurves.h"

#include "model/sceneext/AnimBuilders.h"

namespace VertexAnimCurvesTest {

using namespace osg;
using namespace kntest;

using VertexAnimCurvesTest = SceneTest;

TEST_F(VertexAnimCurvesTest, HoldsItsCurvesAndTheirRange) {
  VertexAnimCurvesPtr const vertices = VertexAnimCurves::create();
  Held const node(newAnimNode(vertices));
  EXPECT_EQ(animRangeOf(node), std::nullopt);
  Held const position(newCurve({{1, 0}, {3, 0}}));
  AnimCurvePtr const normal = newCurve({{-2, 0}, {2, 0}});
  AnimCurvePtr const dead = AnimCurve::create();
  dead.subRef();
  AnimNode::_changed = false;
  for (AnimCurvePtr const& refused : {AnimCurvePtr(), dead}) {
    vertices->addPositionCurve(refused);
    vertices->addNormalCurve(refused);
  }
  EXPECT_FALSE(AnimNode::_changed);
  vertices->addPositionCurve(position);
  EXPECT_TRUE(AnimNode::_changed);
  EXPECT_EQ(animRangeOf(node), (TimeRange{1, 3}));
  AnimNode::_changed = false;
  vertices->addNormalCurve(normal);
  EXPECT_TRUE(AnimNode::_changed);
  vertices->addNormalCurve(AnimCurve::create());
  EXPECT_EQ(animRangeOf(node), (TimeRange{-2, 3})) << "an empty curve spans nothing";
  EXPECT_EQ(vertices->getPositionCurves().getValues(), std::vector{*position});
  EXPECT_EQ(position->getRefCount(), 2);

  position->addPoints({{9, 0}});
  EXPECT_EQ(animRangeOf(node), (TimeRange{-2, 9}));
  AnimNode::_changed = false;
  vertices->clearCurves();
  EXPECT_TRUE(AnimNode::_changed);
  EXPECT_EQ(animRangeOf(node), std::nullopt);
  EXPECT_EQ(position->getRefCount(), 1);
  EXPECT_FALSE(normal.isAlive());
}

}  // namespace VertexAnimCurvesTest
