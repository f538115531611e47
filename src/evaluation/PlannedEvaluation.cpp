// A frame by a plan: what is found of it is merged in the order of gathering.
#include "evaluation/PlannedEvaluation.h"

#include "diagnosis/MotionWarnings.h"
#include "evaluation/AnimOwner.h"
#include "evaluation/CurveValue.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/fields/StructureCounter.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <tbb/parallel_for.h>

using osg::AnimCurvePtr;
using osg::AnimNodePtr;
using osg::FieldContainerPtr;
using osg::UInt32;
using Kind = ScenePlan::Kind;
using State = ScenePlan::State;

bool knAnimEvaluator::evaluateByPlan(std::vector<osg::MaterialPtr> const& materials) {
  GatheringBuffers& buffers = *_buffers;
  // Out of the way of whoever comes back here while fields are written.
  std::unique_ptr<ScenePlan> plan = std::exchange(buffers.plan, nullptr);
  bool const rests =
      std::exchange(buffers.structure, osg::StructureCounter::get()) == osg::StructureCounter::get();
  if (!_keepsPlans) return false;
  if (plan == nullptr || !plan->holds(materials)) {
    // Who edits the structure in each frame is served better without plans.
    if (!rests) return false;
    plan = std::make_unique<ScenePlan>(materials);
  }
  PlannedEvaluation(*this, *plan, materials).run();
  if (plan->isSound() && _buffers->plan == nullptr) _buffers->plan = std::move(plan);
  return true;
}

void knAnimEvaluator::PlannedEvaluation::run() {
  _evaluator.emptyRecords();
  for (std::size_t s = 0; s < _plan.sections.size(); ++s) {
    ScenePlan::Section const& section = _plan.sections[s];
    look(section);
    auto const caches = findCaches(section);
    _evaluator._isAsking = true;
    merge(section);
    _evaluator._isAsking = false;
    for (auto const& [node, owner] : caches) _evaluator.addCache(node, owner);
    if (_plan.isSound()) continue;
    _isBroken = true;
    mergePools(section.endVisit);
    goOnWithoutPlan(s + 1);
    return;
  }
  mergePools(static_cast<UInt32>(_plan.visits.size()));
  _evaluator._buffers->shared.moveTo(_evaluator._curveData);
  orderTurns();
  std::vector<std::size_t> const uncomputed = std::exchange(_evaluator._buffers->uncomputed, {});
  std::vector<knCurveData> data = _evaluator.takeRecords();
  tbb::parallel_for(std::size_t{0}, uncomputed.size(),
                    [&](std::size_t i) { computeCurveValue(data[uncomputed[i]]); });
  TimeShapeCacheMap const caches = std::exchange(_evaluator._timeShapeCaches, {});
  write(data);
  _evaluator.evaluateTimeShapeCaches(caches, _time);
  _evaluator.giveBackRecords(std::move(data));
}

// --- What takes part ----------------------------------------------------------------------------------------------

void knAnimEvaluator::PlannedEvaluation::look(ScenePlan::Section const& section) {
  float const time = _evaluator._time;
  std::size_t const count = section.endChunk - section.firstChunk;
  ScenePlan::Chunk const* const chunks = _plan.chunks.data() + section.firstChunk;
  if (count < 2) {
    for (std::size_t i = 0; i < count; ++i) _differs |= _plan.look(chunks[i], time);
    return;
  }
  std::atomic<bool> differs = false;
  tbb::parallel_for(std::size_t{0}, count, [&](std::size_t i) {
    if (_plan.look(chunks[i], time)) differs.store(true, std::memory_order_relaxed);
  });
  _differs |= differs.load(std::memory_order_relaxed);
}

std::vector<std::pair<AnimNodePtr, FieldContainerPtr>> knAnimEvaluator::PlannedEvaluation::findCaches(
    ScenePlan::Section const& section) const {
  std::vector<std::pair<AnimNodePtr, FieldContainerPtr>> caches;
  for (ScenePlan::Cache const& cache : _plan.caches) {
    bool const isHere = section.firstVisit <= cache.visit && cache.visit < section.endVisit;
    if (isHere && ScenePlan::takesPart(cache))
      caches.emplace_back(AnimNodePtr(cache.node), _plan.visits[cache.visit].owner);
  }
  return caches;
}

void knAnimEvaluator::PlannedEvaluation::merge(ScenePlan::Section const& section) {
  if (_differs) {
    for (UInt32 v = section.firstVisit; v < section.endVisit; ++v) mergeVisit(v);
    return;
  }
  auto const& asked = _plan.askedVisits;
  for (auto v = std::lower_bound(asked.begin(), asked.end(), section.firstVisit);
       v != asked.end() && *v < section.endVisit; ++v) {
    mergeVisit(*v);
  }
}

/// Where a curve of a plain owner writes to, as it was before anybody was asked, who may have changed it.
FieldContainerPtr knAnimEvaluator::PlannedEvaluation::plainAim(ScenePlan::Visit const& visit,
                                                               osg::AnimCurve const& curve) {
  return curve.getChannelName() == "visible" ? visit.owner : FieldContainerPtr(visit.core);
}

/// What owners answer by operations of their own is asked here, in order. They may do anything: from here on, only
/// handles and ids are good.
void knAnimEvaluator::PlannedEvaluation::mergeVisit(UInt32 number) {
  ScenePlan::Visit const& visit = _plan.visits[number];
  std::optional<AnimOwner> owner;
  for (UInt32 t = visit.first; t < visit.end; ++t) {
    ScenePlan::Target const& target = _plan.targets[t];
    if (target.state != State::Asked || target.kind == Kind::Pooled) continue;
    knCurveData record = makeRecord(target);
    if (!record.curve.isAlive()) continue;
    std::vector<FieldContainerPtr>& parents = _evaluator._buffers->parents;
    parents.clear();
    FieldContainerPtr aim;
    if (visit.isPlain) {
      aim = plainAim(visit, *record.curve);
    } else {
      if (!owner) owner.emplace(visit.owner);
      owner->findAim(*record.curve, aim, parents);
    }
    if (aim.isAlive()) {
      record.aims.insert(aim);
    } else {
      MotionWarnings::noteNoAim(record.curve, visit.owner);
    }
    record.parents.insert(parents.begin(), parents.end());
    addTurn(std::move(record), number, t, ScenePlan::None);
  }
}

knCurveData knAnimEvaluator::PlannedEvaluation::makeRecord(ScenePlan::Target const& target) const {
  auto const& factory = osg::FieldContainerFactory::the();
  knCurveData record(osg::dcast<AnimNodePtr>(factory.getContainer(target.nodeId)),
                     osg::dcast<AnimCurvePtr>(factory.getContainer(target.curveId)));
  record.curveId = target.curveId;
  record.time = _evaluator._time;
  record.value = target.value;
  return record;
}

void knAnimEvaluator::PlannedEvaluation::addTurn(knCurveData&& record, UInt32 visit, UInt32 target,
                                                 UInt32 pool) {
  std::vector<knCurveData>& records = _evaluator._curveData;
  std::size_t const place = records.size();
  _evaluator.addRecord(std::move(record));
  if (records.size() == place) return;
  ScenePlan::Visit const& where = _plan.visits[visit];
  bool const isOwn = where.first == where.position;
  _turns.push_back({visit, target, isOwn ? target : where.position, static_cast<UInt32>(place), pool});
  if (_plan.targets[target].isLate) _evaluator._buffers->uncomputed.push_back(place);
}

// --- Shared curves ------------------------------------------------------------------------------------------------

bool knAnimEvaluator::PlannedEvaluation::isWhole(ScenePlan::Pool const& pool) const {
  for (UInt32 i = pool.firstTarget; i < pool.endTarget; ++i) {
    if (_plan.targets[_plan.pooledTargets[i]].state == State::Idle) return false;
  }
  return ScenePlan::isAsPlanned(*pool.curve, *pool.rule, pool.valueIndex);
}

void knAnimEvaluator::PlannedEvaluation::mergePools(UInt32 endVisit) {
  for (UInt32 p = 0; p < _plan.pools.size(); ++p) {
    ScenePlan::Pool const& pool = _plan.pools[p];
    if (!_isBroken && isWhole(pool)) {
      addPool(p);
      continue;
    }
    for (UInt32 i = pool.firstOccurrence; i < pool.endOccurrence; ++i) {
      auto const [visit, t] = _plan.occurrences[i];
      if (visit >= endVisit || _plan.targets[t].state == State::Idle) continue;
      knCurveData record = makeRecord(_plan.targets[t]);
      if (!record.curve.isAlive()) continue;
      FieldContainerPtr const aim = plainAim(_plan.visits[visit], *record.curve);
      if (aim.isAlive()) record.aims.insert(aim);
      addTurn(std::move(record), visit, t, ScenePlan::None);
    }
  }
}

/// Its containers stand in the plan; the first of them is enough to make the record count.
void knAnimEvaluator::PlannedEvaluation::addPool(UInt32 number) {
  ScenePlan::Pool const& pool = _plan.pools[number];
  ScenePlan::Occurrence const first = _plan.occurrences[pool.firstOccurrence];
  knCurveData record = makeRecord(_plan.targets[first.target]);
  record.aims.insert(_plan.aims[_plan.places[pool.firstPlace].aim]);
  addTurn(std::move(record), first.visit, first.target, number);
}

void knAnimEvaluator::PlannedEvaluation::findAims(ScenePlan::Pool const& pool, knContainerSet& aims) const {
  for (UInt32 i = pool.firstPlace; i < pool.endPlace; ++i) aims.insert(_plan.aims[_plan.places[i].aim]);
}

/// In the order in which owners were visited, and in each tree that of its nodes.
void knAnimEvaluator::PlannedEvaluation::orderTurns() {
  auto const byPlace = [](Turn const& a, Turn const& b) {
    return a.visit != b.visit ? a.visit < b.visit : a.target < b.target;
  };
  if (!std::is_sorted(_turns.begin(), _turns.end(), byPlace))
    std::sort(_turns.begin(), _turns.end(), byPlace);
}

/// Somebody who was asked has changed the scene. What was found so far becomes records, and the rest is gathered.
void knAnimEvaluator::PlannedEvaluation::goOnWithoutPlan(std::size_t nextSection) {
  _evaluator._buffers->shared.moveTo(_evaluator._curveData);
  orderTurns();
  std::vector<knCurveData> asked = _evaluator.takeRecords();
  std::vector<std::size_t> const late = std::exchange(_evaluator._buffers->uncomputed, {});
  auto const isLate = [&](UInt32 place) { return std::binary_search(late.begin(), late.end(), place); };
  auto turn = _turns.begin();
  for (UInt32 t = 0; t <= _plan.sections[nextSection - 1].endTarget; ++t) {
    for (; turn != _turns.end() && turn->position == t; ++turn) {
      if (isLate(turn->record)) _evaluator._buffers->uncomputed.push_back(_evaluator._curveData.size());
      _evaluator.addRecord(std::move(asked[turn->record]));
    }
    if (t == _plan.targets.size() || _plan.targets[t].state != State::Direct) continue;
    ScenePlan::Target const& target = _plan.targets[t];
    knCurveData record = makeRecord(target);
    record.aims.insert(_plan.aims[target.aim]);
    _evaluator.addRecord(std::move(record));
  }
  _evaluator.gatherSections(_materials, nextSection, false, false, true);
  _evaluator.finishScene(_time);
}
