// A frame by a plan: values go where the plan says, in the order of gathering.
#include "evaluation/PlannedEvaluation.h"

#include "evaluation/FieldContents.h"

#include "model/fields/FieldContainerFactory.h"

using osg::AnimCurve;
using osg::FieldContainerPtr;
using osg::UInt32;
using Kind = ScenePlan::Kind;
using State = ScenePlan::State;

void knAnimEvaluator::PlannedEvaluation::write(std::vector<knCurveData>& data) {
  bool const writesNothing =
      _turns.empty() && std::none_of(_plan.targets.begin(), _plan.targets.end(),
                                     [](auto const& target) { return target.state == State::Direct; });
  if (writesNothing) return;
  WritePhase const phase(_evaluator, true, true);
  _announcing = {};
  UInt32 next = 0;
  for (Turn const& turn : _turns) {
    writeTargets(next, turn.position);
    next = turn.position;
    writeTurn(turn, data[turn.record]);
  }
  writeTargets(next, static_cast<UInt32>(_plan.targets.size()));
  commit();
}

/// As long as nothing of the host's has run, all that is marked may be known to be plain: then all else is done.
void knAnimEvaluator::PlannedEvaluation::commit() {
  bool const isPlain =
      !_evaluator._hostRan && _evaluator._changedFields.empty() && _cameras.empty() && _plan.aims.arePlain();
  if (isPlain) {
    _plan.aims.announceMarks(_announcing);
    _plan.aims.moveMarks([this](FieldContainerPtr const& container, UInt32 id, osg::BitVector const& mask) {
      _evaluator._changedFields.insert(id, {container, mask});
    });
    return;
  }
  flushMarks();
  _evaluator.setLegacyCameraFromAtUp(_cameras);
  _evaluator.commitChangedFields();
}

void knAnimEvaluator::PlannedEvaluation::writeTargets(UInt32 first, UInt32 end) {
  if (_evaluator._hostRan) {
    for (UInt32 t = first; t < end; ++t) writeAnew(_plan.targets[t]);
    return;
  }
  // Nothing of the host's runs here.
  constexpr UInt32 Ahead = 24;
  std::span<ScenePlan::Target const> const targets = _plan.targets;
  PlannedAims& aims = _plan.aims;
  PlainAnnouncing announcing = _announcing;
  for (UInt32 t = first; t < end; ++t) {
    if (t + Ahead < targets.size()) __builtin_prefetch(targets[t + Ahead].place);
    if (targets[t].state != State::Direct) continue;
    aims.store(targets[t].aim, *targets[t].rule, targets[t].place, targets[t].value, announcing);
  }
  _announcing = announcing;
}

/// Host code has run since the values were computed: the curve may say something else now, or be gone.
void knAnimEvaluator::PlannedEvaluation::writeAnew(ScenePlan::Target const& target) {
  if (target.state != State::Direct) return;
  FieldContainerPtr const curve = osg::FieldContainerFactory::the().getContainer(target.curveId);
  auto const* const object = osg::dcastTo<AnimCurve>(curve);
  if (object == nullptr) return;
  if (_plan.isSound() && ScenePlan::writesAsPlanned(*object, *target.rule, target.valueIndex)) {
    _announcing = {};
    _plan.aims.store(target.aim, *target.rule, target.place, target.value, _announcing);
    return;
  }
  flushMarks();
  knContainerSet aims;
  aims.insert(_plan.aims[target.aim]);
  FieldWrite const write{object->getName(), object->getValueIndex(), object->getVertexIndex(), target.value};
  _evaluator.setOSGFieldValue(aims, {}, write, &_cameras);
}

void knAnimEvaluator::PlannedEvaluation::writeTurn(Turn const& turn, knCurveData& record) {
  if (turn.pool != ScenePlan::None) {
    ScenePlan::Pool const& pool = _plan.pools[turn.pool];
    float const value = record.value + record.cycleValueOffset;
    bool const isAsPlanned =
        !_evaluator._hostRan ||
        (_plan.isSound() && ScenePlan::writesAsPlanned(*pool.curve, *pool.rule, pool.valueIndex));
    if (isAsPlanned) {
      writePool(pool, value);
      return;
    }
    findAims(pool, record.aims);
  }
  flushMarks();
  _evaluator.setOSGFieldValue(record, &_cameras);
}

void knAnimEvaluator::PlannedEvaluation::writePool(ScenePlan::Pool const& pool, float value) {
  constexpr UInt32 Ahead = 16;
  ScenePlan::Place const* const places = _plan.places.data();
  if (_evaluator._hostRan) _announcing = {};
  for (UInt32 i = pool.firstPlace; i < pool.endPlace; ++i) {
    if (i + Ahead < pool.endPlace) __builtin_prefetch(places[i + Ahead].place);
    _plan.aims.store(places[i].aim, *pool.rule, places[i].place, value, _announcing);
  }
}

/// The marks of planned writes wait apart from the others: they join them, in order, before anything else is marked.
void knAnimEvaluator::PlannedEvaluation::flushMarks() {
  _plan.aims.moveMarks([this](FieldContainerPtr const& container, UInt32, osg::BitVector const& mask) {
    _evaluator.markFieldChanged(container, mask);
  });
}
