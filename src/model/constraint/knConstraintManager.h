#pragma once

#include "model/constraint/AimConstraint.h"

/// The constraints of the process's cameras. Main thread.
class KNSCENE_API knConstraintManager {
 public:
  knConstraintManager() = delete;

  /// The aim constraint of a camera; nothing when it has none. Constant time.
  static std::optional<osg::AimConstraint> findAimConstraintForTarget(osg::UberCameraPtr const& camera);

  /// Turns every camera that has an aim to it, in the order in which they were aimed. A host calls it once per frame
  /// after the animations were evaluated, as they move aims and cameras. A camera that is aimed at something below
  /// another aimed camera follows one frame late if it was aimed before that one. Linear in the number of aimed
  /// cameras; cameras without an aim cost nothing.
  static void evaluateConstraints();
};
