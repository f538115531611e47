#include "diagnosis/Holding.h"

#include "diagnosis/Refusal.h"
#include "evaluation/SceneMaterials.h"
#include "model/scenedata/SceneRoots.h"
#include "model/sceneext/AnimAttachment.h"
#include "model/scenegraph/NodeQueries.h"

#include <utility>

using osg::AnimNodePtr;
using osg::FieldContainerPtr;
using osg::MaterialPtr;
using osg::NodePtr;

namespace {

/// A root of the scene answers for all that is below it.
std::optional<bool> askForScene(NodePtr const& node) {
  bool const isRoot =
      node == sceneRoot() || node == materialRoot() || node == knSceneDataManager::getSceneplateRoot(0);
  return isRoot ? std::optional(true) : std::nullopt;
}

}  // namespace

bool SceneMembership::holds(FieldContainerPtr const& holder) {
  if (NodePtr const node = osg::dcast<NodePtr>(holder)) return _nodes.find(node, askForScene);
  if (MaterialPtr const material = osg::dcast<MaterialPtr>(holder)) return holdsMaterial(material);
  return osg::dcastTo<osg::NodeCore>(holder) == nullptr;
}

bool SceneMembership::holdsMaterial(MaterialPtr const& material) {
  if (!_materials) {
    _materials.emplace();
    for (MaterialPtr const& one : findSceneMaterials()) _materials->insert(one);
    for (MaterialPtr const& one : findAllMaterials(sceneRoot())) _materials->insert(one);
  }
  return _materials->contains(material);
}

std::vector<FieldContainerPtr> findHolders(AnimNodePtr const& tree) {
  if (!tree.isAlive()) return {};
  NodePtr top = tree;
  while (top->getParent().isAlive()) top = top->getParent();
  auto const* const root = osg::dcastTo<osg::AnimNode>(top);
  if (root == nullptr) return {};
  std::vector<FieldContainerPtr> holders;
  for (osg::AttachmentPtr const& attachment : root->getRootedAttachments()) {
    if (!attachment.isAlive()) continue;
    for (FieldContainerPtr const& holder : std::as_const(*attachment).getParents()) {
      if (holder.isAlive()) holders.push_back(holder);
    }
  }
  return holders;
}

FieldContainerPtr findOutside(AnimNodePtr const& tree, SceneMembership& scene) {
  FieldContainerPtr outside;
  for (FieldContainerPtr const& holder : findHolders(tree)) {
    if (scene.holds(holder)) return {};
    outside = holder;
  }
  return outside;
}

std::string describeOutside(FieldContainerPtr const& holder) {
  std::string const title = titleOf(holder);
  if (osg::dcastTo<osg::Material>(holder) != nullptr)
    return title + ", which is not in the scene's material pool";
  if (osg::dcastTo<osg::NodeCore>(holder) != nullptr)
    return title + ", which is a core: add it to the node that has this core";
  return title + ", which no scene holds";
}

std::string describeNotHeld(AnimNodePtr const& tree, SceneMembership& scene) {
  if (FieldContainerPtr const outside = findOutside(tree, scene); outside.isAlive())
    return "it hangs on " + describeOutside(outside);
  NodePtr above = tree.isAlive() ? tree->getParent() : NodePtr();
  while (above.isAlive() && osg::dcastTo<osg::AnimNode>(above) != nullptr) above = above->getParent();
  if (above.isAlive())
    return "it is a child of " + titleOf(FieldContainerPtr(above)) +
           ", which makes it no animation of that node: use knAnimManager::addAnimation";
  return "it hangs on nothing that the scene holds";
}
