#pragma once

#include "evaluation/SceneWalk.h"
#include "knAnimEvaluator.h"

#include <utility>
#include <vector>

/// What a run of owners brings along.
struct GatheredChunk {
  std::vector<knCurveData>
      records;  ///< the curves, owner by owner; without aims where the owner is no plain one
  std::vector<std::size_t> ends;  ///< by owner: where its records end
  /// So many of the first records need no computing any more.
  std::size_t computed = 0;
  std::vector<std::pair<osg::AnimNodePtr, std::size_t>> caches;  ///< with the places of their owners
};

struct knAnimEvaluator::GatheringBuffers {
  std::vector<osg::NodePtr> pending;
  std::vector<AnimatedOwner> animated;
  std::vector<GatheredChunk> chunks;
  std::vector<osg::FieldContainerPtr> parents;
  std::vector<std::size_t> uncomputed;  ///< the places of records whose values are still to be computed
};
