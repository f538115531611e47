#include "evaluation/WriteOrder.h"

#include <algorithm>
#include <cmath>

void knWriteOrder::add(osg::AnimNodePtr const& node, float time) {
  osg::BoxVolume volume;
  if (node.isAlive()) node->getAnimVolume(volume);
  osg::Pnt3f min;
  osg::Pnt3f max;
  volume.getBounds(min, max);
  std::size_t const place = _count++;
  if (time > max.x()) {
    _after.push_back({max.x(), place});
  } else if (min.x() > time) {
    _before.push_back({min.x(), place});
  } else {
    _inside.push_back({time, place});
  }
}

std::vector<std::size_t> knWriteOrder::get() {
  // A key that is no number stands last, so that the order is one.
  auto const byKey = [](Item const& a, Item const& b) {
    return a.key < b.key || (std::isnan(b.key) && !std::isnan(a.key));
  };
  std::vector<std::size_t> places;
  places.reserve(_count);
  auto const append = [&](auto first, auto last) {
    for (; first != last; ++first) places.push_back(first->place);
  };
  for (auto* const items : {&_before, &_after, &_inside})
    std::stable_sort(items->begin(), items->end(), byKey);
  append(_before.rbegin(), _before.rend());
  append(_after.begin(), _after.end());
  append(_inside.begin(), _inside.end());
  return places;
}
