#include "model/scenegraph/Cloning.h"

#include "support/TestContainers.h"

namespace kntest::CloningTest {

using namespace osg;

using CloningTest = SceneTest;

template <ContainerHandle Handle>
Handle copyOf(Handle const& source) {
  return dcast<Handle>(deepCopyContainer(source, ""));
}

TEST_F(CloningTest, ValuesAreCopiedAndDerivedFieldsAreNot) {
  Held const source(Multis::create());
  source->setText("text");
  source->getVec3fs() = {{1, 2, 3}, {4, 5, 6}};
  static_cast<SField<UInt32>&>(*source->getField("kept")).setValue(9);
  Held const copy(copyOf(*source));
  EXPECT_TRUE(copy->getText() == "text" && copy->getVec3fs().isEqual(source->getVec3fs()));
  EXPECT_EQ(copy->getKept(), 0U);

  NodePtr const dead = Node::create();
  dead.subRef();
  EXPECT_TRUE(!copyOf(NodePtr()) && !copyOf(dead) && !deepCopyContainer(dead, "Node"));
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
  Held const copy(copyOf(*source));
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
