#include "support/SceneStage.h"

namespace kntest {
namespace StructuresTest {

using namespace osg;

class StructuresTest : public SceneStage {
 protected:
  ~StructuresTest() override {
    manager.clearSceneStructure();
    manager.clearClipStructure();
  }
  static AnimNodePtr named(char const* name, std::vector<AnimNodePtr> const& children = {}) {
    AnimNodePtr const node = newGroup<Group>(children);
    if (name != nullptr) NodeUtils::setName(node, name, false);
    return node;
  }
  /// A node with an attachment whose root has these children.
  static NodePtr carrier(std::vector<AnimNodePtr> const& children) {
    NodePtr const node = addNode(Group::create());
    AnimAttachmentPtr const attachment = AnimAttachment::create();
    attachment->setAnimationRoot(named("stored", children));
    node->addAttachment(attachment);
    return node;
  }
  static std::string childrenOf(NodePtr const& node) {
    std::string text;
    for (NodePtr const& child : node->getChildren()) text += std::string(NodeUtils::getName(child)) + " ";
    return text;
  }
  template <class Run>
  static std::string printed(Run run) {
    testing::internal::CaptureStdout();
    run();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
  }
  std::string pull(NodePtr const& node) {
    return printed([&] { manager.pullStructureAttachment(node); });
  }
  std::string contents() {
    return childrenOf(manager.sceneStructureRoot()) + "| " + childrenOf(manager.clipStructureRoot());
  }

  knAnimManager& manager = *knAnimManager::the();
};

TEST_F(StructuresTest, Printing) {
  NodeUtils::setName(manager.clipStructureRoot(), "clips", false);
  manager.addToSceneStructure(named("a", {named("b", {named("c")}), named(nullptr)}));
  NodePtr const plain = Node::create();
  manager.sceneStructureRoot()->getChild(0)->addChild(plain);
  manager.addToClipStructure(named("d"));
  EXPECT_EQ(printed([&] { manager.printStructures(); }),
            "====== STRUCTURE ======\n\n\n--a\n----b\n------c\n----\nclips\n--d\n");
  EXPECT_EQ(printed([&] { manager.printStructureR(manager.sceneStructureRoot(), "> "); }),
            "> --\n> ----a\n> ------b\n> --------c\n> ------\n");
  EXPECT_EQ(printed([&] { manager.printStructureR({}, "> "); }), "");
  manager.clipStructureRoot()->subAttachment(
      manager.clipStructureRoot()->findAttachment(NameBase::_type.getGroupId()));
}

TEST_F(StructuresTest, PushPullAndRemove) {
  NodePtr const holder = addNode(Group::create());
  NodeUtils::setName(holder, "holder", false);
  AnimNodePtr const clip = named("clip");
  manager.addToClipStructure(clip);
  manager.pushStructureAttachment(holder);
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
  EXPECT_EQ(pull({}), "");
  manager.pushStructureAttachment({});
  manager.removeStructureAttachment({});
  manager.addToSceneStructure({});
  AnimNodePtr const root = manager.clipStructureRoot();
  manager.clearClipStructure();
  EXPECT_EQ(contents(), "| ");
  EXPECT_EQ(manager.clipStructureRoot(), root);
  EXPECT_FALSE(clip.isAlive());
}

TEST_F(StructuresTest, Merging) {
  manager.addToSceneStructure(named("first"));
  std::string const twoLines = "knAnimManager::pullStructureAttachment of \nfound structure...\n";
  for (std::size_t const count : {1U, 3U}) {
    NodePtr const wrong = carrier(std::vector<AnimNodePtr>(
        count == 1 ? std::vector{named("x")} : std::vector{named("x"), named("y"), named("z")}));
    EXPECT_EQ(pull(wrong), twoLines);
    EXPECT_EQ(knAnimManager::getAnimAttachment(wrong), nullptr);
  }
  EXPECT_EQ(contents(), "first | ");
  changes.clear();
  NodePtr const stored =
      carrier({named("scene", {named("s1"), named("s2")}), named("clips", {named("c1"), named("c2")})});
  EXPECT_EQ(pull(stored), twoLines + "found clips root with 2 childs\n");
  EXPECT_EQ(contents(), "first s1 s2 | c1 c2 ");
  EXPECT_EQ(pull(carrier({named("scene", {named("s1")}), named("clips")})),
            twoLines + "found clips root with 0 childs\n");
  EXPECT_EQ(contents(), "first s1 s2 s1 | c1 c2 ");

  AnimAttachmentPtr const rootless = AnimAttachment::create();
  Held const held(rootless);
  manager.mergeStructureAttachment(rootless);
  manager.mergeStructureAttachment({});
  EXPECT_EQ(contents(), "first s1 s2 s1 | c1 c2 ");
}

}  // namespace StructuresTest
}  // namespace kntest
