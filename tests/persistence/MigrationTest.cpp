#include "editing/EditingStage.h"

#include "model/sceneext/TimeShapeCache.h"

#include <random>

namespace kntest {
namespace MigrationTest {

using namespace osg;

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

/// What goes from the clips, as the plain recursion says it.
class PlainCleaner {
 public:
  struct Part {
    char kind;  ///< block, cache, clip, sequence, or nothing at all
    bool isKnown;
    std::vector<Part> parts;
  };
  static bool clean(Part& part, bool isTop) {
    if (part.kind == 'n') return false;
    bool const isHeld = part.kind == 'b' || part.kind == 't';
    if (isHeld && !part.isKnown && !isTop) return true;
    for (std::size_t i = 0; i < part.parts.size();) {
      if (clean(part.parts[i], false))
        part.parts.erase(part.parts.begin() + static_cast<std::ptrdiff_t>(i));
      else
        ++i;
    }
    return (part.kind == 'c' || part.kind == 'b') && part.parts.empty() && !isTop;
  }
  static std::string textOf(Part const& part) {
    std::string text(1, part.kind);
    for (Part const& one : part.parts) text += "(" + textOf(one) + ")";
    return text;
  }
};

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
  std::function<std::string(NodePtr const&)> const textOf = [&](NodePtr const& node) {
    NodeCorePtr const core = node->getCore();
    std::string text(1, !core                           ? 'n'
                        : dcastTo<AnimBlock>(core)      ? 'b'
                        : dcastTo<AnimClip>(core)       ? 'c'
                        : dcastTo<TimeShapeCache>(core) ? 't'
                                                        : 'g');
    for (NodePtr const& child : node->getChildren()) text += "(" + textOf(child) + ")";
    return text;
  };
  std::function<PlainCleaner::Part(NodePtr const&, int)> const grow = [&](NodePtr const& node, int depth) {
    char const kind = depth == 0 ? 'g' : "bbccctgn"[pick(8)];
    bool const isKnown = pick(2) == 0;
    if (kind == 'b') node->setCore(isKnown ? known[0] : AnimBlock::create());
    if (kind == 't') node->setCore(isKnown ? known[1] : TimeShapeCache::create());
    if (kind == 'c') node->setCore(AnimClip::create());
    if (kind == 'g' && depth > 0) node->setCore(Group::create());
    PlainCleaner::Part part{kind, isKnown, {}};
    for (unsigned i = depth < 5 ? pick(4) : 0; i > 0; --i) {
      AnimNodePtr const child = AnimNode::create();
      node->addChild(child);
      part.parts.push_back(grow(child, depth + 1));
    }
    return part;
  };
  for (int round = 0; round < 300; ++round) {
    manager.clearClipStructure();
    PlainCleaner::Part plain = grow(clips(), 0);
    std::string const before = textOf(clips());
    ASSERT_EQ(before, PlainCleaner::textOf(plain));
    manager.setVerifyClipStructure(false);
    manager.verifyClipStructure();
    ASSERT_EQ(textOf(clips()), before) << "switched off";
    manager.setVerifyClipStructure(true);
    manager.verifyClipStructure();
    PlainCleaner::clean(plain, true);
    ASSERT_EQ(textOf(clips()), PlainCleaner::textOf(plain)) << "round " << round << " of " << before;
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
  AnimNodePtr last = addClip("top");
  for (int i = 0; i < 100'000; ++i) {
    AnimNodePtr const next = newAnimNode(AnimClip::create());
    last->addChild(next);
    last = next;
  }
  last->addChild(newBlock("lost"));
  manager.verifyClipStructure();
  EXPECT_EQ(clips()->getNChildren(), 0U) << "one after the other";
  block.subRef();
}

}  // namespace MigrationTest
}  // namespace kntest
