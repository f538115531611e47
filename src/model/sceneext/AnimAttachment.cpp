#include "model/sceneext/AnimAttachment.h"

#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimCurve.h"
#include "model/sceneext/TimeShapeCache.h"
#include "model/sceneext/VertexAnimCurves.h"
#include "model/scenegraph/Group.h"
#include "model/scenegraph/NodeQueries.h"
#include "model/scenegraph/Traverse.h"

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(AnimAttachmentBase, AnimAttachment, "AnimAttachment")

namespace {

template <class Wanted>
void appendTopLevel(AnimAttachment const& attachment, Wanted wanted, std::vector<AnimNodePtr>& nodes) {
  AnimNodePtr const root = attachment.getAnimationRoot();
  if (!root.isAlive()) return;
  for (NodePtr const& child : root->getChildren()) {
    AnimNodePtr const node = dcast<AnimNodePtr>(child);
    if (node && wanted(node)) nodes.push_back(node);
  }
}

}  // namespace

void AnimAttachment::setAnimationRoot(AnimNodePtr const& root) {
  detail::replaceOwned(_fAnimationRoot, root);
  AnimNode::_changed = true;
}

void AnimAttachment::addAnimation(AnimNodePtr const& animation) {
  if (!animation.isAlive()) return;
  if (!getAnimationRoot().isAlive()) {
    AnimNodePtr const root = AnimNodeBase::create();
    root->setCore(GroupBase::create());
    setAnimationRoot(root);
    announce(AttachmentPtr(this), AnimationRootFieldMask);
  }
  getAnimationRoot()->addChild(animation);
  announce(getAnimationRoot(), Node::ChildrenFieldMask);
}

void AnimAttachment::subAnimation(AnimNodePtr const& animation) {
  AnimNodePtr const root = getAnimationRoot();
  if (!root.isAlive() || !animation.isAlive() || animation->getParent() != root) return;
  root->subChild(animation);
  announce(root, Node::ChildrenFieldMask);
}

void AnimAttachment::getTopLevelAnimations(std::vector<AnimNodePtr>& animations, bool includeHidden) const {
  appendTopLevel(
      *this, [includeHidden](AnimNodePtr const& node) { return includeHidden || !node->getHidden(); },
      animations);
}

void AnimAttachment::getTopLevelBlockNodes(std::vector<AnimNodePtr>& nodes) const {
  appendTopLevel(*this, hasCore<AnimBlock>, nodes);
}

void AnimAttachment::getTopLevelCurveNodes(std::vector<AnimNodePtr>& nodes) const {
  appendTopLevel(*this, hasCore<AnimCurve>, nodes);
}

bool AnimAttachment::hasAnimations() const {
  std::vector<AnimNodePtr> animations;
  getTopLevelAnimations(animations, true);
  return !animations.empty();
}

bool AnimAttachment::hasVertexAnimation() const {
  return traverse(getAnimationRoot(), [](NodePtr const& node) {
           return hasCore<TimeShapeCache>(node) || hasCore<VertexAnimCurves>(node) ? Action::Quit
                                                                                   : Action::Continue;
         }) == Action::Quit;
}

}  // namespace knscene
}  // namespace osg
