#include "model/records/knContainerSet.h"

#include "support/TestContainers.h"

namespace kntest::knContainerSetTest {

using KnContainerSetTest = SceneTest;
using Model = std::set<FieldContainerPtr>;

static_assert(std::bidirectional_iterator<knContainerSet::iterator>);
static_assert(sizeof(knContainerSet) == 24);

void expectSame(knContainerSet const& set, Model const& model) {
  ASSERT_EQ(set.size(), model.size());
  EXPECT_TRUE(std::equal(set.begin(), set.end(), model.begin(), model.end()));
  EXPECT_TRUE(std::equal(set.rbegin(), set.rend(), model.rbegin(), model.rend()));
}

TEST_F(KnContainerSetTest, DoesWhatAStandardSetDoes) {
  std::vector<FieldContainerPtr> handles = {FieldContainerPtr()};
  for (int i = 0; i < 6000; ++i) handles.push_back(Mark::create());
  std::mt19937 random(3);
  for (std::size_t const bound : {std::size_t{3}, std::size_t{40}, handles.size()}) {
    knContainerSet set;
    Model model;
    auto const indexOf = [&](knContainerSet::iterator place) { return std::distance(set.begin(), place); };
    auto const indexIn = [&](Model::iterator place) { return std::distance(model.begin(), place); };
    for (std::size_t step = 0; step < 4 * bound + 200; ++step) {
      FieldContainerPtr const handle = handles[random() % bound];
      bool const isShrinking = step > 2 * bound + 100;
      if (random() % 10 < (isShrinking ? 2U : 8U)) {
        auto const [place, isNew] = set.insert(handle);
        EXPECT_EQ(*place, handle);
        EXPECT_EQ(isNew, model.insert(handle).second);
      } else if (auto const place = set.find(handle); place != set.end()) {
        auto const next = set.erase(place);
        auto const expected = model.erase(model.find(handle));
        ASSERT_EQ(next == set.end(), expected == model.end());
        if (next != set.end()) {
          ASSERT_EQ(*next, *expected);
        }
      } else {
        EXPECT_EQ(set.erase(handle), model.erase(handle));
      }
      if (step % (bound / 4 + 1) != 0) continue;
      expectSame(set, model);
      EXPECT_EQ(indexOf(set.lower_bound(handle)), indexIn(model.lower_bound(handle)));
      EXPECT_EQ(indexOf(set.upper_bound(handle)), indexIn(model.upper_bound(handle)));
      knContainerSet copied(model);
      std::copy(handles.begin(), handles.begin() + 5, std::inserter(copied, copied.end()));
      EXPECT_EQ(copied == set, Model(copied) == model);
      erase_if(copied, [&](FieldContainerPtr const& each) { return !set.contains(each); });
      EXPECT_EQ(copied, set);
      copied.erase(copied.begin(), copied.end());
      EXPECT_TRUE(copied.empty() && copied == knContainerSet());
    }
    knContainerSet moved = std::move(set);
    expectSame(moved, model);
    while (!moved.empty()) moved.erase(std::prev(moved.end()));
    EXPECT_TRUE(moved.insert(handles[1]).second && *moved.begin() == handles[1] && set.empty());
  }
  for (FieldContainerPtr const& handle : handles) handle.subRef();
}

}  // namespace kntest::knContainerSetTest
