#include "model/scenegraph/Cloning.h"

#include "support/TestContainers.h"

namespace kntest::CloningTest {

using CloningTest = SceneTest;

template <ContainerHandle Handle>
Handle copyOf(Handle const& source) {
  return dcast<Handle>(deepCopyContainer(source, ""));
}

TEST_F(CloningTest, WhatIsHeldIsCopiedOnceAndWeakHandlesFollow) {
  Held const source(Singles::create());
  Held const outside(Node::create());
  NodePtr const node = Node::create(), child = Node::create();
  Mark::Ptr const mark = Mark::create();
  node->addChild(child);
  node->addAttachment(mark);
  child->addAttachment(mark);
  node->setCore(Transform3D::create());
  source->setOwned(node);
  source->setLink(child);
  source->setText("text");
  static_cast<SField<UInt32>&>(*source->getField("kept")).setValue(9);
  Held const copy(copyOf(*source));
  EXPECT_TRUE(copy->getText() == "text" && copy->getKept() == 0) << "what is derived is not copied";
  NodePtr const nodeCopy = copy->getOwned();
  ASSERT_NE(nodeCopy, node);
  EXPECT_EQ(nodeCopy->getRefCount(), 1);
  EXPECT_EQ(copy->getLink(), nodeCopy->getChild(0));
  EXPECT_EQ(copy->getLink()->getParent(), nodeCopy);
  EXPECT_EQ(nodeCopy->getCore()->getParents().getValues(), std::vector{nodeCopy});
  AttachmentPtr const markCopy = nodeCopy->getAttachments()[0].attachment;
  EXPECT_NE(markCopy, mark);
  EXPECT_EQ(markCopy->getRefCount(), 2) << "one copy for both nodes";
  EXPECT_TRUE(nodeCopy->hasAnimationInSubtree());

  source->setLink(outside);
  Held const second(copyOf(*source));
  EXPECT_EQ(second->getLink(), *outside);
  EXPECT_EQ(outside->getRefCount(), 1) << "a weak handle counts no reference";

  Held const nodeAlone(copyOf(child));
  EXPECT_EQ(nodeAlone->getParent(), nullptr) << "a parent is not held, and stays behind";
}

}  // namespace kntest::CloningTest
