#include "diagnosis/MotionWarnings.h"
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/utils/Broadcast.h"

#include <chrono>
#include <cmath>
#include <utility>

namespace {

/// Taken all the same.
void checkTime(double time) {
  if (!std::isfinite(time)) [[unlikely]]
    MotionWarnings::tellMistake(
        MotionWarnings::Mistake::TimelineTime,
        "the timeline is moved to a time that is not finite: curves have no valid values there");
}

}  // namespace

void knAnimManager::setFPS(double fps) {
  if (fps == _fps) return;
  if (!(fps > 0.0))
    MotionWarnings::tellMistake(
        MotionWarnings::Mistake::FrameRate,
        "the frame rate is set to a value that is not above 0: frames then have no valid times");
  if (_keepKeysAtFrame) multiplyAnimationKeys(_fps / fps);
  _fps = fps;
  knSceneDataManager::getSceneData(0)->setFps(fps);
  // Receivers read fps(); the message carries nothing, and is meant to.
  knUtils::call("changedFPS", 0);
}

void knAnimManager::multiplyAnimationKeys(double factor) {
  updateSceneAnimCurveData();
  auto const& factory = osg::FieldContainerFactory::the();
  for (knCurveData const& record : _sceneAnimCurveData) {
    auto* const curve = osg::dcastTo<osg::AnimCurve>(factory.getContainer(record.curveId));
    if (curve == nullptr) continue;
    curve->scaleTimes(factor);
  }
}

bool knAnimManager::setCurrentTime(double time, bool force, bool notify) {
  if (time == _currentTime && !force) return false;
  checkTime(time);
  _currentTime = time;
  evaluateAnimationsByTime(static_cast<float>(time), force, false);
  if (notify) send("currentAnimTimeChanged", "time", time);
  return true;
}

bool knAnimManager::setCurrentFrame(double frame, bool force, bool notify) {
  if (!setCurrentTime(frame / _fps, force, notify)) return false;
  if (notify) send("currentFrameChanged", "frame", frame);
  return true;
}

bool knAnimManager::setCurrentTimeNoEvaluation(double time, bool notify) {
  if (time == _currentTime) return false;
  checkTime(time);
  _currentTime = time;
  if (notify) send("currentAnimTimeChanged", "time", time);
  return true;
}

bool knAnimManager::setCurrentFrameNoEvaluation(double frame, bool notify) {
  if (!setCurrentTimeNoEvaluation(frame / _fps, notify)) return false;
  if (notify) send("currentFrameChanged", "frame", frame);
  return true;
}

void knAnimManager::evaluateAnimationsByTime(float time, bool force, bool flag) {
  if (!force && !simulationEnabled()) return;
  if (_playbackContextHint != 1) {
    knAnimEvaluator::the()->evaluate(time, flag, {});
    return;
  }
  // A list of its own: the host may evaluate again while it is asked.
  std::vector<knCurveData> selection = std::exchange(_curveEditorData, {});
  selection.clear();
  getCurveEditorData(selection);
  if (!selection.empty()) knAnimEvaluator::the()->evaluate(time, flag, selection);
  _curveEditorData = std::move(selection);
}

void knAnimManager::evaluateAnimationsByFrame(float frame, bool force, bool flag) {
  evaluateAnimationsByTime(static_cast<float>(static_cast<double>(frame) / _fps), force, flag);
}

void knAnimManager::reevaluateAnimations(bool force) {
  evaluateAnimationsByTime(static_cast<float>(_currentTime), force, false);
}

void knAnimManager::pySetCurrentFrame(double frame) { the()->setCurrentFrame(frame, false, true); }

double knAnimManager::pyGetCurrentFrame() { return the()->currentFrame(); }

double knAnimManager::getSimulationTime() {
  if (_timeCB != nullptr) return _timeCB();
  using Clock = std::chrono::steady_clock;
  Clock::time_point const now = Clock::now();
  static Clock::time_point const first = now;
  return std::chrono::duration<double>(now - first).count();
}
