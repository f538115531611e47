#include "editing/EditingStage.h"

namespace kntest::MigrationTest {

class MigrationTest : public EditingStage {
 protected:
  static AnimAttachmentPtr hang(AttachmentContainerPtr const& holder, std::string const& names) {
    AnimAttachmentPtr const attachment = AnimAttachment::create();
    for (char const name : names) attachment->addAnimation(newBlock(std::string(1, name)));
    holder->addAttachment(attachment);
    return attachment;
  }
  NodePtr clips() { return manager.clipStructureRoot(); }
};

TEST_F(MigrationTest, AnimationsComeUpToTheNode) {
  MaterialPtr const paint = addMaterial<PhongMaterial>("paint");
  GeometryPtr const shape = Geometry::create();
  shape->setMaterial(paint);
  NodePtr const bare = addNode(shape);
  NodePtr const below = addNode(Transform3D::create(), addNode({}, bare));
  NodePtr const sharing = addNode(below->getCore());
  AnimAttachmentPtr const ofPaint = hang(paint, "xyz");
  AnimAttachmentPtr const ofCore = hang(shape, "abcde");
  AnimAttachmentPtr const ofBelow = hang(below->getCore(), "s");
  changes.clear();

  manager.verifyToKeld60R(bare);
  EXPECT_EQ(knAnimManager::getAnimAttachment(bare), ofCore);
  EXPECT_FALSE(knAnimManager::getAnimAttachment(shape));
  EXPECT_EQ(knAnimManager::getAnimAttachment(below), ofBelow) << "also below a node without core";
  EXPECT_EQ(knAnimManager::getAnimAttachment(paint), ofPaint);
  EXPECT_EQ(childrenOf(animationsOf(bare)), "a b c d e x z ") << "every second one moves";
  EXPECT_EQ(childrenOf(animationsOf(paint)), "y ");
  manager.verifyToKeld60R(bare);
  EXPECT_EQ(childrenOf(animationsOf(bare)), "a b c d e x z y ");
  manager.verifyToKeld60R(root());
  EXPECT_FALSE(knAnimManager::getAnimAttachment(sharing)) << "the first node of a core took them";
  shape->addAttachment(ofCore);
  manager.verifyToKeld60R(bare);
  EXPECT_EQ(childrenOf(animationsOf(bare)), "a b c d e x z y ") << "one attachment on both";
  manager.verifyToKeld60R({});
}

TEST_F(MigrationTest, CleaningAsThePlainRecursionDoes) {
  std::mt19937 random(5);
  auto const pick = [&](unsigned below) { return static_cast<unsigned>(random()) % below; };
  NodeCorePtr const known[] = {AnimBlock::create(), TimeShapeCache::create()};
  MaterialPtr const paint = addMaterial<PhongMaterial>("paint");
  for (int i = 0; i < 2; ++i) {
    AnimNodePtr const holder = newGroup<Group>({});
    holder->addChild(newAnimNode(known[i]));
    animate(i == 0 ? AttachmentContainerPtr(paint) : AttachmentContainerPtr(addNode(Group::create())),
            holder);
  }
  auto const kindOf = [](NodeCorePtr const& core) {
    if (!core) return 'n';
    return dcastTo<AnimBlock>(core)        ? 'b'
           : dcastTo<AnimClip>(core)       ? 'c'
           : dcastTo<TimeShapeCache>(core) ? 't'
                                           : 'g';
  };
  // What is left below a node, of all or by the rule; empty where it goes itself.
  std::function<std::string(NodePtr const&, bool, bool)> const textOf = [&](NodePtr const& node, bool cleans,
                                                                            bool isTop) {
    char const kind = kindOf(node->getCore());
    bool const isKnown = std::ranges::count(known, node->getCore()) > 0;
    if (cleans && (kind == 'b' || kind == 't') && !isKnown && !isTop) return std::string();
    std::string below;
    for (NodePtr const& child : node->getChildren()) below += textOf(child, cleans && kind != 'n', false);
    if (cleans && (kind == 'b' || kind == 'c') && below.empty() && !isTop) return below;
    return std::string(1, kind) + "(" + below + ")";
  };
  std::function<void(NodePtr const&, int)> const grow = [&](NodePtr const& node, int depth) {
    char const kind = depth == 0 ? 'n' : "bbccctgn"[pick(8)];
    bool const isKnown = pick(2) == 0;
    if (kind == 'b') node->setCore(isKnown ? known[0] : AnimBlock::create());
    if (kind == 't') node->setCore(isKnown ? known[1] : TimeShapeCache::create());
    if (kind == 'c') node->setCore(AnimClip::create());
    if (kind == 'g') node->setCore(Group::create());
    for (unsigned i = depth < 5 ? pick(4) : 0; i > 0; --i) {
      AnimNodePtr const child = AnimNode::create();
      node->addChild(child);
      grow(child, depth + 1);
    }
  };
  for (int round = 0; round < 300; ++round) {
    manager.clearClipStructure();
    grow(clips(), 0);
    std::string const before = textOf(clips(), false, true);
    std::string const expected = textOf(clips(), true, true);
    manager.setVerifyClipStructure(false);
    manager.verifyClipStructure();
    ASSERT_EQ(textOf(clips(), false, true), before) << "switched off";
    manager.setVerifyClipStructure(true);
    manager.verifyClipStructure();
    ASSERT_EQ(textOf(clips(), false, true), expected) << "round " << round << " of " << before;
  }
  manager.clearClipStructure();
  Held const group(clips()->getCore());
  clips()->setCore(AnimClip::create());
  manager.verifyClipStructure();
  EXPECT_TRUE(clips()->getParent()) << "the root stays, were it a clip";
  clips()->setCore(*group);
}

TEST_F(MigrationTest, CamerasSceneplatesAndDepth) {
  AnimNodePtr const block = newBlock("block");
  std::set<unsigned int> ids;
  for (NodePtr const& place : {knSceneData::getMaterialPool()->getCameraRoot(),
                               knSceneData::getMaterialPool()->getSceneplateRoot()}) {
    AnimNodePtr const shot = animate(addNode(Transform3D::create(), place), newBlock("shot"));
    AnimNodePtr const clip = addClip("clip");
    AnimNodePtr const use = newAnimNode(shot->getCore());
    use->addChild(newCurveNode("translation", 0, {{0, 0}}));
    clip->addChild(use);
    manager.verifyClipStructure();
    EXPECT_EQ(clip->getNChildren(), 1U) << "the scene holds it there";
  }
  manager.clearClipStructure();
  NodePtr deep = root();
  for (int i = 0; i < 100'000; ++i) deep = addNode(Group::create(), deep);
  deep->getCore()->addAttachment(AnimAttachment::create());
  knAnimManager::getAnimAttachment(deep->getCore())->addAnimation(newChain(100'000, block->getCore()));
  manager.verifyToKeld60R(root());
  manager.getSceneAnimBlockAndTimeShapeChacheIds(ids, true);
  EXPECT_TRUE(ids.contains(block->getCore().getContainerId()));
  growChain(addClip("top"), 100'000, [] { return newGroup<AnimClip>({}); })->addChild(newBlock("lost"));
  manager.verifyClipStructure();
  EXPECT_EQ(clips()->getNChildren(), 0U) << "one after the other";
  block.subRef();
}

}  // namespace kntest::MigrationTest
