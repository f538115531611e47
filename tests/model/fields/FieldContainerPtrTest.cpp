#include "model/fields/FieldContainerPtr.h"

#include "model/scenegraph/Group.h"
#include "support/TestContainers.h"

#include <algorithm>
#include <set>
#include <unordered_set>

namespace FieldContainerPtrTest {

using namespace osg;
using namespace kntest;

using FieldContainerPtrTest = SceneTest;

static_assert(sizeof(FieldContainerPtr) <= 16 && std::is_trivially_copyable_v<NodePtr>,
              "handles are plain values");

void expectHarmless(FieldContainerPtr const& handle) {
  Announced const announced;
  handle.addRef();
  handle.subRef();
  handle.subRef();
  announce(handle, BitVector::all());
  EXPECT_TRUE(announced.list.getEntries().empty());
  EXPECT_FALSE(handle.isAlive());
  EXPECT_EQ(handle.getContainerId(), 0U);
  EXPECT_EQ(handle.findType(), nullptr);
  EXPECT_EQ(dcast<FieldContainerPtr>(handle), nullptr);
  EXPECT_EQ(dcastTo<Node>(handle), nullptr);
}

TEST_F(FieldContainerPtrTest, NullHasNoSizeNoPositionNoAddress) {
  FieldContainerPtr const nulls[] = {FieldContainerPtr(), FieldContainerPtr(nullptr), NodePtr(),
                                     NodePtr(static_cast<Node const*>(nullptr)),
                                     dcast<NodePtr>(FieldContainerPtr())};
  for (FieldContainerPtr const& null : nulls) {
    EXPECT_EQ(null.getContainerSize(), 0);
    EXPECT_EQ(null.getParentEPos(), 0xFFFF);
    EXPECT_EQ(null.getStoreAddress(), nullptr);
    EXPECT_FALSE(null);
    EXPECT_TRUE(null == nullptr && null == NodePtr());
    expectHarmless(null);
  }
}

TEST_F(FieldContainerPtrTest, PartsTellSizeParentsFieldAndAddress) {
  Held const node(Node::create());
  Held const core(Group::create());
  Held const name(Name::create());
  Held const plain(Multis::create());
  struct Case {
    FieldContainerPtr handle;
    std::size_t size;
    char const* parentsField;
  };
  for (Case const& each : {Case{*node, sizeof(Node), "parent"}, Case{*core, sizeof(Group), "parents"},
                           Case{*name, sizeof(Name), "parents"}, Case{*plain, sizeof(Multis), nullptr}}) {
    FieldDescription const* const field = each.handle.findType()->findFieldDescription(each.parentsField);
    for (FieldContainerPtr const& handle : {each.handle, FieldContainerPtr(&*each.handle)}) {
      EXPECT_EQ(handle, each.handle);
      EXPECT_EQ(handle.getContainerSize(), each.size);
      EXPECT_EQ(handle.getParentEPos(),
                field ? field->getFieldId() : FieldContainerPtrBase::InvalidParentEPos);
      EXPECT_EQ(handle.getStoreAddress()->object, &*each.handle);
    }
  }
}

TEST_F(FieldContainerPtrTest, OnlyExplicitReferencesCount) {
  NodePtr const node = Node::create();
  node.addRef();
  {
    std::vector<FieldContainerPtr> const copies(100, node);
    AttachmentContainerPtr const cast = dcast<AttachmentContainerPtr>(copies.back());
    EXPECT_EQ(cast->getRefCount(), 1);
  }
  FieldContainerPtr(node).addRef();
  EXPECT_EQ(node->getRefCount(), 2);
  node.subRef();
  EXPECT_TRUE(node.isAlive());
  node.subRef();
  EXPECT_FALSE(node.isAlive());
}

TEST_F(FieldContainerPtrTest, DeadHandleStaysHarmlessAndEqualsNoNewOne) {
  NodePtr const dead = Node::create();
  dead.subRef();
  EXPECT_TRUE(dead != nullptr && dead) << "a dead handle is not a null one";
  expectHarmless(dead);
  for (int i = 0; i < 1000; ++i) {
    NodePtr const next = Node::create();
    ASSERT_NE(next, dead);
    next.subRef();
  }
}

TEST_F(FieldContainerPtrTest, OrderAndHashFollowTheStoreAddress) {
  std::vector<FieldContainerPtr> handles;
  for (int i = 0; i < 200; ++i) handles.push_back(Node::create());
  std::set<FieldContainerPtr> const ordered(handles.rbegin(), handles.rend());
  EXPECT_EQ(ordered.size(), handles.size());
  EXPECT_TRUE(std::ranges::is_sorted(ordered, std::less<>(), &FieldContainerPtr::getStoreAddress));

  std::unordered_set<FieldContainerPtr> const hashed(handles.begin(), handles.end());
  EXPECT_EQ(hashed.size(), handles.size());
  EXPECT_TRUE(hashed.contains(dcast<AttachmentContainerPtr>(handles[7])));
  EXPECT_EQ(std::hash<NodePtr>{}(dcast<NodePtr>(handles[0])), std::hash<FieldContainerPtr>{}(handles[0]));
  for (FieldContainerPtr const& handle : handles) handle.subRef();
}

TEST_F(FieldContainerPtrTest, OwnedFieldsHoldReferences) {
  Held const first(Node::create());
  {
    Held const owner(Singles::create());
    owner->setLink(first);
    EXPECT_EQ(first->getRefCount(), 1) << "a plain handle counts nothing";
    owner->setOwned(first);
    owner->setOwned(first);
    EXPECT_EQ(first->getRefCount(), 2);
    NodePtr const second = Node::create();
    owner->setOwned(second);
    EXPECT_EQ(first->getRefCount(), 1);
    owner->setOwned(nullptr);
    EXPECT_FALSE(second.isAlive());
    owner->setOwned(first);
  }
  EXPECT_EQ(first->getRefCount(), 1) << "the dead owner dropped its reference";
}

}  // namespace FieldContainerPtrTest
