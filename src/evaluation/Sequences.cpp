#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/sceneext/AnimSequence.h"
#include "model/utils/Broadcast.h"

namespace {

/// A mark counts as passed where a run arrives, not where it left: going from 4 to 5 passes 5 and not 4, and so it does
/// backwards.
bool isPassed(float offset, float time, float lastTime) {
  if (time == lastTime) return time == offset;
  return (lastTime < offset && offset <= time) || (time <= offset && offset < lastTime);
}

void fire(osg::AnimSequence const& sequence) {
  // The receivers may destroy the sequence.
  std::string const name = sequence.getName();
  if (sequence.getIsViewpoint()) {
    send("activateViewpoint", "name", name);
  } else if (sequence.getIsVariant()) {
    send("selectVariantSet", "name", name);
  } else {
    // A named sequence runs with the simulation off.
    bool const wasEnabled = knAnimManager::simulationEnabled();
    if (wasEnabled) knAnimManager::enableSimulation(false);
    send("runSequence", "name", name);
    if (wasEnabled) knAnimManager::enableSimulation(true);
  }
}

}  // namespace

void knAnimEvaluator::evaluateSequences(std::set<osg::AnimNodePtr> const& nodes, float const& time,
                                        float const& lastTime) {
  if (_blockSequenceEvaluation) return;
  for (osg::AnimNodePtr const& node : nodes) {
    if (!node.isAlive() || !isPassed(node->getOffset().x(), time, lastTime)) continue;
    if (auto const* const sequence = osg::dcastTo<osg::AnimSequence>(node->getCore())) fire(*sequence);
  }
}
