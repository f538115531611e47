#include "editing/EditingStage.h"
#include "editing/PasteRule.h"
#include "support/LogCapture.h"

/// The waiting clip nodes, which only a host's build fills.
struct knAnimManagerAccess {
  static auto& clipNodes() { return knAnimManager::the()->_clipNodeBuffer; }
};

namespace kntest::CopyPasteTest {

class CopyPasteTest : public EditingStage {};

TEST_F(CopyPasteTest, WhereAnimationsFit) {
  auto const geometry = [](MaterialPtr const& material) {
    GeometryPtr const core = Geometry::create();
    core->setMaterial(material);
    return core;
  };
  MaterialPtr const red = addMaterial<PhongMaterial>("red");
  NodePtr const painted = named(addNode(geometry(red)), "painted");
  NodePtr const paintedToo = named(addNode(geometry(PhongMaterial::create())), "paintedToo");
  NodePtr const bare = named(addNode(geometry({})), "bare");
  NodePtr const moving = named(addNode(Transform3D::create()), "moving");
  AnimNodePtr const clip = addClip("clip");
  AnimNodePtr const block = newBlock("block");

  manager.copy(animate(painted, newBlock("walk")), {});
  auto const toNode = [&](NodePtr const& target) {
    return printed([&] { manager.pasteTo(target, true, true); });
  };
  std::string const aimRefused = "failed because of incompatible aim types!\n";
  EXPECT_EQ(toNode(paintedToo), "");
  EXPECT_EQ(childrenOf(animationsOf(paintedToo)), "walk' ");
  EXPECT_TRUE(dcast<AnimNodePtr>(animationsOf(paintedToo)->getChild(0))->getFlipped());
  EXPECT_TRUE(announced(animationsOf(paintedToo)->getChild(0)).test(AnimNode::FlippedFieldId));
  EXPECT_EQ(toNode(bare), "Paste of animation walk to bare " + aimRefused);
  EXPECT_TRUE(knAnimManager::getAnimAttachment(bare)) << "made all the same";
  EXPECT_EQ(printed([&] { manager.clonePasteTo(red, false, true); }),
            "Paste of animation walk to red " + aimRefused);
  EXPECT_EQ(toNode(block), "Paste of animation walk under block failed! Paste not valid!\n");
  EXPECT_EQ(toNode(clip) + toNode(manager.clipStructureRoot()), "") << "there they keep their names";
  EXPECT_EQ(childrenOf(clip) + childrenOf(manager.clipStructureRoot()), "walk clip walk ");
  EXPECT_EQ(messages, 6) << "of refused ones too";

  Held const loose(newBlock("loose"));
  manager.copy(*loose, {});
  EXPECT_EQ(toNode(moving), "Paste of animation loose to moving " + aimRefused) << "owned by nobody";
  manager.copy(*loose, painted);
  knAnimManager::_animRoots.clear();
  EXPECT_EQ(printed([&] { manager.pasteTo({painted, {}, paintedToo}, false, true); }), "");
  EXPECT_EQ(childrenOf(animationsOf(painted)), "walk loose' ");
  EXPECT_EQ(messages, 8) << "one for a list";
  EXPECT_GT(knAnimManager::_animRoots.size(), 0U) << "the curve data were refreshed";
  block.subRef();
}

TEST_F(CopyPasteTest, TheBufferAndItsHost) {
  NodePtr const node = addNode(Transform3D::create());
  manager.pasteTo(node, false, true);
  EXPECT_EQ(messages, 0) << "an empty buffer";

  AnimNodePtr const tree = animate(node, newBlock("tree"));
  knAnimManager::setDestroyNodeCB({});
  {
    LogCapture const log;
    manager.copy(tree, {});
    manager.copy({tree, {}, tree});
    manager.copy(AnimNodePtr(), {});
    manager.copy(std::vector<AnimNodePtr>());
    EXPECT_EQ(log.errors(),
              std::vector<std::string>(
                  2, "knAnimManager::clearCopyBuffer: Destroy node callback not set. Operation aborted."));
  }
  EXPECT_EQ(manager.pasteTo(node, false, false).size(), 3U) << "without the callback copies add up";
  destroyAsHost();
  NodePtr const above = tree->getParent();
  changes.clear();
  manager.cut({tree, {}});
  EXPECT_TRUE(announced(above).test(Node::ChildrenFieldId));
  EXPECT_FALSE(tree.isAlive()) << "its parent held the last reference";
  EXPECT_EQ(printed([&] { manager.clonePasteTo(node, false, false); }), "") << "nothing is left to be shared";
  AnimNodePtr const clip = addClip("clip");
  EXPECT_TRUE(manager.clonePasteTo(clip, false, false).empty());
  EXPECT_EQ(manager.pasteTo(clip, false, false).size(), 1U);
  manager.copy(clip, {});
  manager.clonePasteTo(clip, true, false);
  EXPECT_EQ(childrenOf(clip), "tree clip ") << "into itself";
  EXPECT_EQ(clip->getChild(1)->getCore(), clip->getCore());
}

/// What is on the rows decides, as told by a plain search.
TEST_F(CopyPasteTest, FreeRows) {
  std::mt19937 random(7);
  auto const pick = [&](int below) { return static_cast<int>(random() % static_cast<unsigned>(below)); };
  float const rows[] = {0.F, -0.F, 50.F, 100.F, 150.F, 25.F, -50.F, std::nanf("")};
  for (int round = 0; round < 300; ++round) {
    AnimNodePtr const clip = addClip("clip");
    std::vector<AnimNodePtr> children;
    bool const isFull = round % 15 == 0;
    for (int i = isFull ? 250 : pick(9); i > 0; --i) {
      float const start = static_cast<float>(pick(20));
      children.push_back(newBlock("b", start, start + static_cast<float>(pick(isFull ? 30 : 6))));
      float const row = isFull ? 50.F * static_cast<float>(pick(100)) : rows[pick(8)];
      children.back()->setOffset({static_cast<float>(pick(5)), row});
      clip->addChild(children.back());
    }
    clip->addChild(Node::create());
    AnimNodePtr const ignored = children.empty() || pick(2) == 0 ? AnimNodePtr() : children[0];
    float const start = static_cast<float>(pick(24));
    float const length = static_cast<float>(pick(8));
    float const end = start + length;
    float highest = -1;
    float expected = 0;
    for (bool taken = true; taken; expected += taken ? 50.F : 0.F) {
      taken = false;
      for (AnimNodePtr const& child : children) {
        auto const range = *animRangeOf(child);
        float const y = child->getOffset().y();
        highest = y > highest ? y : highest;
        bool const meets = !(range.max < start || end < range.min);
        taken |= child != ignored && y == expected && meets;
      }
    }
    EXPECT_EQ(manager.calculateFreeOffsetYFor(start, length, clip, ignored), expected);
    EXPECT_EQ(manager.maxChildOffsetY(clip), highest);
    Held const wanted(newBlock("w", start, end));
    EXPECT_EQ(manager.calculateFreeOffsetYFor(*wanted, clip, ignored), expected);
    Held const owner(addNode(Transform3D::create()));
    manager.copy(*wanted, *owner);
    AnimNodePtr const twin = manager.clonePasteToWithOffset(clip, 3, false, false).at(0);
    EXPECT_EQ(twin->getOffset(), Vec2f(3, manager.calculateFreeOffsetYFor(start, length, clip, twin)))
        << "the row of where it stood before";
    manager.clearClipStructure();
  }
  EXPECT_EQ(manager.calculateFreeOffsetYFor({}, manager.clipStructureRoot(), {}), 0.F);
  EXPECT_EQ(manager.maxChildOffsetY({}), -1.F);
}

/// The owner found by climbing is the one that a walk over the scene finds, whoever shares what.
TEST_F(CopyPasteTest, OwnersAsAWalkFindsThem) {
  std::mt19937 random(11);
  auto const pick = [&](std::size_t below) { return random() % below; };
  for (int round = 0; round < 200; ++round) {
    std::vector<NodePtr> nodes{root()};
    std::vector<MaterialPtr> materials;
    std::vector<AnimNodePtr> trees;
    for (int i = 0; i < 8; ++i) nodes.push_back(addNode(Group::create(), nodes[pick(nodes.size())]));
    for (int i = 0; i < 3; ++i) materials.push_back(addMaterial<PhongMaterial>("m"));
    Held const outside(Node::create());
    nodes.push_back(*outside);
    for (int i = 0; i < 6; ++i) {
      trees.push_back(newBlock("t"));
      AnimNodePtr const above = trees[pick(trees.size())];
      if (above.isAlive() && pick(3) == 0) above->addChild(trees.back());
      AnimAttachmentPtr const attachment = AnimAttachment::create();
      attachment->setAnimationRoot(trees.back());
      for (std::size_t owners = pick(3) + 1; owners > 0; --owners) {
        if (pick(2) == 0)
          materials[pick(3)]->addAttachment(attachment);
        else
          nodes[pick(nodes.size())]->addAttachment(attachment, static_cast<UInt16>(pick(4) == 0));
      }
    }
    for (AnimNodePtr const& tree : trees) {
      if (!tree.isAlive()) continue;
      auto const owns = [&](AttachmentContainerPtr const& container) {
        bool found = false;
        traverse(animationsOf(container), [&](NodePtr const& node) {
          found |= node == tree;
          return Action::Continue;
        });
        return found;
      };
      FieldContainerPtr expected;
      traverse(knSceneDataManager::getSceneData(0)->getMaterialRoot(), [&](NodePtr const& node) {
        if (!expected && owns(node)) expected = node;
        return Action::Continue;
      });
      for (MaterialPtr const& material : materials) {
        if (!expected && owns(material)) expected = material;
      }
      EXPECT_EQ(findOwningContainer(tree), expected) << round;
    }
    knSceneDataManager::beginScene();
  }
}

TEST_F(CopyPasteTest, WaitingClipNodesComeBack) {
  AnimNodePtr const clip = addClip("clip");
  AnimNodePtr const child = newBlock("child");
  AnimNodePtr const orphan = newBlock("orphan");
  child.addRef();
  orphan.addRef();
  knAnimManagerAccess::clipNodes() = {{child, clip}, {orphan, {}}};
  manager.restoreFromClipNodeBuffer();
  manager.restoreFromClipNodeBuffer();
  EXPECT_EQ(childrenOf(clip), "child ");
  EXPECT_EQ(child->getRefCount(), 1);
  EXPECT_FALSE(orphan.isAlive());
}

}  // namespace kntest::CopyPasteTest
