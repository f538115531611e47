#include "knAuthoring.h"
#include "knDiagnosis.h"
#include "knFramePlayer.h"
#include "manager/Creation.h"

#include "support/LogCapture.h"
#include "support/SceneStage.h"

#include <algorithm>

namespace kntest {
namespace DiagnosisTest {

class DiagnosisTest : public SceneStage {
 protected:
  DiagnosisTest() { knDiagnosis::forgetWarnings(); }

  NodePtr const door = addNode(Transform3D::create());

  static bool names(std::vector<knStillnessReason> const& reasons, knStillness cause,
                    std::string const& text = " ") {
    return std::ranges::any_of(reasons, [&](auto const& one) {
      return one.cause == cause && one.text.find(text) != std::string::npos;
    });
  }
};

/// What a newcomer gets wrong, in the first frame: told once, and by the query.
TEST_F(DiagnosisTest, EachMistakeIsToldOnceInTheFirstFrame) {
  NodePtr const outside = Node::create();
  Held const held(outside);
  outside->setCore(Transform3D::create());
  Held const paint(PhongMaterial::create());
  NodePtr const bare = addNode({});
  struct Mistake {
    AttachmentContainerPtr owner;
    AnimNodePtr tree;
    knStillness cause;
    char const* text;
  };
  std::vector<Mistake> const mistakes{
      {door, newCurveNode("translaton", 0, {{0, 1}, {1, 2}}), knStillness::NoField, "translation"},
      {door, newCurveNode("translation", 7, {{0, 1}, {1, 2}}), knStillness::NoComponent, "7"},
      {door, newCurveNode("eulerRotation", 4, {{0, 1}, {1, 2}}), knStillness::NoComponent, "4"},
      {bare, newCurveNode("translation", 0, {{0, 1}, {1, 2}}), knStillness::NoAim, "has no core"},
      {outside, newCurveNode("translation", 0, {{0, 1}, {1, 2}}), knStillness::NotInScene, "no scene holds"},
      {*paint, newCurveNode("diffuseColor", 0, {{0, 1}, {1, 2}}), knStillness::NotInScene, "material pool"},
      {door->getCore(), newCurveNode("scale", 0, {{0, 1}, {1, 2}}), knStillness::NotInScene, "is a core"}};
  for (Mistake const& mistake : mistakes) {
    LogCapture const log;
    knAnimManager::the()->addAnimation(mistake.owner, mistake.tree);
    for (int frame = 0; frame < 3; ++frame) evaluate(0.25F * static_cast<float>(frame));
    ASSERT_EQ(log.warnings().size(), 1U) << mistake.text;
    EXPECT_TRUE(log.contains(mistake.text)) << log.warnings()[0];
    EXPECT_TRUE(names(knDiagnosis::whyStill(mistake.tree), mistake.cause, mistake.text)) << mistake.text;
    EXPECT_TRUE(names(knDiagnosis::whyStill(curveOf(mistake.tree)), mistake.cause)) << mistake.text;
    EXPECT_EQ(names(knDiagnosis::whyStill(), mistake.cause), mistake.cause != knStillness::NotInScene);
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
  Held const partly(newGroup<AnimBlock>({newAnimNode(curveOf(node)), newCurveNode("scale", 0, {{0, 1}})}));
  EXPECT_FALSE(names(knDiagnosis::whyStill(*partly), knStillness::NotInScene));
  curveOf(node)->clear();
  EXPECT_TRUE(names(knDiagnosis::whyStill(node), knStillness::NoKeys));
  knAnimManager::setSimulationEnabledCB([] { return false; });
  EXPECT_TRUE(names(knDiagnosis::whyStill(), knStillness::SimulationOff));
}

/// What a scene has on purpose is not told; what is in the way of one tree is.
TEST_F(DiagnosisTest, TheSceneIsAskedForFaultsAlone) {
  named(door, "Door");
  knAuthoring::setKeys(knAuthoring::makeCurve(door, "translation.X"), {{0, 0}, {2, 8}});
  AnimNodePtr const clip = knAuthoring::makeClip({{door}}, "opening");
  AnimNodePtr const even =
      animate(addNode(Transform3D::create()), newCurveNode("scale", 0, {{0, 1}, {1, 1}}));
  EXPECT_TRUE(knDiagnosis::whyStill().empty());
  EXPECT_TRUE(
      names(knDiagnosis::whyStill(knStillnessOptions{.constantCurves = true}), knStillness::SameValues));
  EXPECT_TRUE(names(knDiagnosis::whyStill(even), knStillness::SameValues));
  EXPECT_TRUE(names(knDiagnosis::whyStill(clip), knStillness::NotStepped, "'opening': a clip"));
  manager.evaluateByTime(clip, 1, true, true, false);
  EXPECT_TRUE(knDiagnosis::whyStill(clip).empty());
  curveOf(even)->getControlPoints().getValues()[1].setInY(1);
  EXPECT_FALSE(names(knDiagnosis::whyStill(even), knStillness::SameValues));
  clip->setTravMask(0);
  EXPECT_TRUE(names(knDiagnosis::whyStill(), knStillness::Inactive, "opening_Block"));
  clip->setTravMask(0xFFFFFFFFU);
  animate(door, newGroup<AnimBlock>({}));
  treesOf(door)[0]->setTravMask(0);
  NodePtr const empty = named(addNode(Transform3D::create()), "Empty");
  animate(empty, newGroup<AnimBlock>({}));
  EXPECT_TRUE(names(knDiagnosis::whyStill(), knStillness::NoCurves, "an animation of 'Empty' (Node)"));

  knAnimManager::the()->pause(clip, true);
  EXPECT_FALSE(names(knDiagnosis::whyStill(clip), knStillness::Paused));
  knAnimManager::the()->enqueue(clip, true);
  EXPECT_TRUE(names(knDiagnosis::whyStill(clip), knStillness::Paused));
  knAnimManager::the()->dequeueAll();
  curveOf(even)->getControlPoints().getValues()[0].setX(5);
  EXPECT_TRUE(names(knDiagnosis::whyStill(even), knStillness::KeysOutOfOrder, "key 1"));
  door->addChild(newCurveNode("scale", 0, {{0, 1}, {1, 2}}));
  EXPECT_TRUE(names(knDiagnosis::whyStill(AnimNodePtr(dcast<AnimNodePtr>(door->getChild(0)))),
                    knStillness::NotInScene, "is a child of 'Door'"));
  knAnimManager::the()->clearClipStructure();
}

/// What arrives, but not as it was meant.
TEST_F(DiagnosisTest, SlipsOfSuffixTangentAndNumberAreTold) {
  LogCapture const log;
  AnimAttachmentPtr const attachment = findOrCreateAttachment(door);
  auto const make = [&](char const* field, UInt32 index, char const* suffix) {
    return manager.createChannelCurveNode(attachment, field, index, suffix, "");
  };
  auto const create = [&](char const* suffix) {
    return animate(door, manager.createCurve("scale", suffix).first);
  };
  auto const tellsSuffix = [&](AnimNodePtr const& node, char const* text) {
    return log.contains(text) && names(knDiagnosis::whyStill(node), knStillness::OtherComponent, text);
  };
  EXPECT_TRUE(tellsSuffix(make("scale", 1, "X"), "component 1, and its suffix 'X' stands for component 0"));
  EXPECT_TRUE(tellsSuffix(create("y"), "component 0, and its suffix 'y'"));
  create("up");
  EXPECT_TRUE(log.contains("'up' stands for none"));
  create("B");
  make("glare", 11, "");
  make("scale", 1, "left");
  make("colorCorrection", 0, "hueShift");  // of a camera
  EXPECT_EQ(log.warnings().size(), 3U);

  AnimNodePtr const tree = animate(door, newCurveNode("translation", 2, {}));
  using Vec = osg::Vec2f;
  auto const causesOf = [&](Vec const& out, Vec const& in, UInt32 type, bool computes) {
    curveOf(tree)->clear();
    curveOf(tree)->addPoint({2, 0}, {}, out, type, type, false, computes);
    curveOf(tree)->addPoint({3, 5}, in, {}, type, type, false, computes);
    return knDiagnosis::whyStill(tree);
  };
  EXPECT_TRUE(names(causesOf({2.4F, 0}, {-0.4F, 0}, 3, false), knStillness::StrayTangent, "key 0: the out"));
  EXPECT_TRUE(names(causesOf({0.4F, 0}, {2.6F, 5}, 3, false), knStillness::StrayTangent, "key 1: the in"));
  EXPECT_TRUE(names(causesOf({}, {}, LinearTangent, false), knStillness::NoTangent, "key 0"));
  EXPECT_TRUE(causesOf({1.3F, 0}, {0.005F, 0}, 3, false).empty());
  EXPECT_TRUE(causesOf({}, {-4, 0}, StepTangent, false).empty()) << "nothing reads the in-tangent";
  EXPECT_TRUE(causesOf({}, {}, StepTangent, false).empty() && causesOf({}, {}, 1, true).empty());

  tree->setPostCycles(-2);
  tree->setUsePlayRange(true);
  tree->setPlayRange({5, 2});
  for (int times = 0; times < 2; ++times) manager.enqueue(tree, true);
  EXPECT_EQ(log.warnings().size(), 5U);
  auto const reasons = knDiagnosis::whyStill(tree);
  EXPECT_TRUE(names(reasons, knStillness::BadCycles) &&
              names(reasons, knStillness::BadPlayRange, "5 s to 2"));
}

/// A host without a loop sees the first frame at most.
TEST_F(DiagnosisTest, WhatIsNotSteppedIsNamedUntilItIs) {
  AnimNodePtr const tree = animate(door, newCurveNode("translation", 0, {{0, 1}, {1, 2}}));
  static double now = 1e9;
  knAnimManager::setSimulationTimeCB([] { return now; });
  auto const isStill = [&](char const* call) {
    return names(knDiagnosis::whyStill(tree), knStillness::NotStepped, call);
  };
  manager.enqueue(tree, true);
  EXPECT_TRUE(isStill("knAnimEvaluator::loop"));
  knAnimEvaluator::the()->loop();
  EXPECT_FALSE(isStill("loop"));
  now -= 5;
  knAnimEvaluator::the()->loop();
  EXPECT_FALSE(isStill("loop")) << "the clock went back";
  now += 6;
  manager.enqueue(tree, true);
  EXPECT_TRUE(isStill("loop"));
  manager.dequeueAll();

  NodePtr const track = addNode(CameraTrack::create(), addNode(UberCamera::create()));
  addNode(UberCamera::create(), track);
  AnimNodePtr const block = manager.createMissingCameraTrackBlockForNode(track);
  AnimNodePtr const ride = knAuthoring::makeClipOfBlocks({{block}}, "ride", {.switchOffInScene = false});
  EXPECT_TRUE(names(knDiagnosis::whyStill(block), knStillness::NotStepped, "a camera track"));
  manager.evaluateByTime(ride, 1, true, true, false);
  EXPECT_FALSE(names(knDiagnosis::whyStill(block), knStillness::NotStepped)) << "a clip moves its curves";
  manager.clearClipStructure();

  knFramePlayer& player = knFramePlayer::the();
  player.play({.firstFrame = 0, .lastFrame = 9});
  player.apply();
  EXPECT_TRUE(isStill("tick was not called"));
  player.play({.firstFrame = 0, .lastFrame = 9});
  player.tick();
  EXPECT_TRUE(isStill("apply was not called"));
  player.apply();
  EXPECT_TRUE(knDiagnosis::whyStill(tree).empty());
  player.play({});
  EXPECT_TRUE(names(knDiagnosis::whyStill(), knStillness::BadPlayRange, "one frame"));
  player.stop(nullptr);
}

TEST_F(DiagnosisTest, CallsThatMakeNoSenseAreToldOnce) {
  AnimNodePtr const tree = animate(door, newCurveNode("translation", 0, {{0, 1}, {1, 2}}));
  auto const callAll = [&] {
    for (int times = 0; times < 2; ++times) {
      manager.setFPS(-1 - times);
      manager.setCurrentTime(INFINITY, true, false);
      manager.evaluateByTime(tree, NAN, true, true, false);
      manager.evaluateByTime({}, 0, true, true, false);
      manager.enqueue(AnimNodePtr(), true);
      manager.addAnimation(door, {});
    }
  };
  LogCapture const log;
  knDiagnosis::setWarnings(false);
  callAll();
  EXPECT_TRUE(log.lines().empty());
  knDiagnosis::setWarnings(true);
  callAll();
  EXPECT_EQ(log.warnings().size(), 6U);
}

}  // namespace DiagnosisTest
}  // namespace kntest
