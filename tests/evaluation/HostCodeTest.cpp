// What runs within an evaluation is the host's: it edits, destroys, and evaluates again.
#include "support/SceneStage.h"

namespace kntest {

/// A transform that does something, once, when it hears of a change.
class Listener : public osg::Transform3D {
  KN_CONTAINER(Listener, Listener, osg::Transform3D)
  KN_CONTAINER_END
  std::function<void()> onChange;
  void changed(osg::BitVector const& mask, osg::UInt32 origin) override {
    osg::Transform3D::changed(mask, origin);
    if (auto const act = std::exchange(onChange, nullptr)) act();
  }
};
KN_CONTAINER_TYPE(Listener, Listener, "TestListener")

namespace HostCodeTest {

class HostCodeTest : public SceneStage {
 protected:
  HostCodeTest() { AnimNode::_changed = true; }
  NodePtr const owner = addNode(Listener::create());
  Listener::Ptr const listener = dcast<Listener::Ptr>(owner->getCore());
};

TEST_F(HostCodeTest, EditsOnTheWayAreSeen) {
  AnimNodePtr const turn = newCurveNode("eulerRotation", 0, {{0, 0}, {1, 90}});
  AnimNodePtr const move = newCurveNode("translation", 0, {{0, 0}, {1, 8}});
  animate(owner, newGroup<AnimBlock>({turn, move}));
  // Between two writes: where the next value lands.
  listener->onChange = [&] {
    curveOf(move)->setName("scale");
    curveOf(move)->setValueIndex(2);
  };
  evaluate(0.5F);
  EXPECT_EQ(listener->getTranslation(), Vec3f());
  EXPECT_EQ(listener->getScale(), Vec3f(1, 1, 4));
  // When materials are asked for: the value as well, and the time of an evaluation in between is not taken.
  knAnimEvaluator::setGetSceneMaterialsCB([&](auto&) {
    knAnimEvaluator::setGetSceneMaterialsCB({});
    curveOf(move)->setName("translation");
    curveOf(move)->clear();
    curveOf(move)->addPoint({0, 10}, {}, {}, 1, 1, false, true);
    curveOf(move)->addPoint({1, 30}, {}, {}, 1, 1, false, true);
    evaluate(0.25F);
  });
  evaluate(0.5F);
  EXPECT_EQ(listener->getTranslation(), Vec3f(0, 0, 20));
  EXPECT_EQ(Access::time(), 0.5F);
}

TEST_F(HostCodeTest, AnEvaluationWithinAnotherKeepsItsMarks) {
  NodePtr const before = addNode(Transform3D::create()), other = addNode(Transform3D::create());
  AnimNodePtr const own = newCurveNode("translation", 0, {{0, 0}, {1, 8}});
  AnimNodePtr const turn = animate(owner, newCurveNode("eulerRotation", 0, {{0, 0}, {1, 90}}));
  AnimNodePtr const block = animate(before, newGroup<AnimBlock>({own, newAnimNode(turn->getCore())}));
  AnimNodePtr const within = animate(other, newCurveNode("translation", 1, {{0, 0}, {1, 8}}));
  for (bool const commit : {true, false}) {
    coreOf<Transform3D>(before)->setTranslation({});
    listener->setRotationAsEuler({});
    AnimNode::_changed = true;
    changes.clear();
    listener->onChange = [&] { manager.evaluateByTime(within, commit ? 0.5F : 0.75F, true, commit, false); };
    manager.evaluateByTime(block, 0.5F, true, true, false);
    EXPECT_EQ(placeOf(before), Vec3f(4, 0, 0));
    EXPECT_TRUE(announced(before->getCore()).test(Transform3D::TranslationFieldId));
    EXPECT_TRUE(announced(other->getCore()).test(Transform3D::TranslationFieldId));
  }
}

TEST_F(HostCodeTest, AnEvaluationBetweenPlayingTreesKeepsTheirMarks) {
  NodePtr const before = addNode(Transform3D::create()), other = addNode(Transform3D::create());
  AnimNodePtr const first = animate(before, newCurveNode("translation", 0, {{0, 1}, {1, 1}}));
  AnimNodePtr const second = animate(owner, newCurveNode("eulerRotation", 0, {{0, 90}, {1, 90}}));
  AnimNodePtr const within = animate(other, newCurveNode("translation", 1, {{0, 0}, {1, 8}}));
  listener->onChange = [&] { manager.evaluateByTime(within, 0.5F, true, true, false); };
  for (AnimNodePtr const& tree : {first, second}) manager.enqueue(tree, true);
  knAnimEvaluator::the()->loop();
  EXPECT_EQ(placeOf(other), Vec3f(0, 4, 0));
  EXPECT_TRUE(announced(before->getCore()).test(Transform3D::TranslationFieldId));
  manager.dequeueAll();
}

/// A block on very many objects, in any order: each of them is moved.
TEST_F(HostCodeTest, ABlockSharedByVeryMany) {
  AnimNodePtr const block = newGroup<AnimBlock>({newCurveNode("translation", 0, {{0, 0}, {1, 8}})});
  animate(owner, block);
  std::vector<NodePtr> nodes;
  for (int i = 0; i < 48'000; ++i) nodes.push_back(addNode(Transform3D::create()));
  // Those made last are found first.
  for (std::size_t i = nodes.size(); i-- > 0;)
    nodes[i]->addAttachment(knAnimManager::getAnimAttachment(owner));
  evaluate(0.5F);
  for (NodePtr const& node : nodes) ASSERT_EQ(placeOf(node), Vec3f(4, 0, 0));
  manager.evaluateByTime(block, 0.25F, true, true, false);
  for (NodePtr const& node : nodes) ASSERT_EQ(placeOf(node), Vec3f(2, 0, 0));
}

}  // namespace HostCodeTest
}  // namespace kntest
