#include "model/scenedata/knUberCameraPool.h"

#include "model/scenedata/SceneRoots.h"
#include "model/sceneext/CameraTrack.h"
#include "model/scenegraph/NodeQueries.h"
#include "model/scenegraph/Traverse.h"

#include <unordered_set>

namespace {

using osg::Action;
using osg::NodePtr;

void traverseScene(std::function<Action::ResultE(NodePtr const&)> const& visit) {
  osg::MaterialPoolPtr const pool = knSceneData::getMaterialPool();
  if (pool) osg::traverse(pool->getCameraRoot(), visit);
  osg::traverse(sceneRoot(), visit);
}

}  // namespace

std::vector<osg::UberCameraPtr> knUberCameraPool::getContentPtrs(bool includeInactive,
                                                                 bool includeViewpoints) {
  std::vector<osg::UberCameraPtr> cameras;
  std::unordered_set<osg::UberCameraPtr> seen;
  traverseScene([&](NodePtr const& node) {
    if (!includeInactive && !node->isActive()) return Action::Skip;
    if (!includeViewpoints && hasCore<osg::CameraTrack>(node)) return Action::Skip;
    osg::UberCameraPtr const camera = osg::dcast<osg::UberCameraPtr>(node->getCore());
    if (camera && seen.insert(camera).second) cameras.push_back(camera);
    return Action::Continue;
  });
  return cameras;
}

std::vector<NodePtr> knUberCameraPool::getCameraTrackNodes() {
  std::vector<NodePtr> nodes;
  std::unordered_set<NodePtr> seen;
  traverseScene([&](NodePtr const& node) {
    if (hasCore<osg::CameraTrack>(node) && seen.insert(node).second) {
      nodes.push_back(node);
    }
    return Action::Continue;
  });
  return nodes;
}

osg::UberCameraPtr knUberCameraUtils::findParentUberCamera(NodePtr const& node) {
  if (!node.isAlive()) return {};
  for (NodePtr above = node->getParent(); above.isAlive(); above = above->getParent()) {
    osg::UberCameraPtr const camera = osg::dcast<osg::UberCameraPtr>(above->getCore());
    if (camera) return camera;
  }
  return {};
}

std::string knUberCameraUtils::getName(osg::UberCameraPtr const& camera) {
  if (!camera.isAlive()) return {};
  for (NodePtr const& node : camera->getParents()) {
    char const* const name = osg::NodeUtils::getName(node);
    if (name != nullptr) return name;
  }
  return nameOf(camera);
}
