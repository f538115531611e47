#include "evaluation/CurveEvaluation.h"
#include "knAnimManager.h"

#include <tbb/parallel_for.h>

void computeCurveValue(knCurveData& record) {
  if (!record.node.isAlive() || !record.node->isActive() || !record.curve.isAlive()) return;
  CurveEvaluation::evaluate(*record.curve, CurveEvaluation::NodePlacement{*record.node},
                            CurveEvaluation::EachSegment(), record);
}

void knAnimComputeCurveValueTask::operator()(tbb::blocked_range<unsigned int> const& range) const {
  for (unsigned int i = range.begin(); i != range.end(); ++i) computeCurveValue((*_data)[i]);
}

void knAnimManager::computeCurveValues(std::vector<knCurveData>& data, float time) {
  if (data.empty()) return;
  // A context of its own keeps cancellations elsewhere out of this loop.
  tbb::task_group_context context(tbb::task_group_context::isolated);
  tbb::parallel_for(tbb::blocked_range<unsigned int>(0, static_cast<unsigned int>(data.size()), 1),
                    knAnimComputeCurveValueTask(&data, time), tbb::simple_partitioner(), context);
}
