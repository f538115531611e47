#include "camera/FlightTree.h"

#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "manager/Creation.h"
#include "model/scenegraph/Group.h"

#include <algorithm>

using osg::AnimNode;
using osg::AnimNodePtr;
using osg::NodePtr;

namespace {

/// Leaves the flag for changed owners as it was, through edits of which none is the host's work, and whose owners are
/// none or are noted at once.
class OwnersKept {
 public:
  OwnersKept() = default;
  OwnersKept(OwnersKept const&) = delete;
  OwnersKept& operator=(OwnersKept const&) = delete;
  ~OwnersKept() { AnimNode::_changed = _wasRaised; }

 private:
  bool _wasRaised = AnimNode::_changed;
};

template <class Class>
bool isExactly(osg::FieldContainerPtr const& container) {
  return container.findType() == &Class::_type;
}

/// Whether no tree but the one of the camera's flights leads to this root.
bool isOfFlightsAlone(AnimNodePtr const& root) {
  return isExactly<osg::AnimNodeBase>(root) && !root->getParent().isAlive() &&
         root->getRootedAttachments().empty() && root->getRefCount() == 1;
}

/// Whether a node is no more than one place of one curve.
bool isPlainCurve(NodePtr const& node) {
  return isExactly<osg::AnimNodeBase>(node) && isExactly<osg::AnimCurveBase>(node->getCore()) &&
         node->getNChildren() == 0 && !node->hasAnimationInSubtree() &&
         node->getCore()->getParents().size() == 1 &&
         osg::dcastTo<AnimNode>(node)->getRootedAttachments().empty();
}

}  // namespace

FlightTree::FlightTree(AnimNodePtr const& root, osg::UberCameraPtr const& camera) : _root(root) {
  if (!root.isAlive() || !camera.isAlive()) return;
  knAnimEvaluator const& evaluator = *knAnimEvaluator::the();
  _ownersAreKnown = !AnimNode::_changed && isOfFlightsAlone(root) && camera->getAnimationRoot() == root;
  if (!_ownersAreKnown) return;
  _owners = evaluator.findOwnersOfFlights(camera);
  _rebuilds = evaluator._parentMapRebuilds;
}

FlightTree FlightTree::prepare(osg::UberCameraPtr const& camera) {
  AnimNodePtr root = camera->getAnimationRoot();
  if (!root.isAlive()) {
    root = osg::AnimNodeBase::create();
    root->setCore(osg::GroupBase::create());
    announce(root, osg::Node::CoreFieldMask);
    camera->setAnimationRoot(root);
    announce(camera, osg::UberCameraBase::AnimationRootFieldMask);
  }
  knAnimManager::the()->stopCameraAnimation(camera);
  if (root.isAlive()) clear(root);
  announce(root, osg::Node::ChildrenFieldMask);
  return {root.isAlive() ? root : AnimNodePtr(), camera};
}

/// What goes dies last, when the map is in order: death hooks are the host's.
void FlightTree::clear(AnimNodePtr const& root) {
  std::vector<osg::Ref<osg::Node>> former;
  for (NodePtr const& child : root->getChildren()) former.emplace_back(child);
  bool const isPlain = isOfFlightsAlone(root) && std::ranges::all_of(root->getChildren(), isPlainCurve);
  if (!isPlain || AnimNode::_changed) {
    root->clearChildren();
    return;
  }
  OwnersKept const kept;
  ++knAnimEvaluator::the()->_parentMapEdits;
  for (NodePtr const& child : root->getChildren()) {
    knAnimEvaluator::the()->_animParentMap.erase(child->getCore().getContainerId());
  }
  root->clearChildren();
}

osg::Ref<AnimNode> FlightTree::makeCurveNode(knOSGChannelData const& channel) {
  OwnersKept const kept;
  return osg::Ref<AnimNode>(
      makeChannelCurveNode(channel.fieldName, channel.valueIndex, channel.suffix, channel.channelName));
}

osg::Ref<AnimNode> FlightTree::makeCurveNode(std::string const& name, osg::UInt32 index,
                                             std::string const& suffix, std::string const& channelName) {
  OwnersKept const kept;
  return osg::Ref<AnimNode>(makeChannelCurveNode(name, index, suffix, channelName));
}

void FlightTree::add(AnimNodePtr const& node) {
  if (!isAlive() || !node.isAlive()) return;
  knAnimEvaluator& evaluator = *knAnimEvaluator::the();
  bool const isKnown = _ownersAreKnown && !AnimNode::_changed && evaluator._parentMapRebuilds == _rebuilds &&
                       isPlainCurve(node);
  _root->addChild(node);
  if (!isKnown) return;
  AnimNode::_changed = false;
  ++evaluator._parentMapEdits;
  if (!_owners.empty()) evaluator._animParentMap[node->getCore().getContainerId()] = _owners;
}

void FlightTree::announceChildren() const { announce(_root, osg::Node::ChildrenFieldMask); }

void FlightTree::start() const { knAnimEvaluator::the()->enqueue(_root, true); }
