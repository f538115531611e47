#include "knanim/playing/QueueRun.h"

#include "knAnimEvaluator.h"
#include "knanim/playing/Playback.h"
#include "knanim/scene/AnimationTrees.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/Text.h"
#include "model/constraint/knConstraintManager.h"
#include "model/fields/ChangeList.h"
#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimClip.h"
#include "model/sceneext/AnimTreeCloning.h"
#include "model/utils/knUtils.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

namespace knanim {
namespace {

/// Moments that differ by less are one.
constexpr double kSameTime = 1e-9;

/// Times of animations are floats; the end of a range may be the end of an animation, written in another way.
constexpr double kSlack = 1e-3;

bool isReached(double moment, double now) { return now >= moment - kSameTime; }

std::vector<TimeSpan> pausesOf(QueueModel const& part, std::vector<QueuePause> const& all) {
  std::vector<TimeSpan> pauses;
  for (QueuePause const& pause : all) {
    if (pause.model.value_or(part.number) == part.number) pauses.push_back(pause.time);
  }
  std::sort(pauses.begin(), pauses.end(),
            [](TimeSpan const& a, TimeSpan const& b) { return a.begin < b.begin; });
  std::vector<TimeSpan> merged;
  for (TimeSpan const& pause : pauses) {
    if (!merged.empty() && pause.begin <= merged.back().end + kSameTime)
      merged.back().end = std::max(merged.back().end, pause.end);
    else
      merged.push_back(pause);
  }
  return merged;
}

/// Adds to a tree what hangs on a node or material and is switched on. Blocks keep their offsets, scales and
/// repetitions; curves and caches are shared, and so move what they move.
void shareAnimations(osg::AttachmentContainerPtr const& owner, osg::AnimNodePtr const& tree) {
  osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(owner);
  if (!attachment.isAlive() || !attachment->getAnimationRoot().isAlive()) return;
  auto const& hung = attachment->getAnimationRoot()->getChildren();
  osg::AnimNodePtr block;
  for (osg::NodePtr const& each : std::vector<osg::NodePtr>(hung.begin(), hung.end())) {
    if (!each->isActive()) continue;
    osg::NodePtr const copy = osg::cloneAnimTree(each, true);
    if (osg::dcastTo<osg::AnimBlock>(each->getCore()) != nullptr) {
      tree->addChild(copy);
      continue;
    }
    // A curve by itself, or a cache.
    char const* const name = osg::NodeUtils::getName(owner);
    if (block == nullptr) {
      block = makeTree(osg::AnimBlockBase::create(), name != nullptr ? name : "");
      tree->addChild(block);
    }
    block->addChild(copy);
  }
}

std::string seconds(double time) { return brief(time, 6) + " s"; }

}  // namespace

// --- Trees --------------------------------------------------------------------------------------------------------

QueueRun::QueueRun(QueueModels const& models, AnimatedScene const& scene, QueueSettings settings)
    : _models(models), _settings(std::move(settings)) {
  _record.tracks.resize(models.parts.size());
  _trees.reserve(models.parts.size());
  for (QueueModel const& part : models.parts) addTree(part, scene);
}

QueueRun::~QueueRun() {
  for (Tree& tree : _trees) tree.node.subRef();
}

void QueueRun::addTree(QueueModel const& part, AnimatedScene const& scene) {
  Tree& tree = _trees.emplace_back();
  tree.node = makeTree(osg::AnimClipBase::create(), part.name);
  tree.node.addRef();
  osg::traverse(scene.nodes()[part.nodes.begin], [&](osg::NodePtr const& node) {
    shareAnimations(node, tree.node);
    return osg::Action::Continue;
  });
  for (osg::Ref<osg::Material> const& material : part.stored.materials)
    shareAnimations(material.get(), tree.node);
  tree.node->setPostCycles(_settings.cycles);
  tree.start = static_cast<double>(_trees.size() - 1) * _settings.stagger;
  tree.pauses = pausesOf(part, _settings.pauses);
  tree.span = spanOf(tree.node);
  if (_settings.cycles == -1) tree.span.end = std::numeric_limits<double>::infinity();
}

double QueueRun::plannedEnd(Tree const& tree) const {
  if (_settings.cycles == -1) return std::numeric_limits<double>::infinity();
  TimeSpan const span = _settings.range.value_or(tree.span);
  double end = tree.start + (span.end - span.begin);
  for (TimeSpan const& pause : tree.pauses) {
    if (pause.begin < end) end += std::max(0.0, pause.end - std::max(pause.begin, tree.start));
  }
  return end;
}

double QueueRun::plannedEnd() const {
  double end = 0;
  for (Tree const& tree : _trees) end = std::max(end, plannedEnd(tree));
  return std::min(end, _settings.seconds.value_or(end));
}

std::vector<QueuePause> QueueRun::unmetPauses() const {
  std::vector<QueuePause> unmet;
  for (QueuePause const& pause : _settings.pauses) {
    bool isMet = false;
    for (std::size_t i = 0; i < _trees.size(); ++i) {
      if (pause.model.value_or(_models.parts[i].number) != _models.parts[i].number) continue;
      for (TimeSpan const& met : _record.tracks[i].pauses)
        isMet = isMet || (met.begin < pause.time.end && met.end >= pause.time.begin);
    }
    if (!isMet) unmet.push_back(pause);
  }
  return unmet;
}

// --- What happens -------------------------------------------------------------------------------------------------

void QueueRun::tell(std::size_t model, std::string what, std::string detail) const {
  if (_onEvent) _onEvent({_now, model, std::move(what), std::move(detail)});
}

void QueueRun::hear(std::string_view name, knMessage const& message) {
  if (auto const* const count = message.get<unsigned long>("count");
      count != nullptr && name == "evaluatedAnimationObjects")
    _record.queued += *count;
  auto const* const id = message.get<unsigned int>("animNodeId");
  if (id == nullptr) return;
  for (std::size_t i = 0; i < _trees.size(); ++i) {
    if (_trees[i].node.getContainerId() == *id) tell(i, "message", '"' + std::string(name) + '"');
  }
}

void QueueRun::start(std::size_t model) {
  Tree const& tree = _trees[model];
  if (_settings.range) {
    tree.node->setPlayRange(
        {static_cast<float>(_settings.range->begin), static_cast<float>(_settings.range->end)});
    tree.node->setUsePlayRange(true);
  }
  tree.node->registerFinishedAnimationCallback([this, model](osg::AnimNodePtr const&) { finish(model); },
                                               true);
  _record.tracks[model].playing = TimeSpan{_now, _now};
  knAnimManager::the()->enqueue(tree.node, true);
  TimeSpan const span = _settings.range.value_or(spanOf(tree.node));
  std::string end = _settings.cycles == -1 ? ", without end" : "";
  bool const isPartOutside = span.begin < tree.span.begin - kSlack || span.end > tree.span.end + kSlack;
  if (isPartOutside && end.empty())
    end += "; its animation is from " + seconds(tree.span.begin) + " to " + seconds(tree.span.end);
  tell(model, "enqueued", "plays " + seconds(span.begin) + " to " + seconds(span.end) + end);
}

void QueueRun::finish(std::size_t model) {
  _record.tracks[model].finished = true;
  _record.tracks[model].playing->end = _now;
  tell(model, "finished", "at its own time " + seconds(_trees[model].node->getLastEvaluationTime()));
}

/// What is due for a model at the present time.
void QueueRun::act(std::size_t model) {
  Tree const& tree = _trees[model];
  QueueTrack& track = _record.tracks[model];
  if (!track.playing && isReached(tree.start, _now)) start(model);
  if (!knAnimManager::the()->isPlaying(tree.node)) return;
  bool const pausing = std::any_of(tree.pauses.begin(), tree.pauses.end(), [this](TimeSpan const& pause) {
    return isReached(pause.begin, _now) && !isReached(pause.end, _now);
  });
  if (pausing == tree.node->getPausing()) return;
  knAnimManager::the()->pause(tree.node, pausing);
  if (pausing) {
    track.pauses.push_back({_now, _now});
    tell(model, "paused");
  } else {
    track.pauses.back().end = _now;
    tell(model, "resumed", "after " + seconds(_now - track.pauses.back().begin));
  }
}

/// Ends a model's part in the run, which may have finished before.
void QueueRun::stop(std::size_t model) {
  Tree const& tree = _trees[model];
  QueueTrack& track = _record.tracks[model];
  if (!track.playing) return;
  if (!track.finished) {
    track.playing->end = _now;
    if (tree.node->getPausing()) track.pauses.back().end = _now;
    tell(model, "stopped", "at its own time " + seconds(tree.node->getLastEvaluationTime()));
  }
  if (_settings.resetAtEnd) {
    knAnimManager::the()->reset(tree.node, false);
    tell(model, "reset", "to its own time " + seconds(tree.node->getLastEvaluationTime()));
  } else if (!track.finished) {
    knAnimManager::the()->dequeue(tree.node);
  }
}

// --- Passes -------------------------------------------------------------------------------------------------------

void QueueRun::pass() {
  osg::ChangeList* const changes = osg::WinThreadBase::getCurrentChangeList();
  if (changes != nullptr) changes->clear();
  for (Tree const& tree : _trees)
    _record.evaluated += tree.node->getPlaying() && !tree.node->getPausing() ? 1U : 0U;
  using Clock = std::chrono::steady_clock;
  auto const begin = Clock::now();
  knAnimEvaluator::the()->loop();
  knConstraintManager::evaluateConstraints();
  double const taken = std::chrono::duration<double>(Clock::now() - begin).count();
  ++_record.passes;
  _record.end = _now;
  _record.seconds += taken;
  if (taken > _record.slowestSeconds) {
    _record.slowestSeconds = taken;
    _record.slowestTime = _now;
  }
  if (changes != nullptr) _record.fields += countFields(*changes);
  for (std::size_t i = 0; i < _trees.size(); ++i) {
    QueueTrack& track = _record.tracks[i];
    if (track.playing && !track.finished) track.playing->end = _now;
    noteWhetherOutside(i);
  }
}

/// By what the present pass showed. A time outside ends with the pass that finds the model inside again.
void QueueRun::noteWhetherOutside(std::size_t model) {
  Tree& tree = _trees[model];
  QueueTrack& track = _record.tracks[model];
  if (!_settings.range || !track.playing || track.playing->end != _now) return;
  double const shown = tree.node->getLastEvaluationTime();
  bool const wasOutside = tree.isOutside;
  tree.isOutside = shown < tree.span.begin - kSlack || shown > tree.span.end + kSlack;
  if (wasOutside) {
    track.outside.back().end = _now;
  } else if (tree.isOutside) {
    track.outside.push_back({_now, _now});
  }
}

bool QueueRun::isOver() const {
  if (_settings.seconds && isReached(*_settings.seconds, _now)) return true;
  return std::all_of(_record.tracks.begin(), _record.tracks.end(),
                     [](QueueTrack const& track) { return track.finished; });
}

bool QueueRun::playToTheEnd(HostClock& clock, PassReceiver const& onPass) {
  SimulationTime simulation;
  PassPacer pacer(clock, _settings.rate);
  do {
    _now = pacer.next();
    simulation.set(_now);
    if (InterruptionGuard::isInterrupted()) return false;
    for (std::size_t i = 0; i < _trees.size(); ++i) act(i);
    pass();
    if (onPass) onPass(_now);
  } while (!isOver());
  _record.missedSlots = pacer.missedSlots();
  return true;
}

std::optional<Failure> QueueRun::play(HostClock& clock, EventReceiver const& onEvent,
                                      PassReceiver const& onPass) {
  _onEvent = onEvent;
  auto const listener = knUtils::listenToAll(
      [this](std::string_view name, knMessage const& message, int) { hear(name, message); });
  bool const isComplete = playToTheEnd(clock, onPass);
  for (std::size_t i = 0; i < _trees.size(); ++i) stop(i);
  _onEvent = nullptr;
  if (isComplete) return std::nullopt;
  return Failure{ExitCode::Failed, "interrupted"};
}

}  // namespace knanim
