#pragma once

#include "model/scenegraph/Node.h"

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
