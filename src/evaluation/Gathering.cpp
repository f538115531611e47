// Which curves of a scene take part in its evaluation, and what they write to.
#include "diagnosis/MotionWarnings.h"
#include "evaluation/AnimOwner.h"
#include "evaluation/GatheringBuffers.h"
#include "evaluation/SceneMaterials.h"
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/scenedata/SceneRoots.h"
#include "model/sceneplate/Sceneplate.h"

#include <optional>

using osg::AnimCurvePtr;
using osg::AnimNodePtr;
using osg::FieldContainerPtr;
using osg::NodePtr;

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
  // First of all: the host may edit anything here, even evaluate.
  float const time = _time;
  std::vector<osg::MaterialPtr> const materials = findSceneMaterials();
  _time = time;
  emptyRecords();
  gatherSections(materials, 0, motionBlurOnly, keepEmpty, computeValues);
}

/// The scene, its sceneplates, its materials, from one of these on.
void knAnimEvaluator::gatherSections(std::vector<osg::MaterialPtr> const& materials, std::size_t first,
                                     bool motionBlurOnly, bool keepEmpty, bool computeValues) {
  auto const gatherBelow = [&](NodePtr const& root) {
    _buffers->animated.clear();
    findAnimatedNodes(root, _buffers->pending, _buffers->animated);
    gatherOwners(motionBlurOnly, keepEmpty, computeValues);
  };
  if (first <= 0) gatherBelow(sceneRoot());
  if (first <= 1) gatherBelow(knSceneDataManager::getSceneplateRoot(0));
  if (first > 2) return;
  findAnimatedMaterials(materials);
  gatherOwners(motionBlurOnly, keepEmpty, computeValues);
}

void knAnimEvaluator::gatherAnimDataR(NodePtr const& root, bool motionBlurOnly, bool keepEmpty) {
  _buffers->animated.clear();
  findAnimatedNodes(root, _buffers->pending, _buffers->animated);
  gatherOwners(motionBlurOnly, keepEmpty, false);
}

void knAnimEvaluator::gatherMaterialAnimData(bool motionBlurOnly, bool keepEmpty) {
  findAnimatedMaterials(findSceneMaterials());
  gatherOwners(motionBlurOnly, keepEmpty, false);
}

void knAnimEvaluator::findAnimatedMaterials(std::vector<osg::MaterialPtr> const& materials) {
  _buffers->animated.clear();
  for (osg::MaterialPtr const& material : materials) {
    osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(material);
    if (attachment) _buffers->animated.push_back(makeAnimatedOwner(material, attachment));
  }
}

/// Workers look through the owners' trees; then what they found is merged in order, on this thread. So are the aims of
/// owners that answer by operations of their own.
void knAnimEvaluator::gatherOwners(bool motionBlurOnly, bool keepEmpty, bool computeValues) {
  auto const& animated = _buffers->animated;
  auto& chunks = _buffers->chunks;
  GatherChoice const choice{motionBlurOnly, keepEmpty, computeValues, _time};
  if (chunks.size() * GatheredChunk::Size < animated.size())
    chunks.resize(animated.size() / GatheredChunk::Size + 1);
  forEachChunk(animated.size(), [&](std::size_t chunk, std::size_t first, std::size_t last) {
    gatherChunk(choice, animated, first, last, chunks[chunk]);
  });
  std::size_t const chunkCount = (animated.size() + GatheredChunk::Size - 1) / GatheredChunk::Size;
  std::size_t recordCount = _curveData.size();
  for (std::size_t chunk = 0; chunk < chunkCount; ++chunk) recordCount += chunks[chunk].records.size();
  _curveData.reserve(recordCount);
  _isAsking = true;
  for (std::size_t chunk = 0; chunk < chunkCount; ++chunk)
    mergeChunk(chunks[chunk], chunk * GatheredChunk::Size);
  _isAsking = false;
  _buffers->shared.moveTo(_curveData);
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
        // Who was asked before may have destroyed it.
        if (!record.curve.isAlive()) continue;
        if (!owner) owner.emplace(animated[firstOwner + i].owner);
        FieldContainerPtr aim;
        parents.clear();
        owner->findAim(*record.curve, aim, parents);
        if (aim.isAlive()) {
          record.aims.insert(aim);
        } else {
          MotionWarnings::noteNoAim(record.curve, animated[firstOwner + i].owner);
        }
        record.parents.insert(parents.begin(), parents.end());
      }
      std::size_t const newPlace = _curveData.size();
      addRecord(std::move(record));
      if (chunk.isUncomputed[place] != 0 && _curveData.size() > newPlace)
        _buffers->uncomputed.push_back(newPlace);
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
  if (!node.isAlive()) return;
  TreePart const part = findPart(*node, motionBlurOnly, keepEmpty);
  if (part.isCache) addCache(node, container);
  if (!part.curve) return;
  FieldContainerPtr aim;
  std::vector<FieldContainerPtr> parents;
  computeAim(part.curve, container, aim, parents);
  addCurve(node, part.curve, _time, aim, parents);
}

void knAnimEvaluator::addCurve(AnimNodePtr const& node, AnimCurvePtr const& curve, float time,
                               FieldContainerPtr const& aim, std::vector<FieldContainerPtr> const& parents) {
  if (!aim.isAlive()) return;
  knCurveData record(node, curve);
  record.time = time;
  record.aims.insert(aim);
  record.parents.insert(parents.begin(), parents.end());
  addRecord(std::move(record));
  _buffers->shared.moveTo(_curveData);
}

bool knAnimEvaluator::isBlocked(FieldContainerPtr const& aim) const {
  return _blockSceneplateEvaluation && osg::dcastTo<osg::Sceneplate>(aim) != nullptr;
}

/// One record per curve: what a further owner of the curve aims at joins the record of the first.
void knAnimEvaluator::addRecord(knCurveData&& record) {
  if (record.aims.empty() || isBlocked(*record.aims.begin())) return;
  auto const [place, isNew] = _curveMap.insert(record.curveId, static_cast<osg::UInt32>(_curveData.size()));
  if (isNew) {
    _curveData.push_back(std::move(record));
    return;
  }
  _buffers->shared.add(place, record.aims, record.parents);
}

void knAnimEvaluator::addCache(AnimNodePtr const& node, FieldContainerPtr const& owner) {
  auto const* const ownerNode = osg::dcastTo<osg::Node>(owner);
  if (ownerNode == nullptr) return;
  osg::GeometryPtr const geometry = osg::dcast<osg::GeometryPtr>(ownerNode->getCore());
  if (geometry) _timeShapeCaches[node].insert(geometry);
}
