#pragma once

#include "evaluation/FieldWrite.h"
#include "evaluation/GatheringBuffers.h"
#include "evaluation/ScenePlan.h"

/// One evaluation of the scene by a plan. It does what gathering does and what follows it, in the same order, without
/// looking for what is where.
class knAnimEvaluator::PlannedEvaluation {
 public:
  PlannedEvaluation(knAnimEvaluator& evaluator, ScenePlan& plan,
                    std::vector<osg::MaterialPtr> const& materials)
      : _evaluator(evaluator), _plan(plan), _materials(materials), _time(evaluator._time) {}

  /// Computes, writes and announces everything. Without a sound plan in the end, what could change it has run.
  void run();

 private:
  /// A record that is written when its turn comes among the targets.
  struct Turn {
    osg::UInt32 visit;
    osg::UInt32 target;    ///< the place of its curve that counts
    osg::UInt32 position;  ///< the first target that is written after it
    osg::UInt32 record;
    osg::UInt32 pool;
  };

  void look(ScenePlan::Section const& section);
  /// Caches that take part, with their owners.
  std::vector<std::pair<osg::AnimNodePtr, osg::FieldContainerPtr>> findCaches(
      ScenePlan::Section const& section) const;
  void merge(ScenePlan::Section const& section);
  void mergeVisit(osg::UInt32 number);
  void mergePools(osg::UInt32 endVisit);
  static osg::FieldContainerPtr plainAim(ScenePlan::Visit const& visit, osg::AnimCurve const& curve);
  bool isWhole(ScenePlan::Pool const& pool) const;
  void addPool(osg::UInt32 number);
  void addTurn(knCurveData&& record, osg::UInt32 visit, osg::UInt32 target, osg::UInt32 pool);
  knCurveData makeRecord(ScenePlan::Target const& target) const;
  void findAims(ScenePlan::Pool const& pool, knContainerSet& aims) const;
  void orderTurns();
  void goOnWithoutPlan(std::size_t nextSection);

  void write(std::vector<knCurveData>& data);
  void writeTargets(osg::UInt32 first, osg::UInt32 end);
  void writeAnew(ScenePlan::Target const& target);
  void writeTurn(Turn const& turn, knCurveData& record);
  void writePool(ScenePlan::Pool const& pool, float value);
  void flushMarks();
  void commit();

  knAnimEvaluator& _evaluator;
  ScenePlan& _plan;
  std::vector<osg::MaterialPtr> const& _materials;
  float const _time;
  bool _differs = false;   ///< some targets take part in another way than planned
  bool _isBroken = false;  ///< the objects that the plan names may be gone
  std::vector<Turn> _turns;
  PlainAnnouncing _announcing;
  CameraData _cameras;
};
