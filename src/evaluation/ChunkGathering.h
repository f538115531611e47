#pragma once

#include "evaluation/SceneWalk.h"
#include "model/records/knCurveData.h"

#include <algorithm>
#include <tbb/parallel_for.h>
#include <utility>
#include <vector>

/// What a gathering takes in, and whether it computes the values on the way, while all that they need is at hand.
struct GatherChoice {
  bool motionBlurOnly;
  bool keepEmpty;
  bool computeValues;
  float time;
};

/// What a run of owners brings along.
struct GatheredChunk {
  /// How many owners one task looks through. Scenes with fewer are not worth the forking.
  static constexpr std::size_t Size = 32;

  std::vector<knCurveData>
      records;  ///< the curves, owner by owner; without aims where the owner is no plain one
  std::vector<std::size_t> ends;  ///< by owner: where its records end
  std::vector<unsigned char>
      isUncomputed;  ///< by record: its value is still to be computed, where it is wanted
  std::vector<std::pair<osg::AnimNodePtr, std::size_t>> caches;  ///< with the places of their owners
};

bool isCache(osg::FieldContainerType const* core);

/// What a node of an animation tree brings to an evaluation: a curve, a cache of shapes, or neither.
struct TreePart {
  osg::AnimCurvePtr curve;
  bool isCache = false;
};
inline TreePart findPart(osg::AnimNode const& node, bool motionBlurOnly, bool keepEmpty) {
  if (motionBlurOnly && !node.getMotionBlur()) return {};
  auto const curve = osg::dcast<osg::AnimCurvePtr>(node.getCore());
  if (!curve) return {{}, isCache(node.getCore().findType())};
  return keepEmpty || !curve->isEmpty() ? TreePart{curve} : TreePart{};
}

/// Fills in what the owners from `first` to `last` bring along. A curve's value is computed for one of the nodes that
/// share it at most. For any thread: it reads the scene and writes the chunk.
void gatherChunk(GatherChoice const& choice, std::vector<AnimatedOwner> const& animated, std::size_t first,
                 std::size_t last, GatheredChunk& chunk);

/// Calls `work(chunk, first, last)` for each run of owners, in parallel where that pays.
template <class Work>
void forEachChunk(std::size_t count, Work work) {
  std::size_t const chunks = (count + GatheredChunk::Size - 1) / GatheredChunk::Size;
  auto const doChunk = [&](std::size_t chunk) {
    work(chunk, chunk * GatheredChunk::Size, std::min(count, (chunk + 1) * GatheredChunk::Size));
  };
  if (chunks < 2) {
    for (std::size_t chunk = 0; chunk < chunks; ++chunk) doChunk(chunk);
  } else {
    tbb::parallel_for(std::size_t{0}, chunks, doChunk);
  }
}
