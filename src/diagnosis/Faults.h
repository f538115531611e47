#pragma once

#include "knDiagnosis.h"
#include "model/sceneext/TimeShapeCache.h"

#include <optional>
#include <string>

/// What is wrong with one object by itself. Texts are empty where nothing is.

struct Fault {
  knStillness cause;
  std::string text;
};

/// The first key that is not finite or out of order, else the first tangent that cannot be meant.
std::optional<Fault> findKeyFault(osg::AnimCurve const& curve);
/// A time, vertex or normal that is not finite.
std::string describeNumbers(osg::TimeShapeData const& shape);

/// A suffix that stands for another component than the curve's index.
std::string describeSuffix(osg::AnimCurve const& curve);
/// The same, and a suffix that stands for no component: for a curve whose index was to come from it.
std::string describeSourceSuffix(osg::AnimCurve const& curve);

/// A play range in use that ends before it begins.
inline bool hasBadPlayRange(osg::AnimNode const& node) {
  return node.getUsePlayRange() && !(node.getPlayRange().x() <= node.getPlayRange().y());
}
/// -1 repeats without end; other numbers below 0 mean nothing.
inline bool hasBadCycles(osg::AnimNode const& node) { return node.getPostCycles() < -1; }
std::string describePlayRange(osg::AnimNode const& node);
std::string describeCycles(osg::AnimNode const& node);
