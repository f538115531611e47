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
  UInt32 next = 0;
  for (Turn const& turn : _turns) {
    writeTargets(next, turn.position);
    next = turn.position;
    writeTurn(turn, data[turn.record]);
  }
  writeTargets(next, static_cast<UInt32>(_plan.targets.size()));
  flushMarks();
  _evaluator.setLegacyCameraFromAtUp(_cameras);
  _evaluator.commitChangedFields();
}

void knAnimEvaluator::PlannedEvaluation::writeTargets(UInt32 first, UInt32 end) {
  constexpr UInt32 Ahead = 24;
  ScenePlan::Target const* const targets = _plan.targets.data();
  for (UInt32 t = first; t < end; ++t) {
    if (_evaluator._hostRan) {
      writeAnew(targets[t]);
      continue;
    }
    if (t + Ahead < _plan.targets.size()) __builtin_prefetch(targets[t + Ahead].place);
    if (targets[t].state != State::Direct) continue;
    store(targets[t].aim, *targets[t].rule, targets[t].place, targets[t].value);
  }
}

/// Plain fields are marked; turned transforms are announced at once, which runs nothing of the host's.
[[gnu::always_inline]] inline void knAnimEvaluator::PlannedEvaluation::store(UInt32 aim,
                                                                             WriteRule const& rule,
                                                                             float* place, float value) {
  if (*place == value) return;
  *place = value;
  ScenePlan::Aim& written = _plan.aims[aim];
  if (rule.kind == WriteRule::Kind::Field) {
    if (written.marks.none()) _marked.push_back(aim);
    written.marks |= rule.mask;
  } else {
    announce(written.container, turnMask(rule));
  }
}

/// Host code has run since the values were computed: the curve may say something else now, or be gone.
void knAnimEvaluator::PlannedEvaluation::writeAnew(ScenePlan::Target const& target) {
  if (target.state != State::Direct) return;
  FieldContainerPtr const curve = osg::FieldContainerFactory::the().getContainer(target.curveId);
  auto const* const object = osg::dcastTo<AnimCurve>(curve);
  if (object == nullptr) return;
  if (_plan.isSound() && ScenePlan::writesAsPlanned(*object, *target.rule, target.valueIndex)) {
    store(target.aim, *target.rule, target.place, target.value);
    return;
  }
  flushMarks();
  knContainerSet aims;
  aims.insert(_plan.aims[target.aim].container);
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
  for (UInt32 i = pool.firstPlace; i < pool.endPlace; ++i) {
    if (i + Ahead < pool.endPlace) __builtin_prefetch(places[i + Ahead].place);
    store(places[i].aim, *pool.rule, places[i].place, value);
  }
}

/// The marks of planned writes wait apart from the others: they join them, in order, before anything else is marked.
void knAnimEvaluator::PlannedEvaluation::flushMarks() {
  for (UInt32 const aim : _marked) {
    ScenePlan::Aim& written = _plan.aims[aim];
    _evaluator.markFieldChanged(written.container, written.marks);
    written.marks = {};
  }
  _marked.clear();
}
