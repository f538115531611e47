#pragma once

#include "model/sceneext/AnimNode.h"

#include <span>
#include <string>
#include <vector>

namespace knanim {

/// A name that blocks on nodes have.
struct BlockName {
  std::string name;
  bool isActive = false;  ///< one of them is switched on
};

/// The names of the blocks that hang on nodes, fit for a terminal, in the order in which they come.
std::vector<BlockName> blockNames(std::span<osg::NodePtr const> nodes);

/// A node, and its traversal mask before.
struct FormerMask {
  osg::AnimNodePtr node;
  osg::UInt32 mask = 0;
};

/// Switches the blocks of one name on and those of all other names off; what hangs on nodes without a block stays as it
/// is. Where blocks of that name are on already, those that are off stay so: someone switched them off, one by one.
/// Returns the masks that were changed.
std::vector<FormerMask> switchTo(std::string const& name, std::span<osg::NodePtr const> nodes);
void switchBack(std::span<FormerMask const> former);

}  // namespace knanim
