#include "evaluation/PlayingPlan.h"

#include "evaluation/AnimOwner.h"
#include "evaluation/CurveValue.h"
#include "evaluation/CycleTime.h"
#include "evaluation/FieldContents.h"
#include "evaluation/SegmentBatch.h"
#include "model/fields/StructureCounter.h"
#include "model/sceneplate/Sceneplate.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

using osg::AnimCurve;
using osg::AnimNode;
using osg::AnimNodePtr;

void PlayingPlan::look(std::vector<AnimNodePtr> const& playing, ParentMap const& owners, double now) {
  osg::UInt64 const structure = osg::StructureCounter::get();
  _isSpoilt = structure != _structure || playing != _playing;
  if (_isSpoilt) {
    _structure = structure;
    _playing = playing;
    _trees.clear();
    return;
  }
  if (_trees.size() != playing.size()) make(owners);
  constexpr std::size_t Grain = 128;
  tbb::parallel_for(tbb::blocked_range<std::size_t>(0, _trees.size(), Grain), [&](auto const& range) {
    SegmentBatch batch;
    for (std::size_t i = range.begin(); i != range.end(); ++i) {
      constexpr std::size_t Ahead = 8;
      if (i + Ahead < _trees.size() && _trees[i + Ahead].rule != nullptr) {
        prefetchSpan(std::as_const(*_playing[i + Ahead]).getTravMask(),
                     _playing[i + Ahead]->getLastEvaluationTime());
        prefetchSpan(_trees[i + Ahead].curve->getName(), _trees[i + Ahead].curve->getControlPoints());
      }
      _trees[i].isReady = false;
      if (_trees[i].rule != nullptr) lookAt(*_playing[i], owners, now, _trees[i], batch);
    }
  });
}

void PlayingPlan::make(ParentMap const& owners) {
  _trees.assign(_playing.size(), {});
  for (std::size_t i = 0; i < _playing.size(); ++i) plan(_playing[i], owners, _trees[i]);
}

void PlayingPlan::plan(AnimNodePtr const& node, ParentMap const& owners, Tree& tree) {
  // Classes of the host's may do anything when they are measured, or hear of it.
  if (node.findType() != &osg::AnimNodeBase::_type || node->getNChildren() > 0) return;
  auto const* const curve = osg::dcastTo<AnimCurve>(node->getCore());
  if (curve == nullptr || node->getCore().findType() != &osg::AnimCurveBase::_type) return;
  auto const entry = owners.find(curve->getContainerId());
  if (entry == owners.end() || entry->second.size() != 1) return;
  osg::FieldContainerPtr const owner = *entry->second.begin();
  AnimOwner const asked(owner);
  // A curve that changes another one must do so before that has its turn.
  if (!asked.isPlain() || !asked.getCore() || osg::dcastTo<osg::AnimObject>(asked.getCore()) != nullptr ||
      osg::dcastTo<osg::Sceneplate>(asked.getCore()) != nullptr) {
    return;
  }
  WriteRule const& rule = WriteRule::find(*asked.getCore().findType(), curve->getName());
  tree.place = findPlace(asked.getCore(), rule, curve->getValueIndex());
  if (tree.place == nullptr) return;
  tree.rule = &rule;
  tree.curve = curve;
  tree.owner = owner;
  tree.aim = asked.getCore();
  tree.valueIndex = curve->getValueIndex();
}

void PlayingPlan::lookAt(AnimNode const& node, ParentMap const& owners, double now, Tree& tree,
                         SegmentBatch& batch) {
  tree.isPausing = node.getPausing();
  tree.isReady = true;
  if (tree.isPausing) return;
  tree.moment = findMoment(node, now);
  tree.writes = node.isActive() && !tree.curve->isEmpty();
  if (!tree.writes) return;
  auto const entry = owners.find(tree.curve->getContainerId());
  tree.isReady = entry != owners.end() && entry->second.size() == 1 && *entry->second.begin() == tree.owner &&
                 ScenePlan::isAsPlanned(*tree.curve, *tree.rule, tree.valueIndex);
  if (!tree.isReady) return;
  CurveResult result{0.F, wrapByCycles(node, tree.moment.time), 0.F};
  SegmentKeys segment;
  if (findCurveValue(node, *tree.curve, result, segment)) {
    batch.add(segment, result.time, result.value, result.cycleValueOffset, tree.value);
  } else {
    tree.value = result.value + result.cycleValueOffset;
  }
}
