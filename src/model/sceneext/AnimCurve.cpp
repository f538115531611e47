#include "model/sceneext/AnimCurve.h"

#include "model/sceneext/AnimAttachment.h"
#include "model/scenegraph/NodeQueries.h"
#include "model/utils/knLog.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(AnimCurveBase, AnimCurve, "AnimCurve")

namespace {

// The length of a computed tangent as a part of the segment. At a third the segment's time would be linear in
// its parameter, and the cubic that evaluation solves would lose its leading term.
constexpr Real32 TangentLength = 0.4F;

bool isComputed(UInt32 type) { return type == LinearTangent || type == SmoothTangent; }

Vec2f tangentToward(CCPnt const& neighbour, CCPnt const& key, UInt32 type) {
  Vec2f const way = neighbour.point() - key.point();
  return Vec2f(way.x(), type == LinearTangent ? way.y() : 0.F) * TangentLength;
}

CCPnt newLinearKey(Pnt2f const& point) {
  CCPnt key(point, {}, {}, LinearTangent, LinearTangent);
  key.setIntangent({}, true);
  key.setOuttangent({}, true);
  return key;
}

/// The name of an object that a curve drives; empty where it drives none.
std::string ownerNameOf(AnimCurve const& curve) {
  std::string name;
  for (NodePtr const& user : curve.getParents()) {
    NodePtr top = user;
    while (top.isAlive() && top->getParent().isAlive()) top = top->getParent();
    auto const* const tree = dcastTo<AnimNode>(top);
    if (tree == nullptr) continue;
    for (AttachmentPtr const& attachment : tree->getRootedAttachments()) {
      if (!attachment.isAlive()) continue;
      for (FieldContainerPtr const& owner : std::as_const(*attachment).getParents())
        if (name.empty()) name = nameOf(dcast<AttachmentContainerPtr>(owner));
    }
  }
  return name;
}

/// As "translation.X' of 'box'".
std::string titleOf(AnimCurve const& curve) {
  std::string title = "curve '";
  title += curve.getChannelName().empty() ? curve.getName() : curve.getChannelName();
  if (!curve.getSuffix().empty()) title += '.' + curve.getSuffix();
  std::string const owner = ownerNameOf(curve);
  return title + (owner.empty() ? "'" : "' of '" + owner + "'");
}

/// Once for a curve and cause, as long as there are not too many of them to remember.
[[gnu::cold]] void warnOfKey(AnimCurve const& curve, char const* what) {
  constexpr std::size_t MostRemembered = 1000;
  static auto& told = *new std::set<std::pair<AnimCurvePtr, char const*>>;
  if (told.size() >= MostRemembered) told.clear();
  if (!told.emplace(AnimCurvePtr(&curve), what).second) return;
  knLog::warning((titleOf(curve) + ": " + what).c_str());
}

bool earlier(CCPnt const& a, CCPnt const& b) { return a.x() < b.x(); }

/// Times that are no numbers have no order: they go last.
bool earlierOrNumber(CCPnt const& a, CCPnt const& b) {
  return std::isnan(b.x()) ? !std::isnan(a.x()) : a.x() < b.x();
}

}  // namespace

Int32 AnimCurve::addPoint(Point2f const& position, Vector2f const& inTangent, Vector2f const& outTangent,
                          UInt32 inType, UInt32 outType, bool replaceSameTime, bool computeTangents) {
  if (!std::isfinite(position.x())) {
    warnOfKey(*this, "a key at a time that is not finite is left out");
    return -1;
  }
  CCPnt key(position, {}, {}, inType, outType);
  key.setIntangent(inTangent, computeTangents && isComputed(inType) && inTangent == Vec2f());
  key.setOuttangent(outTangent, computeTangents && isComputed(outType) && outTangent == Vec2f());

  auto& keys = _fControlPoints.getValues();
  auto place = std::lower_bound(keys.begin(), keys.end(), key, earlier);
  if (replaceSameTime && place != keys.end() && place->x() == key.x()) {
    *place = key;
  } else {
    place = keys.insert(std::upper_bound(place, keys.end(), key, earlier), key);
  }
  auto const index = static_cast<std::size_t>(place - keys.begin());
  followNeighbours(index);
  timeRangeChanged();
  // Last of all: who hears of it may do anything.
  if (!std::isfinite(key.y())) {
    warnOfKey(*this, "a key has a value that is not finite");
  } else if (!std::isfinite(key.inX() + key.inY()) || !std::isfinite(key.outX() + key.outY())) {
    warnOfKey(*this, "a key has a tangent that is not finite");
  }
  return static_cast<Int32>(index);
}

void AnimCurve::followNeighbours(std::size_t index) {
  auto& keys = _fControlPoints.getValues();
  std::size_t const first = index > 0 ? index - 1 : 0;
  std::size_t const last = std::min(index + 1, keys.size() - 1);
  for (std::size_t i = first; i <= last; ++i) {
    if (keys[i].inFollows()) computeIntangent(static_cast<UInt32>(i), -1);
    if (keys[i].outFollows()) computeOuttangent(static_cast<UInt32>(i), -1);
  }
}

void AnimCurve::addPoints(MField<Pnt2f> const& points) {
  auto& keys = _fControlPoints.getValues();
  std::size_t const former = keys.size();
  std::vector<CCPnt> added;
  added.reserve(points.size());
  for (Pnt2f const& point : points) {
    if (std::isfinite(point.x())) added.push_back(newLinearKey(point));
  }
  bool const isLeftOut = added.size() < points.size();
  char const* const leftOut = "keys at times that are not finite are left out";
  if (added.empty()) {
    if (isLeftOut) warnOfKey(*this, leftOut);
    return;
  }
  if (!std::is_sorted(added.begin(), added.end(), earlier)) std::ranges::stable_sort(added, earlier);
  // Among equal times the new keys come after the former ones.
  std::vector<std::size_t> places;
  places.reserve(added.size());
  auto place = former > 0 && earlier(added.front(), keys.back()) ? keys.begin() : keys.end();
  for (CCPnt const& key : added) {
    place = std::upper_bound(place, keys.end(), key, earlier);
    places.push_back(static_cast<std::size_t>(place - keys.begin()) + places.size());
  }
  bool const areNeighbours = places.back() - places.front() == places.size() - 1;
  keys.insert(areNeighbours ? keys.begin() + places.front() : keys.end(), added.begin(), added.end());
  if (!areNeighbours)
    std::inplace_merge(keys.begin() + places.front(), keys.begin() + former, keys.end(), earlier);
  for (std::size_t const newPlace : places) followNeighbours(newPlace);
  timeRangeChanged();
  // One warning: who hears of it may do anything.
  if (isLeftOut) {
    warnOfKey(*this, leftOut);
  } else if (!std::ranges::all_of(added, [](CCPnt const& key) { return std::isfinite(key.y()); })) {
    warnOfKey(*this, "a key has a value that is not finite");
  }
}

void AnimCurve::points(MField<Pnt2f>& points) const {
  points.clear();
  points.reserve(_fControlPoints.size());
  for (CCPnt const& key : _fControlPoints) points.push_back(key.point());
}

void AnimCurve::clear() {
  _fControlPoints.clear();
  timeRangeChanged();
}

void AnimCurve::shrink() { _fControlPoints.getValues().shrink_to_fit(); }

void AnimCurve::computeIntangent(UInt32 index, Int32 type) {
  if (index >= _fControlPoints.size()) return;
  CCPnt& key = _fControlPoints[index];
  if (type >= 0) key.setInType(static_cast<UInt32>(type));
  if (key.inType() > SmoothTangent) return;
  bool const computed = isComputed(key.inType());
  key.setIntangent(
      computed && index > 0 ? tangentToward(_fControlPoints[index - 1], key, key.inType()) : Vec2f(),
      computed);
}

void AnimCurve::computeOuttangent(UInt32 index, Int32 type) {
  if (index >= _fControlPoints.size()) return;
  CCPnt& key = _fControlPoints[index];
  if (type >= 0) key.setOutType(static_cast<UInt32>(type));
  if (key.outType() > SmoothTangent) return;
  bool const computed = isComputed(key.outType());
  bool const hasNext = index + 1 < _fControlPoints.size();
  key.setOuttangent(
      computed && hasNext ? tangentToward(_fControlPoints[index + 1], key, key.outType()) : Vec2f(),
      computed);
}

void AnimCurve::scaleTimes(Real64 factor) {
  auto const scaled = [factor](Real32 time) {
    return static_cast<Real32>(static_cast<Real64>(time) * factor);
  };
  for (CCPnt& key : _fControlPoints) {
    key.setX(scaled(key.x()));
    key.setIntangent({scaled(key.inX()), key.inY()}, key.inFollows());
    key.setOuttangent({scaled(key.outX()), key.outY()}, key.outFollows());
  }
  setSegmentHint(NoSegment);
  timeRangeChanged();
}

void AnimCurve::changed(BitVector const& mask, UInt32 origin) {
  AnimCurveBase::changed(mask, origin);
  if ((mask & ControlPointsFieldMask).any()) setSegmentHint(NoSegment);
}

void AnimCurve::fieldsAssigned() {
  Inherited::fieldsAssigned();
  auto& keys = _fControlPoints.getValues();
  if (!std::is_sorted(keys.begin(), keys.end(), earlierOrNumber)) {
    std::stable_sort(keys.begin(), keys.end(), earlierOrNumber);
  }
  setSegmentHint(NoSegment);
  timeRangeChanged();
}

void AnimCurve::onDestroy() {
  _timeRangeUsers.timeRangeChanged();
  Inherited::onDestroy();
}

std::optional<TimeRange> AnimCurve::getTimeRange() const {
  if (isEmpty()) return std::nullopt;
  return TimeRange{getControlPoints().front().x(), getControlPoints().back().x()};
}

}  // namespace knscene
}  // namespace osg
