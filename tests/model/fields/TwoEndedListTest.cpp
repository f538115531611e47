#include "model/fields/TwoEndedList.h"

#include "model/sceneext/CCPnt.h"
#include "support/TestContainers.h"

namespace kntest::TwoEndedListTest {

/// Does at random to a list and to a std::vector what both can, with gaps where the values are handles, and compares.
template <class T, class Make>
void compareWithVector(Make make) {
  std::mt19937 random(11);
  TwoEndedList<T> list;
  std::vector<T> model;
  for (int step = 0; step < 20000; ++step) {
    // Phases of growth and of decline, so that lists get long and empty again.
    bool const grows = random() % 8 < (step / 500 % 2 == 0 ? 6U : 2U);
    std::size_t const place = random() % (model.size() + 1) * (random() % 3 > 0);
    auto const at = static_cast<std::ptrdiff_t>(place);
    if (grows) {
      std::vector<T> const some(1 + random() % 3, make(step));
      model.insert(model.begin() + at, some.begin(), some.end());
      if (place + some.size() < model.size()) {
        list.insert(list.begin() + at, some.begin(), some.end());
      } else {
        for (T const& one : some) list.push_back(one);
      }
    } else if (place < model.size()) {
      auto const count =
          static_cast<std::ptrdiff_t>(std::min<std::size_t>(model.size() - place, random() % 3));
      model.erase(model.begin() + at, model.begin() + at + count);
      if constexpr (ContainerHandle<T>) {
        for (std::ptrdiff_t i = 0; i < count; ++i) {
          // The place of a value lies behind its index by the gaps before it.
          UInt32 taken = 0;
          for (std::size_t values = 0; !list.atPlace(taken) || values++ < place; ++taken) {
          }
          list.takeAtPlace(taken);
        }
      } else {
        list.erase(list.begin() + at, list.begin() + at + count);
      }
    }
    ASSERT_EQ(list.size(), model.size()) << step;
    if (random() % 5 > 0) continue;
    if (random() % 50 == 0) list.shrink_to_fit();
    TwoEndedList<T> const copy = list;
    ASSERT_TRUE(std::equal(copy.begin(), copy.end(), model.begin(), model.end(), [](T const& a, T const& b) {
      return FieldDataTraits<T>::isEqual(a, b);
    })) << step;
  }
}

TEST(TwoEndedListTest, HoldsWhatAVectorHolds) {
  std::vector<NodePtr> nodes;
  for (int i = 0; i < 50; ++i) nodes.push_back(Node::create());
  compareWithVector<NodePtr>([&](int step) { return nodes[static_cast<std::size_t>(step) % nodes.size()]; });
  compareWithVector<CCPnt>([](int step) { return CCPnt({static_cast<float>(step), 1}, {}, {}, 1, 1); });
  for (NodePtr const& node : nodes) node.subRef();
}

}  // namespace kntest::TwoEndedListTest
