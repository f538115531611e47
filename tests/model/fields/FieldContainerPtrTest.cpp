#include "model/fields/FieldContainerPtr.h"

#include "support/TestContainers.h"

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
  for (FieldContainerPtr const& null : {FieldContainerPtr(nullptr), FieldContainerPtr(NodePtr()),
                                        FieldContainerPtr(static_cast<Node const*>(nullptr))}) {
    EXPECT_TRUE(null.getContainerSize() == 0 && null.getParentEPos() == 0xFFFF && !null.getStoreAddress());
    EXPECT_TRUE(!null && null == nullptr && null == NodePtr());
    expectHarmless(null);
  }
}

TEST_F(FieldContainerPtrTest, PartsTellSizeParentsFieldAndAddress) {
  std::pair<FieldContainerPtr, char const*> const cases[] = {
      {Node::create(), "parent"}, {Name::create(), "parents"}, {Multis::create(), nullptr}};
  for (auto const& [made, parentsField] : cases) {
    FieldDescription const* const field = made.findType()->findFieldDescription(parentsField);
    FieldContainerPtr const handle(&*made);
    EXPECT_EQ(handle, made);
    EXPECT_EQ(handle.getContainerSize(), made.findType()->getContainerSize());
    EXPECT_EQ(handle.getParentEPos(), field ? field->getFieldId() : FieldContainerPtrBase::InvalidParentEPos);
    EXPECT_EQ(handle.getStoreAddress()->object, &*made);
    made.subRef();
  }
}

TEST_F(FieldContainerPtrTest, DeadHandleStaysHarmlessAndEqualsNoNewOne) {
  NodePtr const dead = Node::create();
  dead.subRef();
  EXPECT_TRUE(dead != nullptr && dead) << "a dead handle is not a null one";
  expectHarmless(dead);
  Held const next(Node::create());
  EXPECT_NE(*next, dead);
}

TEST_F(FieldContainerPtrTest, OwnedFieldsHoldReferences) {
  Held const first(Node::create());
  Singles::Ptr const owner = Singles::create();
  owner->setLink(first);
  EXPECT_EQ(first->getRefCount(), 1) << "a plain handle counts nothing";
  for (int times = 0; times < 2; ++times) owner->setOwned(first);
  EXPECT_EQ(first->getRefCount(), 2);
  NodePtr const second = Node::create();
  owner->setOwned(second);
  EXPECT_EQ(first->getRefCount(), 1);
  owner.subRef();
  EXPECT_FALSE(second.isAlive());
}

}  // namespace FieldContainerPtrTest
