#pragma once

#include "knanim/editing/SceneGuest.h"

#include <string>
#include <vector>

namespace knanim {

/// A node of a source and the node of the target that takes its animation, as indices into their models.
struct NodePair {
  std::size_t source = 0;
  std::size_t target = 0;
};

/// What fitting one skeleton's curves to another came to.
struct Retargeting {
  bool isSizeKnown = false;            ///< the two have bones in common
  double sizeRatio = 1;                ///< lengths of the target's bones divided by those of the source's
  std::size_t moved = 0;               ///< curves of translations that were fitted
  std::size_t turned = 0;              ///< nodes whose rotations were computed anew, as they rest otherwise
  double largestTurn = 0;              ///< degrees between two rest poses
  std::vector<std::string> leftAlone;  ///< nodes that rest otherwise but have no curve for each axis
};

/// Changes the curves of a guest so that they move the nodes of another skeleton as they moved their own. What a node
/// does is taken relative to how it rests: its translations become those from the target's place, larger or smaller as
/// the target's bones are, its turns start from the target's. Turns are computed at the keys, and 30 times a second
/// where curves bend; between these lie straight lines.
Retargeting retarget(SceneGuest const& guest, ImportedModel const& source, ImportedModel const& target,
                     std::vector<NodePair> const& pairs);

}  // namespace knanim
