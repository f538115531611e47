// Copying, cutting and pasting animation trees. Whoever hears of a step (a `changed` handler, a callback, the receiver
// of a message) may change or destroy anything, the copy buffer included: each operation goes on with lists of its own.
#include "editing/CurveDataRefresh.h"
#include "editing/FreeRows.h"
#include "editing/PasteRule.h"
#include "knAnimManager.h"
#include "manager/Creation.h"
#include "manager/UniqueNames.h"
#include "model/fields/Ref.h"
#include "model/sceneext/AnimTreeCloning.h"
#include "model/scenegraph/NodeQueries.h"
#include "model/utils/knLog.h"
#include "model/utils/knUtils.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

using osg::AnimAttachmentPtr;
using osg::AnimNodePtr;
using osg::AttachmentContainerPtr;
using osg::FieldContainerPtr;
using osg::MaterialPtr;
using osg::NodePtr;

namespace {

using CopyList = std::vector<std::pair<AnimNodePtr, FieldContainerPtr>>;
using MakeName = std::function<std::string(std::string const&)>;

/// Copies share the materials that a tree refers to.
char const* const kSharedTypes = "Material";

void tellPasted() { knUtils::call("pastedAnimations", 0); }

void printRefusedAim(AnimNodePtr const& tree, std::string const& target) {
  knLog::print("Paste of animation " + nameOf(tree) + " to " + target +
               " failed because of incompatible aim types!\n");
}

void printRefusedPlace(AnimNodePtr const& tree, NodePtr const& target) {
  knLog::print("Paste of animation " + nameOf(tree) + " under " + nameOf(target) +
               " failed! Paste not valid!\n");
}

std::string targetNameOf(AttachmentContainerPtr const& target) {
  return osg::dcast<NodePtr>(target) ? nameOf(target) : getContainerName(target);
}

AnimNodePtr shareTree(AnimNodePtr const& tree) {
  return osg::dcast<AnimNodePtr>(osg::cloneAnimTree(tree, true));
}

AnimNodePtr copyTree(AnimNodePtr const& tree) { return osg::deepCloneAnimTree(tree, kSharedTypes); }

void mirror(AnimNodePtr const& tree) {
  tree->setFlipped(!tree->getFlipped());
  announce(tree, osg::AnimNodeBase::FlippedFieldMask);
}

/// The aim was found before the copy is made. No reference is taken on the source: whoever cuts it drops the last.
void append(CopyList& copies, CopyList& sources, AnimNodePtr const& tree, FieldContainerPtr const& aim) {
  AnimNodePtr const copy = copyTree(tree);
  if (!copy.isAlive()) return;
  copy.addRef();
  copies.emplace_back(copy, aim);
  sources.emplace_back(tree, aim);
}

void takeFromParent(AnimNodePtr const& tree) {
  if (!tree.isAlive()) return;
  AnimNodePtr const parent = osg::dcast<AnimNodePtr>(tree->getParent());
  if (!parent) return;
  parent->subChild(tree);
  announce(parent, osg::Node::ChildrenFieldMask);
}

/// All names of one paste go by one look at the names that there are.
MakeName nameMaker() {
  return [names = std::make_shared<UniqueNames>()](std::string const& name) { return names->make(name); };
}

/// Handlers are those of a host's own kinds of nodes.
bool canRunHostCode(NodePtr const& node) {
  return node->getType().getId() != osg::AnimNodeBase::_type.getId();
}

/// The rows below the target of a paste, kept from entry to entry while nobody else can have changed them.
class TargetRows {
 public:
  explicit TargetRows(NodePtr const& target) : _target(target) {}

  float findFreeFor(AnimNodePtr const& tree) {
    if (!_rows || canRunHostCode(tree) || canRunHostCode(_target)) _rows.emplace(_target, AnimNodePtr());
    float start = 0;
    float end = 0;
    knAnimManager::the()->getBounds(tree, start, end);
    return _rows->find(start, end);
  }
  void added(AnimNodePtr const& tree) {
    if (_rows && tree.isAlive()) _rows->add(tree);
  }

 private:
  NodePtr const _target;
  std::optional<FreeRows> _rows;
};

/// One paste of the buffer on one target, which goes by lists of its own: a handler may copy anew meanwhile. Entries
/// that died since they were copied are passed over in silence.
class Paste {
 public:
  enum class Outcome { NothingDone, InTree, OnContainer };

  /// Independent trees, made of the copies in the buffer and named anew.
  static Paste copies(CopyList const& entries, bool flip, MakeName makeName) {
    return {entries, flip, std::move(makeName)};
  }
  /// Trees that share their cores with what was copied, and keep their names.
  static Paste shares(CopyList const& sources, bool flip) { return {sources, flip, {}}; }

  Outcome run(MaterialPtr const& target, std::vector<AnimNodePtr>& pasted) const {
    return target.isAlive() && !_entries.empty() ? onContainer(target, pasted) : Outcome::NothingDone;
  }
  Outcome run(NodePtr const& target, std::vector<AnimNodePtr>& pasted) const {
    if (!target.isAlive() || !target->getCore().isAlive() || _entries.empty()) return Outcome::NothingDone;
    if (osg::dcastTo<osg::AnimNode>(target) == nullptr) return onContainer(target, pasted);
    return inTree(target, pasted, {});
  }
  /// `offsetX`, when given, is where the trees go on the time axis.
  Outcome inTree(NodePtr const& target, std::vector<AnimNodePtr>& pasted, std::optional<float> offsetX) const;

  bool isEmpty() const { return _entries.empty(); }

 private:
  Paste(CopyList const& entries, bool flip, MakeName makeName)
      : _entries(entries), _flip(flip), _makeName(std::move(makeName)) {}

  bool isCopying() const { return static_cast<bool>(_makeName); }
  Outcome onContainer(AttachmentContainerPtr const& target, std::vector<AnimNodePtr>& pasted) const;
  osg::Ref<osg::AnimNode> make(AnimNodePtr const& tree) const;
  void place(AnimNodePtr const& tree, TargetRows& rows, std::optional<float> offsetX) const;

  CopyList const _entries;
  bool const _flip;
  MakeName const _makeName;
};

osg::Ref<osg::AnimNode> Paste::make(AnimNodePtr const& tree) const {
  osg::Ref<osg::AnimNode> const made = isCopying() ? copyTree(tree) : shareTree(tree);
  if (made.isAlive() && _flip) mirror(made);
  return made;
}

/// The attachment is made before any entry is tested: a target that takes nothing has one afterwards.
Paste::Outcome Paste::onContainer(AttachmentContainerPtr const& target,
                                  std::vector<AnimNodePtr>& pasted) const {
  AnimAttachmentPtr const attachment = findOrCreateAttachment(target);
  for (auto const& [tree, aim] : _entries) {
    if (!attachment.isAlive() || !target.isAlive()) break;
    if (!hasCore<osg::AnimObject>(tree)) continue;
    if (!isPasteValid(aim, target)) {
      printRefusedAim(tree, targetNameOf(target));
      continue;
    }
    osg::Ref<osg::AnimNode> const made = make(tree);
    if (!made.isAlive() || !attachment.isAlive()) continue;
    attachment->addAnimation(made);
    if (!made.isAlive()) continue;
    pasted.push_back(made);
    if (isCopying()) osg::NodeUtils::setName(made.get(), _makeName(nameOf(made.get())), true);
  }
  return Outcome::OnContainer;
}

/// Nothing is renamed in a tree, and the cores of what is pasted are not looked at.
Paste::Outcome Paste::inTree(NodePtr const& target, std::vector<AnimNodePtr>& pasted,
                             std::optional<float> offsetX) const {
  TargetRows rows(target);
  for (auto const& [tree, aim] : _entries) {
    if (!target.isAlive()) break;
    if (!tree.isAlive()) continue;
    if (!isPasteValid(tree, target)) {
      printRefusedPlace(tree, target);
      continue;
    }
    osg::Ref<osg::AnimNode> const made = make(tree);
    if (!made.isAlive() || !target.isAlive()) continue;
    if (!isCopying()) place(made, rows, offsetX);
    if (!made.isAlive() || !target.isAlive()) continue;
    target->addChild(made.get());
    rows.added(made);
    pasted.push_back(made);
    announce(target, osg::Node::ChildrenFieldMask);
  }
  return Outcome::InTree;
}

/// The row is one that is free where the tree stands at first; only then does the tree move along it, onto whatever
/// stands there. Users' arrangements came about in this order, so it stays.
void Paste::place(AnimNodePtr const& tree, TargetRows& rows, std::optional<float> offsetX) const {
  tree->setOffset({tree->getOffset().x(), rows.findFreeFor(tree)});
  if (offsetX) tree->moveBy(*offsetX - tree->getOffset().x(), 0.F);
  announce(tree, osg::AnimNodeBase::OffsetFieldMask);
}

/// The curve data of the scene is refreshed when all targets are done: a refresh for each would look at the whole scene
/// each time.
template <class Target, class MakePaste>
void pasteOnEach(std::vector<Target> const targets, MakePaste makePaste, bool notify) {
  std::vector<AnimNodePtr> pasted;
  bool isRefreshDue = false;
  for (Target const& target : targets) {
    isRefreshDue |= makePaste().run(target, pasted) == Paste::Outcome::OnContainer;
  }
  if (isRefreshDue) knAnimManager::the()->updateSceneAnimCurveData();
  if (notify) tellPasted();
}

/// What a paste ends with, unless it had nothing to do: the message tells that it ran, not that an entry got through.
void finish(Paste::Outcome outcome, bool notify) {
  if (outcome == Paste::Outcome::NothingDone) return;
  if (outcome == Paste::Outcome::OnContainer) CurveDataRefresh::isDue(notify);
  if (notify) tellPasted();
}

}  // namespace

// --- The buffer ---------------------------------------------------------------------------------------------------

void knAnimManager::clearCopyBuffer() {
  std::function<void(NodePtr const&)> const destroy = _destroyNodeCB;
  if (!destroy) {
    knLog::error("knAnimManager::clearCopyBuffer: Destroy node callback not set. Operation aborted.");
    return;
  }
  CopyList const former = std::exchange(_copyBuffer, {});
  _copySources.clear();
  for (auto const& [tree, aim] : former) {
    if (tree.isAlive()) destroy(tree);
  }
}

void knAnimManager::copy(AnimNodePtr const& animation, FieldContainerPtr aim) {
  AnimNodePtr const tree = animation;
  if (!tree.isAlive()) return;
  clearCopyBuffer();
  append(_copyBuffer, _copySources, tree, aim.isAlive() ? aim : findOwningContainer(tree));
}

void knAnimManager::copy(std::vector<AnimNodePtr> const& animations) {
  if (animations.empty()) return;
  std::vector<AnimNodePtr> const trees = animations;
  clearCopyBuffer();
  OwnerSearch search;
  for (AnimNodePtr const& tree : trees) {
    if (tree.isAlive()) append(_copyBuffer, _copySources, tree, search.find(tree));
  }
}

void knAnimManager::copyFrom(AttachmentContainerPtr const& container) {
  if (!container.isAlive()) return;
  std::vector<AnimNodePtr> trees;
  if (AnimAttachmentPtr const attachment = getAnimAttachment(container)) {
    attachment->getTopLevelAnimations(trees, true);
  }
  if (!trees.empty()) {
    copy(trees);
    return;
  }
  bool const isNode = osg::dcastTo<osg::Node>(container) != nullptr;
  if (!isNode && osg::dcastTo<osg::Material>(container) == nullptr) return;
  knLog::print("WARNING: " + targetNameOf(container) + " has no animations. Copy failed!\n");
}

void knAnimManager::cut(AnimNodePtr const& animation) {
  AnimNodePtr const tree = animation;
  if (!tree.isAlive()) return;
  copy(tree, {});
  takeFromParent(tree);
}

void knAnimManager::cut(std::vector<AnimNodePtr> const& animations) {
  std::vector<AnimNodePtr> const trees = animations;
  copy(trees);
  for (AnimNodePtr const& tree : trees) takeFromParent(tree);
}

// --- Pasting ------------------------------------------------------------------------------------------------------

void knAnimManager::pasteTo(MaterialPtr const& targetArgument, bool flip, bool notify) {
  MaterialPtr const target = targetArgument;
  std::vector<AnimNodePtr> pasted;
  Paste const paste = Paste::copies(_copyBuffer, flip, nameMaker());
  finish(paste.run(target, pasted), notify);
}

std::vector<AnimNodePtr> knAnimManager::pasteTo(NodePtr const& targetArgument, bool flip, bool notify) {
  NodePtr const target = targetArgument;
  std::vector<AnimNodePtr> pasted;
  Paste const paste = Paste::copies(_copyBuffer, flip, nameMaker());
  finish(paste.run(target, pasted), notify);
  return pasted;
}

void knAnimManager::pasteTo(std::vector<MaterialPtr> const& targets, bool flip, bool notify) {
  MakeName const makeName = nameMaker();
  pasteOnEach(
      targets, [&] { return Paste::copies(_copyBuffer, flip, makeName); }, notify);
}

void knAnimManager::pasteTo(std::vector<NodePtr> const& targets, bool flip, bool notify) {
  MakeName const makeName = nameMaker();
  pasteOnEach(
      targets, [&] { return Paste::copies(_copyBuffer, flip, makeName); }, notify);
}

void knAnimManager::clonePasteTo(MaterialPtr const& targetArgument, bool flip, bool notify) {
  MaterialPtr const target = targetArgument;
  std::vector<AnimNodePtr> pasted;
  finish(Paste::shares(_copySources, flip).run(target, pasted), notify);
}

std::vector<AnimNodePtr> knAnimManager::clonePasteTo(NodePtr const& targetArgument, bool flip, bool notify) {
  NodePtr const target = targetArgument;
  std::vector<AnimNodePtr> pasted;
  finish(Paste::shares(_copySources, flip).run(target, pasted), notify);
  return pasted;
}

void knAnimManager::clonePasteTo(std::vector<MaterialPtr> const& targets, bool flip, bool notify) {
  pasteOnEach(
      targets, [&] { return Paste::shares(_copySources, flip); }, notify);
}

void knAnimManager::clonePasteTo(std::vector<NodePtr> const& targets, bool flip, bool notify) {
  pasteOnEach(
      targets, [&] { return Paste::shares(_copySources, flip); }, notify);
}

std::vector<AnimNodePtr> knAnimManager::clonePasteToWithOffset(AnimNodePtr const& targetArgument,
                                                               float offsetX, bool flip, bool notify) {
  AnimNodePtr const target = targetArgument;
  std::vector<AnimNodePtr> pasted;
  Paste const paste = Paste::shares(_copySources, flip);
  if (!target.isAlive() || !target->getCore().isAlive() || paste.isEmpty()) return pasted;
  finish(paste.inTree(target, pasted, offsetX), notify);
  return pasted;
}

// --- Rows of a track ----------------------------------------------------------------------------------------------

float knAnimManager::calculateFreeOffsetYFor(AnimNodePtr const& animation, NodePtr const& parent,
                                             AnimNodePtr const& ignore) {
  if (!animation.isAlive() || !parent.isAlive()) return 0.F;
  float start = 0;
  float end = 0;
  getBounds(animation, start, end);
  return FreeRows(parent, ignore).find(start, end);
}

float knAnimManager::calculateFreeOffsetYFor(float start, float length, NodePtr const& parent,
                                             AnimNodePtr const& ignore) {
  return FreeRows(parent, ignore).find(start, start + length);
}

float knAnimManager::maxChildOffsetY(NodePtr const& parent) {
  float highest = -1.F;
  if (!parent.isAlive()) return highest;
  for (NodePtr const& child : parent->getChildren()) {
    auto const* const animation = osg::dcastTo<osg::AnimNode>(child);
    if (animation != nullptr) highest = std::max(highest, animation->getOffset().y());
  }
  return highest;
}

// --- Clip nodes that wait for their place -------------------------------------------------------------------------

void knAnimManager::restoreFromClipNodeBuffer() {
  auto const waiting = std::exchange(_clipNodeBuffer, {});
  for (auto const& [child, parent] : waiting) {
    if (child.isAlive() && parent.isAlive()) {
      parent->addChild(child);
      announce(parent, osg::Node::ChildrenFieldMask);
    }
    child.subRef();
  }
}
