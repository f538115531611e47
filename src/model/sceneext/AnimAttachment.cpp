#include "model/sceneext/AnimAttachment.h"

#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimCurve.h"
#include "model/sceneext/TimeShapeCache.h"
#include "model/sceneext/VertexAnimCurves.h"
#include "model/scenegraph/Group.h"
#include "model/scenegraph/NodeQueries.h"
#include "model/scenegraph/Traverse.h"

#include <algorithm>

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

AnimNodePtr makeRoot() {
  AnimNodePtr const root = AnimNodeBase::create();
  root->setCore(GroupBase::create());
  return root;
}

}  // namespace

AnimAttachment::AnimAttachment() { setAnimationRoot(makeRoot()); }

/// An attachment without a place in the store yet, in its constructor, is linked when it is used.
void AnimAttachment::linkRoot() {
  AttachmentPtr const self(this);
  if (!self.isAlive() || !getAnimationRoot().isAlive()) return;
  auto& linked = getAnimationRoot()->_rootedAttachments;
  if (std::find(linked.begin(), linked.end(), self) == linked.end()) linked.push_back(self);
}

void AnimAttachment::unlinkRoot() {
  if (getAnimationRoot().isAlive()) std::erase(getAnimationRoot()->_rootedAttachments, AttachmentPtr(this));
}

void AnimAttachment::setAnimationRoot(AnimNodePtr const& rootArgument) {
  AnimNodePtr const root = rootArgument;
  AnimNodePtr const former = getAnimationRoot();
  root.addRef();
  unlinkRoot();
  _fAnimationRoot.setValue(root);
  linkRoot();
  AnimNode::_changed = true;
  StructureCounter::advanceFor(*this, former, root);
  former.subRef();
}

void AnimAttachment::parentsChanged() {
  AnimNode::_changed = true;
  linkRoot();
}

void AnimAttachment::fieldsAssigned() {
  AnimAttachmentBase::fieldsAssigned();
  linkRoot();
}

void AnimAttachment::onDestroy() {
  AnimNode::_changed = true;
  unlinkRoot();
  AnimAttachmentBase::onDestroy();
}

void AnimAttachment::addAnimation(AnimNodePtr const& animationArgument) {
  AnimNodePtr const animation = animationArgument;
  if (!animation.isAlive()) return;
  linkRoot();
  AnimNodePtr root = getAnimationRoot();
  if (!root.isAlive()) {
    root = makeRoot();
    setAnimationRoot(root);
    announce(AttachmentPtr(this), AnimationRootFieldMask);
    if (!root.isAlive()) return;
  }
  root->addChild(animation);
  announce(root, Node::ChildrenFieldMask);
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
  AnimNodePtr const root = getAnimationRoot();
  if (!root.isAlive()) return false;
  auto const& children = root->getChildren();
  return std::any_of(children.begin(), children.end(),
                     [](NodePtr const& child) { return dcastTo<AnimNode>(child) != nullptr; });
}

bool AnimAttachment::hasVertexAnimation() const {
  return traverse(getAnimationRoot(), [](NodePtr const& node) {
           return hasCore<TimeShapeCache>(node) || hasCore<VertexAnimCurves>(node) ? Action::Quit
                                                                                   : Action::Continue;
         }) == Action::Quit;
}

}  // namespace knscene
}  // namespace osg
