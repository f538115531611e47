#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/constraint/knConstraintManager.h"
#include "model/fields/FieldContainerFactory.h"

using osg::AnimNodePtr;

namespace {

/// The one object that samples are limited to. Null when it has gone, is no animation, has no core or is inactive.
AnimNodePtr objectToEvaluate(osg::UInt32 id) {
  auto const& store = *osg::FieldContainerFactory::the().getFieldContainerStore();
  AnimNodePtr const node = id < store.size() ? osg::dcast<AnimNodePtr>(store[id]) : AnimNodePtr();
  return node && node->getCore().isAlive() && node->isActive() ? node : AnimNodePtr();
}

}  // namespace

void knAnimManager::applyMotionBlur(osg::UberCameraPtr const& camera, float sample) {
  if (!camera.isAlive() || !camera->getMotionBlur()) return;
  // The widths decide which samples count as one: shutter and sample in single precision, their sum with the time in
  // double, the result in single again.
  float const shift = (1.F / camera->getShutterSpeed()) * sample;
  auto const time = static_cast<float>(_currentTime + static_cast<double>(shift));
  if (_lastSampleTime == static_cast<double>(time)) return;
  knAnimEvaluator& evaluator = *knAnimEvaluator::the();
  evaluator.blockSceneplateEvaluation(true);
  if (_motionBlurObjectId == 0) {
    evaluateAnimationsByTime(time, true, true);
  } else if (AnimNodePtr const object = objectToEvaluate(_motionBlurObjectId)) {
    evaluator.evaluateObject(object, time, true, true, true);
  }
  evaluator.blockSceneplateEvaluation(false);
  knConstraintManager::evaluateConstraints();
  _lastSampleTime = static_cast<double>(time);
}

void knAnimManager::resetMotionBlur() {
  if (!_lastSampleTime || _currentTime == *_lastSampleTime) return;
  double const time = _currentTime;
  if (_motionBlurObjectId == 0) {
    evaluateAnimationsByTime(static_cast<float>(time), true, false);
  } else if (AnimNodePtr const object = objectToEvaluate(_motionBlurObjectId)) {
    knAnimEvaluator::the()->evaluateObject(object, static_cast<float>(time), false, true, true);
  }
  knConstraintManager::evaluateConstraints();
  _lastSampleTime = time;
}
