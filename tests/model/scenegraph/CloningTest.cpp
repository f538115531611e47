#include "model/scenegraph/Cloning.h"

#include "model/scenegraph/Transform3D.h"
#include "support/TestContainers.h"

namespace {

using namespace osg;
using kntest::BrightMark;
using kntest::Held;
using kntest::Mark;
using kntest::Multis;
using kntest::Singles;

using CloningTest = kntest::SceneTest;

template <ContainerHandle Handle>
Handle copyOf(Handle const& source, std::string const& shareTypes = "") {
  return dcast<Handle>(deepCopyContainer(source, shareTypes));
}

TEST_F(CloningTest, ValuesAreCopiedAndDerivedFieldsAreNot) {
  Held const source(Multis::create());
  source->setText("text");
  source->setReal32(7);
  source->getVec3fs() = {{1, 2, 3}, {4, 5, 6}};
  static_cast<SField<UInt32>&>(*source->getField("kept")).setValue(9);
  Held const copy(copyOf(*source));
  EXPECT_NE(*copy, *source);
  EXPECT_EQ(copy->getRefCount(), 1);
  for (FieldDescription const& description : Multis::_type.getFieldDescriptions()) {
    if (description.getRole() == FieldRole::Derived) continue;
    EXPECT_TRUE(description.getField(**copy)->isEqual(*description.getField(**source)))
        << description.getCName();
  }
  EXPECT_EQ(copy->getKept(), 0U);
  copy->setText("other");
  EXPECT_EQ(source->getText(), "text");

  EXPECT_EQ(copyOf(NodePtr()), nullptr);
  NodePtr const dead = Node::create();
  dead.subRef();
  EXPECT_EQ(copyOf(dead), nullptr);
  EXPECT_EQ(copyOf(dead, "Node"), nullptr);
}

TEST_F(CloningTest, WhatIsHeldIsCopiedOnceAndWeakHandlesFollow) {
  Held const source(Singles::create());
  Held const outside(Node::create());
  NodePtr const node = Node::create();
  NodePtr const child = Node::create();
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
  ASSERT_EQ(nodeCopy->getNChildren(), 1U);
  EXPECT_EQ(copy->getLink(), nodeCopy->getChild(0));
  EXPECT_EQ(copy->getLink()->getParent(), nodeCopy);
  EXPECT_EQ(nodeCopy->getCore()->getParents().getValues(), std::vector{nodeCopy});
  AttachmentPtr const markCopy = nodeCopy->getAttachments()[0].attachment;
  EXPECT_NE(markCopy, mark);
  EXPECT_EQ(markCopy->getRefCount(), 2) << "one copy for both nodes";
  EXPECT_EQ(markCopy->getParents().size(), 2U);
  EXPECT_TRUE(nodeCopy->hasAnimationInSubtree());

  source->setLink(outside);
  Held const second(copyOf(*source));
  EXPECT_EQ(second->getLink(), *outside);
  EXPECT_EQ(outside->getRefCount(), 1) << "a weak handle counts no reference";

  Held const nodeAlone(copyOf(child));
  EXPECT_EQ(nodeAlone->getParent(), nullptr) << "a parent is not held, and stays behind";
}

TEST_F(CloningTest, NamedTypesAreShared) {
  Held const node(Node::create());
  BrightMark::Ptr const mark = BrightMark::create();
  node->addAttachment(mark);
  node->setCore(Transform3D::create());
  struct Case {
    char const* types;
    bool mark, core;
  };
  for (Case const& c : {Case{"TestMark", true, false},
                        {"Attachment Transform3D", true, true},
                        {",NoSuchType, NodeCore", false, true},
                        {"TestBrightMarks", false, false}}) {
    Held const copy(copyOf(*node, c.types));
    EXPECT_EQ(copy->getAttachments()[0].attachment == mark, c.mark) << c.types;
    EXPECT_EQ(copy->getCore() == node->getCore(), c.core) << c.types;
    EXPECT_EQ(mark->getRefCount(), c.mark ? 2 : 1) << c.types;
    EXPECT_EQ(node->getCore()->getParents().size(), c.core ? 2U : 1U) << c.types;
  }
  EXPECT_EQ(copyOf(*node, "Node"), *node);
}

}  // namespace
