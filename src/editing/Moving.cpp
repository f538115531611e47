// Moving blocks from one owner to another. Adding a tree to its new owner takes it away from the former one.
#include "knAnimManager.h"
#include "manager/Creation.h"
#include "model/geometry/Geometry.h"
#include "model/scenegraph/NodeQueries.h"
#include "model/utils/knUtils.h"

using osg::AnimAttachmentPtr;
using osg::AnimNodePtr;
using osg::MaterialPtr;
using osg::NodePtr;

namespace {

bool moveTo(AnimAttachmentPtr const& attachment, AnimNodePtr const& block, bool notify) {
  if (!attachment.isAlive() || !block.isAlive()) return false;
  attachment->addAnimation(block);
  knAnimManager::the()->updateSceneAnimCurveData();
  if (notify) knUtils::call("pastedAnimations", 0);
  return true;
}

}  // namespace

bool knAnimManager::isCompatible(MaterialPtr const& a, MaterialPtr const& b) {
  return a.isAlive() && b.isAlive() && a->getType().getGroupId() == b->getType().getGroupId();
}

int knAnimManager::isCompatible(NodePtr const& a, NodePtr const& b) {
  if (!a.isAlive() || !b.isAlive() || !a->getCore().isAlive() || !b->getCore().isAlive()) return 0;
  if (a->getCore()->getType().getGroupId() == b->getCore()->getType().getGroupId()) return 1;
  if (hasCore<osg::Geometry>(a) && hasCore<osg::Transform3D>(b)) return 2;
  if (hasCore<osg::Transform3D>(a) && hasCore<osg::Geometry>(b)) return 3;
  return 0;
}

bool knAnimManager::moveBlockToMaterial(AnimNodePtr const& blockArgument, MaterialPtr const& from,
                                        MaterialPtr const& to, bool notify) {
  AnimNodePtr const block = blockArgument;
  if (!block.isAlive() || !isCompatible(from, to)) return false;
  return moveTo(findOrCreateAttachment(to), block, notify);
}

/// A block with curves whose id is among those that getSceneAnimBlockAndTimeShapeChacheIds finds goes to any node,
/// compatible or not. Those ids are ids of cores, and the one that is looked for is the id of the block's node, so no
/// block has ever been let through. Comparing the core's id would look like a repair, and would let hosts' users move
/// blocks to where they do nothing. As a node's id cannot be a core's, the ids are not even collected: that would be a
/// walk over the scene for every block.
bool knAnimManager::moveBlockToNode(AnimNodePtr const& blockArgument, NodePtr const& from, NodePtr const& to,
                                    bool notify) {
  AnimNodePtr const block = blockArgument;
  if (!block.isAlive() || isCompatible(from, to) == 0) return false;
  return moveTo(getAnimAttachment(to), block, notify);
}
