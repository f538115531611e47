#include "model/constraint/knConstraintManager.h"

std::optional<osg::AimConstraint> knConstraintManager::findAimConstraintForTarget(
    osg::UberCameraPtr const& camera) {
  return osg::AimConstraint::of(camera);
}

void knConstraintManager::evaluateConstraints() {
  // A copy: whoever hears of a camera that turns may aim others.
  std::vector<osg::UberCameraPtr> const aimed = osg::UberCamera::getAimedCameras();
  for (osg::UberCameraPtr const& camera : aimed) {
    if (auto const constraint = osg::AimConstraint::of(camera)) constraint->evaluate();
  }
}
