#pragma once

#include "evaluation/WriteRule.h"
#include "knAnimEvaluator.h"

/// One value on its way to the aims of a curve or channel. `name` is looked at for the first aim, and for later ones
/// where there are several: whoever has it keeps it that long.
struct knAnimEvaluator::FieldWrite {
  std::string const& name;
  osg::UInt32 valueIndex;
  osg::UInt32 vertexIndex;
  float value;
  osg::FieldContainerType const* type = nullptr;  ///< of the aim before this one, and
  WriteRule const* rule = nullptr;                ///< the rule for it: aims are mostly of one type
  osg::FieldContainerPtr const* curve = nullptr;  ///< that the value comes from, if any

  /// Notes that the aim takes no such value. Runs nothing of the host's.
  [[gnu::cold]] void noteRefusal(osg::FieldContainerPtr const& aim) const;
};

/// One phase of writing, from the first value to the announcement of what was written. A committing one begins without
/// marks. What runs within it may begin another one: when that ends, the marks of the outer one are back.
class knAnimEvaluator::WritePhase {
 public:
  /// `clears`: begins without marks. `commits`: what it marks is announced before it ends.
  WritePhase(knAnimEvaluator& evaluator, bool clears, bool commits)
      : _evaluator(evaluator), _keepsOuter(clears && evaluator._writePhases > 0), _commits(commits) {
    if (_keepsOuter) {
      _outer = std::exchange(_evaluator._changedFields, {});
    } else if (clears) {
      _evaluator._changedFields.clear();
    }
    ++_evaluator._writePhases;
  }
  WritePhase(WritePhase const&) = delete;
  WritePhase& operator=(WritePhase const&) = delete;
  ~WritePhase() {
    --_evaluator._writePhases;
    if (!_keepsOuter) return;
    std::swap(_outer, _evaluator._changedFields);
    if (_commits) return;
    for (auto const& [id, mark] : _outer.entries()) _evaluator.markFieldChanged(mark.container, mark.mask);
  }

 private:
  knAnimEvaluator& _evaluator;
  knIdTable<FieldMark> _outer;
  bool const _keepsOuter;
  bool const _commits;
};

/// What a camera has without a field: the turntable, the lens.
void writeCameraValue(osg::UberCamera& camera, WriteRule::Kind kind, float value);
