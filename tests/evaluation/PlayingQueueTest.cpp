#include "model/sceneext/AnimBlock.h"
#include "support/SceneStage.h"

namespace kntest::PlayingQueueTest {

double now = 0.0;
bool simulationEnabled = true;
std::function<void()> onTime;

class PlayingQueueTest : public SceneStage {
 protected:
  PlayingQueueTest() {
    now = 100.0;
    simulationEnabled = true;
    knAnimManager::setSimulationTimeCB([] { return now; });
    _listener = knUtils::listenToAll([this](std::string_view name, knMessage& message, int) {
      sent.append(name);
      if (auto const* const text = message.get<std::string>("name")) sent += ' ' + *text;
      if (auto const* const count = message.get<unsigned long>("count")) sent += ' ' + std::to_string(*count);
      sent += simulationEnabled ? "; " : " (off); ";
      if (onMessage) onMessage(name);
    });
  }
  ~PlayingQueueTest() override {
    onMessage = nullptr;
    onTime = nullptr;
    manager.dequeueAll();
  }

  /// A block with a curve from 0 at 0 s to 100 at 10 s, on a transform of its own.
  osg::AnimNodePtr newTree() {
    osg::NodePtr const owner = addNode(osg::Transform3D::create());
    return animate(owner, newGroup<osg::AnimBlock>({newCurveNode("translation", 0, {{0, 0}, {10, 100}})}));
  }
  static osg::NodePtr ownerOf(osg::AnimNodePtr const& tree) {
    for (osg::NodePtr const& node : root()->getChildren()) {
      osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(node);
      if (attachment && attachment->getAnimationRoot() == tree->getParent()) return node;
    }
    return {};
  }
  static float x(osg::AnimNodePtr const& tree) { return placeOf(ownerOf(tree)).x(); }
  float xAt(double time, osg::AnimNodePtr const& tree) {
    now = time;
    loop();
    return x(tree);
  }
  static void loop() { knAnimEvaluator::the()->loop(); }

  std::string sent;
  std::function<void(std::string_view)> onMessage;

 private:
  knUtils::Subscription _listener;
};

TEST_F(PlayingQueueTest, ATreePlaysOnItsOwnClockAndEndsExactly) {
  osg::AnimNodePtr const tree = newTree();
  int finished = 0;
  tree->registerFinishedAnimationCallback([&](auto const&) { ++finished; }, false);
  changes.clear();
  manager.enqueue(tree, true);
  EXPECT_EQ(announced(tree), AnimNode::StartTimeFieldMask | AnimNode::PlayingFieldMask);
  EXPECT_EQ(xAt(103, tree), 30.F);
  EXPECT_EQ(std::exchange(sent, {}), "evaluatedAnimationObjects 1; ");
  EXPECT_TRUE(manager.isPlaying(tree));
  EXPECT_EQ(xAt(110.5, tree), 100.F);
  EXPECT_EQ(std::exchange(sent, {}), "evaluatedAnimationObjects 1; dequeuedAnimation; ");
  EXPECT_EQ(finished, 1);
  EXPECT_FALSE(manager.isPlaying(tree));
  loop();
  EXPECT_EQ(sent, "") << "an idle pass";
  tree->registerFinishedAnimationCallback([&](auto const&) { ++finished; }, true);
  manager.enqueue(tree, true);
  manager.dequeueAll();
  tree->finishedAnimation();
  EXPECT_EQ(finished, 2) << "one for a single call was cancelled";
}

TEST_F(PlayingQueueTest, OwnersThatChangeWhileATreePlaysAreNoticed) {
  osg::AnimNodePtr const tree =
      animate(addNode(Transform3D::create()), newCurveNode("translation", 0, {{0, 0}, {10, 100}}));
  manager.enqueue(tree, true);
  for (double const time : {101, 102, 103}) EXPECT_EQ(xAt(time, tree), 10 * (time - 100));
  tree->getTravMask() = 0;
  for (double const time : {103.25, 103.375, 103.5}) EXPECT_EQ(xAt(time, tree), 30) << "switched off";
  tree->getTravMask() = 0xFFFFFFFFU;
  // What plays dies, or loses its curve, without anybody who counts owners.
  osg::AnimCurvePtr const curve = curveOf(tree);
  osg::AnimNodePtr const alone = newAnimNode(curve);
  manager.enqueue(alone, true);
  for (double const time : {103.5, 103.625, 103.75}) xAt(time, tree);
  alone.subRef();
  EXPECT_EQ(xAt(103.875, tree), 38.75F);
  Access::removeParents(tree);
  EXPECT_EQ(xAt(104, tree), 38.75F);
}

TEST_F(PlayingQueueTest, CyclesAndRanges) {
  osg::AnimNodePtr const endless = newTree();
  endless->setPostCycles(-1);
  osg::AnimNodePtr const four = newTree();
  four->setPostCycles(3);
  osg::AnimNodePtr const range = newTree();
  range->setUsePlayRange(true);
  range->setPlayRange({2, 5});
  osg::AnimNodePtr const still = newAnimNode(osg::Group::create());
  still->setPostCycles(-1);
  manager.enqueue(std::vector{endless, four, range, still, osg::AnimNodePtr()}, true);
  EXPECT_EQ(xAt(100, range), 20.F);
  EXPECT_EQ(xAt(102, range), 40.F);
  EXPECT_EQ(xAt(99, range), 10.F) << "a clock that is set back";
  EXPECT_EQ(xAt(104, range), 50.F);
  EXPECT_FALSE(range->getUsePlayRange());
  EXPECT_EQ(xAt(113, endless), 30.F);
  EXPECT_EQ(x(four), 30.F);
  EXPECT_NEAR(xAt(139.9, four), 99.F, 1e-3);
  EXPECT_TRUE(manager.isPlaying(four));
  EXPECT_EQ(xAt(140.1, four), 100.F);
  EXPECT_FALSE(manager.isPlaying(four));
  EXPECT_TRUE(manager.isPlaying(endless));
  EXPECT_EQ(still->getLastEvaluationTime(), 0.F);
  manager.dequeueAll();
  still.subRef();
}

TEST_F(PlayingQueueTest, PauseResetAndWaiting) {
  osg::AnimNodePtr const tree = newTree();
  osg::dcast<osg::AnimObjectPtr>(tree->getCore())->setName("walk");
  manager.enqueue(tree, false);
  EXPECT_FALSE(manager.isPlaying(tree));
  EXPECT_EQ(xAt(101, tree), 0.F) << "begins at the end of the pass";
  EXPECT_TRUE(manager.isPlaying("walk"));
  EXPECT_EQ(xAt(104, tree), 30.F);
  manager.pause(tree, true);
  now = 120;
  manager.pause(tree, true);
  EXPECT_EQ(xAt(164, tree), 30.F);
  EXPECT_TRUE(manager.isPlaying("walk")) << "pausing does not end playing";
  manager.pause(tree, false);
  EXPECT_NEAR(xAt(165, tree), 40.F, 1e-3);
  manager.pause(tree, true);
  manager.reset(tree, true);
  EXPECT_EQ(x(tree), 100.F);
  EXPECT_FALSE(tree->getPausing() || manager.isPlaying("walk") || manager.isPlaying(""));
  manager.enqueue(tree, false);
  sent.clear();
  manager.dequeue(tree);
  EXPECT_EQ(sent, "") << "one that only waits leaves without a message";
}

TEST_F(PlayingQueueTest, TheQueueMayBeChangedFromWithin) {
  osg::AnimNodePtr const first = newTree();
  osg::AnimNodePtr const second = newTree();
  osg::AnimNodePtr const again = newTree();
  again->registerFinishedAnimationCallback([&](auto const& node) { manager.enqueue(node, false); }, false);
  int onlyOnce = 0;
  second->registerFinishedAnimationCallback([&](auto const&) { ++onlyOnce; }, true);
  manager.enqueue(std::vector{first, second, again}, true);
  osg::NodePtr const owner = ownerOf(first);
  osg::NodePtr const otherOwner = ownerOf(second);
  onMessage = [&](std::string_view name) {
    if (name != "evaluatedAnimationObjects" || !owner.isAlive()) return;
    root()->subChild(owner);
    manager.dequeue(second);
  };
  now = 111;
  loop();
  EXPECT_FALSE(first.isAlive());
  EXPECT_EQ(onlyOnce, 0) << "cancelled before it was finished";
  EXPECT_EQ(placeOf(otherOwner).x(), 100.F) << "the pass went on";
  EXPECT_TRUE(manager.isPlaying(again));
  onMessage = nullptr;
  EXPECT_EQ(xAt(112, again), 10.F);
  osg::AnimNodePtr const paused = newTree();
  osg::AnimNodePtr const waiting = newTree();
  manager.enqueue(paused, true);
  manager.pause(paused, true);
  manager.enqueue(waiting, false);
  root()->clearChildren();
  sent.clear();
  loop();
  EXPECT_EQ(sent, "evaluatedAnimationObjects 2; ") << "what was destroyed is counted until it is taken out";
  manager.dequeue(paused);
  loop();
  EXPECT_EQ(sent, "evaluatedAnimationObjects 2; evaluatedAnimationObjects 1; ");
  manager.dequeueAll();
  sent.clear();
  loop();
  EXPECT_EQ(sent, "");
}

TEST_F(PlayingQueueTest, WhatReceiversDoMeanwhileHasItsOrder) {
  // Trees that wait are started one by one: the first to begin takes the others out.
  std::vector<osg::AnimNodePtr> const waiting{newTree(), newTree(), newTree()};
  manager.enqueue(waiting, false);
  knAnimManager::setSimulationTimeCB([] {
    if (onTime) onTime();
    return now;
  });
  int asked = 0;
  onTime = [&] {
    // The pass asks for the time first, then each tree that begins.
    if (++asked != 2) return;
    for (osg::AnimNodePtr const& tree : waiting) manager.dequeue(tree);
  };
  loop();
  EXPECT_EQ(std::ranges::count_if(waiting, [](auto const& tree) { return tree->getPlaying(); }), 1);
  manager.dequeueAll();

  // What a receiver starts while all are taken out goes too.
  osg::AnimNodePtr const late = newTree();
  manager.enqueue(waiting, true);
  onMessage = [&](std::string_view name) {
    if (name == "dequeuedAnimation") manager.enqueue(late, true);
  };
  manager.dequeueAll();
  onMessage = nullptr;
  sent.clear();
  loop();
  EXPECT_EQ(sent, "");
}

TEST_F(PlayingQueueTest, WhoIsTakenOutWithinAPassIsNotEvaluatedInIt) {
  std::vector<osg::AnimNodePtr> trees;
  for (char const* const name : {"0", "1"}) {
    osg::AnimSequencePtr const mark = osg::AnimSequence::create();
    mark->setName(name);
    osg::AnimNodePtr const curve = newCurveNode("translation", 0, {{0, 0}, {10, 100}});
    trees.push_back(animate(addNode(osg::Transform3D::create()),
                            newGroup<osg::AnimClip>({curve, newAnimNode(mark, 1, 2)})));
  }
  manager.enqueue(trees, true);
  std::size_t other = 2;
  onMessage = [&](std::string_view name) {
    if (name != "runSequence") return;
    EXPECT_EQ(other, 2U) << "once";
    other = sent.find("runSequence 0") != std::string::npos ? 1 : 0;
    manager.dequeue(trees[other]);
    knAnimEvaluator::the()->freeMemory();
  };
  now = 103;
  loop();
  ASSERT_LT(other, 2U);
  EXPECT_EQ(x(trees[other]), 0.F);
  EXPECT_EQ(trees[other]->getLastEvaluationTime(), 0.F);
  EXPECT_EQ(x(trees[1 - other]), 30.F);
}

TEST_F(PlayingQueueTest, SequencesFireWhereARunArrives) {
  auto const sequence = [](char const* name, float time) {
    osg::AnimSequencePtr const core = osg::AnimSequence::create();
    core->setName(name);
    core->setIsViewpoint(name == std::string("view"));
    core->setIsVariant(name == std::string("red"));
    return newAnimNode(core, 1, time);
  };
  osg::AnimNodePtr const clip =
      newGroup<osg::AnimClip>({sequence("view", 5), sequence("red", 3), sequence("open", 7)});
  clip.addRef();
  knAnimManager::setEnableSimulationCB([](bool on) { simulationEnabled = on; });
  auto const sentBetween = [&](float from, float to) {
    clip->setLastEvaluationTime(from);
    sent.clear();
    knAnimEvaluator::the()->evaluateObject(clip, to, false, true, false);
    return std::exchange(sent, {});
  };
  EXPECT_EQ(sentBetween(4, 5), "activateViewpoint view; ");
  EXPECT_EQ(sentBetween(5, 5), "activateViewpoint view; ");
  EXPECT_EQ(sentBetween(5, 6), "");
  EXPECT_EQ(sentBetween(4, 3), "selectVariantSet red; ");
  EXPECT_EQ(sentBetween(3, 2), "");
  EXPECT_EQ(sentBetween(6, 8), "runSequence open (off); ");
  EXPECT_TRUE(simulationEnabled);
  knAnimManager::setSimulationEnabledCB([] { return simulationEnabled; });
  simulationEnabled = false;
  EXPECT_EQ(sentBetween(6, 8), "runSequence open (off); ");
  EXPECT_FALSE(simulationEnabled) << "what was off stays off";
  simulationEnabled = true;
  knAnimEvaluator::the()->blockSequenceEvaluation(true);
  EXPECT_EQ(sentBetween(0, 9), "");
  knAnimEvaluator::the()->blockSequenceEvaluation(false);
  clip.subRef();
}

}  // namespace kntest::PlayingQueueTest
