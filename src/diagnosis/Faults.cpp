#include "diagnosis/Faults.h"

#include "evaluation/CurveValue.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <sstream>
#include <utility>

using osg::AnimCurve;
using osg::CCPnt;
using osg::UInt32;

namespace {

bool isFinite(CCPnt const& key) {
  return std::isfinite(key.x() + key.y()) && std::isfinite(key.inX() + key.inY()) &&
         std::isfinite(key.outX() + key.outY());
}

/// In widths of the segment: how far a tangent points out of it, and how far it reaches past its other end. Files bring
/// tangents that are a little off by rounding, or a little long; a position in place of a vector is far off.
constexpr float MostBackward = 0.01F;
constexpr float MostReach = 2.F;

/// The types that a curve computes vectors for.
bool hasVector(UInt32 type) { return type == osg::LinearTangent || type == osg::SmoothTangent; }

std::string describeTangent(char const* name, float along, float width) {
  if (!(along < -MostBackward * width) && !(along > MostReach * width)) return {};
  std::ostringstream text;
  if (along < -MostBackward * width) {
    text << "the " << name << " points away from its segment by " << -along << " s";
  } else {
    text << "the " << name << " reaches over " << along << " s in a segment of " << width << " s";
  }
  text << ": tangents are vectors from their key, not positions, in seconds and values";
  return text.str();
}

Fault faultOf(knStillness cause, std::size_t key, std::string const& text) {
  return {cause, ": key " + std::to_string(key) + text};
}

/// A segment of two keys in order, the first one at an index.
std::optional<Fault> findTangentFault(CCPnt const& a, CCPnt const& b, std::size_t index) {
  float const width = b.x() - a.x();
  if (!(width > 0.F)) return std::nullopt;
  if (std::string const text = describeTangent("out-tangent", a.outX(), width); !text.empty())
    return faultOf(knStillness::StrayTangent, index, ": " + text);
  bool const isHeld = holdsValue(a.outtangent(), b.intangent());
  // Where the value holds, nothing reads the in-tangent.
  if (std::string const text = isHeld ? "" : describeTangent("in-tangent", -b.inX(), width); !text.empty())
    return faultOf(knStillness::StrayTangent, index + 1, ": " + text);
  bool const isZero = a.outX() == 0.F && a.outY() == 0.F;
  if (a.y() == b.y() || !isZero || !hasVector(a.outType()) || !isHeld) return std::nullopt;
  return faultOf(knStillness::NoTangent, index,
                 " holds its value until the next one: its out-tangent is no step, but a zero vector; "
                 "AnimCurve::addPoint computes it on demand, and knCurves::setTangents afterwards");
}

std::optional<UInt32> componentOf(std::string const& suffix) {
  if (suffix.size() == 1) {
    constexpr std::string_view Letters = "XYZWRGBA";
    auto const letter = static_cast<char>(std::toupper(static_cast<unsigned char>(suffix[0])));
    std::size_t const place = Letters.find(letter);
    if (place != std::string_view::npos) return static_cast<UInt32>(place % 4);
  }
  // The colour correction of a material. That of a camera has the same four the other way round.
  constexpr std::pair<std::string_view, UInt32> Words[] = {
      {"contrast", 0}, {"brightness", 1}, {"saturation", 2}, {"hueShift", 3}};
  for (auto const& [word, component] : Words) {
    if (suffix == word) return component;
  }
  return std::nullopt;
}

std::string componentMoved(AnimCurve const& curve) {
  return " moves component " + std::to_string(curve.getValueIndex()) + ", and its suffix '" +
         curve.getSuffix() + "' stands for ";
}

bool areFinite(auto const& list) {
  return std::ranges::all_of(list, [](auto const& one) {
    return std::isfinite(one[0]) && std::isfinite(one[1]) && std::isfinite(one[2]);
  });
}

}  // namespace

std::optional<Fault> findKeyFault(AnimCurve const& curve) {
  auto const& keys = curve.getControlPoints();
  auto const indexOf = [&](auto const& place) { return static_cast<std::size_t>(place - keys.begin()); };
  if (auto const bad = std::ranges::find_if_not(keys, isFinite); bad != keys.end())
    return faultOf(knStillness::BadKeys, indexOf(bad), " is not finite");
  auto const late = std::ranges::is_sorted_until(keys, {}, [](CCPnt const& key) { return key.x(); });
  if (late != keys.end())
    return faultOf(
        knStillness::KeysOutOfOrder, indexOf(late),
        " is earlier than the one before it: keys must be in order of time, as AnimCurve::addPoint "
        "puts them");
  if (curve.getForceLinearInterpolation()) return std::nullopt;
  for (std::size_t i = 0; i + 1 < keys.size(); ++i) {
    if (std::optional<Fault> fault = findTangentFault(keys[i], keys[i + 1], i)) return fault;
  }
  return std::nullopt;
}

std::string describeNumbers(osg::TimeShapeData const& shape) {
  if (!std::isfinite(shape.getTime())) return "a shape's time is not finite";
  char const* const what = !areFinite(shape.getPositions()) ? "vertex"
                           : !areFinite(shape.getNormals()) ? "normal"
                                                            : nullptr;
  if (what == nullptr) return {};
  std::ostringstream text;
  text << "the shape at " << shape.getTime() << " s has a " << what << " that is not finite";
  return text.str();
}

std::string describeSuffix(AnimCurve const& curve) {
  // Flights call the third of these Y.
  if (curve.getName() == "frustumSides") return {};
  std::optional<UInt32> const component = componentOf(curve.getSuffix());
  if (!component || *component == curve.getValueIndex()) return {};
  if (curve.getSuffix().size() > 1 && 3 - *component == curve.getValueIndex()) return {};
  return componentMoved(curve) + "component " + std::to_string(*component);
}

std::string describeSourceSuffix(AnimCurve const& curve) {
  if (curve.getSuffix().empty() || componentOf(curve.getSuffix())) return describeSuffix(curve);
  return componentMoved(curve) + "none: components are called X, Y, Z, W or R, G, B, A";
}

std::string describePlayRange(osg::AnimNode const& node) {
  std::ostringstream text;
  text << " has a play range from " << node.getPlayRange().x() << " s to " << node.getPlayRange().y()
       << " s: it must not end before it begins";
  return text.str();
}

std::string describeCycles(osg::AnimNode const& node) {
  return " has " + std::to_string(node.getPostCycles()) +
         " repetitions: PostCycles is 0 or more, or -1 for repetition without end";
}
