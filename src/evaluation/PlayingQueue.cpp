#include "diagnosis/Faults.h"
#include "diagnosis/MotionWarnings.h"
#include "diagnosis/Refusal.h"
#include "evaluation/FieldContents.h"
#include "evaluation/FieldWrite.h"
#include "evaluation/GatheringBuffers.h"
#include "evaluation/SceneWalk.h"
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/scenedata/SceneRoots.h"
#include "model/utils/Broadcast.h"

#include <cmath>
#include <limits>
#include <utility>

using osg::AnimNode;
using osg::AnimNodeBase;
using osg::AnimNodePtr;

namespace {

double passTime = std::numeric_limits<double>::quiet_NaN();

struct Span {
  float start;
  float end;
};

Span spanOf(AnimNode const& node) {
  osg::BoxVolume volume;
  node.getAnimVolume(volume);
  osg::Pnt3f min;
  osg::Pnt3f max;
  volume.getBounds(min, max);
  return {min.x(), max.x()};
}

/// Repetitions within the span are left to the walk over the tree; only repetition without end wraps here. A tree
/// without length stands still.
double wrapRun(AnimNode const& node, Span span, double time) {
  int const cycles = node.getPostCycles();
  if (cycles == 0) return time;
  double const elapsed = time - static_cast<double>(span.start);
  float const length = span.end - span.start;
  if (cycles != -1) {
    float const period = length / (static_cast<float>(cycles) + 1.F);
    if (static_cast<double>(cycles) < std::trunc(elapsed / static_cast<double>(period))) return time;
  }
  if (length == 0.F) return cycles == -1 ? static_cast<double>(span.end) : time;
  return time - std::floor(elapsed / static_cast<double>(length)) * static_cast<double>(length);
}

/// The curves of trees that have several, as flights do, a step at a time like trees of one.
void prefetchChildren(AnimNodePtr const& tree, std::size_t step) {
  if (!tree.isAlive()) return;
  for (osg::NodePtr const& child : std::as_const(*tree).getChildren()) {
    if (step == 0) {
      __builtin_prefetch(child.getStoreAddress());
      continue;
    }
    auto const* const node = osg::dcastTo<AnimNode>(child);
    if (node == nullptr) continue;
    if (step == 1) {
      prefetchSpan(node->getCore(), node->getLastEvaluationTime());
    } else if (step == 2) {
      __builtin_prefetch(node->getCore().getStoreAddress());
    } else if (auto const* const curve = osg::dcastTo<osg::AnimCurve>(node->getCore())) {
      prefetchSpan(curve->getName(), curve->getColor());
    }
  }
}

void markAsStopped(AnimNodePtr const& node) {
  node->setPlaying(false);
  node->setUsePlayRange(false);
  announce(node, AnimNodeBase::PlayingFieldMask | AnimNodeBase::UsePlayRangeFieldMask);
}

/// What keeps a run from being what was meant.
[[gnu::cold]] void tellFaults(AnimNodePtr const& node) {
  std::string const title = titleOf(node);
  std::string const range = hasBadPlayRange(*node) ? title + describePlayRange(*node) : "";
  std::string const cycles = hasBadCycles(*node) ? title + describeCycles(*node) : "";
  if (!range.empty()) MotionWarnings::tellFault(node, knStillness::BadPlayRange, range);
  if (!cycles.empty()) MotionWarnings::tellFault(node, knStillness::BadCycles, cycles);
}

}  // namespace

double lastPassTime() { return passTime; }

PlayingPlan::Moment findMoment(AnimNode const& node, double now) {
  osg::Pnt2f const range = node.getPlayRange();
  Span const span = node.getUsePlayRange() ? Span{range.x(), range.y()} : spanOf(node);
  double const time = wrapRun(node, span, (now - node.getStartTime()) + static_cast<double>(span.start));
  bool const isOver = time > static_cast<double>(span.end);
  // The last value is that of the end, not of the moment when the end was noticed.
  return {isOver ? span.end : static_cast<float>(time), isOver};
}

// --- Entering and leaving -----------------------------------------------------------------------------------------

// Arguments are copied: they may stand in what the host's code drops meanwhile.

void knAnimEvaluator::enqueue(AnimNodePtr const& nodeArgument, bool start) {
  AnimNodePtr const node = nodeArgument;
  if (!node.isAlive()) {
    MotionWarnings::tellMistake(MotionWarnings::Mistake::NoTreeToPlay,
                                "a tree that is null or gone is not put into the playing queue");
    return;
  }
  if (!start) {
    _pendingNodes.insert(node);
    return;
  }
  double const now = knAnimManager::getSimulationTime();
  if (!node.isAlive()) return;
  node->setStartTime(now);
  node->setPlaying(true);
  announce(node, AnimNodeBase::StartTimeFieldMask | AnimNodeBase::PlayingFieldMask);
  if (!node.isAlive()) return;
  if (_playingNodes.insert(node).second) ++_queueEdits;
  if (hasBadPlayRange(*node) || hasBadCycles(*node)) [[unlikely]]
    tellFaults(node);
}

void knAnimEvaluator::dequeue(AnimNodePtr const& nodeArgument, bool finished) {
  AnimNodePtr const node = nodeArgument;
  unsigned int const id = node.getContainerId();
  bool const wasAlive = node.isAlive();
  if (wasAlive) markAsStopped(node);
  _pendingNodes.erase(node);
  // One that died before leaves without a word: nobody knows its number any more.
  bool const wasPlaying = _playingNodes.erase(node) > 0;
  if (wasPlaying) ++_queueEdits;
  if (!wasPlaying || !wasAlive) return;
  if (node.isAlive()) {
    if (finished) {
      node->finishedAnimation();
    } else {
      node->unregisterSingleCallFinishedAnimationCallbacks();
    }
  }
  send("dequeuedAnimation", "animNodeId", id);
}

void knAnimEvaluator::dequeueAll() {
  _pendingNodes.clear();
  for (AnimNodePtr const& node : std::vector(_playingNodes.begin(), _playingNodes.end())) {
    // A receiver may have taken it out already.
    if (!node.isAlive() || !_playingNodes.contains(node)) continue;
    unsigned int const id = node.getContainerId();
    markAsStopped(node);
    if (node.isAlive()) node->unregisterSingleCallFinishedAnimationCallbacks();
    send("dequeuedAnimation", "animNodeId", id);
  }
  // What receivers have started meanwhile goes too.
  ++_queueEdits;
  _playingNodes.clear();
}

bool knAnimEvaluator::isPlaying(std::string const& name) const {
  if (name.empty()) return false;
  for (AnimNodePtr const& node : _playingNodes) {
    if (!node.isAlive() || !node->getPlaying()) continue;
    auto const* const core = osg::dcastTo<osg::AnimObject>(node->getCore());
    if (core != nullptr && core->getName() == name) return true;
  }
  return false;
}

bool knAnimEvaluator::isPlaying(AnimNodePtr const& node) const {
  return node.isAlive() && node->getPlaying();
}

// --- One pass -----------------------------------------------------------------------------------------------------

void knAnimEvaluator::loop() {
  if (_playingNodes.empty() && _pendingNodes.empty()) return;
  updateSceneAnimParentMap(sceneRoot());
  double const now = passTime = knAnimManager::getSimulationTime();
  std::vector<AnimNodePtr> finished;
  // Out of the way of whoever comes back here.
  std::unique_ptr<PlayingPlan> plan = std::exchange(_buffers->playing, nullptr);
  if (plan == nullptr) plan = std::make_unique<PlayingPlan>();
  PlayingPlan::Sources const sources{_playingNodes, _queueEdits, _animParentMap, _parentMapEdits};
  plan->list(sources);
  if (_keepsPlans) plan->look(sources, now);
  {
    WritePhase const phase(*this, true, true);
    if (plan->isWhole()) {
      playPlanned(*plan, finished);
    } else {
      playAll(*plan, now, finished);
      commitChangedFields();
    }
  }
  if (_buffers->playing == nullptr) _buffers->playing = std::move(plan);
  send("evaluatedAnimationObjects", "count", static_cast<unsigned long>(_playingNodes.size()));
  for (AnimNodePtr const& node : finished) dequeue(node, true);
  startPending();
}

/// Nothing of the host's runs before the commit: what plays was known to play, and lives.
void knAnimEvaluator::playPlanned(PlayingPlan& plan, std::vector<AnimNodePtr>& finished) {
  PlainAnnouncing announcing;
  PlannedAims& aims = plan.aims();
  std::vector<AnimNodePtr> const& playing = plan.playing();
  std::vector<PlayingPlan::Tree>& trees = plan.trees();
  for (std::size_t i = 0; i < playing.size(); ++i) {
    constexpr std::size_t Ahead = 16;
    if (i + Ahead < playing.size()) {
      __builtin_prefetch(trees[i + Ahead].place);
      __builtin_prefetch(&std::as_const(*playing[i + Ahead]).getLastEvaluationTime());
    }
    PlayingPlan::Tree& tree = trees[i];
    if (tree.isPausing) continue;
    if (tree.writes) aims.store(tree.aim, *tree.rule, tree.place, tree.value, announcing);
    playing[i]->setLastEvaluationTime(tree.moment.time);
    announcing.tell(playing[i], AnimNodeBase::LastEvaluationTimeFieldMask, tree.entry);
    if (tree.moment.isOver) finished.push_back(playing[i]);
  }
  bool const isPlain = aims.arePlain();
  if (isPlain) aims.announceMarks(announcing);
  aims.moveMarks([this](auto const& container, osg::UInt32 id, auto const& mask) {
    _changedFields.insert(id, {container, mask});
  });
  if (!isPlain) commitChangedFields();
}

/// Whoever hears of what is written may change the queue and destroy trees: each tree is looked at again.
void knAnimEvaluator::playAll(PlayingPlan& plan, double now, std::vector<AnimNodePtr>& finished) {
  PlannedAims& aims = plan.aims();
  std::vector<AnimNodePtr> const& playing = plan.playing();
  auto const moveMarks = [&] {
    aims.moveMarks(
        [this](auto const& container, osg::UInt32, auto const& mask) { markFieldChanged(container, mask); });
  };
  for (std::size_t i = 0; i < playing.size(); ++i) {
    AnimNodePtr const& node = playing[i];
    // Leaving the queue ends playing: only what does not play any more needs to be looked for.
    if (!node.isAlive() || (!node->getPlaying() && !_playingNodes.contains(node))) continue;
    if (!plan.isReady(i)) {
      prefetchTrees(playing, i);
      moveMarks();
      plan.spoil();
      if (step(node, now)) finished.push_back(node);
      continue;
    }
    PlayingPlan::Tree& tree = plan.trees()[i];
    if (tree.isPausing) continue;
    if (tree.writes) {
      PlainAnnouncing announcing;
      aims.store(tree.aim, *tree.rule, tree.place, tree.value, announcing);
    }
    node->setLastEvaluationTime(tree.moment.time);
    announce(node, AnimNodeBase::LastEvaluationTimeFieldMask);
    if (tree.moment.isOver) finished.push_back(node);
  }
  moveMarks();
}

/// Whoever hears that one has begun may take others out, which do not begin then. What comes to wait meanwhile waits
/// for the next pass.
void knAnimEvaluator::startPending() {
  for (AnimNodePtr const& node : std::vector(_pendingNodes.begin(), _pendingNodes.end())) {
    if (!_pendingNodes.contains(node)) continue;
    if (node.isAlive()) enqueue(node, true);
    _pendingNodes.erase(node);
  }
}

/// Trees that play stand all over the memory: what the next ones need is asked for ahead of their turns, one step of
/// the chain at a time.
void knAnimEvaluator::prefetchTrees(std::vector<AnimNodePtr> const& trees, std::size_t now) const {
  constexpr std::size_t Steps = 4;
  auto const ahead = [&](std::size_t step) {
    std::size_t const place = now + 2 * (Steps - step);
    return place < trees.size() ? trees[place] : AnimNodePtr();
  };
  auto const ownerOf = [&](AnimNodePtr const& tree) {
    auto const entry = _animParentMap.find(tree->getCore().getContainerId());
    return entry != _animParentMap.end() && !entry->second.empty() ? *entry->second.begin()
                                                                   : osg::FieldContainerPtr();
  };
  for (std::size_t step = 0; step < Steps; ++step) prefetchChildren(ahead(step), step);
  if (AnimNodePtr const tree = ahead(0); tree.isAlive()) {
    prefetchSpan(std::as_const(*tree).getCore(), std::as_const(*tree).getLastEvaluationTime());
  }
  auto const curveOf = [](AnimNodePtr const& tree) -> osg::AnimCurve const* {
    return tree.isAlive() ? osg::dcastTo<osg::AnimCurve>(tree->getCore()) : nullptr;
  };
  if (auto const* const curve = curveOf(ahead(1))) prefetchSpan(curve->getName(), curve->getColor());
  if (AnimNodePtr const tree = ahead(2); tree.isAlive()) {
    if (auto const* const curve = curveOf(tree); curve != nullptr && !curve->isEmpty()) {
      __builtin_prefetch(&curve->getControlPoints().front());
      __builtin_prefetch(&curve->getControlPoints().back());
    }
    if (auto const* const owner = osg::dcastTo<osg::Node>(ownerOf(tree))) {
      prefetchSpan(owner->getCore(), owner->getTravMask());
    }
  }
  if (AnimNodePtr const tree = ahead(3); tree.isAlive()) {
    auto const* const owner = osg::dcastTo<osg::Node>(ownerOf(tree));
    auto const* const transform =
        owner != nullptr ? osg::dcastTo<osg::Transform3D>(owner->getCore()) : nullptr;
    if (transform != nullptr) prefetchSpan(transform->getTranslation(), transform->getEulerRotation());
  }
}

/// Evaluates a tree at its own time; true when that was its last.
bool knAnimEvaluator::step(AnimNodePtr const& node, double now) {
  if (!node.isAlive() || !node->getCore().isAlive() || node->getPausing()) return false;
  auto const [time, isOver] = findMoment(*node, now);
  evaluateObject(node, time, false, false, false);
  return isOver;
}

// --- The manager's entries ----------------------------------------------------------------------------------------

void knAnimManager::enqueue(AnimNodePtr const& node, bool start) {
  knAnimEvaluator::the()->enqueue(node, start);
}

void knAnimManager::enqueue(std::vector<AnimNodePtr> const& nodes, bool start) {
  for (AnimNodePtr const& node : std::vector<AnimNodePtr>(nodes)) enqueue(node, start);
}

void knAnimManager::dequeue(AnimNodePtr const& node) { knAnimEvaluator::the()->dequeue(node, false); }

void knAnimManager::dequeueAll() { knAnimEvaluator::the()->dequeueAll(); }

bool knAnimManager::isPlaying(std::string const& name) const {
  return knAnimEvaluator::the()->isPlaying(name);
}

bool knAnimManager::isPlaying(AnimNodePtr const& node) const {
  return knAnimEvaluator::the()->isPlaying(node);
}

void knAnimManager::pause(AnimNodePtr const& nodeArgument, bool paused) {
  AnimNodePtr const node = nodeArgument;
  if (!node.isAlive() || node->getPausing() == paused) return;
  node->setPausing(paused);
  announce(node, AnimNodeBase::PausingFieldMask);
  double const now = getSimulationTime();
  if (!node.isAlive()) return;
  if (paused) {
    node->setPauseTime(now);
    announce(node, AnimNodeBase::PauseTimeFieldMask);
    return;
  }
  // The length of the pause in single precision, as it has always been; the run goes on where it stood.
  auto const length = static_cast<float>(now - node->getPauseTime());
  node->setStartTime(node->getStartTime() + static_cast<double>(length));
  announce(node, AnimNodeBase::StartTimeFieldMask);
}

void knAnimManager::reset(AnimNodePtr const& nodeArgument, bool toEnd) {
  AnimNodePtr const node = nodeArgument;
  if (!node.isAlive()) return;
  Span const span = spanOf(*node);
  evaluateByTime(node, toEnd ? span.end : span.start, false, true, false);
  pause(node, false);
  dequeue(node);
}
