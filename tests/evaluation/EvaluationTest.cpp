// Whole evaluations, from the time to the announced field.
#include "support/SceneStage.h"

namespace kntest::EvaluationTest {

bool simulationEnabled = true;

class EvaluationTest : public SceneStage {
 protected:
  EvaluationTest() { AnimNode::_changed = true; }
  float x() const { return placeOf(owner).x(); }
  knAnimEvaluator& evaluator = *knAnimEvaluator::the();
  NodePtr const owner = addNode(Transform3D::create());
};

/// More curves than one worker computes for an owner: the rest is left for all workers. The last to write wins.
TEST_F(EvaluationTest, AnOwnerOfVeryManyCurves) {
  osg::NodePtr const few = addNode(Transform3D::create());
  animate(few, newCurveNode("translation", 1, {{0, 7}, {1, 7}}));
  osg::NodePtr const many = addNode(Transform3D::create());
  constexpr int Count = 5000;
  for (int i = 1; i <= Count; ++i) {
    auto const value = static_cast<float>(i);
    animate(many, newCurveNode("translation", i == 1 ? 1 : 0, {{0, value}, {1, value}}));
  }
  evaluate(0.5F);
  EXPECT_EQ(placeOf(few), Vec3f(0, 7, 0));
  EXPECT_EQ(placeOf(many), Vec3f(Count, 1, 0));
  // Of a tree, the curve that was made last.
  AnimNodePtr const older = newCurveNode("translation", 2, {{0, 3}}),
                    newer = newCurveNode("translation", 2, {{0, 4}});
  AnimNodePtr const tree = animate(few, newGroup<AnimBlock>({newer, older}));
  manager.evaluateByTime(tree, 0, true, true, false);
  EXPECT_EQ(placeOf(few).z(), 4);
}

TEST_F(EvaluationTest, Filters) {
  AnimNodePtr const a = newCurveNode("translation", 0, {{0, 0}, {1, 10}});
  AnimNodePtr const b = newCurveNode("translation", 1, {{0, 0}, {1, 10}});
  animate(owner, newGroup<AnimBlock>({a, b}));
  auto const evaluated = [&](knCurveData const& filter, float time) {
    evaluator.evaluate(time, false, {filter});
    return placeOf(owner);
  };
  knCurveData record(b, curveOf(b));
  record.time = 77;
  EXPECT_EQ(evaluated(record, 0.5F), Vec3f(0, 5, 0)) << "neither time nor the sets are compared";
  EXPECT_EQ(evaluated(knCurveData(a, curveOf(b)), 0.75F), Vec3f(0, 5, 0));
  record.value = 1;
  EXPECT_EQ(evaluated(record, 0.75F), Vec3f(0, 5, 0)) << "a record that was computed before matches nothing";
}

TEST_F(EvaluationTest, TheOrderOfOverlappingClips) {
  // On one channel: 10 to 20 from 1 s to 2 s, 30 to 40 from 3 s to 4 s, 50 to 60 from 3.5 s to 6 s.
  std::vector<AnimNodePtr> parts, placed;
  for (auto const [value, begin, length] : {std::array<float, 3>{30, 3, 1}, {10, 1, 1}, {50, 3.5F, 2.5F}}) {
    parts.push_back(newCurveNode("translation", 0, {{0, value}, {length, value + 10}}));
    placed.push_back(newAnimNode(parts.back()->getCore(), 1, begin));
  }
  animate(owner, newGroup<AnimBlock>(parts));
  Held const clip(newGroup<AnimClip>({placed[0], newGroup<AnimBlock>({placed[1]}), placed[2]}));
  struct Case {
    float time, clipped, plain;
  };
  for (Case const& one : {Case{0, 10, 50}, {1.5F, 15, 50}, {2.5F, 20, 50}, {3.25F, 32.5F, 50}, {9, 60, 60}}) {
    clip->setCore(AnimClip::create());
    manager.evaluateByTime(clip, one.time, false, true, false);
    EXPECT_EQ(x(), one.clipped) << "at " << one.time;
    EXPECT_EQ(clip->getLastEvaluationTime(), one.time);
    clip->setCore(AnimBlock::create());
    manager.evaluateByTime(clip, one.time, false, true, false);
    EXPECT_EQ(x(), one.plain) << "in ascending id, at " << one.time;
  }
  // Two in progress: equal times keep the order of ids, else the later time within its run writes last.
  clip->setCore(AnimClip::create());
  manager.evaluateByTime(clip, 3.75F, false, true, false);
  EXPECT_EQ(x(), 51);
  placed[0]->setPostCycles(9);
  placed[2]->setOffset({0, 0});
  placed[2]->setPostCycles(-1);
  manager.evaluateByTime(clip, 5.5F, false, true, false);
  EXPECT_EQ(x(), 35) << "at 3.5 s, the other at 0.5 s";
  manager.evaluateByTime(clip, std::nanf(""), false, true, false);
  EXPECT_TRUE(std::isnan(clip->getLastEvaluationTime()));
}

TEST_F(EvaluationTest, ASharedBlockMovesAllItsOwners) {
  AnimNodePtr const block =
      animate(owner, newGroup<AnimBlock>({newCurveNode("translation", 0, {{0, 0}, {1, 10}})}));
  NodePtr const second = addNode(Transform3D::create());
  second->addAttachment(knAnimManager::getAnimAttachment(owner));
  changes.clear();
  manager.evaluateByFrame(block, 6, false, false, false);
  EXPECT_EQ(changes.getAnnouncementCount(), 1U) << "the time of the block alone";
  for (NodePtr const& one : {owner, second}) EXPECT_EQ(placeOf(one), Vec3f(2.5F, 0, 0));
  EXPECT_EQ(Access::gatherTree(block, 0).size(), 1U);
  EXPECT_EQ(Access::markCount(), 2U);

  // For stated parents owners are not looked for: what is known of the curves counts.
  AnimNode::_changed = true;
  std::set<FieldContainerPtr> const parents{second}, others{owner};
  evaluator.evaluateObject(block, parents, 0.5F, false, true);
  evaluator.evaluateObject(block, others, 0.5F, false, true);
  evaluator.evaluateObject(block, std::set<FieldContainerPtr>{}, 0.75F, false, true);
  EXPECT_TRUE(AnimNode::_changed);
  EXPECT_EQ(x(), 5);
  EXPECT_EQ(Access::parents()[block.getContainerId()], parents) << "the first entry stays";

  // A camera in a clip is moved at once for stated parents, and once by all its curves otherwise.
  UberCameraPtr const camera = UberCamera::create();
  AnimNodePtr const clip =
      animate(addNode(camera),
              newGroup<AnimClip>({newCurveNode("from", 0, {{0, 3}}), newCurveNode("at", 1, {{0, 5}})}));
  for (bool const stated : {false, true}) {
    camera->setViewByFromAtUp({0, 0, 1}, {0, 0, 0}, {0, 1, 0});
    changes.clear();
    if (stated) evaluator.evaluateObject(clip, parents, 0, false, true);
    if (!stated) manager.evaluateByTime(clip, 0, false, true, false);
    EXPECT_EQ(camera->getFrom(), Pnt3f(3, 0, 1));
    EXPECT_EQ(camera->getAt(), Pnt3f(0, 5, 0));
    EXPECT_EQ(changes.getAnnouncementCount(), stated ? 3U : 2U) << "with the clip's time";
  }
}

TEST_F(EvaluationTest, WhatTheManagerRefuses) {
  AnimNodePtr const curve = newCurveNode("translation", 0, {{0, 0}, {10, 10}});
  AnimNodePtr const block = animate(owner, newGroup<AnimBlock>({curve}));
  auto const xAt = [&](float time, bool force, bool motionBlurOnly = false) {
    manager.evaluateByTime(block, time, force, true, motionBlurOnly);
    return x();
  };
  knAnimManager::setSimulationEnabledCB([] { return simulationEnabled; });
  simulationEnabled = false;
  EXPECT_EQ(xAt(1, false), 0);
  EXPECT_EQ(xAt(1, true), 1);
  simulationEnabled = true;
  EXPECT_EQ(xAt(2, false), 2);
  manager.setCurrentTimeNoEvaluation(3, false);
  manager.reevaluate(block, false);
  EXPECT_EQ(x(), 3);
  manager.reevaluate({}, true);
  block->setTravMask(1);
  EXPECT_EQ(xAt(4, true), 3);
  block->setTravMask(0xFFFFFFFF);
  block->setCore({});
  EXPECT_EQ(xAt(4, true), 3);
  block->setCore(AnimBlock::create());
  curve->setMotionBlur(false);
  EXPECT_EQ(xAt(4, false, true), 3);
  EXPECT_EQ(xAt(4, false), 4);
}

}  // namespace kntest::EvaluationTest
