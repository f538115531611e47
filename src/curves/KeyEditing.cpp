#include "diagnosis/Refusal.h"
#include "knCurves.h"
#include "model/utils/knLog.h"

#include <algorithm>
#include <cmath>

using osg::AnimCurvePtr;
using osg::CCPnt;
using osg::Int32;
using osg::UInt32;

namespace {

using Keys = osg::MField<CCPnt>::StoredType;

bool hasKey(AnimCurvePtr const& curve, UInt32 index) {
  return curve.isAlive() && index < std::as_const(*curve).getControlPoints().size();
}

/// Makes tangents anew that follow their neighbours, of the keys beside a place where one came or went.
void followAround(osg::AnimCurve& curve, std::size_t place) {
  std::size_t const count = std::as_const(curve).getControlPoints().size();
  std::size_t const end = std::min(place + 2, count);
  for (std::size_t i = place > 0 ? place - 1 : 0; i < end; ++i) {
    CCPnt const key = std::as_const(curve).getControlPoints()[i];
    if (key.inFollows()) curve.computeIntangent(static_cast<UInt32>(i), -1);
    if (key.outFollows()) curve.computeOuttangent(static_cast<UInt32>(i), -1);
  }
}

bool isFinite(osg::Pnt2f const& point) { return std::isfinite(point.x()) && std::isfinite(point.y()); }

bool isFinite(CCPnt const& key) {
  return isFinite(key.point()) && std::isfinite(key.inX()) && std::isfinite(key.inY()) &&
         std::isfinite(key.outX()) && std::isfinite(key.outY());
}

Int32 refuse(AnimCurvePtr const& curve, UInt32 index, char const* what) {
  knLog::error((titleOf(curve) + ": key " + std::to_string(index) + " stays as it is: the new " + what +
                " is not finite")
                   .c_str());
  return -1;
}

/// Times that are no numbers, which files may bring, come last.
bool isEarlier(CCPnt const& a, CCPnt const& b) {
  return std::isnan(b.x()) ? !std::isnan(a.x()) : a.x() < b.x();
}

void tell(AnimCurvePtr const& curve) { announce(curve, osg::AnimCurveBase::ControlPointsFieldMask); }

/// Puts a key in the place of another one, and then where its time belongs.
Int32 replaceKey(AnimCurvePtr const& curve, UInt32 index, CCPnt const& key) {
  Keys& keys = curve->getControlPoints().getValues();
  auto const from = keys.begin() + index;
  auto place = from;
  if (key.x() != from->x()) {
    // Without the key that moves, and no other one touched but those that it passes.
    if (isEarlier(key, *from)) {
      place = std::upper_bound(keys.begin(), from, key, isEarlier);
      std::rotate(place, from, from + 1);
    } else {
      place = std::upper_bound(from + 1, keys.end(), key, isEarlier) - 1;
      std::rotate(from, from + 1, place + 1);
    }
  }
  *place = key;
  auto const newIndex = static_cast<std::size_t>(place - keys.begin());
  followAround(*curve, index);
  followAround(*curve, newIndex);
  tell(curve);
  return static_cast<Int32>(newIndex);
}

}  // namespace

bool knCurves::removePoint(AnimCurvePtr const& curveArgument, UInt32 index) {
  AnimCurvePtr const curve = curveArgument;
  if (!hasKey(curve, index)) return false;
  Keys& keys = curve->getControlPoints().getValues();
  keys.erase(keys.begin() + index);
  followAround(*curve, index);
  tell(curve);
  return true;
}

Int32 knCurves::movePoint(AnimCurvePtr const& curveArgument, UInt32 index, osg::Pnt2f const& position) {
  AnimCurvePtr const curve = curveArgument;
  if (!hasKey(curve, index)) return -1;
  if (!isFinite(position)) return refuse(curve, index, "time or value");
  CCPnt key = std::as_const(*curve).getControlPoints()[index];
  key.setX(position.x());
  key.setY(position.y());
  return replaceKey(curve, index, key);
}

Int32 knCurves::setPoint(AnimCurvePtr const& curveArgument, UInt32 index, CCPnt const& keyArgument) {
  AnimCurvePtr const curve = curveArgument;
  CCPnt const key = keyArgument;
  if (!hasKey(curve, index)) return -1;
  return isFinite(key) ? replaceKey(curve, index, key) : refuse(curve, index, "time, value or tangent");
}
