#include "editing/EditingStage.h"

namespace kntest::StructuresTest {

class StructuresTest : public EditingStage {
 protected:
  ~StructuresTest() override { manager.clearSceneStructure(); }
  static AnimNodePtr newTree(char const* name, std::vector<AnimNodePtr> const& children = {}) {
    return named(newGroup<Group>(children), name);
  }
  /// A node with an attachment whose root has these children.
  static NodePtr carrier(std::vector<AnimNodePtr> const& children) {
    NodePtr const node = addNode(Group::create());
    AnimAttachmentPtr const attachment = AnimAttachment::create();
    attachment->setAnimationRoot(newTree("stored", children));
    node->addAttachment(attachment);
    return node;
  }
  std::string pull(NodePtr const& node) {
    return printed([&] { manager.pullStructureAttachment(node); });
  }
  std::string contents() {
    return childrenOf(manager.sceneStructureRoot()) + "| " + childrenOf(manager.clipStructureRoot());
  }
};

TEST_F(StructuresTest, PushPullAndRemove) {
  NodePtr const holder = addNode(Group::create());
  NodeUtils::setName(holder, "holder", false);
  AnimNodePtr const clip = newTree("clip");
  manager.addToClipStructure(clip);
  manager.pushStructureAttachment(holder);
  EXPECT_EQ(announced(holder), AttachmentContainer::AttachmentsFieldMask);
  EXPECT_EQ(AnimNodePtr(dcast<AnimNodePtr>(clip->getParent())), manager.clipStructureRoot());
  EXPECT_EQ(knAnimManager::getAnimAttachment(holder)->getAnimationRoot(), clip->getParent()->getParent());
  EXPECT_EQ(pull(holder), "knAnimManager::pullStructureAttachment of holder\nfound structure...\n")
      << "the manager's own is not moved into itself";
  EXPECT_EQ(contents(), "| clip ");
  EXPECT_EQ(knAnimManager::getAnimAttachment(holder), nullptr);
  manager.pushStructureAttachment(holder);
  manager.removeStructureAttachment(holder);
  EXPECT_EQ(knAnimManager::getAnimAttachment(holder), nullptr);
  EXPECT_EQ(pull(holder), "knAnimManager::pullStructureAttachment of holder\n");
  AnimNodePtr const root = manager.clipStructureRoot();
  manager.clearClipStructure();
  EXPECT_EQ(contents(), "| ");
  EXPECT_EQ(manager.clipStructureRoot(), root);
  EXPECT_FALSE(clip.isAlive());
}

TEST_F(StructuresTest, Merging) {
  manager.addToSceneStructure(newTree("first"));
  std::string const twoLines = "knAnimManager::pullStructureAttachment of \nfound structure...\n";
  for (std::size_t const count : {1U, 3U}) {
    NodePtr const wrong = carrier(std::vector<AnimNodePtr>(
        count == 1 ? std::vector{newTree("x")} : std::vector{newTree("x"), newTree("y"), newTree("z")}));
    EXPECT_EQ(pull(wrong), twoLines);
    EXPECT_EQ(knAnimManager::getAnimAttachment(wrong), nullptr);
  }
  EXPECT_EQ(contents(), "first | ");
  changes.clear();
  NodePtr const stored = carrier(
      {newTree("scene", {newTree("s1"), newTree("s2")}), newTree("clips", {newTree("c1"), newTree("c2")})});
  EXPECT_EQ(pull(stored), twoLines + "found clips root with 2 childs\n");
  EXPECT_EQ(contents(), "first s1 s2 | c1 c2 ");
  EXPECT_EQ(pull(carrier({newTree("scene", {newTree("s1")}), newTree("clips")})),
            twoLines + "found clips root with 0 childs\n");
  EXPECT_EQ(contents(), "first s1 s2 s1 | c1 c2 ");
}

}  // namespace kntest::StructuresTest
