#include "model/scenefiles/OwnershipGraph.h"

namespace osg {
inline namespace knscene {

OwnershipGraph::Reached OwnershipGraph::reach() const {
  Reached reached;
  reached.ownerCounts.assign(size(), 0);
  reached.marks.assign(size(), false);
  if (size() == 0) return reached;
  reached.numbers.push_back(0);
  reached.marks[0] = true;
  for (std::size_t i = 0; i < reached.numbers.size(); ++i) {
    UInt32 const owner = reached.numbers[i];
    for (std::size_t place = _firstOwned[owner]; place < endOfOwned(owner); ++place) {
      UInt32 const owned = _owned[place];
      ++reached.ownerCounts[owned];
      if (reached.marks[owned]) continue;
      reached.marks[owned] = true;
      reached.numbers.push_back(owned);
    }
  }
  return reached;
}

OwnershipGraph::Order OwnershipGraph::order() const {
  Reached reached = reach();
  Order result;
  if (size() > 0 && reached.ownerCounts[0] == 0) result.ownersFirst.push_back(0);
  for (std::size_t i = 0; i < result.ownersFirst.size(); ++i) {
    UInt32 const owner = result.ownersFirst[i];
    reached.marks[owner] = false;
    for (std::size_t place = _firstOwned[owner]; place < endOfOwned(owner); ++place) {
      if (--reached.ownerCounts[_owned[place]] == 0) result.ownersFirst.push_back(_owned[place]);
    }
  }
  for (UInt32 const number : reached.numbers) {
    if (!reached.marks[number]) continue;
    result.hasCircle = true;
    result.inCircle = number;
    break;
  }
  return result;
}

}  // namespace knscene
}  // namespace osg
