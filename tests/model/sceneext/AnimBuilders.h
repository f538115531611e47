#pragma once

#include "model/sceneext/AnimCurve.h"
#include "model/sceneext/AnimNode.h"
#include "support/TestContainers.h"

namespace kntest {

/// A node with a core and a placement of its own.
inline osg::AnimNodePtr newAnimNode(osg::NodeCorePtr const& core = {}, float scale = 1, float offset = 0) {
  osg::AnimNodePtr const node = osg::AnimNode::create();
  node->setCore(core);
  node->setScale(scale);
  node->setOffset({offset, 0});
  return node;
}

/// A curve with keys at these places, joined by straight lines.
inline osg::AnimCurvePtr newCurve(std::initializer_list<osg::Pnt2f> points) {
  osg::AnimCurvePtr const curve = osg::AnimCurve::create();
  curve->addPoints(points);
  return curve;
}

/// The time range that a node reports; nothing for an empty one.
inline std::optional<osg::TimeRange> animRangeOf(osg::AnimNodePtr const& node) {
  osg::BoxVolume volume({-1, -1, -1}, {1, 1, 1});
  node->getAnimVolume(volume);
  osg::Pnt3f min;
  osg::Pnt3f max;
  volume.getBounds(min, max);
  EXPECT_EQ(min.y(), 0);
  EXPECT_EQ(max.y(), 0);
  if (volume.isEmpty()) return std::nullopt;
  return osg::TimeRange{min.x(), max.x()};
}

}  // namespace kntest
