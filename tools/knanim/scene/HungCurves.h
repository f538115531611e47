#pragma once

#include "knanim/scene/ModelNodes.h"

#include <string>
#include <vector>

namespace knanim {

/// A curve that hangs on a node of a scene, and moves its transform.
struct HungCurve {
  SceneCurve curve;
  std::size_t node = 0;         ///< index of the node that it hangs on
  std::string animation;        ///< the name of the block that it stands in; empty when it stands in none
  osg::AnimNodePtr block;       ///< the block at the top of its tree; null where there is none
  bool isActive = true;         ///< neither it nor what is above it is switched off or hidden
  bool isActiveInBlock = true;  ///< the same, were `block` switched on
};

struct HungCurves {
  std::vector<HungCurve> curves;  ///< by node, then in the order of the trees
  std::size_t others = 0;         ///< curves that move something else than transforms
};

/// What hangs on nodes. Linear, for trees of any depth.
HungCurves findCurves(std::span<osg::NodePtr const> nodes);

/// A curve and the placement of one of its nodes as plain data.
CurveForm formOf(osg::AnimCurve const& curve, osg::AnimNode const& node);

/// The curve as plain data, with its form. Keys stand where the nodes put them; of several at one time the last
/// counts. Without keys when the curve has none.
ImportedCurve describe(HungCurve const& hung);

/// Keeps the order that a model's curves have: by node, channel and component.
bool standsBefore(HungCurve const& a, HungCurve const& b);

}  // namespace knanim
