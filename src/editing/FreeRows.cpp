#include "editing/FreeRows.h"

#include "knAnimManager.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace {

constexpr float kRowHeight = 50.F;

float heightOf(std::size_t row) { return kRowHeight * static_cast<float>(row); }

}  // namespace

FreeRows::FreeRows(osg::NodePtr const& parent, osg::AnimNodePtr const& ignore) {
  if (!parent.isAlive()) return;
  for (osg::NodePtr const& child : parent->getChildren()) {
    osg::AnimNodePtr const animation = osg::dcast<osg::AnimNodePtr>(child);
    if (animation && animation != ignore) add(animation);
  }
}

void FreeRows::add(osg::AnimNodePtr const& animation) {
  float const height = animation->getOffset().y();
  if (std::isnan(height)) return;
  Span span{};
  knAnimManager::the()->getBounds(animation, span.start, span.end);
  _rows[height].add(span);
  float const row = height / kRowHeight;
  if (row >= 0.F && row < static_cast<float>(_leaves) && row == std::floor(row))
    note(static_cast<std::size_t>(row));
}

void FreeRows::Row::add(Span span) {
  if (!(span.start <= span.end)) {
    others.push_back(span);
    return;
  }
  auto next = joined.upper_bound(span.start);
  if (next != joined.begin() && std::prev(next)->second >= span.start) --next;
  while (next != joined.end() && next->first <= span.end) {
    span = {std::min(span.start, next->first), std::max(span.end, next->second)};
    next = joined.erase(next);
  }
  joined.emplace(span.start, span.end);
  if (!(span.end - span.start <= longest.end - longest.start)) longest = span;
}

bool FreeRows::Row::isTakenAt(float time) const {
  auto const next = joined.upper_bound(time);
  return next != joined.begin() && std::prev(next)->second >= time;
}

bool FreeRows::collide(Span const& taken, Span const& wanted) {
  auto const isWithin = [&](float time) { return taken.start <= time && time <= taken.end; };
  return isWithin(wanted.start) || isWithin(wanted.end) ||
         (wanted.start < taken.start && taken.end < wanted.end);
}

bool FreeRows::isTakenOnAll(Span const& common, Span const& wanted) {
  return common.start <= common.end && collide(common, wanted);
}

bool FreeRows::isFree(std::size_t row, Span const& wanted) const {
  auto const at = _rows.find(heightOf(row));
  if (at == _rows.end()) return true;
  Row const& taken = at->second;
  if (taken.isTakenAt(wanted.start) || taken.isTakenAt(wanted.end)) return false;
  auto const next = taken.joined.upper_bound(wanted.start);
  if (next != taken.joined.end() && next->second < wanted.end) return false;
  return std::ranges::none_of(taken.others, [&](Span const& span) { return collide(span, wanted); });
}

/// Renews what the rows share, from one row upwards.
void FreeRows::note(std::size_t row) {
  std::size_t place = _leaves + row;
  auto const taken = _rows.find(heightOf(row));
  if (taken == _rows.end()) return;
  _common[place] = taken->second.longest;
  while ((place /= 2) > 0) {
    Span const& a = _common[2 * place];
    Span const& b = _common[2 * place + 1];
    _common[place] = {std::max(a.start, b.start), std::min(a.end, b.end)};
  }
}

void FreeRows::grow() {
  _leaves = std::max<std::size_t>(64, 2 * _leaves);
  _common.assign(2 * _leaves, Nowhere);
  for (std::size_t row = 0; row < _leaves; ++row) note(row);
}

/// How many rows from `row` on are known to be taken.
std::size_t FreeRows::skip(std::size_t row, Span const& wanted) const {
  std::size_t place = _leaves + row;
  std::size_t count = 0;
  for (std::size_t below = 1; isTakenOnAll(_common[place], wanted); below *= 2) {
    count = below;
    if (place % 2 != 0) break;
    place /= 2;
  }
  return count;
}

float FreeRows::find(float start, float end) {
  Span const wanted{start, end};
  for (std::size_t row = 0;;) {
    if (row >= _leaves) grow();
    std::size_t const taken = skip(row, wanted);
    if (taken == 0 && isFree(row, wanted)) return heightOf(row);
    row += std::max<std::size_t>(taken, 1);
  }
}
