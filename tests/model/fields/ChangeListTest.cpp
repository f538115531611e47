#include "model/fields/ChangeList.h"

#include "support/TestContainers.h"

namespace ChangeListTest {

using namespace osg;
using namespace kntest;

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
  _list.clear();
  EXPECT_TRUE(_list.getEntries().empty() && _list.getAnnouncementCount() == 0);
  announce(*a, Singles::LinkFieldMask);
  EXPECT_EQ(_announced.maskOf(*a), Singles::LinkFieldMask) << "what was cleared is forgotten";
}

TEST_F(ChangeListTest, EntriesOutliveTheirContainersAndNewOnesGetTheirOwn) {
  Singles::Ptr const shortLived = Singles::create();
  announce(shortLived, Singles::BoolFieldMask);
  shortLived.subRef();
  announce(shortLived, Singles::TextFieldMask);
  Held const next(Singles::create());
  announce(*next, Singles::TextFieldMask);
  ASSERT_EQ(_list.getEntries().size(), 2U);
  EXPECT_FALSE(_list.getEntries()[0].container.isAlive());
  EXPECT_EQ(_list.getEntries()[0].mask, Singles::BoolFieldMask);
  EXPECT_EQ(_list.getEntries()[1].container, *next);
}

TEST_F(ChangeListTest, AnnouncingCallsChangedUnlessTold) {
  Held const container(Singles::create());
  announce(*container, Singles::BoolFieldMask | Singles::Vec3fFieldMask);
  ASSERT_EQ(container->changes.size(), 1U);
  EXPECT_EQ(container->changes[0].mask, Singles::BoolFieldMask | Singles::Vec3fFieldMask);
  EXPECT_EQ(container->changes[0].origin, 1U);
  FieldContainerPtr::_ignore_change = true;
  announce(*container, Singles::TextFieldMask);
  FieldContainerPtr::_ignore_change = false;
  EXPECT_TRUE(container->changes.size() == 1 && _announced.maskOf(*container).test(Singles::TextFieldId));
}

}  // namespace ChangeListTest
