#include "model/fields/ChangeList.h"

#include "support/TestContainers.h"

#include <thread>

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
  announce(*a, Singles::BoolFieldMask | Singles::TextFieldMask);
  ASSERT_EQ(_list.getEntries().size(), 2U);
  EXPECT_EQ(_list.getEntries()[0].container, *b);
  EXPECT_EQ(_list.getEntries()[0].mask, Node::TravMaskFieldMask | high);
  EXPECT_EQ(_list.getEntries()[1].container, *a);
  EXPECT_EQ(_list.getEntries()[1].mask, Singles::BoolFieldMask | Singles::TextFieldMask);
  EXPECT_EQ(_list.getAnnouncementCount(), 4U);

  _list.clear();
  EXPECT_TRUE(_list.getEntries().empty() && _list.getAnnouncementCount() == 0);
  announce(*a, Singles::LinkFieldMask);
  EXPECT_EQ(_announced.maskOf(*a), Singles::LinkFieldMask) << "what was cleared is forgotten";
}

TEST_F(ChangeListTest, ListsUsedInTurnKeepOneEntryPerContainer) {
  std::vector<Singles::Ptr> containers;
  for (int i = 0; i < 20; ++i) containers.push_back(Singles::create());
  ChangeList other;
  for (std::size_t i = 0; i < 200; ++i) {
    _list.addChanged(containers[i * 7 % 20], BitVector::bit(static_cast<UInt32>(1 + i % 3)));
    other.addChanged(containers[i * 11 % 20], BitVector::bit(1));
  }
  EXPECT_EQ(_list.getEntries().size(), 20U);
  EXPECT_EQ(other.getEntries().size(), 20U);
  EXPECT_EQ(_list.getAnnouncementCount(), 200U);
  for (Singles::Ptr const& container : containers) container.subRef();
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
  EXPECT_EQ(container->changes.size(), 1U);
  EXPECT_TRUE(_announced.maskOf(*container).test(Singles::TextFieldId));

  WinThreadBase::setCurrentChangeList(nullptr);
  announce(*container, Singles::LinkFieldMask);
  EXPECT_EQ(container->changes.size(), 2U) << "changed is called without a list too";
  EXPECT_EQ(_list.getAnnouncementCount(), 2U);
}

TEST_F(ChangeListTest, EveryThreadHasAListOfItsOwn) {
  Held const container(Singles::create());
  ChangeList* theirs = nullptr;
  std::size_t before = 99, after = 99;
  std::thread([&] {
    theirs = WinThreadBase::getCurrentChangeList();
    before = theirs->getEntries().size();
    theirs->addChanged(*container, Singles::BoolFieldMask);
    after = theirs->getEntries().size();
  }).join();
  EXPECT_NE(theirs, &_list);
  EXPECT_EQ(before, 0U);
  EXPECT_EQ(after, 1U);
  EXPECT_EQ(WinThreadBase::getCurrentChangeList(), &_list);
  EXPECT_TRUE(_list.getEntries().empty());
}

}  // namespace ChangeListTest
