#include "model/scenegraph/Node.h"

#include <algorithm>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE_ABSTRACT(NodeCore, "NodeCore")
KN_CONTAINER_TYPE(Node, Node, "Node")

void NodeCore::accumulateMatrix(Matrix&) const {}

void NodeCore::extendVolume(BoxVolume&) const {}

void NodeCore::onDestroy() {
  std::vector<NodePtr> const parents = std::move(_fParents.getValues());
  for (NodePtr const& parent : parents) {
    if (!parent.isAlive()) continue;
    parent->_fCore.setValue({});
    parent->structureChanged();
  }
  Inherited::onDestroy();
}

void Node::setCore(NodeCorePtr const& coreArgument) {
  NodeCorePtr const core = coreArgument.isAlive() ? coreArgument : NodeCorePtr();
  NodeCorePtr const former = getCore();
  if (core == former) return;
  core.addRef();
  unlinkCore();
  _fCore.setValue(core);
  linkCore();
  structureChanged();
  former.subRef();
}

void Node::linkCore() {
  NodeCorePtr const core = getCore();
  if (!core.isAlive()) return;
  _placeAmongUsers = static_cast<UInt32>(core->_fParents.size());
  core->_fParents.push_back(NodePtr(this));
}

void Node::unlinkCore() {
  NodeCorePtr const core = getCore();
  if (!core.isAlive()) return;
  auto& users = core->_fParents.getValues();
  // A core that was filled in without being linked does not know this node.
  if (_placeAmongUsers >= users.size() || users[_placeAmongUsers] != NodePtr(this)) return;
  NodePtr const last = users.back();
  last->_placeAmongUsers = _placeAmongUsers;
  users[_placeAmongUsers] = last;
  users.pop_back();
}

NodePtr Node::getChild(UInt32 index) const {
  return index < _fChildren.size() ? _fChildren[index] : NodePtr();
}

Int32 Node::findChild(NodePtr const& child) const {
  auto const found = std::find(_fChildren.begin(), _fChildren.end(), child);
  return found != _fChildren.end() ? static_cast<Int32>(found - _fChildren.begin()) : -1;
}

bool Node::canAdopt(NodePtr const& child) const {
  NodePtr const self(this);
  if (!child.isAlive() || child == self) return false;
  // Only a node that others already name as their parent can be an ancestor of this one. While a tree is being
  // linked from its fields, top down, that spares the way up.
  if (child->_fChildren.empty() || !child->_fChildren[0].isAlive()) return true;
  if (child->_fChildren[0]->getParent() != child) return true;
  for (NodePtr ancestor = getParent(); ancestor; ancestor = ancestor->getParent()) {
    if (ancestor == child) return false;
  }
  return true;
}

void Node::addChild(NodePtr const& child) { insertChild(getNChildren(), child); }

void Node::insertChild(UInt32 index, NodePtr const& childArgument) {
  NodePtr const child = childArgument;
  if (!canAdopt(child)) return;
  child.addRef();
  if (child->getParent().isAlive()) child->getParent()->subChild(child);
  auto& children = _fChildren.getValues();
  children.insert(children.begin() + std::min<std::ptrdiff_t>(index, std::ssize(children)), child);
  link(child);
  structureChanged();
}

void Node::subChild(NodePtr const& childArgument) {
  NodePtr const child = childArgument;
  auto& children = _fChildren.getValues();
  auto const found = std::find(children.begin(), children.end(), child);
  if (!child || found == children.end()) return;
  children.erase(found);
  unlink(*child);
  structureChanged();
  child.subRef();
}

void Node::clearChildren() {
  std::vector<NodePtr> const children = std::move(_fChildren.getValues());
  _fChildren.clear();
  for (NodePtr const& child : children) unlink(*child);
  structureChanged();
  for (NodePtr const& child : children) child.subRef();
}

bool Node::replaceChildBy(NodePtr const& oldArgument, NodePtr const& newArgument) {
  NodePtr const oldChild = oldArgument;
  NodePtr const newChild = newArgument;
  if (!oldChild || findChild(oldChild) < 0 || !canAdopt(newChild)) return false;
  if (oldChild == newChild) return true;
  newChild.addRef();
  if (newChild->getParent().isAlive()) newChild->getParent()->subChild(newChild);
  _fChildren[static_cast<std::size_t>(findChild(oldChild))] = newChild;
  unlink(*oldChild);
  link(newChild);
  structureChanged();
  oldChild.subRef();
  return true;
}

void Node::link(NodePtr const& child) {
  child->_fParent.setValue(NodePtr(this));
  if (child->_countsAsAnimated) {
    enrol(*child);
    updateAnimationMark();
  }
  child->parentChanged();
}

void Node::unlink(Node& child) {
  if (child._countsAsAnimated) {
    strikeOff(child);
    updateAnimationMark();
  }
  child._fParent.setValue({});
  child.parentChanged();
}

void Node::enrol(Node& child) {
  child._placeAmongAnimated = static_cast<UInt32>(_animatedChildren.size());
  _animatedChildren.push_back(NodePtr(&child));
}

void Node::strikeOff(Node const& child) {
  NodePtr const last = _animatedChildren.back();
  last->_placeAmongAnimated = child._placeAmongAnimated;
  _animatedChildren[child._placeAmongAnimated] = last;
  _animatedChildren.pop_back();
}

void Node::updateAnimationMark() {
  // Upwards only as far as the answer changes.
  for (Node* node = this; node != nullptr;) {
    bool const animated = node->_carriesAnimation || !node->_animatedChildren.empty();
    if (animated == node->_countsAsAnimated) return;
    node->_countsAsAnimated = animated;
    NodePtr const parent = node->getParent();
    if (!parent.isAlive()) return;
    if (animated) {
      parent->enrol(*node);
    } else {
      parent->strikeOff(*node);
    }
    node = &*parent;
  }
}

void Node::attachmentsChanged() {
  _carriesAnimation = std::any_of(_fAttachments.begin(), _fAttachments.end(), [](AttachmentSlot const& slot) {
    return slot.attachment.isAlive() && slot.attachment->marksAnimation();
  });
  updateAnimationMark();
}

Matrix Node::getToWorld() const {
  std::vector<NodeCorePtr> cores;
  if (getCore()) cores.push_back(getCore());
  for (NodePtr node = getParent(); node; node = node->getParent()) {
    if (node->getCore()) cores.push_back(node->getCore());
  }
  Matrix result;
  for (auto core = cores.rbegin(); core != cores.rend(); ++core) (*core)->accumulateMatrix(result);
  return result;
}

BoxVolume Node::getWorldVolume() const {
  struct Place {
    Node const* node;
    Matrix toWorld;
  };
  BoxVolume volume;
  std::vector<Place> open{{this, getToWorld()}};
  while (!open.empty()) {
    Place const place = open.back();
    open.pop_back();
    if (place.node->getCore()) {
      BoxVolume own;
      place.node->getCore()->extendVolume(own);
      volume.extendBy(own.transformed(place.toWorld));
    }
    for (NodePtr const& child : place.node->getChildren()) {
      Matrix toWorld = place.toWorld;
      if (child->getCore()) child->getCore()->accumulateMatrix(toWorld);
      open.push_back({&*child, toWorld});
    }
  }
  return volume;
}

void Node::fieldsAssigned() {
  Inherited::fieldsAssigned();
  linkCore();
  std::erase_if(_fChildren.getValues(), [this](NodePtr const& child) {
    // A file can name a node as the child of several, or of itself; the first parent keeps it.
    bool const refused = !child.isAlive() || child->getParent().isAlive() || !canAdopt(child);
    if (refused) {
      child.subRef();
      return true;
    }
    link(child);
    return false;
  });
  structureChanged();
}

void Node::onDestroy() {
  unlinkCore();
  if (getParent().isAlive()) {
    std::erase(getParent()->_fChildren.getValues(), NodePtr(this));
    NodePtr const parent = getParent();
    parent->unlink(*this);
    parent->structureChanged();
  }
  for (NodePtr const& child : _fChildren) {
    child->_fParent.setValue({});
    // One that dies with this node needs nothing brought up to date.
    if (child->getRefCount() > 1) child->parentChanged();
  }
  _animatedChildren.clear();
  Inherited::onDestroy();
}

}  // namespace knscene
}  // namespace osg
