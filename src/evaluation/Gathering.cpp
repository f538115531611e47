#include "evaluation/AnimOwner.h"
#include "evaluation/CurveValue.h"
#include "evaluation/CycleTime.h"
#include "evaluation/GatheringBuffers.h"
#include "evaluation/SceneMaterials.h"
#include "evaluation/SceneWalk.h"
#include "evaluation/WriteRule.h"
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/scenedata/SceneRoots.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/sceneext/AnimSequence.h"
#include "model/sceneext/TimeShapeCache.h"
#include "model/sceneplate/Sceneplate.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <tbb/parallel_for.h>

using osg::AnimCurve;
using osg::AnimCurvePtr;
using osg::AnimNodePtr;
using osg::FieldContainerPtr;
using osg::NodePtr;

namespace {

/// How many owners one task looks through. Scenes with fewer are not worth the forking.
constexpr std::size_t ChunkSize = 32;

/// What a gathering takes in, and whether it computes the values on the way, while all that they need is at hand.
struct Choice {
  bool motionBlurOnly;
  bool keepEmpty;
  bool computeValues;
  float time;
};

bool isCache(osg::FieldContainerType const* core) {
  return core != nullptr && core->isDerivedFrom(osg::TimeShapeCacheBase::_type);
}

/// Calls `work(chunk, first, last)` for each run of owners, in parallel where that pays.
template <class Work>
void forEachChunk(std::size_t count, Work work) {
  std::size_t const chunks = (count + ChunkSize - 1) / ChunkSize;
  auto const doChunk = [&](std::size_t chunk) {
    work(chunk, chunk * ChunkSize, std::min(count, (chunk + 1) * ChunkSize));
  };
  if (chunks < 2) {
    for (std::size_t chunk = 0; chunk < chunks; ++chunk) doChunk(chunk);
  } else {
    tbb::parallel_for(std::size_t{0}, chunks, doChunk);
  }
}

/// Fills in what a run of owners brings along. Runs on workers: it reads the scene and writes its own chunk. The passes
/// follow one another so that each finds in the cache what the one before has asked for.
class ChunkWork {
 public:
  ChunkWork(Choice const& choice, GatheredChunk& chunk) : _choice(choice), _chunk(chunk) {
    _chunk.records.clear();
    _chunk.ends.clear();
    _chunk.caches.clear();
    _chunk.computed = choice.computeValues ? 0 : std::numeric_limits<std::size_t>::max();
  }

  void run(std::vector<AnimatedOwner> const& animated, std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; i += BatchSize)
      runBatch(animated, i, std::min(last, i + BatchSize));
  }

 private:
  /// As many owners as a core's first cache holds with all that belongs to them.
  static constexpr std::size_t BatchSize = 4;
  static constexpr std::size_t MostComputed = 2048;

  void runBatch(std::vector<AnimatedOwner> const& animated, std::size_t first, std::size_t last) {
    thread_local Scratch scratchOfThread;
    Scratch& scratch = scratchOfThread;
    // Each pass asks for what the next one reads: from nodes to lists of handles, to places in the store, to nodes.
    for (std::size_t i = first; i < last; ++i) prefetchAnimNode(animated[i].tree);
    for (std::size_t i = first; i < last; ++i) prefetchList(animated[i].tree);
    for (std::size_t i = first; i < last; ++i) forEachChild(animated[i].tree, prefetchPlace);
    for (std::size_t i = first; i < last; ++i) forEachChild(animated[i].tree, prefetchAnimNode);
    for (std::size_t i = first; i < last; ++i) {
      forEachChild(animated[i].tree, [](NodePtr const& child) {
        if (child.isAlive()) prefetchPlace(child->getCore());
        forEachChild(child, prefetchAnimNode);
      });
    }
    auto& found = scratch.found;
    found.clear();
    for (std::size_t i = first; i < last; ++i) {
      forEachActiveNode(animated[i].tree, scratch.pending, [&](AnimNodePtr const& node) {
        prefetchContainer(node->getCore(), 176, sizeof(AnimCurve));
        found.push_back({node, i});
      });
    }
    std::size_t const firstRecord = _chunk.records.size();
    // Exactly: the rooms to spare of all chunks would add up to as much again.
    _chunk.records.reserve(firstRecord + found.size());
    std::size_t next = 0;
    for (std::size_t i = first; i < last; ++i) {
      AnimOwner const owner(animated[i].owner);
      for (; next < found.size() && found[next].owner == i; ++next) take(found[next].node, owner, i);
      _chunk.ends.push_back(_chunk.records.size());
    }
    // Owners with very many curves would keep one worker busy and the others idle: theirs are left for all.
    if (!_choice.computeValues || _chunk.records.size() > MostComputed) return;
    for (std::size_t i = firstRecord; i < _chunk.records.size(); ++i) computeCurveValue(_chunk.records[i]);
    _chunk.computed = _chunk.records.size();
  }

  struct Found {
    AnimNodePtr node;
    std::size_t owner;
  };
  struct Scratch {
    std::vector<AnimNodePtr> pending;
    std::vector<Found> found;
  };

  static void prefetchAnimNode(NodePtr const& node) { prefetchContainer(node, 64, sizeof(osg::Node) + 96); }
  static void prefetchPlace(FieldContainerPtr const& handle) { __builtin_prefetch(handle.getStoreAddress()); }
  static void prefetchList(NodePtr const& node) {
    if (!node.isAlive()) return;
    auto const& children = std::as_const(*node).getChildren();
    for (std::size_t i = 0; i < children.size(); i += 64 / sizeof(NodePtr)) __builtin_prefetch(&children[i]);
  }
  template <class Visit>
  static void forEachChild(NodePtr const& node, Visit visit) {
    if (!node.isAlive()) return;
    for (NodePtr const& child : node->getChildren()) visit(child);
  }

  /// What the computation looks at first: both ends, and the segment that it used last.
  static void prefetchKeys(AnimCurve const& curve) {
    auto const& keys = curve.getControlPoints();
    if (keys.empty()) return;
    std::size_t const hint = std::min<std::size_t>(curve.getSegmentHint(), keys.size() - 1);
    __builtin_prefetch(&keys.front());
    __builtin_prefetch(&keys[hint]);
    __builtin_prefetch(reinterpret_cast<char const*>(&keys[hint]) + 64);
    __builtin_prefetch(&keys.back());
  }

  void take(AnimNodePtr const& node, AnimOwner const& owner, std::size_t ownerPlace) {
    if (_choice.motionBlurOnly && !node->getMotionBlur()) return;
    AnimCurvePtr const curve = osg::dcast<AnimCurvePtr>(node->getCore());
    if (!curve) {
      if (isCache(node->getCore().findType())) _chunk.caches.emplace_back(node, ownerPlace);
      return;
    }
    if (!_choice.keepEmpty && curve->isEmpty()) return;
    if (_choice.computeValues) prefetchKeys(*curve);
    knCurveData& record = _chunk.records.emplace_back(node, curve);
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

  Choice const& _choice;
  GatheredChunk& _chunk;
};

}  // namespace

// --- Scene walk ---------------------------------------------------------------------------------------------------

void knAnimNodeCollector::gatherAnimNodes(NodePtr const& node, Map& map) {
  std::vector<NodePtr> nodesPending;
  std::vector<AnimatedOwner> animated;
  findAnimatedNodes(node, nodesPending, animated);
  forEachChunk(animated.size(), [&](std::size_t, std::size_t first, std::size_t last) {
    std::vector<AnimNodePtr> pending;
    for (std::size_t i = first; i < last; ++i) {
      std::vector<AnimNodePtr> nodes;
      forEachActiveNode(animated[i].tree, pending, [&](AnimNodePtr const& one) { nodes.push_back(one); });
      if (!nodes.empty()) map[animated[i].owner.getContainerId()] = std::move(nodes);
    }
  });
}

void knAnimEvaluator::gatherAnimData(bool motionBlurOnly, bool keepEmpty, bool computeValues) {
  auto const gatherBelow = [&](NodePtr const& root) {
    _buffers->animated.clear();
    findAnimatedNodes(root, _buffers->pending, _buffers->animated);
    gatherOwners(motionBlurOnly, keepEmpty, computeValues);
  };
  gatherBelow(sceneRoot());
  gatherBelow(knSceneDataManager::getSceneplateRoot(0));
  findAnimatedMaterials();
  gatherOwners(motionBlurOnly, keepEmpty, computeValues);
}

void knAnimEvaluator::gatherAnimDataR(NodePtr const& root, bool motionBlurOnly, bool keepEmpty) {
  _buffers->animated.clear();
  findAnimatedNodes(root, _buffers->pending, _buffers->animated);
  gatherOwners(motionBlurOnly, keepEmpty, false);
}

void knAnimEvaluator::gatherMaterialAnimData(bool motionBlurOnly, bool keepEmpty) {
  findAnimatedMaterials();
  gatherOwners(motionBlurOnly, keepEmpty, false);
}

void knAnimEvaluator::findAnimatedMaterials() {
  _buffers->animated.clear();
  for (osg::MaterialPtr const& material : findSceneMaterials()) {
    osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(material);
    if (attachment) _buffers->animated.push_back({material, attachment->getAnimationRoot()});
  }
}

/// Workers look through the owners' trees; then what they found is merged in order, on this thread. So are the aims of
/// owners that answer by operations of their own.
void knAnimEvaluator::gatherOwners(bool motionBlurOnly, bool keepEmpty, bool computeValues) {
  auto const& animated = _buffers->animated;
  auto& chunks = _buffers->chunks;
  Choice const choice{motionBlurOnly, keepEmpty, computeValues, _time};
  if (chunks.size() * ChunkSize < animated.size()) chunks.resize(animated.size() / ChunkSize + 1);
  forEachChunk(animated.size(), [&](std::size_t chunk, std::size_t first, std::size_t last) {
    ChunkWork(choice, chunks[chunk]).run(animated, first, last);
  });
  std::size_t const chunkCount = (animated.size() + ChunkSize - 1) / ChunkSize;
  std::size_t recordCount = _curveData.size();
  for (std::size_t chunk = 0; chunk < chunkCount; ++chunk) recordCount += chunks[chunk].records.size();
  _curveData.reserve(recordCount);
  for (std::size_t chunk = 0; chunk < chunkCount; ++chunk) mergeChunk(chunks[chunk], chunk * ChunkSize);
}

void knAnimEvaluator::mergeChunk(GatheredChunk& chunk, std::size_t firstOwner) {
  auto const& animated = _buffers->animated;
  std::vector<FieldContainerPtr>& parents = _buffers->parents;
  std::size_t place = 0;
  for (std::size_t i = 0; i < chunk.ends.size(); ++i) {
    std::optional<AnimOwner> owner;
    for (; place < chunk.ends[i]; ++place) {
      knCurveData& record = chunk.records[place];
      if (record.aims.empty()) {
        if (!owner) owner.emplace(animated[firstOwner + i].owner);
        FieldContainerPtr aim;
        parents.clear();
        owner->findAim(*record.curve, aim, parents);
        if (aim.isAlive()) record.aims.insert(aim);
        record.parents.insert(parents.begin(), parents.end());
      }
      std::size_t const newPlace = _curveData.size();
      addRecord(std::move(record));
      if (place >= chunk.computed && _curveData.size() > newPlace) _buffers->uncomputed.push_back(newPlace);
    }
  }
  for (auto const& [node, owner] : chunk.caches) addCache(node, animated[owner].owner);
}

void knAnimEvaluator::getAnimDataR(AnimNodePtr const& tree, FieldContainerPtr const& container,
                                   bool motionBlurOnly, bool keepEmpty) {
  if (!container.isAlive()) return;
  std::vector<AnimNodePtr> pending;
  forEachActiveNode(tree, pending, [&](AnimNodePtr const& node) {
    getAnimDataFromNode(node, container, motionBlurOnly, keepEmpty);
  });
}

void knAnimEvaluator::getAnimDataFromNode(AnimNodePtr const& node, FieldContainerPtr const& container,
                                          bool motionBlurOnly, bool keepEmpty) {
  if (!node.isAlive() || (motionBlurOnly && !node->getMotionBlur())) return;
  if (AnimCurvePtr const curve = osg::dcast<AnimCurvePtr>(node->getCore())) {
    if (!keepEmpty && curve->isEmpty()) return;
    FieldContainerPtr aim;
    std::vector<FieldContainerPtr> parents;
    computeAim(curve, container, aim, parents);
    addCurve(node, curve, _time, aim, parents);
  } else if (isCache(node->getCore().findType())) {
    addCache(node, container);
  }
}

void knAnimEvaluator::addCurve(AnimNodePtr const& node, AnimCurvePtr const& curve, float time,
                               FieldContainerPtr const& aim, std::vector<FieldContainerPtr> const& parents) {
  if (!aim.isAlive()) return;
  knCurveData record(node, curve);
  record.time = time;
  record.aims.insert(aim);
  record.parents.insert(parents.begin(), parents.end());
  addRecord(std::move(record));
}

/// One record per curve: what a further owner of the curve aims at joins the record of the first.
void knAnimEvaluator::addRecord(knCurveData&& record) {
  if (record.aims.empty()) return;
  if (_blockSceneplateEvaluation && osg::dcastTo<osg::Sceneplate>(*record.aims.begin()) != nullptr) return;
  auto const [place, isNew] = _curveMap.insert(record.curveId, static_cast<osg::UInt32>(_curveData.size()));
  if (isNew) {
    _curveData.push_back(std::move(record));
    return;
  }
  _curveData[place].aims.insert(record.aims.begin(), record.aims.end());
  _curveData[place].parents.insert(record.parents.begin(), record.parents.end());
}

void knAnimEvaluator::addCache(AnimNodePtr const& node, FieldContainerPtr const& owner) {
  auto const* const ownerNode = osg::dcastTo<osg::Node>(owner);
  if (ownerNode == nullptr) return;
  osg::GeometryPtr const geometry = osg::dcast<osg::GeometryPtr>(ownerNode->getCore());
  if (geometry) _timeShapeCaches[node].insert(geometry);
}

// --- Object walk --------------------------------------------------------------------------------------------------

void knAnimEvaluator::getFullAnimDataR(AnimNodePtr const& tree, float treeTime,
                                       std::set<AnimNodePtr>& sequences, bool motionBlurOnly) {
  struct Pending {
    AnimNodePtr node;
    float time;
  };
  std::vector<Pending> pending{{tree, treeTime}};
  while (!pending.empty()) {
    auto [node, time] = pending.back();
    pending.pop_back();
    if (!node.isAlive() || !node->isActive()) continue;
    // A node that takes no part in motion blur still leads to children that do.
    if (!motionBlurOnly || node->getMotionBlur()) {
      time = wrapByCycles(*node, time);
      addToTree(node, time, sequences);
    }
    auto const& children = node->getChildren();
    for (std::size_t i = children.size(); i-- > 0;) {
      pending.push_back({osg::dcast<AnimNodePtr>(children[i]), time});
    }
  }
}

void knAnimEvaluator::addToTree(AnimNodePtr const& node, float time, std::set<AnimNodePtr>& sequences) {
  osg::FieldContainerType const* const core = node->getCore().findType();
  if (core == nullptr) return;
  if (core->isDerivedFrom(osg::AnimCurveBase::_type)) {
    AnimCurvePtr const curve = osg::dcast<AnimCurvePtr>(node->getCore());
    if (!curve->isEmpty()) addCurveOfTree(node, curve, time);
  } else if (core->isDerivedFrom(osg::AnimSequenceBase::_type)) {
    sequences.insert(node);
  } else if (isCache(core)) {
    auto const entry = _animParentMap.find(node->getCore().getContainerId());
    if (entry == _animParentMap.end()) return;
    for (FieldContainerPtr const& owner : entry->second) addCache(node, owner);
  }
}

/// A curve can stand in a tree several times, each with its own time: each time gives a record. All share the aims
/// that were found for the first.
void knAnimEvaluator::addCurveOfTree(AnimNodePtr const& node, AnimCurvePtr const& curve, float time) {
  auto const entry = _animParentMap.find(curve->getContainerId());
  if (entry == _animParentMap.end()) return;
  if (osg::UInt32 const* const place = _curveMap.find(curve->getContainerId())) {
    knCurveData record(node, curve);
    record.time = time;
    record.aims = _curveData[*place].aims;
    record.parents = _curveData[*place].parents;
    _curveData.push_back(std::move(record));
    return;
  }
  std::vector<FieldContainerPtr>& parents = _buffers->parents;
  for (FieldContainerPtr const& owner : entry->second) {
    FieldContainerPtr aim;
    parents.clear();
    computeAim(curve, owner, aim, parents);
    addCurve(node, curve, time, aim, parents);
  }
}
