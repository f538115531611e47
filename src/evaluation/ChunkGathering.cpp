#include "evaluation/ChunkGathering.h"

#include "evaluation/AnimOwner.h"
#include "evaluation/CurveValue.h"
#include "evaluation/SegmentBatch.h"
#include "evaluation/WriteRule.h"
#include "model/sceneext/TimeShapeCache.h"

#include <algorithm>

using osg::AnimCurve;
using osg::AnimCurvePtr;
using osg::AnimNode;
using osg::AnimNodePtr;
using osg::FieldContainerPtr;
using osg::NodePtr;

namespace {

/// A node of an owner's tree.
struct Found {
  AnimNodePtr node;
  std::size_t owner;
};

/// Memory that a thread keeps for its next batch.
struct Scratch {
  std::vector<AnimNodePtr> pending;
  std::vector<Found> found;
};

/// Handlers of the process's end may evaluate when the main thread's own memory is gone.
thread_local bool scratchIsGone = false;

struct ThreadScratch : Scratch {
  ~ThreadScratch() { scratchIsGone = true; }
};

[[gnu::always_inline]] inline void prefetchPlace(FieldContainerPtr const& handle) {
  __builtin_prefetch(handle.getStoreAddress());
}

[[gnu::always_inline]] inline void prefetchAnimNode(NodePtr const& handle) {
  if (auto const* const node = osg::dcastTo<AnimNode>(handle)) {
    prefetchSpan(node->getCore(), node->getMotionBlur());
  }
}

[[gnu::always_inline]] inline void prefetchChildren(NodePtr const& node) {
  if (!node.isAlive()) return;
  auto const& children = std::as_const(*node).getChildren();
  if (!children.empty()) prefetchSpan(children.front(), children.back());
}

[[gnu::always_inline]] inline void prefetchCurve(AnimNode const& node) {
  if (auto const* const curve = osg::dcastTo<AnimCurve>(node.getCore())) {
    prefetchSpan(curve->getName(), curve->getColor());
  }
}

/// What the computation looks at first: both ends, and the segment that it used last.
[[gnu::always_inline]] inline void prefetchKeys(AnimCurve const& curve) {
  auto const& keys = curve.getControlPoints();
  if (keys.empty()) return;
  std::size_t const hint = std::min<std::size_t>(curve.getSegmentHint(), keys.size() - 1);
  __builtin_prefetch(&keys.front());
  prefetchSpan(keys[hint], keys[std::min(hint + 1, keys.size() - 1)]);
  __builtin_prefetch(&keys.back());
}

template <class Visit>
[[gnu::always_inline]] inline void forEachChild(NodePtr const& node, Visit visit) {
  if (!node.isAlive()) return;
  for (NodePtr const& child : node->getChildren()) visit(child);
}

/// The work on a few owners: as many as a core's first cache holds with all that belongs to them. The passes follow one
/// another so that each finds in the cache what the one before has asked for.
class Batch {
 public:
  static constexpr std::size_t Size = 4;

  Batch(GatherChoice const& choice, std::vector<AnimatedOwner> const& animated, std::size_t first,
        std::size_t last, GatheredChunk& chunk)
      : _choice(choice), _animated(animated), _first(first), _last(last), _chunk(chunk) {}

  void run() {
    if (scratchIsGone) {
      Scratch own;
      run(own);
      return;
    }
    thread_local ThreadScratch scratch;
    run(scratch);
  }

 private:
  static constexpr std::size_t MostComputed = 2048;

  void run(Scratch& scratch) {
    prefetchTrees();
    findNodes(scratch);
    std::size_t const firstRecord = _chunk.records.size();
    makeRecords(scratch.found);
    if (_choice.computeValues) computeValues(firstRecord);
  }

  template <class Visit>
  [[gnu::always_inline]] void forEachTree(Visit visit) const {
    for (std::size_t i = _first; i < _last; ++i) visit(_animated[i].tree);
  }

  /// Each pass asks for what the next one reads: from nodes to lists of handles, to places in the store, to nodes.
  [[gnu::always_inline]] void prefetchTrees() const {
    forEachTree([](NodePtr const& tree) { prefetchAnimNode(tree); });
    forEachTree([](NodePtr const& tree) { prefetchChildren(tree); });
    forEachTree(
        [](NodePtr const& tree) { forEachChild(tree, [](NodePtr const& child) { prefetchPlace(child); }); });
    forEachTree([](NodePtr const& tree) {
      forEachChild(tree, [](NodePtr const& child) { prefetchAnimNode(child); });
    });
    forEachTree([](NodePtr const& tree) {
      forEachChild(tree, [](NodePtr const& child) {
        if (child.isAlive()) prefetchPlace(child->getCore());
        forEachChild(child, [](NodePtr const& below) { prefetchAnimNode(below); });
      });
    });
  }

  void findNodes(Scratch& scratch) const {
    scratch.found.clear();
    for (std::size_t i = _first; i < _last; ++i) {
      forEachActiveNode(_animated[i].tree, scratch.pending, [&](AnimNodePtr const& node) {
        prefetchCurve(*node);
        scratch.found.push_back({node, i});
      });
    }
  }

  void makeRecords(std::vector<Found> const& found) const {
    // Exactly: the rooms to spare of all chunks would add up to as much again.
    _chunk.records.reserve(_chunk.records.size() + found.size());
    std::size_t next = 0;
    for (std::size_t i = _first; i < _last; ++i) {
      AnimOwner const owner(_animated[i].owner);
      for (; next < found.size() && found[next].owner == i; ++next) take(found[next].node, owner, i);
      _chunk.ends.push_back(_chunk.records.size());
    }
  }

  void take(AnimNodePtr const& node, AnimOwner const& owner, std::size_t ownerPlace) const {
    auto const [curve, isCache] = findPart(*node, _choice.motionBlurOnly, _choice.keepEmpty);
    if (isCache) _chunk.caches.emplace_back(node, ownerPlace);
    if (!curve) return;
    bool const isFurther = _animated[ownerPlace].isFurther || node->isFurtherUserOfCore();
    if (_choice.computeValues && !isFurther) prefetchKeys(*curve);
    knCurveData& record = _chunk.records.emplace_back(node, curve);
    _chunk.isUncomputed.push_back(isFurther);
    record.time = _choice.time;
    if (!owner.isPlain()) return;
    FieldContainerPtr aim;
    std::vector<FieldContainerPtr> noParents;
    owner.findAim(*curve, aim, noParents);
    if (!aim) return;
    record.aims.insert(aim);
    record.prepared = {&WriteRule::find(*aim.findType(), curve->getName()), curve->getValueIndex(),
                       curve->getVertexIndex()};
  }

  void computeValues(std::size_t firstRecord) const {
    // Owners with very many curves would keep one worker busy and the others idle: theirs are left for all.
    bool const isLeft = _chunk.records.size() > MostComputed;
    SegmentBatch batch;
    for (std::size_t i = firstRecord; i < _chunk.records.size(); ++i) {
      if (isLeft) _chunk.isUncomputed[i] = 1;
      knCurveData& record = _chunk.records[i];
      if (_chunk.isUncomputed[i] != 0 || record.curve->isEmpty()) continue;
      CurveResult result{record.value, record.time, record.cycleValueOffset};
      SegmentKeys segment;
      bool const isOpen = findCurveValue(*record.node, *record.curve, result, segment);
      record.value = result.value;
      record.time = result.time;
      record.cycleValueOffset = result.cycleValueOffset;
      if (isOpen) batch.add(segment, result.time, result.value, 0.F, record.value);
    }
  }

  GatherChoice const& _choice;
  std::vector<AnimatedOwner> const& _animated;
  std::size_t const _first;
  std::size_t const _last;
  GatheredChunk& _chunk;
};

}  // namespace

bool isCache(osg::FieldContainerType const* core) {
  return core != nullptr && core->isDerivedFrom(osg::TimeShapeCacheBase::_type);
}

void gatherChunk(GatherChoice const& choice, std::vector<AnimatedOwner> const& animated, std::size_t first,
                 std::size_t last, GatheredChunk& chunk) {
  chunk.records.clear();
  chunk.ends.clear();
  chunk.isUncomputed.clear();
  chunk.caches.clear();
  for (std::size_t i = first; i < last; i += Batch::Size) {
    Batch(choice, animated, i, std::min(last, i + Batch::Size), chunk).run();
  }
}
