// Scenes of older releases: animations that hang elsewhere, and clips that hold what the scene has lost.
#include "evaluation/SceneMaterials.h"
#include "evaluation/TreeWalk.h"
#include "knAnimManager.h"
#include "model/geometry/Geometry.h"
#include "model/scenedata/SceneRoots.h"
#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimClip.h"
#include "model/sceneext/TimeShapeCache.h"
#include "model/scenegraph/NodeQueries.h"

#include <unordered_set>
#include <utility>

using osg::Action;
using osg::AnimAttachmentPtr;
using osg::AnimNodePtr;
using osg::AttachmentContainerPtr;
using osg::NodePtr;

namespace {

using IdSet = std::set<unsigned int>;

/// Moves every second child, the first one among them. The place is counted on although the list has become shorter by
/// the child that went; the other half stays, and a second migration moves half of it. Files that were migrated so
/// exist, and hosts migrate until nothing moves any more.
void moveEverySecondChild(NodePtr const from, NodePtr const to) {
  for (osg::UInt32 i = 0; from.isAlive() && to.isAlive() && i < from->getNChildren(); ++i) {
    to->addChild(from->getChild(i));
    announce(to, osg::Node::ChildrenFieldMask);
  }
}

/// Takes the attachment over to the node, or what is in it, when the node has one of its own.
void migrate(AttachmentContainerPtr const& holder, NodePtr const& node) {
  AnimAttachmentPtr const old = knAnimManager::getAnimAttachment(holder);
  if (!old || !node.isAlive()) return;
  AnimAttachmentPtr const own = knAnimManager::getAnimAttachment(node);
  if (!own) {
    // First the one, then the other: the attachment would die between the two.
    node->addAttachment(old, 0);
    announce(node, osg::AttachmentContainer::AttachmentsFieldMask);
    if (!holder.isAlive()) return;
    holder->subAttachment(old, 0);
    announce(holder, osg::AttachmentContainer::AttachmentsFieldMask);
    return;
  }
  if (own->getAnimationRoot() == old->getAnimationRoot()) return;
  moveEverySecondChild(old->getAnimationRoot(), own->getAnimationRoot());
}

bool isBlockOrCache(NodePtr const& node) {
  return hasCore<osg::AnimBlock>(node) || hasCore<osg::TimeShapeCache>(node);
}

/// Cleans a tree of what the scene does not hold, from the leaves up, without recursion.
class ClipCleaner {
 public:
  ClipCleaner(IdSet ids, NodePtr const& keptRoot) : _ids(std::move(ids)), _keptRoot(keptRoot) {}

  bool clean(NodePtr const root) {
    enter(root);
    while (!_open.empty()) {
      Level& level = _open.back();
      if (level.node.isAlive() && level.next < level.children.size()) {
        NodePtr const child = level.children[level.next++];
        if (child.isAlive() && child->getParent() == level.node) enter(child);
        continue;
      }
      Level const done = std::move(_open.back());
      _open.pop_back();
      leave(done);
    }
    return _isRemoved;
  }

 private:
  struct Level {
    NodePtr node;
    std::vector<NodePtr> children;
    std::vector<NodePtr> lost;
    std::size_t next = 0;
  };

  void enter(NodePtr const& node) {
    if (!node.isAlive() || !node->getCore().isAlive()) return;
    if (isBlockOrCache(node) && !_ids.contains(node->getCore().getContainerId()) &&
        node->getParent().isAlive()) {
      lose(node);
      return;
    }
    auto const& children = node->getChildren();
    _open.push_back({node, {children.begin(), children.end()}, {}, 0});
  }

  void leave(Level const& level) {
    NodePtr const& node = level.node;
    removeChildren(node, level.lost);
    if (!node.isAlive() || !node->getCore().isAlive() || node->getNChildren() > 0) return;
    if (!hasCore<osg::AnimClip>(node) && !hasCore<osg::AnimBlock>(node)) return;
    if (node != _keptRoot && node->getParent().isAlive()) lose(node);
  }

  /// The children of one node go together, when all of them have been looked at.
  void lose(NodePtr const& node) {
    if (!_open.empty()) {
      _open.back().lost.push_back(node);
      return;
    }
    removeChildren(node->getParent(), {node});
    _isRemoved = true;
  }

  static void removeChildren(NodePtr parent, std::vector<NodePtr> const& children);

  IdSet const _ids;  ///< a copy: whoever hears of a removal may drop the caller's
  NodePtr const _keptRoot;
  std::vector<Level> _open;
  bool _isRemoved = false;
};

/// The parent by value: it is read from a child that dies here.
void ClipCleaner::removeChildren(NodePtr const parent, std::vector<NodePtr> const& children) {
  if (!parent.isAlive() || children.empty()) return;
  parent->subChildren(children);
  announce(parent, osg::Node::ChildrenFieldMask);
}

/// Cameras and sceneplates may stand in trees of their own, which belong to the scene all the same.
void getIdsBesideTheScene(IdSet& ids) {
  osg::MaterialPoolPtr const pool = knSceneData::getMaterialPool();
  if (!pool) return;
  for (NodePtr const& root : {pool->getCameraRoot(), pool->getSceneplateRoot()}) {
    bool const isApart = root.isAlive() && !root->getParent().isAlive();
    if (isApart) knAnimManager::the()->getAnimBlocksAndTimeShapeCachesR(root, ids);
  }
}

}  // namespace

void knAnimManager::verifyToKeld60R(NodePtr const& root) {
  osg::traverse(root, [](NodePtr const& argument) {
    NodePtr const node = argument;
    osg::NodeCorePtr const core = node->getCore();
    migrate(core, node);
    if (!core.isAlive()) return Action::Continue;
    if (auto const* const geometry = osg::dcastTo<osg::Geometry>(core)) {
      migrate(osg::MaterialPtr(geometry->getMaterial()), node);
    }
    return Action::Continue;
  });
}

void knAnimManager::verifyClipStructure() {
  if (!_clipStructureRoot.isAlive() || !_verifyClipStructure) return;
  IdSet ids;
  getSceneAnimBlockAndTimeShapeChacheIds(ids, true);
  ClipCleaner(std::move(ids), _clipStructureRoot).clean(_clipStructureRoot);
}

bool knAnimManager::verifyClipStructureByNodeR(NodePtr const& node, IdSet const& ids) {
  return ClipCleaner(ids, _clipStructureRoot).clean(node);
}

void knAnimManager::getSceneAnimBlockAndTimeShapeChacheIds(IdSet& ids, bool withMaterials) {
  NodePtr const root = materialRoot();
  if (!root.isAlive()) return;
  getAnimBlocksAndTimeShapeCachesR(root, ids);
  getIdsBesideTheScene(ids);
  if (!withMaterials) return;
  for (osg::MaterialPtr const& material : findAllMaterials(root)) {
    AnimAttachmentPtr const attachment = getAnimAttachment(material);
    if (attachment) getAnimBlocksAndTimeShapeCachesR(attachment->getAnimationRoot(), ids);
  }
}

void knAnimManager::getAnimBlocksAndTimeShapeCachesR(NodePtr const& root, IdSet& ids) {
  std::vector<NodePtr> trees{root};
  std::unordered_set<NodePtr> entered;  // trees can be shared, and hold themselves
  while (!trees.empty()) {
    NodePtr const tree = trees.back();
    trees.pop_back();
    forEachNode(tree, [&](NodePtr const& node) {
      if (!node->getCore().isAlive()) return false;
      if (osg::dcastTo<osg::AnimNode>(node) != nullptr) {
        if (isBlockOrCache(node)) ids.insert(node->getCore().getContainerId());
        return true;
      }
      AnimAttachmentPtr const attachment = getAnimAttachment(node);
      NodePtr const animations = attachment ? NodePtr(attachment->getAnimationRoot()) : NodePtr();
      if (animations && entered.insert(animations).second) trees.push_back(animations);
      return true;
    });
  }
}
