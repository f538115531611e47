#pragma once

#include "model/sceneext/AnimNode.h"

#include <cstddef>
#include <vector>

/// The order in which what overlaps on a timeline is written: what begins later first, the soonest last; then what has
/// ended, the latest end last; then what is in progress, in the order of its times. The last to write wins.
class knWriteOrder {
 public:
  /// Adds the next item: a node's range against the time that the item is evaluated at. A time or range that is no
  /// number counts as in progress.
  void add(osg::AnimNodePtr const& node, float time);
  /// The numbers of the items, counted from 0, in the order of writing. Equal keys keep the order of adding, those
  /// that begin later its reverse.
  std::vector<std::size_t> get();

 private:
  struct Item {
    float key;
    std::size_t place;
  };
  std::vector<Item> _before;
  std::vector<Item> _after;
  std::vector<Item> _inside;
  std::size_t _count = 0;
};
