#include "editing/PasteRule.h"

#include "evaluation/SceneMaterials.h"
#include "knAnimManager.h"
#include "model/geometry/Geometry.h"
#include "model/scenedata/SceneRoots.h"
#include "model/sceneext/AnimClip.h"
#include "model/scenegraph/NodeQueries.h"

#include <algorithm>
#include <unordered_set>

using osg::AnimNodePtr;
using osg::FieldContainerPtr;
using osg::MaterialPtr;
using osg::NodePtr;

namespace {

bool takesTrees(NodePtr const& node) {
  return osg::hasCore<osg::AnimClip>(node) || node == knAnimManager::the()->clipStructureRoot();
}

/// What the animations of a node drive.
FieldContainerPtr animatedObjectOf(NodePtr const& node) {
  auto const* const geometry = osg::coreOf<osg::Geometry>(node);
  if (geometry != nullptr && geometry->getMaterial().isAlive()) return geometry->getMaterial();
  return node->getCore();
}

bool isBelow(NodePtr node, NodePtr const& root) {
  while (node.isAlive() && node != root) node = node->getParent();
  return node.isAlive();
}

/// The containers that hold a tree: those of every attachment whose root is the tree or stands above it.
struct Holders {
  std::vector<NodePtr> nodes;
  std::vector<MaterialPtr> materials;
};

Holders findHolders(AnimNodePtr const& tree) {
  Holders holders;
  NodePtr const root = materialRoot();
  for (NodePtr node = tree; node.isAlive(); node = node->getParent()) {
    auto const* const animNode = osg::dcastTo<osg::AnimNode>(node);
    if (animNode == nullptr) continue;
    for (osg::AttachmentPtr const& attachment : animNode->getRootedAttachments()) {
      for (osg::AttachmentContainerPtr const& container : attachment->getParents()) {
        if (knAnimManager::getAnimAttachment(container) != attachment) continue;
        if (MaterialPtr const material = osg::dcast<MaterialPtr>(container))
          holders.materials.push_back(material);
        NodePtr const holder = osg::dcast<NodePtr>(container);
        if (holder && isBelow(holder, root)) holders.nodes.push_back(holder);
      }
    }
  }
  return holders;
}

NodePtr firstInTreeOrder(std::vector<NodePtr> const& nodes) {
  if (nodes.size() < 2) return nodes.empty() ? NodePtr() : nodes.front();
  std::unordered_set<NodePtr> const wanted(nodes.begin(), nodes.end());
  NodePtr first;
  osg::traverse(materialRoot(), [&](NodePtr const& node) {
    if (!wanted.contains(node))
      return node->hasAnimationInSubtree() ? osg::Action::Continue : osg::Action::Skip;
    first = node;
    return osg::Action::Quit;
  });
  return first;
}

}  // namespace

bool isPasteValid(FieldContainerPtr const& source, osg::AttachmentContainerPtr const& target) {
  if (!source.isAlive() || !target.isAlive()) return false;
  NodePtr const sourceNode = osg::dcast<NodePtr>(source);
  NodePtr const targetNode = osg::dcast<NodePtr>(target);
  if (osg::dcast<AnimNodePtr>(source) && osg::dcast<AnimNodePtr>(target)) return takesTrees(targetNode);
  if (sourceNode && targetNode) {
    FieldContainerPtr const from = animatedObjectOf(sourceNode);
    FieldContainerPtr const to = animatedObjectOf(targetNode);
    return from.isAlive() && to.isAlive() && from->getType().getId() == to->getType().getId();
  }
  bool const areMaterials = osg::dcast<MaterialPtr>(source) && osg::dcast<MaterialPtr>(target);
  return areMaterials && source->getType().getGroupId() == target->getType().getGroupId();
}

std::string getContainerName(osg::AttachmentContainerPtr const& container) {
  if (!container.isAlive()) return "<noname>";
  char const* const name = osg::NodeUtils::getName(container);
  return name != nullptr ? name : container->getType().getName().str();
}

FieldContainerPtr findOwningContainer(AnimNodePtr const& tree) { return OwnerSearch().find(tree); }

FieldContainerPtr OwnerSearch::find(AnimNodePtr const& tree) {
  Holders const holders = findHolders(tree);
  if (NodePtr const node = firstInTreeOrder(holders.nodes)) return node;
  return findFirst(holders.materials);
}

MaterialPtr OwnerSearch::findFirst(std::vector<MaterialPtr> const& candidates) {
  if (candidates.empty()) return {};
  if (!_places) {
    _places.emplace();
    for (MaterialPtr const& material : findAllMaterials(materialRoot()))
      _places->emplace(material, _places->size());
  }
  MaterialPtr first;
  for (MaterialPtr const& candidate : candidates) {
    auto const place = _places->find(candidate);
    if (place == _places->end()) continue;
    if (!first || place->second < _places->at(first)) first = candidate;
  }
  return first;
}
