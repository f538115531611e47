#pragma once

#include "support/SceneStage.h"

namespace kntest {

/// A scene with a camera below a moved, turned and scaled parent, and a simulation clock that the test sets.
class CameraStage : public SceneStage {
 protected:
  CameraStage() {
    osg::Transform3DPtr const transform = osg::Transform3D::create();
    transform->setTranslation({4, -2, 7});
    transform->setEulerRotation({20, 50, -10});
    transform->setScale({2, 2, 2});
    parent = addNode(transform);
    cameraNode = addNode(osg::UberCamera::create(), parent);
    camera = coreOf<osg::UberCamera>(cameraNode);
    camera->setViewByFromAtUp({1, 2, 3}, {0, 1, 0}, {0, 1, 0});
    simulationTime() = 100;
    knAnimManager::setSimulationTimeCB([] { return simulationTime(); });
  }
  ~CameraStage() override { knAnimEvaluator::the()->dequeueAll(); }

  static double& simulationTime() {
    static double time = 0;
    return time;
  }
  /// Lets the queue play for so many seconds from the start of a flight.
  static void playTo(double seconds) {
    simulationTime() = 100 + seconds;
    knAnimEvaluator::the()->loop();
  }
  osg::Vec3f sight() const {
    return osg::normalized(camera->getAt(osg::Camera::WorldSpace) - camera->getFrom(osg::Camera::WorldSpace));
  }
  osg::Real32 number(osg::Real32 size) {
    return std::uniform_real_distribution<osg::Real32>(-size, size)(random);
  }
  osg::Vec3f vector(osg::Real32 size) { return {number(size), number(size), number(size)}; }

  std::mt19937 random{3};
  osg::NodePtr parent;
  osg::NodePtr cameraNode;
  osg::UberCameraPtr camera;
};

}  // namespace kntest
