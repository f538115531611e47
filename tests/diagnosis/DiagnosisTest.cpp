#include "knDiagnosis.h"

#include "support/LogCapture.h"
#include "support/SceneStage.h"

#include <algorithm>

namespace kntest {
namespace DiagnosisTest {

class DiagnosisTest : public SceneStage {
 protected:
  DiagnosisTest() { knDiagnosis::forgetWarnings(); }

  NodePtr const door = addNode(Transform3D::create());

  static bool names(std::vector<knStillnessReason> const& reasons, knStillness cause) {
    return std::ranges::any_of(reasons,
                               [&](auto const& one) { return one.cause == cause && !one.text.empty(); });
  }
};

/// What a newcomer gets wrong, in the first frame: told once, and by the query.
TEST_F(DiagnosisTest, EachMistakeIsToldOnceInTheFirstFrame) {
  NodePtr const outside = Node::create();
  Held const held(outside);
  outside->setCore(Transform3D::create());
  NodePtr const bare = addNode({});
  struct Mistake {
    NodePtr owner;
    AnimNodePtr tree;
    knStillness cause;
    char const* text;
  };
  std::vector<Mistake> const mistakes{
      {door, newCurveNode("translaton", 0, {{0, 1}, {1, 2}}), knStillness::NoField, "translation"},
      {door, newCurveNode("translation", 7, {{0, 1}, {1, 2}}), knStillness::NoComponent, "7"},
      {door, newCurveNode("eulerRotation", 4, {{0, 1}, {1, 2}}), knStillness::NoComponent, "4"},
      {bare, newCurveNode("translation", 0, {{0, 1}, {1, 2}}), knStillness::NoAim, "has no core"},
      {outside, newCurveNode("translation", 0, {{0, 1}, {1, 2}}), knStillness::NotInScene, "no scene holds"}};
  for (Mistake const& mistake : mistakes) {
    LogCapture const log;
    knAnimManager::the()->addAnimation(mistake.owner, mistake.tree);
    for (int frame = 0; frame < 3; ++frame) evaluate(0.25F * static_cast<float>(frame));
    ASSERT_EQ(log.warnings().size(), 1U) << mistake.text;
    EXPECT_TRUE(log.contains(mistake.text)) << log.warnings()[0];
    EXPECT_TRUE(names(knDiagnosis::whyStill(mistake.tree), mistake.cause)) << mistake.text;
    EXPECT_TRUE(names(knDiagnosis::whyStill(curveOf(mistake.tree)), mistake.cause)) << mistake.text;
    EXPECT_EQ(names(knDiagnosis::whyStill(), mistake.cause), mistake.owner != outside);
    knAnimManager::the()->subAnimation(mistake.owner, mistake.tree);
  }
  {
    LogCapture const several;
    for (int i = 0; i < 2; ++i)
      knAnimManager::the()->addAnimation(outside, newCurveNode("scale", 0, {{0, 1}, {1, 2}}));
    evaluate(0.25F);
    ASSERT_EQ(several.warnings().size(), 1U);
    EXPECT_TRUE(several.contains("2 animations move nothing: they hang on "));
  }
  LogCapture const log;
  Held const alone(newCurveNode("translation", 0, {{0, 1}, {1, 2}}));
  for (int times = 0; times < 2; ++times)
    knAnimManager::the()->evaluateByTime(*alone, 0.5F, true, true, false);
  curveOf(*alone)->addPoint({NAN, 1}, {}, {}, 0, 0, false, true);
  curveOf(*alone)->addPoint({NAN, 1}, {}, {}, 0, 0, false, true);
  EXPECT_EQ(log.warnings().size(), 2U);
  knSceneDataManager::endScene();
  for (int times = 0; times < 2; ++times) evaluate(1);
  EXPECT_EQ(log.warnings().size(), 3U);
  EXPECT_TRUE(names(knDiagnosis::whyStill(), knStillness::NoScene));
  EXPECT_TRUE(names(knDiagnosis::whyStill(AnimNodePtr()), knStillness::NotAlive));
}

TEST_F(DiagnosisTest, WhatMovesGivesNoReasonAndWhatIsSwitchedOffDoes) {
  AnimNodePtr const node = animate(door, newCurveNode("translation", 0, {{0, 1}, {1, 2}}));
  LogCapture const log;
  evaluate(0.5F);
  EXPECT_TRUE(knDiagnosis::whyStill(node).empty() && knDiagnosis::whyStill().empty() && log.lines().empty());

  // Evaluations pass over nodes that are no animation nodes. A curve that objects share tells of each once.
  AnimNodePtr const block = animate(door, newGroup<AnimBlock>({}));
  NodePtr const plain = Node::create();
  plain->setCore(newFieldCurve("translation", 1, {{0, 1}, {1, 2}}));
  block->addChild(plain);
  EXPECT_TRUE(names(knDiagnosis::whyStill(block), knStillness::NoCurves));
  AnimCurvePtr const shared = newFieldCurve("translaton", 0, {{0, 1}, {1, 2}});
  for (int i = 0; i < 6; ++i)
    animate(i % 2 == 0 ? addNode(Transform3D::create()) : root()->getChildren().getValues().back(),
            newAnimNode(shared));
  EXPECT_EQ(knDiagnosis::whyStill(shared).size(), 3U);

  animate(door, newCurveNode("translation", 0, {}));
  EXPECT_TRUE(knDiagnosis::whyStill(node).empty()) << "a curve without keys overwrites nothing";
  animate(door, newCurveNode("translation", 0, {{0, 5}, {1, 6}}));
  EXPECT_TRUE(names(knDiagnosis::whyStill(node), knStillness::Overwritten));
  // One thing under two names; a colour is only set by a temperature that changes.
  NodePtr const eye = addNode(UberCamera::create());
  NodePtr const lamp = addNode(UberLight::create());
  AnimNodePtr const opening = animate(eye, newCurveNode("fov", 0, {{0, 50}, {1, 60}}));
  animate(eye, newCurveNode("focalLength", 0, {{0, 20}, {1, 30}}));
  AnimNodePtr const red = animate(lamp, newCurveNode("diffuse", 0, {{0, 0}, {1, 1}}));
  animate(lamp, newCurveNode("diffuse", 1, {{0, 0}, {1, 1}}));
  AnimNodePtr const warmth = animate(lamp, newCurveNode("temperature", 0, {{0, 4000}, {1, 4000}}));
  EXPECT_TRUE(names(knDiagnosis::whyStill(opening), knStillness::Overwritten));
  EXPECT_FALSE(names(knDiagnosis::whyStill(red), knStillness::Overwritten));
  curveOf(warmth)->addPoint({2, 6000}, {}, {}, LinearTangent, LinearTangent, false, true);
  EXPECT_TRUE(names(knDiagnosis::whyStill(red), knStillness::Overwritten));
  AnimNodePtr const inner = newCurveNode("translation", 0, {{0, 5}, {1, 6}});
  block->addChild(inner);
  for (AnimNodePtr const& off : {node, block}) off->setTravMask(0);
  for (AnimNodePtr const& still : {node, inner})
    EXPECT_TRUE(names(knDiagnosis::whyStill(still), knStillness::Inactive));
  curveOf(node)->clear();
  EXPECT_TRUE(names(knDiagnosis::whyStill(node), knStillness::NoKeys));
  knAnimManager::setSimulationEnabledCB([] { return false; });
  EXPECT_TRUE(names(knDiagnosis::whyStill(), knStillness::SimulationOff));
}

}  // namespace DiagnosisTest
}  // namespace kntest
