#include "model/sceneext/AnimNode.h"

#include "model/fields/Ref.h"
#include "model/scenegraph/Cloning.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE_ABSTRACT(AnimObjectBase, "AnimObject")
KN_CONTAINER_TYPE(AnimNodeBase, AnimNode, "AnimNode")

namespace {

void extend(std::optional<TimeRange>& range, TimeRange const& other) {
  range = range ? TimeRange{std::min(range->min, other.min), std::max(range->max, other.max)} : other;
}

}  // namespace

void AnimObject::changed(BitVector const& mask, UInt32 origin) {
  AnimObjectBase::changed(mask, origin);
  timeRangeChanged();
}

void AnimObject::followChange(BitVector const& mask) {
  AnimObjectBase::followChange(mask);
  timeRangeChanged();
}

void AnimObject::timeRangeChanged() {
  if (!_isMeasured.load(std::memory_order_relaxed)) return;
  _isMeasured.store(false, std::memory_order_relaxed);
  for (NodePtr const& parent : getParents()) {
    if (AnimNode const* const node = dcastTo<AnimNode>(parent)) node->timeRangeChanged();
  }
  tellTimeRangeUsers();
}

struct TimeRangeUsers::Counts {
  std::unordered_map<AnimObjectPtr, UInt32> byUser;
};

TimeRangeUsers::TimeRangeUsers() = default;
TimeRangeUsers::~TimeRangeUsers() { delete _counts; }

void TimeRangeUsers::add(AnimObjectPtr const& user) {
  if (_counts == nullptr) _counts = new Counts;
  ++_counts->byUser[user];
}

void TimeRangeUsers::sub(AnimObjectPtr const& user) {
  if (_counts == nullptr) return;
  auto const found = _counts->byUser.find(user);
  if (found == _counts->byUser.end() || --found->second > 0) return;
  _counts->byUser.erase(found);
  if (_counts->byUser.empty()) delete std::exchange(_counts, nullptr);
}

void TimeRangeUsers::timeRangeChanged() const {
  if (_counts == nullptr) return;
  for (auto const& [user, count] : _counts->byUser) {
    if (user.isAlive()) user->timeRangeChanged();
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
  followChange(mask);
}

void AnimNode::followChange(BitVector const& mask) {
  AnimNodeBase::followChange(mask);
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

/// Measures a node and whatever below it has to be, children before parents and without recursion. Classes of the
/// host's may answer for their nodes by rules of their own, whose answers can change at any time: what rests on one is
/// kept until the measuring ends, and no longer.
class AnimNode::Measuring {
 public:
  Measuring() = default;
  Measuring(Measuring const&) = delete;
  Measuring& operator=(Measuring const&) = delete;
  ~Measuring() {
    for (AnimNodePtr const& node : _notKept) {
      if (node.isAlive()) node->_cachedRange.measured = false;
    }
  }

  std::optional<TimeRange> rangeOf(AnimNode const& top) {
    AnimNodePtr const self(&top);
    std::vector<AnimNodePtr> open{self};
    while (!open.empty()) {
      AnimNodePtr const node = open.back();
      if (node.isAlive() && !node->_cachedRange.measured) {
        std::size_t const before = open.size();
        for (NodePtr const& child : node->getChildren()) {
          AnimNode const* const animChild = dcastTo<AnimNode>(child);
          if (animChild != nullptr && !animChild->_cachedRange.measured)
            open.push_back(dcast<AnimNodePtr>(child));
        }
        if (open.size() > before) continue;
      }
      open.pop_back();
      if (node.isAlive() && !node->_cachedRange.measured) measure(node);
    }
    return self.isAlive() ? top._cachedRange.range : std::nullopt;
  }

 private:
  void measure(AnimNodePtr const& node) {
    std::optional<TimeRange> range;
    bool isKept = true;
    AnimObject const* const object = dcastTo<AnimObject>(node->getCore());
    if (std::optional<TimeRange> const own = object != nullptr ? object->measureTimeRange() : std::nullopt) {
      Real32 const a = own->min * node->getTotalScale() + node->getTotalOffset();
      Real32 const b = own->max * node->getTotalScale() + node->getTotalOffset();
      extend(range, {std::min(a, b), std::max(a, b)});
    }
    // Answers of the host's can change the children meanwhile.
    for (UInt32 i = 0; node.isAlive() && i < node->getNChildren(); ++i) {
      NodePtr const& child = node->getChildren()[i];
      AnimNode const* const animChild = dcastTo<AnimNode>(child);
      if (animChild == nullptr) continue;
      bool const answersItself = child.findType() != &AnimNodeBase::_type && animChild->hasOwnAnimVolume();
      isKept = isKept && !answersItself && animChild->_cachedRange.isKept;
      std::optional<TimeRange> const below =
          answersItself ? answerOf(*animChild) : animChild->_cachedRange.range;
      if (below) extend(range, *below);
    }
    if (!node.isAlive()) return;
    node->_cachedRange = {true, isKept, range ? std::optional(node->withCycles(*range)) : std::nullopt};
    if (!isKept) _notKept.push_back(node);
  }

  static std::optional<TimeRange> answerOf(AnimNode const& node) {
    BoxVolume volume;
    node.getAnimVolume(volume);
    if (volume.isEmpty()) return std::nullopt;
    Pnt3f min, max;
    volume.getBounds(min, max);
    return TimeRange{min.x(), max.x()};
  }

  std::vector<AnimNodePtr> _notKept;
};

void AnimNode::getAnimVolume(BoxVolume& volume) const {
  std::optional<TimeRange> const range =
      _cachedRange.measured ? _cachedRange.range : Measuring().rangeOf(*this);
  volume.setEmpty();
  if (range) volume.setBounds({range->min, 0.F, 0.F}, {range->max, 0.F, 0.F});
}

BoxVolume AnimNode::getWorldVolume() const {
  BoxVolume volume;
  getAnimVolume(volume);
  return volume;
}

void AnimNode::unshare(std::string const& nameArgument) {
  NodePtr const self(this);
  std::string const name = nameArgument;
  NodeCorePtr const core = getCore();
  if (!core.isAlive() || core->getParents().size() < 2) return;
  Ref<NodeCore> const copy = dcast<NodeCorePtr>(deepCopyContainer(core, ""));
  // A host's own kind of core is made by its code, and told when it is filled.
  if (!self.isAlive() || !copy.isAlive()) return;
  if (AnimObject* const object = dcastTo<AnimObject>(copy.get()); object != nullptr && !name.empty()) {
    object->setName(name);
  }
  setCore(copy.get());
}

void AnimNode::unshareTree(std::string const& nameArgument) {
  // Whoever hears of the end of a core may destroy the tree, and the text with it.
  std::string const name = nameArgument;
  std::vector<NodePtr> open{NodePtr(this)};
  while (!open.empty()) {
    NodePtr const node = open.back();
    open.pop_back();
    if (AnimNode* const animNode = dcastTo<AnimNode>(node)) animNode->unshare(name);
    if (!node.isAlive()) continue;
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
    // Callbacks come and go while others run; the numbers ascend.
    auto const present =
        std::ranges::lower_bound(_finishedCallbacks, entry.number, {}, &RegisteredCallback::number);
    bool const isThere = present != _finishedCallbacks.end() && present->number == entry.number;
    if (!isThere || present->isSpent) continue;
    present->isSpent = entry.singleCall;
    if (entry.callback) entry.callback(self);
    if (!self.isAlive()) return;
  }
  std::erase_if(_finishedCallbacks, [](RegisteredCallback const& entry) { return entry.isSpent; });
}

}  // namespace knscene
}  // namespace osg
