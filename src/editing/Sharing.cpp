// Who shares an animation with whom, and how to end it.
#include "editing/CurveDataRefresh.h"
#include "evaluation/SceneMaterials.h"
#include "evaluation/TreeWalk.h"
#include "knAnimManager.h"
#include "manager/UniqueNames.h"
#include "model/fields/Ref.h"
#include "model/geometry/Geometry.h"
#include "model/scenedata/SceneRoots.h"
#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimClip.h"
#include "model/sceneext/TimeShapeCache.h"
#include "model/scenegraph/NodeQueries.h"

#include <unordered_set>

using osg::Action;
using osg::AnimAttachmentPtr;
using osg::AnimNodePtr;
using osg::AnimObjectPtr;
using osg::AttachmentContainerPtr;
using osg::MaterialPtr;
using osg::NodePtr;

namespace {

void takeAway(AnimAttachmentPtr const& attachment, AttachmentContainerPtr const& container) {
  if (!container.isAlive()) return;
  container->subAttachment(attachment, 0);
  announce(container, osg::AttachmentContainer::AttachmentsFieldMask);
}

void giveNewAttachment(AttachmentContainerPtr const& container) {
  if (!container.isAlive()) return;
  container->addAttachment(osg::AnimAttachmentBase::create(), 0);
  announce(container, osg::AttachmentContainer::AttachmentsFieldMask);
}

NodePtr animationRootOf(AttachmentContainerPtr const& container) {
  AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(container);
  return attachment ? NodePtr(attachment->getAnimationRoot()) : NodePtr();
}

/// The node that owns an object: the one whose core it is, but for a node inside an animation tree the node that the
/// tree hangs on.
NodePtr findOwner(NodePtr const& root, AnimObjectPtr const& object) {
  struct Pending {
    NodePtr node;
    NodePtr owner;  ///< null outside of animation trees
  };
  std::vector<Pending> pending{{root, {}}};
  std::unordered_set<NodePtr> entered;  // trees can be shared, and hold themselves
  while (!pending.empty()) {
    auto const [node, owner] = pending.back();
    pending.pop_back();
    if (!node.isAlive() || !node->getCore().isAlive()) continue;
    if (node->getCore() == object) return owner ? owner : node;
    auto const& children = node->getChildren();
    for (std::size_t i = children.size(); i-- > 0;) pending.push_back({children[i], owner});
    NodePtr const animations = animationRootOf(node);
    if (animations && entered.insert(animations).second)
      pending.push_back({animations, owner ? owner : node});
  }
  return {};
}

unsigned int countIn(knDynBlockArray<AnimNodePtr> const& roots, AnimObjectPtr const& object) {
  unsigned int count = 0;
  for (std::uint64_t i = 0; i < roots.size(); ++i) {
    knAnimManager::the()->findAndCountR(roots[i], object, count);
  }
  return count;
}

void switchOffBlocks(AttachmentContainerPtr const& container) {
  AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(container);
  if (!attachment) return;
  std::vector<AnimNodePtr> blocks;
  attachment->getTopLevelBlockNodes(blocks);
  for (AnimNodePtr const& block : blocks) {
    if (!block.isAlive()) continue;
    block->setTravMask(0);
    announce(block, osg::Node::TravMaskFieldMask);
  }
}

}  // namespace

// --- Ending sharing -----------------------------------------------------------------------------------------------

void knAnimManager::unshareFrom(AnimNodePtr& animationArgument, osg::FieldContainerPtr const& parent) {
  AnimNodePtr const animation = animationArgument;
  if (!animation.isAlive() || !parent.isAlive()) return;
  animation->unshareTree("");
  osg::NodeUtils::setName(animation, getUniqueName(nameOf(animation)), true);
}

void knAnimManager::unshareClipsR(AnimNodePtr const& root) {
  UniqueNames names;
  osg::traverse(root, [&names](NodePtr const& node) {
    AnimNodePtr const animation = osg::dcast<AnimNodePtr>(node);
    if (!animation || !animation->getCore().isAlive()) return Action::Skip;
    if (hasCore<osg::AnimClip>(animation)) {
      animation->unshare("");
      osg::NodeUtils::setName(animation, names.make(nameOf(animation)), true);
    }
    return Action::Continue;
  });
}

void knAnimManager::createDuplicatesFromShared(MaterialPtr const& materialArgument) {
  MaterialPtr const material = materialArgument;
  osg::Ref<osg::AnimAttachment> const former = getAnimAttachment(material);
  if (!former) return;
  copyFrom(material);
  takeAway(former, material);
  pasteTo(material, false, true);
}

/// A node with nothing to copy prints the warning of copyFrom, and is given what the buffer held before. That is meant:
/// clearing the buffer first would take away what a host has put there for such nodes.
void knAnimManager::createDuplicatesFromSharedR(NodePtr const& root) {
  CurveDataRefresh const refresh;
  osg::traverse(root, [this](NodePtr const& argument) {
    NodePtr const node = argument;
    osg::Ref<osg::AnimAttachment> const former = getAnimAttachment(node);
    if (!former) return Action::Continue;
    copyFrom(node);
    takeAway(former, node);
    giveNewAttachment(node);
    pasteTo(node, false, true);
    return Action::Continue;
  });
}

// --- Counting -----------------------------------------------------------------------------------------------------

unsigned int knAnimManager::blockSceneRefCount(AnimNodePtr const& blockArgument) {
  AnimNodePtr const block = blockArgument;
  if (!block.isAlive() || !block->getCore().isAlive()) return 0;
  updateSceneAnimCurveData();
  if (!block.isAlive()) return 0;
  AnimObjectPtr const object = osg::dcast<AnimObjectPtr>(block->getCore());
  if (hasCore<osg::AnimBlock>(block)) return countIn(_animRoots, object);
  return hasCore<osg::TimeShapeCache>(block) ? countIn(_timeShapeCacheRoots, object) : 0;
}

unsigned int knAnimManager::blockNodeRefCount(AnimNodePtr const& block) {
  if (!block.isAlive() || !block->getCore().isAlive() || !block->getParent().isAlive()) return 0;
  NodePtr top = block->getParent();
  while (top != _clipStructureRoot && top->getParent().isAlive()) top = top->getParent();
  if (top == _clipStructureRoot) return 0;
  if (!hasCore<osg::AnimBlock>(block) && !hasCore<osg::TimeShapeCache>(block)) return 0;
  unsigned int count = 0;
  findAndCountR(osg::dcast<AnimNodePtr>(top), osg::dcast<AnimObjectPtr>(block->getCore()), count);
  return count;
}

// --- A walk for hosts ---------------------------------------------------------------------------------------------
// It records nothing and announces nothing; hosts call it from where nothing may change.

void knAnimManager::gatherAnimReferenceData() {
  NodePtr const root = materialRoot();
  if (!root.isAlive()) return;
  for (NodePtr const& child : root->getChildren()) gatherAnimReferenceDataR(child);
}

void knAnimManager::gatherAnimReferenceDataR(NodePtr const& root) {
  forEachNode(root, [this](NodePtr const& node) {
    collectAnimReferenceDataR(animationRootOf(node));
    return true;
  });
}

void knAnimManager::collectAnimReferenceDataR(NodePtr const& root) {
  forEachNode(root, [](NodePtr const& node) { return node->getCore().isAlive(); });
}

// --- Owners -------------------------------------------------------------------------------------------------------

osg::FieldContainerPtr knAnimManager::findFirstParent(AnimObjectPtr const& objectArgument) {
  AnimObjectPtr const object = objectArgument;
  if (!object.isAlive()) return {};
  NodePtr const root = materialRoot();
  if (NodePtr const owner = findFirstParentR(root, object)) return owner;
  for (MaterialPtr const& material : findAllMaterials(root)) {
    if (findFirstParentR(animationRootOf(material), object)) return material;
  }
  return {};
}

NodePtr knAnimManager::findFirstParentR(NodePtr const& node, AnimObjectPtr const& object) {
  return node.isAlive() && object.isAlive() ? findOwner(node, object) : NodePtr();
}

// --- Switching off ------------------------------------------------------------------------------------------------

void knAnimManager::setAllBlocksInactive(MaterialPtr const& material) { switchOffBlocks(material); }

void knAnimManager::setAllBlocksInactive(NodePtr const& node) { switchOffBlocks(node); }
