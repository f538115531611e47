#pragma once

#include "model/scenegraph/Node.h"

#include <algorithm>
#include <utility>
#include <vector>

/// Calls `visit(NodePtr const&)` for each living node of a tree, parents before children, children in order. Where it
/// answers false, the walk passes over the children. Trees may be of any depth; they must not change meanwhile.
template <class Visit>
void forEachNode(osg::NodePtr const& root, Visit visit) {
  struct Level {
    osg::Node const* node;
    osg::UInt32 nextChild;
  };
  if (!root.isAlive() || !visit(root)) return;
  std::vector<Level> path{{&*root, 0}};
  while (!path.empty()) {
    Level& level = path.back();
    if (level.nextChild == level.node->getNChildren()) {
      path.pop_back();
      continue;
    }
    osg::NodePtr const& child = level.node->getChildren()[level.nextChild++];
    if (child.isAlive() && visit(child)) path.push_back({&*child, 0});
  }
}

/// Calls `use(NodePtr const&)` for the children with animation in their subtrees, from the last to the first.
template <class Use>
void forEachAnimatedChildBackwards(osg::Node const& node, Use use) {
  auto const animated = node.getAnimatedChildren();
  auto const& children = node.getChildren();
  if (animated.size() == children.size()) {
    for (std::size_t i = children.size(); i-- > 0;) use(children[i]);
    return;
  }
  std::vector<std::pair<osg::Int32, osg::NodePtr>> ordered;
  ordered.reserve(animated.size());
  for (osg::NodePtr const& child : animated) ordered.emplace_back(node.findChild(child), child);
  std::sort(ordered.begin(), ordered.end());
  for (std::size_t i = ordered.size(); i-- > 0;) use(ordered[i].second);
}

/// Like forEachNode, but only for nodes that have animation in their subtrees: the cost follows what is animated, and
/// not what the scene holds. For the scene's own trees, in which animations hang on attachments and cores.
template <class Visit>
void forEachAnimatedNode(osg::NodePtr const& root, Visit visit) {
  std::vector<osg::NodePtr> pending;
  if (root.isAlive() && root->hasAnimationInSubtree()) pending.push_back(root);
  while (!pending.empty()) {
    osg::NodePtr const node = pending.back();
    pending.pop_back();
    if (!node.isAlive() || !visit(node)) continue;
    forEachAnimatedChildBackwards(*node, [&](osg::NodePtr const& child) { pending.push_back(child); });
  }
}
