// Which curves of one animation tree take part in its evaluation, and with which time.
#include "diagnosis/MotionWarnings.h"
#include "evaluation/CycleTime.h"
#include "evaluation/GatheringBuffers.h"
#include "knAnimEvaluator.h"
#include "model/sceneext/AnimSequence.h"

using osg::AnimCurvePtr;
using osg::AnimNodePtr;
using osg::FieldContainerPtr;

void knAnimEvaluator::getFullAnimDataR(AnimNodePtr const& tree, float treeTime,
                                       std::set<AnimNodePtr>& sequences, bool motionBlurOnly) {
  using Pending = GatheringBuffers::PendingOfTree;
  std::vector<Pending>& pending = _buffers->pendingOfTree;
  pending.assign(1, {tree, treeTime});
  while (!pending.empty()) {
    auto [node, time] = pending.back();
    pending.pop_back();
    if (!node.isAlive() || !node->isActive()) continue;
    // A node that takes no part in motion blur still leads to children that do.
    if (!motionBlurOnly || node->getMotionBlur()) {
      time = wrapByCycles(*node, time);
      addToTree(node, time, sequences);
      // Owners that were asked may have done anything.
      if (!node.isAlive()) continue;
    }
    auto const& children = node->getChildren();
    for (std::size_t i = children.size(); i-- > 0;) {
      pending.push_back({osg::dcast<AnimNodePtr>(children[i]), time});
    }
  }
}

void knAnimEvaluator::addToTree(AnimNodePtr const& node, float time, std::set<AnimNodePtr>& sequences) {
  osg::FieldContainerType const* const core = node->getCore().findType();
  if (core == nullptr) return;
  if (core->isDerivedFrom(osg::AnimCurveBase::_type)) {
    AnimCurvePtr const curve = osg::dcast<AnimCurvePtr>(node->getCore());
    if (!curve->isEmpty()) addCurveOfTree(node, curve, time);
  } else if (core->isDerivedFrom(osg::AnimSequenceBase::_type)) {
    sequences.insert(node);
  } else if (isCache(core)) {
    auto const entry = _animParentMap.find(node->getCore().getContainerId());
    if (entry == _animParentMap.end()) return;
    for (FieldContainerPtr const& owner : entry->second) addCache(node, owner);
  }
}

/// A curve can stand in a tree several times, each with its own time: each time gives a record. All share the aims
/// that were found for the first.
void knAnimEvaluator::addCurveOfTree(AnimNodePtr const& node, AnimCurvePtr const& curve, float time) {
  auto const entry = _animParentMap.find(curve->getContainerId());
  if (entry == _animParentMap.end()) return;
  if (osg::UInt32 const* const place = _curveMap.find(curve->getContainerId())) {
    knCurveData record(node, curve);
    record.time = time;
    record.aims = _curveData[*place].aims;
    record.parents = _curveData[*place].parents;
    _curveData.push_back(std::move(record));
    return;
  }
  std::vector<FieldContainerPtr>& aims = _buffers->aims;
  std::vector<FieldContainerPtr>& parents = _buffers->parents;
  aims.clear();
  parents.clear();
  // A copy: who is asked may have the map made anew.
  knContainerSet const owners = entry->second;
  for (FieldContainerPtr const& owner : owners) {
    FieldContainerPtr aim;
    std::size_t const parentCount = parents.size();
    computeAim(curve, owner, aim, parents);
    if (!aim.isAlive()) MotionWarnings::noteNoAim(curve, owner);
    if (aim.isAlive() && !isBlocked(aim)) {
      aims.push_back(aim);
    } else {
      parents.resize(parentCount);
    }
  }
  if (aims.empty()) return;
  knCurveData record(node, curve);
  record.time = time;
  SharedAims::insert(aims, record.aims);
  SharedAims::insert(parents, record.parents);
  addRecord(std::move(record));
}
