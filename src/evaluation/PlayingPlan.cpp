#include "evaluation/PlayingPlan.h"

#include "evaluation/AnimOwner.h"
#include "evaluation/CurveValue.h"
#include "evaluation/CycleTime.h"
#include "evaluation/FieldContents.h"
#include "evaluation/SegmentBatch.h"
#include "model/fields/StructureCounter.h"
#include "model/sceneplate/Sceneplate.h"

#include <atomic>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

using osg::AnimCurve;
using osg::AnimNode;
using osg::AnimNodePtr;

void PlayingPlan::list(Sources const& sources) {
  spoil();
  if (sources.queueEdits == _queueEdits) return;
  _queueEdits = sources.queueEdits;
  _playing.assign(sources.playing.begin(), sources.playing.end());
  _structure = ~osg::UInt64{0};
}

void PlayingPlan::look(Sources const& sources, double now) {
  osg::UInt64 const structure = osg::StructureCounter::get();
  if (structure != _structure || sources.ownerEdits != _ownerEdits) {
    _structure = structure;
    _ownerEdits = sources.ownerEdits;
    _trees.clear();
    return;
  }
  if (_trees.size() != _playing.size()) make(sources.owners);
  constexpr std::size_t Grain = 128;
  std::atomic<bool> isMixed = false;
  tbb::parallel_for(tbb::blocked_range<std::size_t>(0, _trees.size(), Grain), [&](auto const& range) {
    SegmentBatch batch;
    bool areReady = true;
    for (std::size_t i = range.begin(); i != range.end(); ++i) {
      constexpr std::size_t Ahead = 8;
      if (i + Ahead < _trees.size() && _trees[i + Ahead].rule != nullptr) {
        // With the range that it was measured to have, behind its fields.
        AnimNode const& node = *_playing[i + Ahead];
        prefetchSpan(node.getTravMask(), node);
        prefetchSpan(_trees[i + Ahead].curve->getName(), _trees[i + Ahead].curve->getControlPoints());
      }
      _trees[i].isReady = false;
      if (_trees[i].rule != nullptr) lookAt(*_playing[i], now, _trees[i], batch);
      areReady = areReady && _trees[i].isReady;
    }
    if (!areReady) isMixed.store(true, std::memory_order_relaxed);
  });
  _isSpoilt = false;
  _isMixed = isMixed.load(std::memory_order_relaxed);
}

void PlayingPlan::make(knAnimEvaluator::ParentMap const& owners) {
  _trees.assign(_playing.size(), {});
  _aims = {};
  knIdTable<osg::UInt32> places;
  for (std::size_t i = 0; i < _playing.size(); ++i) {
    osg::FieldContainerPtr const aim = plan(_playing[i], owners, _trees[i]);
    if (_trees[i].rule == nullptr) continue;
    auto const [place, isNew] = places.insert(aim.getContainerId(), _aims.size());
    if (isNew) _aims.add(aim);
    _trees[i].aim = place;
  }
}

/// Fills in a tree of a kind that plans know, and answers what it writes to.
osg::FieldContainerPtr PlayingPlan::plan(AnimNodePtr const& node, knAnimEvaluator::ParentMap const& owners,
                                         Tree& tree) {
  // Classes of the host's may do anything when they are measured, or hear of it.
  if (node.findType() != &osg::AnimNodeBase::_type || node->getNChildren() > 0) return {};
  auto const* const curve = osg::dcastTo<AnimCurve>(node->getCore());
  if (curve == nullptr || node->getCore().findType() != &osg::AnimCurveBase::_type) return {};
  auto const entry = owners.find(curve->getContainerId());
  if (entry == owners.end() || entry->second.size() != 1) return {};
  AnimOwner const asked(*entry->second.begin());
  // A curve that changes another one must do so before that has its turn.
  if (!asked.isPlain() || !asked.getCore() || osg::dcastTo<osg::AnimObject>(asked.getCore()) != nullptr ||
      osg::dcastTo<osg::Sceneplate>(asked.getCore()) != nullptr) {
    return {};
  }
  WriteRule const& rule = WriteRule::find(*asked.getCore().findType(), curve->getName());
  tree.place = findPlace(asked.getCore(), rule, curve->getValueIndex());
  if (tree.place == nullptr) return {};
  tree.rule = &rule;
  tree.curve = curve;
  tree.valueIndex = curve->getValueIndex();
  osg::StructureCounter::watch(*node, true);
  osg::StructureCounter::watch(*curve);
  osg::StructureCounter::watch(**entry->second.begin());
  osg::StructureCounter::watch(*asked.getCore());
  return asked.getCore();
}

void PlayingPlan::lookAt(AnimNode const& node, double now, Tree& tree, SegmentBatch& batch) {
  tree.isPausing = node.getPausing();
  tree.isReady = true;
  if (tree.isPausing) return;
  tree.moment = findMoment(node, now);
  tree.writes = node.isActive() && !tree.curve->isEmpty();
  if (!tree.writes) return;
  tree.isReady = ScenePlan::isAsPlanned(*tree.curve, *tree.rule, tree.valueIndex);
  if (!tree.isReady) return;
  CurveResult result{0.F, wrapByCycles(node, tree.moment.time), 0.F};
  SegmentKeys segment;
  if (findCurveValue(node, *tree.curve, result, segment)) {
    batch.add(segment, result.time, result.value, result.cycleValueOffset, tree.value);
  } else {
    tree.value = result.value + result.cycleValueOffset;
  }
}
