#include "evaluation/SceneMaterials.h"
#include "evaluation/TreeWalk.h"
#include "knAnimManager.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/geometry/Geometry.h"
#include "model/scenedata/SceneRoots.h"
#include "model/sceneext/AnimSequence.h"
#include "model/sceneext/TimeShapeCache.h"
#include "model/sceneext/VertexAnimCurves.h"
#include "model/scenegraph/NodeQueries.h"

#include <tbb/concurrent_unordered_set.h>
#include <tbb/parallel_for_each.h>
#include <tbb/scalable_allocator.h>

#include <new>

using osg::AnimCurvePtr;
using osg::AnimNodePtr;
using osg::NodePtr;

bool knAnimManager::_ignoreEmptyCurves = false;
bool knAnimManager::_ignoreInactiveCurves = false;
bool knAnimManager::_ignoreVertexAnimCurves = false;
bool knAnimManager::_motionBlurCurves = false;
std::vector<knCurveData> knAnimManager::_animData;
std::vector<knCurveData> knAnimManager::_sceneAnimCurveData;
std::vector<knAnimNodeData> knAnimManager::_nodesWithAnimation;
knDynBlockArray<AnimCurvePtr> knAnimManager::_animCurves(128);
knDynBlockArray<AnimNodePtr> knAnimManager::_animCurveNodes(128);
knDynBlockArray<AnimNodePtr> knAnimManager::_animSequenceNodes(128);
knDynBlockArray<AnimNodePtr> knAnimManager::_animRoots(128);

namespace {

using IdSet = tbb::concurrent_unordered_set<unsigned int>;

template <class Handle>
void appendTo(std::vector<Handle>& out, knDynBlockArray<Handle> const& found) {
  out.reserve(out.size() + found.size());
  for (std::uint64_t i = 0; i < found.size(); ++i) out.push_back(found[i]);
}

bool isCollected(osg::AnimCurve const& curve) {
  if (knAnimManager::_ignoreInactiveCurves && !curve.getActive()) return false;
  return !(knAnimManager::_ignoreEmptyCurves && curve.isEmpty());
}

void collect(AnimNodePtr const& node, AnimCurvePtr const& curve) {
  if (!curve.isAlive() || !isCollected(*curve)) return;
  knAnimManager::_animCurveNodes.push_back(node);
  knAnimManager::_animCurves.push_back(curve);
  knAnimManager::_animData.emplace_back(node, curve);
}

template <class Use>
void forEachVertexCurve(osg::VertexAnimCurves const& core, Use use) {
  for (AnimCurvePtr const& curve : core.getPositionCurves()) use(curve);
  for (AnimCurvePtr const& curve : core.getNormalCurves()) use(curve);
}

}  // namespace

// --- Collecting the curves of a tree ------------------------------------------------------------------------------

osg::Action::ResultE knAnimManager::collectAnimData(NodePtr const& node) {
  if (!node.isAlive() || !node->getCore().isAlive()) return osg::Action::Continue;
  if (_ignoreInactiveCurves && !node->isActive()) return osg::Action::Skip;
  AnimNodePtr const animNode = osg::dcast<AnimNodePtr>(node);
  if (_motionBlurCurves && animNode && !animNode->getMotionBlur()) return osg::Action::Skip;
  osg::NodeCorePtr const core = node->getCore();
  if (AnimCurvePtr const curve = osg::dcast<AnimCurvePtr>(core)) {
    collect(animNode, curve);
  } else if (osg::dcastTo<osg::AnimSequence>(core) != nullptr) {
    _animSequenceNodes.push_back(animNode);
  } else if (auto const* const vertexCurves = osg::dcastTo<osg::VertexAnimCurves>(core)) {
    if (_ignoreVertexAnimCurves) return osg::Action::Continue;
    forEachVertexCurve(*vertexCurves, [&](AnimCurvePtr const& one) { collect(animNode, one); });
  }
  return osg::Action::Continue;
}

void knAnimManager::getAnimCurveData(AnimNodePtr const& root, std::vector<knCurveData>& data,
                                     std::vector<AnimNodePtr>& sequenceNodes, bool ignoreEmpty,
                                     bool ignoreInactive, bool ignoreVertex, bool motionBlur) {
  if (!root.isAlive()) return;
  _animData.clear();
  _animSequenceNodes.clear();
  _animCurves.clear();
  _ignoreEmptyCurves = ignoreEmpty;
  _ignoreInactiveCurves = ignoreInactive;
  _ignoreVertexAnimCurves = ignoreVertex;
  _motionBlurCurves = motionBlur;
  osg::traverse(root, collectAnimData);
  data.insert(data.end(), _animData.begin(), _animData.end());
  appendTo(sequenceNodes, _animSequenceNodes);
}

void knAnimManager::getAnimCurves(AnimNodePtr const& root, std::vector<AnimCurvePtr>& curves,
                                  bool ignoreEmpty, bool ignoreInactive, bool ignoreVertex) {
  if (!root.isAlive()) return;
  _animData.clear();
  _animSequenceNodes.clear();
  _animCurves.clear();
  _ignoreEmptyCurves = ignoreEmpty;
  _ignoreInactiveCurves = ignoreInactive;
  _ignoreVertexAnimCurves = ignoreVertex;
  osg::traverse(root, collectAnimData);
  curves.clear();
  appendTo(curves, _animCurves);
}

void knAnimManager::getAnimCurveNodes(AnimNodePtr const& root, std::vector<AnimNodePtr>& nodes,
                                      bool ignoreEmpty, bool ignoreInactive, bool ignoreVertex) {
  if (!root.isAlive()) return;
  _animCurveNodes.clear();
  _ignoreEmptyCurves = ignoreEmpty;
  _ignoreInactiveCurves = ignoreInactive;
  _ignoreVertexAnimCurves = ignoreVertex;
  osg::traverse(root, collectAnimData);
  nodes.clear();
  appendTo(nodes, _animCurveNodes);
}

void knAnimManager::getCurveEditorData(std::vector<knCurveData>& data) {
  if (_getCEDataCB != nullptr) _getCEDataCB(data);
}

// --- Collecting the roots of a scene ------------------------------------------------------------------------------

namespace {

/// A scene node that is still to be looked at, and where to put what is found.
struct knAnimDataCollectionNode {
  NodePtr node;
  IdSet* roots;
  IdSet* animRoots;
  IdSet* cacheRoots;
};

knAnimDataCollectionNode* makeItem(knAnimDataCollectionNode const& value) {
  void* const memory = scalable_malloc(sizeof(knAnimDataCollectionNode));
  return memory != nullptr ? new (memory) knAnimDataCollectionNode(value) : nullptr;
}

void noteRoot(knAnimDataCollectionNode const& item) {
  osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(item.node);
  if (!attachment || !attachment->getAnimationRoot().isAlive()) return;
  unsigned int const id = attachment->getAnimationRoot().getContainerId();
  item.roots->insert(id);
  item.animRoots->insert(id);
  if (hasCore<osg::TimeShapeCache>(item.node)) item.cacheRoots->insert(id);
}

/// One path downwards; where it forks, the feeder gets the other branches. Subtrees without animation are passed over.
struct knCollectionBodySkipComponents {
  void operator()(knAnimDataCollectionNode* item, tbb::feeder<knAnimDataCollectionNode*>& feeder) const {
    while (true) {
      noteRoot(*item);
      auto const* const geometry = osg::dcastTo<osg::Geometry>(item->node->getCore());
      auto const children = item->node->getAnimatedChildren();
      if (children.empty() || (geometry != nullptr && geometry->isComponent())) break;
      for (NodePtr const& child : children.subspan(1)) {
        knAnimDataCollectionNode next = *item;
        next.node = child;
        if (auto* const fork = makeItem(next)) feeder.add(fork);
      }
      item->node = children[0];
    }
    scalable_free(item);
  }
};

}  // namespace

void knAnimManager::collectRoots(NodePtr const& root, std::set<unsigned int>& visited,
                                 knDynBlockArray<AnimNodePtr>& roots,
                                 knDynBlockArray<AnimNodePtr>& timeShapeCacheRoots) {
  if (!root.isAlive()) return;
  IdSet all;
  IdSet animRoots;
  IdSet cacheRoots;
  knAnimDataCollectionNode* first = makeItem({root, &all, &animRoots, &cacheRoots});
  if (first == nullptr) return;
  tbb::parallel_for_each(&first, &first + 1, knCollectionBodySkipComponents());
  auto const& factory = osg::FieldContainerFactory::the();
  visited.insert(all.begin(), all.end());
  for (unsigned int const id : animRoots) roots.push_back(osg::dcast<AnimNodePtr>(factory.getContainer(id)));
  for (unsigned int const id : cacheRoots) {
    timeShapeCacheRoots.push_back(osg::dcast<AnimNodePtr>(factory.getContainer(id)));
  }
}

void knAnimManager::updateSceneAnimCurveData() {
  _curveEditorData.clear();
  _animRoots.clear();
  _timeShapeCacheRoots.clear();
  std::set<unsigned int> visited;
  collectRoots(sceneRoot(), visited, _animRoots, _timeShapeCacheRoots);
  collectRoots(knSceneDataManager::getSceneplateRoot(0), visited, _animRoots, _timeShapeCacheRoots);
  for (osg::MaterialPtr const& material : findAllMaterials(materialRoot())) {
    osg::AnimAttachmentPtr const attachment = getAnimAttachment(material);
    if (!attachment || !attachment->getAnimationRoot().isAlive()) continue;
    AnimNodePtr const root = attachment->getAnimationRoot();
    if (visited.insert(root.getContainerId()).second) _animRoots.push_back(root);
  }
}

void knAnimManager::updatePtrs(std::vector<knCurveData>& data, bool setTime, float time) {
  auto const& factory = osg::FieldContainerFactory::the();
  for (knCurveData& record : data) {
    record.node = osg::dcast<AnimNodePtr>(factory.getContainer(record.nodeId));
    record.curve = osg::dcast<AnimCurvePtr>(factory.getContainer(record.curveId));
    if (setTime) record.time = time;
  }
}

void knAnimManager::gatherShapeCachesR(NodePtr const& root, knDynBlockArray<AnimNodePtr>& caches,
                                       std::set<unsigned int>& visited) {
  forEachNode(root, [&](NodePtr const& node) {
    if (!hasCore<osg::TimeShapeCache>(node)) return true;
    if (visited.insert(node.getContainerId()).second) caches.push_back(osg::dcast<AnimNodePtr>(node));
    return true;
  });
}
