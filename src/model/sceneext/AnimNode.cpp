#include "model/sceneext/AnimNode.h"

#include "model/scenegraph/Cloning.h"

#include <algorithm>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE_ABSTRACT(AnimObjectBase, "AnimObject")
KN_CONTAINER_TYPE(AnimNodeBase, AnimNode, "AnimNode")

bool AnimNode::_changed = false;

namespace {

void extend(std::optional<TimeRange>& range, TimeRange const& other) {
  range = range ? TimeRange{std::min(range->min, other.min), std::max(range->max, other.max)} : other;
}

}  // namespace

void AnimObject::changed(BitVector const& mask, UInt32 origin) {
  AnimObjectBase::changed(mask, origin);
  timeRangeChanged();
}

void AnimObject::timeRangeChanged() {
  for (NodePtr const& parent : getParents()) {
    if (AnimNode const* const node = dcastTo<AnimNode>(parent)) node->timeRangeChanged();
  }
}

void AnimNode::setOffset(Vec2f const& offset) {
  AnimNodeBase::setOffset(offset);
  placementChanged();
}

void AnimNode::setScale(Real32 const& scale) {
  AnimNodeBase::setScale(scale);
  placementChanged();
}

void AnimNode::setPostCycles(Int32 const& cycles) {
  AnimNodeBase::setPostCycles(cycles);
  timeRangeChanged();
}

void AnimNode::moveBy(Real32 x, Real32 y) { setOffset(getOffset() + Vec2f(x, y)); }

void AnimNode::changed(BitVector const& mask, UInt32 origin) {
  AnimNodeBase::changed(mask, origin);
  if ((mask & (OffsetFieldMask | ScaleFieldMask)).any()) placementChanged();
  if ((mask & PostCyclesFieldMask).any()) timeRangeChanged();
}

void AnimNode::structureChanged() {
  _changed = true;
  timeRangeChanged();
}

void AnimNode::parentChanged() {
  _changed = true;
  if (takeParentPlacement()) placementChanged();
}

bool AnimNode::takeParentPlacement() {
  AnimNode const* const parent = dcastTo<AnimNode>(getParent());
  Real32 const scale = parent != nullptr ? parent->getTotalScale() : 1.F;
  Vec2f const offset = parent != nullptr
                           ? Vec2f(parent->getTotalOffset(),
                                   parent->getOffset().y() + parent->getAccumulatedParentOffset().y())
                           : Vec2f();
  bool const same = FieldDataTraits<Real32>::isEqual(scale, getAccumulatedParentScale()) &&
                    FieldDataTraits<Vec2f>::isEqual(offset, getAccumulatedParentOffset());
  if (same) return false;
  _fAccumulatedParentScale.setValue(scale);
  _fAccumulatedParentOffset.setValue(offset);
  return true;
}

void AnimNode::placementChanged() {
  timeRangeChanged();
  std::vector<AnimNode*> open{this};
  while (!open.empty()) {
    AnimNode* const node = open.back();
    open.pop_back();
    NodePtr const handle(node);
    for (NodePtr const& child : node->getChildren()) {
      AnimNode* const animChild = dcastTo<AnimNode>(child);
      // While a tree is being put together, a child may not be linked yet; it takes its values then.
      if (animChild == nullptr || animChild->getParent() != handle) continue;
      if (!animChild->takeParentPlacement()) continue;
      animChild->_cachedRange.measured = false;
      open.push_back(animChild);
    }
  }
}

void AnimNode::timeRangeChanged() const {
  // A measured node has only measured nodes below it, so the first unmeasured one ends the way up.
  for (AnimNode const* node = this; node != nullptr && node->_cachedRange.measured;) {
    node->_cachedRange.measured = false;
    node = dcastTo<AnimNode>(node->getParent());
  }
}

TimeRange AnimNode::withCycles(TimeRange run) const {
  Real32 const runs = static_cast<Real32>(std::max(getPostCycles(), 0)) + 1.F;
  return {run.min, run.min + (run.max - run.min) * runs};
}

void AnimNode::measure() const {
  std::optional<TimeRange> range;
  AnimObject const* const object = dcastTo<AnimObject>(getCore());
  if (std::optional<TimeRange> const own = object != nullptr ? object->getTimeRange() : std::nullopt) {
    Real32 const a = own->min * getTotalScale() + getTotalOffset();
    Real32 const b = own->max * getTotalScale() + getTotalOffset();
    extend(range, {std::min(a, b), std::max(a, b)});
  }
  for (NodePtr const& child : getChildren()) {
    AnimNode const* const animChild = dcastTo<AnimNode>(child);
    if (animChild != nullptr && animChild->_cachedRange.range) extend(range, *animChild->_cachedRange.range);
  }
  _cachedRange.range = range ? std::optional(withCycles(*range)) : std::nullopt;
  _cachedRange.measured = true;
}

void AnimNode::getAnimVolume(BoxVolume& volume) const {
  // Children before parents, without recursion.
  std::vector<AnimNode const*> open{this};
  while (!_cachedRange.measured) {
    AnimNode const* const node = open.back();
    std::size_t const before = open.size();
    for (NodePtr const& child : node->getChildren()) {
      AnimNode const* const animChild = dcastTo<AnimNode>(child);
      if (animChild != nullptr && !animChild->_cachedRange.measured) open.push_back(animChild);
    }
    if (open.size() > before) continue;
    node->measure();
    open.pop_back();
  }
  volume.setEmpty();
  if (!_cachedRange.range) return;
  volume.setBounds({_cachedRange.range->min, 0.F, 0.F}, {_cachedRange.range->max, 0.F, 0.F});
}

void AnimNode::unshare(std::string const& name) {
  NodeCorePtr const core = getCore();
  if (!core.isAlive() || core->getParents().size() < 2) return;
  NodeCorePtr const copy = dcast<NodeCorePtr>(deepCopyContainer(core, ""));
  if (AnimObject* const object = dcastTo<AnimObject>(copy); object != nullptr && !name.empty()) {
    object->setName(name);
  }
  setCore(copy);
}

void AnimNode::unshareTree(std::string const& name) {
  std::vector<NodePtr> open{NodePtr(this)};
  while (!open.empty()) {
    NodePtr const node = open.back();
    open.pop_back();
    if (AnimNode* const animNode = dcastTo<AnimNode>(node)) animNode->unshare(name);
    for (NodePtr const& child : node->getChildren()) open.push_back(child);
  }
}

UInt32 AnimNode::registerFinishedAnimationCallback(FinishedCallback callback, bool singleCall) {
  _finishedCallbacks.push_back({_nextCallbackNumber, std::move(callback), singleCall});
  return _nextCallbackNumber++;
}

void AnimNode::unregisterFinishedAnimationCallback(UInt32 number) {
  std::erase_if(_finishedCallbacks,
                [number](RegisteredCallback const& entry) { return entry.number == number; });
}

void AnimNode::unregisterSingleCallFinishedAnimationCallbacks() {
  std::erase_if(_finishedCallbacks, [](RegisteredCallback const& entry) { return entry.singleCall; });
}

void AnimNode::finishedAnimation() {
  Ptr const self(this);
  std::vector<RegisteredCallback> const callbacks = _finishedCallbacks;
  for (RegisteredCallback const& entry : callbacks) {
    if (!self.isAlive()) return;
    bool const stillThere =
        std::any_of(_finishedCallbacks.begin(), _finishedCallbacks.end(),
                    [&](RegisteredCallback const& other) { return other.number == entry.number; });
    if (stillThere && entry.callback) entry.callback(self);
  }
}

}  // namespace knscene
}  // namespace osg
