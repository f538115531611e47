// Tangents that follow from the keys around them. They reach two fifths of the segment in time, as those of the key
// types do, where the cubic that evaluation solves is well conditioned.
#include "curves/AutomaticTangents.h"

#include <algorithm>
#include <cmath>
#include <numeric>

using osg::AnimCurvePtr;
using osg::CCPnt;
using osg::UInt32;
using osg::Vec2f;

namespace {

constexpr double Reach = 0.4;
/// A segment whose end slopes are at most three times its own, with tangents of a third, is monotone. Tangents that
/// reach further count for more in proportion.
constexpr double SteepestClamped = 3.0 * (1.0 / 3.0) / Reach;

struct Segment {
  bool isUsable = false;  ///< has a width, and finite numbers
  double width = 0.0;
  double rise = 0.0;

  double slope() const { return rise / width; }
};

Segment segmentBetween(CurveKeys const& keys, std::size_t i) {
  if (i + 1 >= keys.size()) return {};
  Segment segment;
  segment.width = static_cast<double>(keys[i + 1].x()) - keys[i].x();
  segment.rise = static_cast<double>(keys[i + 1].y()) - keys[i].y();
  segment.isUsable = segment.width > 0.0 && std::isfinite(segment.width) && std::isfinite(segment.rise);
  return segment;
}

double slopeAtKey(Segment const& before, Segment const& after, knTangents tangents) {
  if (!before.isUsable && !after.isUsable) return 0.0;
  if (!before.isUsable) return after.slope();
  if (!after.isUsable) return before.slope();
  double const chord = (before.rise + after.rise) / (before.width + after.width);
  if (tangents == knTangents::Smooth) return chord;
  if ((before.rise > 0.0) != (after.rise > 0.0) || before.rise == 0.0 || after.rise == 0.0) return 0.0;
  double const steepest = SteepestClamped * std::fmin(std::fabs(before.slope()), std::fabs(after.slope()));
  return std::clamp(chord, -steepest, steepest);
}

/// The vector from a key into a segment of its, `direction` 1 or -1. A clamped one ends, as evaluation adds it up,
/// between the values of the segment's keys.
Vec2f tangentInto(CCPnt const& key, CCPnt const& other, Segment const& segment, double slope,
                  double direction, bool isClamped) {
  if (!segment.isUsable) return {};
  Vec2f vector(static_cast<float>(direction * Reach * segment.width),
               static_cast<float>(direction * Reach * segment.width * slope));
  if (isClamped) {
    auto const [low, high] = std::minmax({key.y(), other.y()});
    for (int i = 0; i < 4 && !(key.y() + vector.y() >= low && key.y() + vector.y() <= high); ++i) {
      vector[1] = std::nextafter(vector.y(), 0.F);
    }
    if (!(key.y() + vector.y() >= low && key.y() + vector.y() <= high)) vector[1] = 0.F;
  }
  return vector;
}

struct Vectors {
  Vec2f in;
  Vec2f out;
};

Vectors vectorsAt(CurveKeys const& keys, std::size_t i, knTangents tangents) {
  Segment const before = i > 0 ? segmentBetween(keys, i - 1) : Segment();
  Segment const after = segmentBetween(keys, i);
  double const slope = slopeAtKey(before, after, tangents);
  bool const isClamped = tangents == knTangents::Clamped;
  return {tangentInto(keys[i], keys[i > 0 ? i - 1 : i], before, slope, -1.0, isClamped),
          tangentInto(keys[i], keys[after.isUsable ? i + 1 : i], after, slope, 1.0, isClamped)};
}

void setOne(osg::AnimCurve& curve, UInt32 index, knTangents tangents) {
  switch (tangents) {
    case knTangents::Step:
    case knTangents::Straight:
    case knTangents::Flat:
      curve.computeIntangent(index, static_cast<osg::Int32>(tangents));
      curve.computeOuttangent(index, static_cast<osg::Int32>(tangents));
      break;
    case knTangents::Smooth:
    case knTangents::Clamped:
      setVectors(curve.getControlPoints().getValues(), index, tangents);
      break;
  }
}

static_assert(static_cast<int>(knTangents::Step) == osg::StepTangent &&
              static_cast<int>(knTangents::Straight) == osg::LinearTangent &&
              static_cast<int>(knTangents::Flat) == osg::SmoothTangent);

}  // namespace

void setVectors(CurveKeys& keys, std::size_t index, knTangents tangents) {
  auto const [in, out] = vectorsAt(keys, index, tangents);
  CCPnt& key = keys[index];
  key.setInType(osg::SmoothTangent);
  key.setOutType(osg::SmoothTangent);
  key.setIntangent(in);
  key.setOuttangent(out);
}

std::optional<knTangents> findVectors(CurveKeys const& keys, std::size_t index, knTangents first) {
  CCPnt const& key = keys[index];
  if (key.inType() != osg::SmoothTangent || key.outType() != osg::SmoothTangent || key.inFollows() ||
      key.outFollows())
    return std::nullopt;
  for (knTangents const tangents : {first, knTangents::Clamped, knTangents::Smooth}) {
    if (tangents != knTangents::Clamped && tangents != knTangents::Smooth) continue;
    auto const [in, out] = vectorsAt(keys, index, tangents);
    if (key.intangent() == in && key.outtangent() == out) return tangents;
  }
  return std::nullopt;
}

bool knCurves::setTangents(AnimCurvePtr const& curve, knTangents tangents) {
  if (!curve.isAlive()) return false;
  std::vector<UInt32> all(std::as_const(*curve).getControlPoints().size());
  std::iota(all.begin(), all.end(), 0U);
  return setTangents(curve, tangents, all);
}

bool knCurves::setTangents(AnimCurvePtr const& curveArgument, knTangents tangents,
                           std::span<UInt32 const> indices) {
  AnimCurvePtr const curve = curveArgument;
  if (!curve.isAlive()) return false;
  std::size_t const count = std::as_const(*curve).getControlPoints().size();
  bool isSet = false;
  for (UInt32 const index : indices) {
    if (index >= count) continue;
    setOne(*curve, index, tangents);
    isSet = true;
  }
  if (isSet) announce(curve, osg::AnimCurveBase::ControlPointsFieldMask);
  return isSet;
}
