#pragma once

#include "model/camera/UberCamera.h"
#include "model/sceneext/AnimShot.h"
#include "model/sceneext/CameraTrack.h"
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
  static osg::AnimCurvePtr curveIn(osg::NodePtr const& tree, char const* field, osg::UInt32 index) {
    for (osg::NodePtr const& child : tree->getChildren()) {
      auto const curve = osg::dcast<osg::AnimCurvePtr>(child->getCore());
      if (curve && curve->getName() == field && curve->getValueIndex() == index) return curve;
    }
    return {};
  }
  /// Times and values of the keys.
  static std::vector<osg::Pnt2f> keysOf(osg::AnimCurvePtr const& curve) {
    std::vector<osg::Pnt2f> keys;
    for (osg::CCPnt const& key : curve->getControlPoints()) keys.push_back(key.point());
    return keys;
  }

  knAnimManager& manager = *knAnimManager::the();
  osg::NodePtr parent;
  osg::NodePtr cameraNode;
  osg::UberCameraPtr camera;
};

}  // namespace kntest
