#include "evaluation/AnimOwner.h"
#include "evaluation/SceneMaterials.h"
#include "evaluation/TreeWalk.h"
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/scenedata/SceneRoots.h"
#include "model/sceneext/CameraTrack.h"
#include "model/sceneext/TimeShapeCache.h"
#include "model/scenegraph/NodeQueries.h"

#include <algorithm>
#include <array>
#include <unordered_set>

using osg::AnimNodePtr;
using osg::FieldContainerPtr;
using osg::NodePtr;

namespace {

AnimNodePtr animationRootOf(osg::AttachmentContainerPtr const& container) {
  osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(container);
  return attachment ? attachment->getAnimationRoot() : AnimNodePtr();
}

/// Calls `use(id)` for each core below and at `animNode` that the parent map has entries for.
template <class Use>
void forEachMappedCore(NodePtr const& animNode, Use use) {
  forEachNode(animNode, [&](NodePtr const& node) {
    osg::FieldContainerType const* const type = node->getCore().findType();
    if (type != nullptr && (type->isDerivedFrom(osg::AnimCurveBase::_type) ||
                            type->isDerivedFrom(osg::TimeShapeCacheBase::_type))) {
      use(node->getCore().getContainerId());
    }
    return true;
  });
}

bool contains(AnimNodePtr const& tree, osg::AnimObjectPtr const& object) {
  unsigned int count = 0;
  knAnimManager::the()->findAndCountR(tree, object, count);
  return count > 0;
}

}  // namespace

// --- Aims ---------------------------------------------------------------------------------------------------------

void knAnimEvaluator::computeAim(osg::AnimCurvePtr const& curve, FieldContainerPtr const& owner,
                                 FieldContainerPtr& aim, std::vector<FieldContainerPtr>& parents) {
  if (curve.isAlive()) AnimOwner(owner).findAim(*curve, aim, parents);
}

FieldContainerPtr knAnimEvaluator::getFirstAim(osg::AnimCurvePtr const& argument) {
  // A copy: it may stand in what the host drops when it is asked for materials.
  osg::AnimCurvePtr const curve = argument;
  if (curve.isAlive()) updateSceneAnimParentMap(sceneRoot());
  if (!curve.isAlive()) return {};
  auto const entry = _animParentMap.find(curve.getContainerId());
  if (entry == _animParentMap.end()) return findAimInScene(curve);
  FieldContainerPtr aim;
  std::vector<FieldContainerPtr> parents;
  auto const& owners = entry->second;
  auto const first = std::find_if(owners.begin(), owners.end(), [](auto& owner) { return owner.isAlive(); });
  if (first != owners.end()) computeAim(curve, *first, aim, parents);
  return aim;
}

/// For curves that the parent map does not know: the material side of the scene, then the materials.
FieldContainerPtr knAnimEvaluator::findAimInScene(osg::AnimCurvePtr const& curve) {
  NodePtr const root = materialRoot();
  FieldContainerPtr owner;
  forEachAnimatedNode(root, [&](NodePtr const& node) {
    if (!owner && contains(animationRootOf(node), curve)) owner = node;
    return !owner;
  });
  if (!owner) {
    for (osg::MaterialPtr const& material : findAllMaterials(root)) {
      if (!contains(animationRootOf(material), curve)) continue;
      owner = material;
      break;
    }
  }
  FieldContainerPtr aim;
  std::vector<FieldContainerPtr> parents;
  computeAim(curve, owner, aim, parents);
  return aim;
}

// --- The parent map -----------------------------------------------------------------------------------------------

void knAnimEvaluator::updateSceneAnimParentMap(NodePtr root) {
  if (osg::AnimNode::_changed) rebuildParentMap(root);
}

/// The flag goes down first: what a host that is asked for materials changes and evaluates meanwhile is looked at the
/// next time, and not again and again from within.
void knAnimEvaluator::rebuildParentMap(NodePtr const& root) {
  osg::AnimNode::_changed = false;
  ParentMap parentMap;
  createAnimParentMap(root, parentMap);
  _animParentMap.swap(parentMap);
  _parentMapRoot = root;
  ++_parentMapRebuilds;
  ++_parentMapEdits;
}

knContainerSet knAnimEvaluator::findOwnersOfFlights(osg::UberCameraPtr const& camera) const {
  std::array<NodePtr, 3> roots{_parentMapRoot};
  if (osg::MaterialPoolPtr const pool = knSceneData::getMaterialPool(); pool.isAlive()) {
    roots[1] = pool->getCameraRoot();
    roots[2] = pool->getSceneplateRoot();
  }
  auto const isReached = [&](NodePtr node) {
    for (; node.isAlive(); node = node->getParent()) {
      if (hasCore<osg::CameraTrack>(node) && animationRootOf(node)) return false;
      if (std::ranges::find(roots, node) != roots.end()) return true;
    }
    return false;
  };
  knContainerSet owners;
  for (NodePtr const& node : camera->getParents()) {
    if (isReached(node)) owners.insert(FieldContainerPtr(node));
  }
  return owners;
}

void knAnimEvaluator::createAnimParentMap(NodePtr const& root, ParentMap& parentMap) {
  std::vector<osg::MaterialPtr> materials;
  osg::MaterialPoolPtr const pool = knSceneData::getMaterialPool();
  auto const getMaterials = _getSceneMaterialsCB;
  if (!pool && getMaterials) getMaterials(materials);
  createAnimParentMapR(root, parentMap);
  if (pool.isAlive()) {
    createAnimParentMapR(pool->getCameraRoot(), parentMap);
    createAnimParentMapR(pool->getSceneplateRoot(), parentMap);
    pool->get(materials);
  }
  for (osg::MaterialPtr const& material : materials) {
    getAnimParentsR(animationRootOf(material), material, parentMap);
  }
}

void knAnimEvaluator::createAnimParentMapR(NodePtr const& root, ParentMap& parentMap) {
  forEachAnimatedNode(root, [&](NodePtr const& node) {
    osg::FieldContainerType const* const core = node->getCore().findType();
    bool const isTrack = core != nullptr && core->isDerivedFrom(osg::CameraTrackBase::_type);
    if (AnimNodePtr const animationRoot = animationRootOf(node)) {
      // The animations of a camera track move the camera that the track hangs below.
      getAnimParentsR(animationRoot, isTrack ? node->getParent() : node, parentMap);
      if (isTrack) return false;
    }
    if (auto const* const camera = osg::dcastTo<osg::UberCamera>(node->getCore())) {
      getAnimParentsR(camera->getAnimationRoot(), node, parentMap);
    }
    return true;
  });
}

void knAnimEvaluator::getAnimParentsR(NodePtr const& animNode, FieldContainerPtr const& parent,
                                      ParentMap& parentMap) {
  if (!parent.isAlive()) return;
  forEachMappedCore(animNode, [&](osg::UInt32 id) { parentMap[id].insert(parent); });
}

// --- Keeping the map up to date where the host knows what changed -------------------------------------------------

void knAnimEvaluator::updateAnimParentsByNode(AnimNodePtr const& animNode) {
  if (!animNode.isAlive()) return;
  updateParentMapByAnimNodeR(animNode);
  updateAnimParentsByNodeR(sceneRoot());
  for (osg::MaterialPtr const& material : findSceneMaterials()) {
    findAndUpdateAnimParentsR(animationRootOf(material), material);
  }
}

void knAnimEvaluator::updateParentMapByAnimNodeR(NodePtr const& animNode) {
  ++_parentMapEdits;
  forEachMappedCore(animNode, [&](osg::UInt32 id) { _animParentMap.try_emplace(id); });
}

void knAnimEvaluator::updateAnimParentsByNodeR(NodePtr const& root) {
  forEachAnimatedNode(root, [&](NodePtr const& node) {
    findAndUpdateAnimParentsR(animationRootOf(node), node);
    return true;
  });
}

void knAnimEvaluator::findAndUpdateAnimParentsR(NodePtr const& animNode, FieldContainerPtr const& parent) {
  ++_parentMapEdits;
  forEachMappedCore(animNode, [&](osg::UInt32 id) {
    auto const entry = _animParentMap.find(id);
    if (entry != _animParentMap.end()) entry->second.insert(parent);
  });
}

void knAnimEvaluator::addAnimParentsByNodeR(NodePtr const& animNode, FieldContainerPtr const& parent) {
  ++_parentMapEdits;
  getAnimParentsR(animNode, parent, _animParentMap);
}

void knAnimEvaluator::removeAnimParentsByNodeR(NodePtr const& animNode) {
  ++_parentMapEdits;
  forEachMappedCore(animNode, [&](osg::UInt32 id) { _animParentMap.erase(id); });
}

// --- Searches of the manager --------------------------------------------------------------------------------------

void knAnimManager::findAndCountR(AnimNodePtr const& tree, osg::AnimObjectPtr const& object,
                                  unsigned int& count) {
  if (!tree.isAlive() || !object.isAlive()) return;
  forEachNode(tree, [&](NodePtr const& node) {
    if (osg::dcastTo<osg::AnimNode>(node) == nullptr || !node->getCore().isAlive()) return false;
    if (node->getCore() == object) ++count;
    return true;
  });
}

void knAnimManager::computeAnimParents(AnimNodePtr const& animNode, std::set<FieldContainerPtr>& parents) {
  if (!animNode.isAlive()) return;
  // A tree contains the node exactly when its root is the node or stands above it.
  std::unordered_set<NodePtr> roots;
  for (NodePtr node = animNode; node.isAlive(); node = node->getParent()) roots.insert(node);
  auto const owns = [&](osg::AttachmentContainerPtr const& container) {
    AnimNodePtr const root = animationRootOf(container);
    return root && roots.contains(root);
  };
  NodePtr const sceneRoot = materialRoot();
  forEachAnimatedNode(sceneRoot, [&](NodePtr const& node) {
    if (owns(node)) parents.insert(node);
    return true;
  });
  for (osg::MaterialPtr const& material : findAllMaterials(sceneRoot)) {
    if (owns(material)) parents.insert(material);
  }
}
