#include "model/scenegraph/Node.h"

#include <algorithm>
#include <mutex>
#include <unordered_set>
#include <utility>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE_ABSTRACT(NodeCore, "NodeCore")
KN_CONTAINER_TYPE(Node, Node, "Node")

bool Node::_changed = false;

namespace {

/// By how many places a child may stand elsewhere than where it was counted, as far as gaps and the front decide.
constexpr UInt32 MostMoved = 256;

}  // namespace

void NodeCore::accumulateMatrix(Matrix&) const {}

void NodeCore::extendVolume(BoxVolume&) const {}

void NodeCore::animationMarkChanged() {
  for (NodePtr const& parent : _fParents) {
    if (parent.isAlive()) parent->updateOwnMark();
  }
}

void NodeCore::onDestroy() {
  auto const parents = std::exchange(_fParents.getValues(), {});
  for (NodePtr const& parent : parents) {
    if (!parent.isAlive()) continue;
    if (parent->_carriesAnimation) Node::_changed = true;
    parent->_fCore.setValue({});
    parent->updateOwnMark();
  }
  StructureCounter::advanceFor(*this);
  for (NodePtr const& parent : parents) {
    if (parent.isAlive()) parent->structureChanged();
  }
  Inherited::onDestroy();
}

// --- Core ---------------------------------------------------------------------------------------------------------

void Node::setCore(NodeCorePtr const& coreArgument) {
  NodeCorePtr const core = coreArgument.isAlive() ? coreArgument : NodeCorePtr();
  NodeCorePtr const former = getCore();
  if (core == former) return;
  core.addRef();
  unlinkCore();
  _fCore.setValue(core);
  linkCore();
  // For animations that hang on the node itself, the core can decide who their owner is.
  bool const carried = _carriesAnimation;
  updateOwnMark();
  if (carried || _carriesAnimation) _changed = true;
  StructureCounter::advanceFor(*this, former, core);
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

// --- Finding children ---------------------------------------------------------------------------------------------

NodePtr Node::getChild(UInt32 index) const {
  return index < _fChildren.size() ? _fChildren[index] : NodePtr();
}

Int32 Node::findChild(NodePtr const& child) const {
  if (!child.isAlive() || child->getParent() != NodePtr(this)) return -1;
  (void)_fChildren.begin();  // closes the gaps, which count as places
  renumberIfClosed();
  return static_cast<Int32>(placeOf(*child));
}

/// A child knows where it stood when it was counted last. What came and went since has moved it by so many places at
/// most, so the search goes outwards from there. Gaps count as places.
std::size_t Node::placeOf(Node const& child) const {
  NodePtr const wanted(&child);
  auto const& children = _fChildren.getValues();
  std::size_t const count = children.getPlaceCount();
  if (count == 0) return count;
  auto const noted = static_cast<Int32>(child._placeAmongSiblings - _placeShift);
  std::size_t const guess = std::min(static_cast<std::size_t>(std::max(noted, 0)), count - 1);
  for (std::size_t distance = 0; distance < count; ++distance) {
    std::size_t const below = guess - distance;
    std::size_t const above = guess + distance;
    if (distance <= guess && children.atPlace(static_cast<UInt32>(below)) == wanted) return below;
    if (above < count && children.atPlace(static_cast<UInt32>(above)) == wanted) return above;
  }
  return count;
}

void Node::numberChildren(std::size_t first) {
  for (std::size_t i = first; i < _fChildren.size(); ++i) {
    _fChildren[i]->_placeAmongSiblings = static_cast<UInt32>(i) + _placeShift;
  }
}

/// Counts the children again when somebody has closed many gaps between them since, who may be a reader on any thread.
/// A few only make the search in placeOf begin a few places off.
void Node::renumberIfClosed() const {
  if (_leftGaps.load(std::memory_order_acquire) < MostMoved) return;
  static std::mutex mutex;
  std::lock_guard const lock(mutex);
  if (_leftGaps.load(std::memory_order_relaxed) < MostMoved) return;
  const_cast<Node*>(this)->numberChildren(0);
  _leftGaps.store(0, std::memory_order_release);
}

/// Leaves a gap, so that nobody else has to move: where children go one after the other, the gaps are closed once.
void Node::eraseChild(Node const& child) {
  auto& children = _fChildren.getValues();
  if (!children.hasGaps()) renumberIfClosed();
  auto const place = static_cast<UInt32>(placeOf(child));
  if (place == children.getPlaceCount()) return;
  UInt32 const ahead = child._placeAmongSiblings - _placeShift - place + MostMoved;
  _placeShift += children.takeAtPlace(place);
  if (children.hasGaps() && _leftGaps < MostMoved) ++_leftGaps;
  bool const isMostlyGaps = children.getPlaceCount() - children.size() > children.size() + MostMoved;
  if (ahead <= 2 * MostMoved && !isMostlyGaps) return;
  numberChildren(0);
  _leftGaps.store(0, std::memory_order_relaxed);
}

bool Node::canAdopt(NodePtr const& child) const {
  if (!child.isAlive() || child == NodePtr(this)) return false;
  return !getParent() || child->_fChildren.empty() || !isBelow(*child);
}

/// Whether `node` is an ancestor. Two walks look for it in turns, from here upwards and through what is below `node`,
/// so that the shorter one decides what it costs: neither long chains nor large trees do that are put together.
bool Node::isBelow(Node const& node) const {
  struct Level {
    Node const* node;
    UInt32 nextChild;
  };
  std::vector<Level> path{{&node, 0}};
  Node const* ancestor = this;
  while (ancestor != nullptr && !path.empty()) {
    if (ancestor == &node) return true;
    NodePtr const above = ancestor->getParent();
    ancestor = above.isAlive() ? &*above : nullptr;
    Level& level = path.back();
    if (level.nextChild >= level.node->getNChildren()) {
      path.pop_back();
      continue;
    }
    NodePtr const child = level.node->getChild(level.nextChild++);
    // While a tree is being linked from its fields, not every child that is named is one yet.
    if (!child.isAlive() || child->getParent() != NodePtr(level.node)) continue;
    if (&*child == this) return true;
    path.push_back({&*child, 0});
  }
  return false;
}

// --- Changing children --------------------------------------------------------------------------------------------

void Node::addChild(NodePtr const& child) { insertChild(getNChildren(), child); }

void Node::insertChild(UInt32 index, NodePtr const& childArgument) {
  NodePtr const child = childArgument;
  if (!canAdopt(child)) return;
  NodePtr const formerParent = detach(*child);
  auto& children = _fChildren.getValues();
  if (index >= children.size()) {
    children.push_back(child);
    child->_placeAmongSiblings = children.getPlaceCount() - 1 + _placeShift;
  } else {
    children.insert(children.begin() + index, child);
    renumberIfClosed();
    if (index < children.size() / 2) --_placeShift;
    child->_placeAmongSiblings = index + _placeShift;
  }
  link(*child);
  tellMoved(child, formerParent, NodePtr(this));
}

/// Takes a node away from its parent, which is returned. The reference of the parent goes over to the caller; where
/// there is none, one is taken.
NodePtr Node::detach(Node& child) {
  NodePtr const parent = child.getParent();
  if (parent.isAlive()) {
    parent->eraseChild(child);
    parent->unlink(child);
  } else {
    NodePtr(&child).addRef();
  }
  return parent;
}

/// Overrides may do anything, so each is asked whether it still lives.
void Node::tellMoved(NodePtr const& child, NodePtr const& formerParent, NodePtr const& parent) {
  if (child.isAlive()) child->parentChanged();
  if (formerParent.isAlive() && formerParent != parent) formerParent->structureChanged();
  if (parent.isAlive()) parent->structureChanged();
}

void Node::addChildren(std::vector<NodePtr> const& arguments) {
  if (arguments.size() == 1) return addChild(arguments[0]);
  std::vector<NodePtr> added;
  std::vector<NodePtr> formerParents;
  std::unordered_set<NodePtr> seen;
  NodePtr const self(this);
  for (NodePtr const& child : arguments) {
    if (!canAdopt(child) || !seen.insert(child).second) continue;
    added.push_back(child);
    NodePtr const parent = child->getParent();
    if (!parent.isAlive()) {
      child.addRef();
      continue;
    }
    parent->unlink(*child);
    if (formerParents.empty() || formerParents.back() != parent) formerParents.push_back(parent);
  }
  if (added.empty()) return;
  std::ranges::sort(formerParents);
  formerParents.erase(std::unique(formerParents.begin(), formerParents.end()), formerParents.end());
  for (NodePtr const& parent : formerParents) parent->eraseUnlinked();
  renumberIfClosed();
  std::size_t const first = _fChildren.size();
  auto& children = _fChildren.getValues();
  children.insert(children.end(), added.begin(), added.end());
  numberChildren(first);
  for (NodePtr const& child : added) link(*child);
  for (NodePtr const& child : added) tellMoved(child, {}, {});
  for (NodePtr const& parent : formerParents) tellMoved({}, parent, self);
  if (formerParents.empty()) tellMoved({}, {}, self);
}

/// Children that were unlinked still stand in the list.
void Node::eraseUnlinked() {
  NodePtr const self(this);
  auto& children = _fChildren.getValues();
  children.erase(std::remove_if(children.begin(), children.end(),
                                [&](NodePtr const& child) { return child->getParent() != self; }),
                 children.end());
  numberChildren(0);
}

void Node::subChild(NodePtr const& childArgument) {
  NodePtr const child = childArgument;
  NodePtr const self(this);
  if (!child.isAlive() || child->getParent() != self) return;
  detach(*child);
  tellMoved(child, {}, self);
  child.subRef();
}

void Node::subChildren(std::vector<NodePtr> const& arguments) {
  NodePtr const self(this);
  std::vector<NodePtr> taken;
  for (NodePtr const& child : arguments) {
    if (!child.isAlive() || child->getParent() != self) continue;
    taken.push_back(child);
    unlink(*child);
  }
  if (taken.empty()) return;
  eraseUnlinked();
  giveUp(self, taken);
}

void Node::clearChildren() {
  std::vector<NodePtr> const children = std::exchange(_fChildren.getValues(), {});
  for (NodePtr const& child : children) unlink(*child);
  giveUp(NodePtr(this), children);
}

/// The children are taken away: tells everybody, and drops the references.
void Node::giveUp(NodePtr const& parent, std::vector<NodePtr> const& children) {
  for (NodePtr const& child : children) tellMoved(child, {}, {});
  tellMoved({}, {}, parent);
  for (NodePtr const& child : children) child.subRef();
}

bool Node::replaceChildBy(NodePtr const& oldArgument, NodePtr const& newArgument) {
  NodePtr const oldChild = oldArgument;
  NodePtr const newChild = newArgument;
  NodePtr const self(this);
  if (findChild(oldChild) < 0 || !canAdopt(newChild)) return false;
  if (oldChild == newChild) return true;
  NodePtr const formerParent = detach(*newChild);
  auto const place = static_cast<std::size_t>(findChild(oldChild));
  _fChildren[place] = newChild;
  newChild->_placeAmongSiblings = static_cast<UInt32>(place) + _placeShift;
  unlink(*oldChild);
  link(*newChild);
  tellMoved(oldChild, {}, {});
  tellMoved(newChild, formerParent, self);
  oldChild.subRef();
  return true;
}

void Node::link(Node& child) {
  child._fParent.setValue(NodePtr(this));
  StructureCounter::advanceForChild(*this, child);
  if (!child._countsAsAnimated) return;
  _changed = true;
  StructureCounter::advance();
  enrol(child);
  updateAnimationMark();
}

void Node::unlink(Node& child) {
  child._fParent.setValue({});
  StructureCounter::advanceForChild(*this, child);
  if (!child._countsAsAnimated) return;
  _changed = true;
  StructureCounter::advance();
  strikeOff(child);
  updateAnimationMark();
}

// --- Account of animations ----------------------------------------------------------------------------------------

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
  // Upwards only as far as the answer changes, which it can where a class of the host's says so, with no other change.
  for (Node* node = this; node != nullptr;) {
    bool const animated = node->_carriesAnimation || !node->_animatedChildren.empty();
    if (animated == node->_countsAsAnimated) return;
    StructureCounter::advance();
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

void Node::updateOwnMark() {
  NodeCorePtr const core = getCore();
  _carriesAnimation = (core.isAlive() && core->marksAnimation()) || holdsAnimation();
  updateAnimationMark();
}

void Node::attachmentsChanged() { updateOwnMark(); }

// --- Space --------------------------------------------------------------------------------------------------------

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

// --- Life ---------------------------------------------------------------------------------------------------------

void Node::fieldsAssigned() {
  NodePtr const self(this);
  Inherited::fieldsAssigned();
  if (!self.isAlive()) return;
  linkCore();
  updateOwnMark();
  std::vector<NodePtr> refused;
  auto& children = _fChildren.getValues();
  auto const kept = std::remove_if(children.begin(), children.end(), [&](NodePtr const& child) {
    // A file can name a node as the child of several, or of itself; the first parent keeps it.
    bool const isRefused = !child.isAlive() || child->getParent().isAlive() || !canAdopt(child);
    if (isRefused) {
      refused.push_back(child);
    } else {
      link(*child);
    }
    return isRefused;
  });
  children.erase(kept, children.end());
  numberChildren(0);
  StructureCounter::advance();
  for (UInt32 i = 0; self.isAlive() && i < getNChildren(); ++i) tellMoved(getChild(i), {}, {});
  tellMoved({}, {}, self);
  for (NodePtr const& child : refused) child.subRef();
}

void Node::onDestroy() {
  NodePtr const parent = getParent();
  // Its core may have other users, whose order changes.
  StructureCounter::advanceFor(*this, getCore(), parent);
  unlinkCore();
  if (_countsAsAnimated) _changed = true;
  if (parent.isAlive()) {
    parent->eraseChild(*this);
    parent->unlink(*this);
  }
  for (NodePtr const& child : _fChildren) {
    child->_fParent.setValue({});
    StructureCounter::advanceForChild(*this, *child);
  }
  _animatedChildren.clear();
  if (parent.isAlive()) tellMoved(NodePtr(this), parent, {});
  for (UInt32 i = 0; i < getNChildren(); ++i) {
    NodePtr const child = getChild(i);
    // One that dies with this node needs nothing brought up to date.
    if (child.isAlive() && child->getRefCount() > 1) child->parentChanged();
  }
  Inherited::onDestroy();
}

}  // namespace knscene
}  // namespace osg
