#include "editing/FreeRows.h"

#include "knAnimManager.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr float kRowHeight = 50.F;

}  // namespace

FreeRows::FreeRows(osg::NodePtr const& parent, osg::AnimNodePtr const& ignore) {
  if (!parent.isAlive()) return;
  for (osg::NodePtr const& child : parent->getChildren()) {
    osg::AnimNodePtr const animation = osg::dcast<osg::AnimNodePtr>(child);
    if (animation && animation != ignore) add(animation);
  }
}

void FreeRows::add(osg::AnimNodePtr const& animation) {
  float const row = animation->getOffset().y();
  if (std::isnan(row)) return;
  Span span{};
  knAnimManager::the()->getBounds(animation, span.start, span.end);
  _rows[row].push_back(span);
}

bool FreeRows::collide(Span const& taken, Span const& wanted) {
  auto const isWithin = [&](float time) { return taken.start <= time && time <= taken.end; };
  return isWithin(wanted.start) || isWithin(wanted.end) ||
         (wanted.start < taken.start && taken.end < wanted.end);
}

float FreeRows::find(float start, float end) const {
  Span const wanted{start, end};
  float row = 0.F;
  while (true) {
    auto const taken = _rows.find(row);
    if (taken == _rows.end()) return row;
    bool const isFree = std::none_of(taken->second.begin(), taken->second.end(),
                                     [&](Span const& span) { return collide(span, wanted); });
    if (isFree) return row;
    row += kRowHeight;
  }
}
