#include "model/fields/FieldContainerPtr.h"

#include "model/fields/ChangeList.h"
#include "model/fields/Ref.h"
#include "support/TestContainers.h"

#include <unordered_set>

namespace kntest::FieldContainerPtrTest {

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

TEST_F(FieldContainerPtrTest, NullAndDeadHandlesAreHarmless) {
  for (FieldContainerPtr const& null : {FieldContainerPtr(nullptr), FieldContainerPtr(NodePtr()),
                                        FieldContainerPtr(static_cast<Node const*>(nullptr))}) {
    EXPECT_TRUE(null.getContainerSize() == 0 && null.getParentEPos() == 0xFFFF && !null.getStoreAddress());
    EXPECT_TRUE(!null && null == nullptr && null == NodePtr());
    expectHarmless(null);
  }
  NodePtr const dead = Node::create();
  dead.subRef();
  EXPECT_TRUE(dead != nullptr && dead) << "a dead handle is not a null one";
  expectHarmless(dead);
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

#ifndef NDEBUG
TEST_F(FieldContainerPtrTest, UsingADeadHandleNamesWhatIsGone) {
  NodePtr const dead = Node::create();
  dead.subRef();
  Ref<NodeCore> const late(BoxCore::create());
  BoxCore::Ptr const core = dcast<BoxCore::Ptr>(late.get());
  EXPECT_DEATH(dead->setTravMask(0), "error: a dead handle is used: the Node of id");
  EXPECT_DEATH((late.get().subRef(), core->getRefCount()), "dead handle is used: the TestBoxCore of");
  EXPECT_DEATH(NodePtr()->setTravMask(0), "error: a null handle is used");
}
#endif

TEST_F(FieldContainerPtrTest, ReferencesHoldAndCompareAsTheirHandles) {
  NodePtr const handle = Node::create();
  Ref<Node> first = handle;
  Ref<AttachmentContainer> const base = first;
  Ref<Node> const second = std::move(first);
  EXPECT_EQ(handle->getRefCount(), 2);
  EXPECT_TRUE(second == handle && handle == second && base == second && first == nullptr && !first);
  EXPECT_TRUE(first < second && second != first);
  EXPECT_EQ((std::unordered_set<Ref<Node>>{second, handle, first}.size()), 2U);
  Ref<Node> last = second;
  last = Node::create();
  EXPECT_TRUE(last != second && last->getRefCount() == 1 && handle->getRefCount() == 2);
}

/// Gives every test an empty list as the thread's own.
class ChangeListTest : public SceneTest {
 protected:
  Announced _announced;
  ChangeList& _list = _announced.list;
};

TEST_F(ChangeListTest, MergesTheFieldsOfAContainerInOrderOfFirstChange) {
  Held const a(Singles::create());
  Held const b(Node::create());
  BitVector const high = BitVector::bit(100);
  announce(*b, Node::TravMaskFieldMask);
  announce(*a, Singles::BoolFieldMask);
  announce(*b, high);
  ASSERT_EQ(_list.getEntries().size(), 2U);
  EXPECT_TRUE(_list.getEntries()[0].container == *b && _list.getEntries()[1].container == *a);
  EXPECT_EQ(_list.getEntries()[0].mask, Node::TravMaskFieldMask | high);
  EXPECT_EQ(_list.getAnnouncementCount(), 3U);
  ChangeList const taken = std::move(_list);
  _list.addNew(*a, high);
  _list.addNew(*b, high);
  announce(*b, high);
  EXPECT_TRUE(taken.getEntries().size() == 2 && _list.getEntries().size() == 2) << "it began anew";
  EXPECT_EQ(_list.getAnnouncementCount(), 3U);
  _list.clear();
  EXPECT_TRUE(_list.getEntries().empty() && _list.getAnnouncementCount() == 0);
  announce(*a, Singles::LinkFieldMask);
  EXPECT_EQ(_announced.maskOf(*a), Singles::LinkFieldMask) << "what was cleared is forgotten";
}

}  // namespace kntest::FieldContainerPtrTest
