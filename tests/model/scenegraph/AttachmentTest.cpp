#include "model/scenegraph/Attachment.h"

#include "support/TestContainers.h"

namespace kntest::AttachmentTest {

using AttachmentTest = SceneTest;

TEST_F(AttachmentTest, IsFoundByGroupAndBindingAndReplacedByItsOwnKind) {
  Held const node(Node::create());
  UInt32 const group = Mark::_type.getGroupId();
  Mark::Ptr const first = Mark::create();
  Held const bright(BrightMark::create());
  for (int times = 0; times < 2; ++times) node->addAttachment(first);
  EXPECT_EQ(first->getRefCount(), 1) << "adding it again changes nothing";
  node->addAttachment(Mark::create(), 1);
  EXPECT_TRUE(node->findAttachment(group) == first && !node->findAttachment(group, 2));
  node->addAttachment(bright);
  EXPECT_EQ(node->findAttachment(group), *bright) << "it takes the place of the kind it derives from";
  EXPECT_TRUE(!first.isAlive() && node->getAttachments().size() == 2);
  node->subAttachment(bright, 1);
  for (AttachmentPtr const& nobody : {AttachmentPtr(), AttachmentPtr(first)}) {
    node->subAttachment(nobody);
    node->addAttachment(nobody);
  }
  EXPECT_EQ(node->findAttachment(group), *bright) << "the wrong binding, null and dead ones are ignored";
}

TEST_F(AttachmentTest, TheAnimationOfANodeGoesWithItsLastMark) {
  Held const core(Group::create());
  Held const node(Node::create());
  Mark::Ptr const mark = Mark::create();
  core->addAttachment(mark);
  node->addAttachment(mark);
  node->addAttachment(mark, 5);
  node->subAttachment(mark);
  EXPECT_TRUE(node->hasAnimationInSubtree()) << "it hangs there at another binding still";
  mark.subRef();
  mark.subRef();
  EXPECT_TRUE(core->getAttachments().empty() && node->getAttachments().empty()) << "all lose the dead";
  EXPECT_FALSE(node->hasAnimationInSubtree());
}

TEST_F(AttachmentTest, ParentsAreThePlacesWhereItHangsWhateverComesAndGoes) {
  std::mt19937 random(5);
  std::vector<NodePtr> nodes;
  std::vector<AttachmentPtr> const marks = {Mark::create(), Name::create()};
  for (AttachmentPtr const& mark : marks) mark.addRef();
  for (int step = 0; step < 2000; ++step) {
    if (nodes.size() < 10) nodes.push_back(Node::create());
    std::size_t const i = random() % nodes.size();
    AttachmentPtr const& mark = marks[random() % 2];
    auto const binding = static_cast<UInt16>(random() % 3);
    if (random() % 4 == 0) {
      nodes[i].subRef();
      nodes.erase(nodes.begin() + static_cast<std::ptrdiff_t>(i));
    } else if (random() % 2 == 0) {
      nodes[i]->subAttachment(mark, binding);
    } else {
      nodes[i]->addAttachment(mark, binding);
    }
    for (AttachmentPtr const& each : marks) {
      std::multiset<AttachmentContainerPtr> expected;
      for (NodePtr const& node : nodes)
        for (AttachmentSlot const& slot : node->getAttachments())
          if (slot.attachment == each) expected.insert(node);
      auto const& parents = each->getParents();
      ASSERT_EQ(std::multiset<AttachmentContainerPtr>(parents.begin(), parents.end()), expected) << step;
    }
  }
  for (NodePtr const& node : nodes) node.subRef();
  for (AttachmentPtr const& mark : marks) mark.subRef();
}

TEST_F(AttachmentTest, NamesAreKeptInAnAttachment) {
  Held const node(Node::create());
  Announced const announced;
  EXPECT_EQ(NodeUtils::getName(node), nullptr);
  EXPECT_TRUE(NodeUtils::setName(node, "one", false) && announced.list.getEntries().empty());
  EXPECT_TRUE(NodeUtils::setName(node, std::string(), true) && !NodeUtils::setName(node, nullptr, true));
  EXPECT_STREQ(NodeUtils::getName(node), "");
  EXPECT_EQ(announced.list.getEntries().size(), 1U);
  EXPECT_EQ(announced.maskOf(node->findAttachment(Name::_type.getGroupId())), Name::NameFieldMask);
  EXPECT_TRUE(!NodeUtils::getName(NodePtr()) && !NodeUtils::setName(NodePtr(), "x", true));
}

}  // namespace kntest::AttachmentTest
