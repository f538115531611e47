// A camera flies to a viewpoint in two seconds, then once around what it looks at; a host's loop plays both.
#include <knAnimEvaluator.h>
#include <knAnimManager.h>
#include <model/camera/UberCamera.h>
#include <model/scenedata/knSceneDataManager.h>

#include <cmath>
#include <cstdio>

namespace {

double now = 0;  // the host's clock in seconds

osg::UberCameraPtr addCamera(osg::Pnt3f const& from, osg::Pnt3f const& at, float fov) {
  osg::UberCameraPtr const camera = osg::UberCamera::create();
  camera->setViewByFromAtUp(from, at, {0, 1, 0});
  camera->setFov(fov);
  osg::announce(camera, osg::UberCameraBase::FovFieldMask);
  osg::NodePtr const node = osg::Node::create();
  node->setCore(camera);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  return camera;
}

/// Passes of the host's loop for that many seconds: it steps the queue, and would draw.
void play(double seconds, osg::UberCameraPtr const& camera) {
  for (double const end = now + seconds; now < end;) {
    now += 0.5;
    knAnimEvaluator::the()->loop();
    osg::Pnt3f const from = camera->getFrom();
    std::printf("%4.1f s: from %5.2f %5.2f %5.2f, fov %5.2f\n", now, static_cast<double>(from.x()),
                static_cast<double>(from.y()), static_cast<double>(from.z()),
                static_cast<double>(camera->getFov()));
  }
}

float distance(osg::Pnt3f const& a, osg::Pnt3f const& b) {
  return std::hypot(a.x() - b.x(), a.y() - b.y(), a.z() - b.z());
}

}  // namespace

int main() {
  knAnimManager& manager = *knAnimManager::the();
  knSceneDataManager::beginScene();
  knAnimManager::setSimulationTimeCB([] { return now; });
  osg::UberCameraPtr const camera = addCamera({0, 2, 10}, {0, 0, 0}, 60);
  osg::UberCameraPtr const viewpoint = addCamera({4, 2, 0}, {0, 2, 0}, 30);

  // The lens goes by "fov" alone: "fieldOfView" is read in radians but written in degrees.
  manager.animateCamera(camera, viewpoint, 2.F, {"fieldOfView"});
  play(2.5, camera);
  bool isRight = distance(camera->getFrom(), {4, 2, 0}) < 1e-3F && std::abs(camera->getFov() - 30) < 1e-2F;

  camera->setTurntableAnimationDuration(4);
  manager.animateCameraTurntable(camera);
  play(2, camera);  // half a revolution: on the other side
  isRight = distance(camera->getFrom(), {-4, 2, 0}) < 1e-2F && isRight;
  manager.stopCameraAnimation(camera);

  knAnimManager::setSimulationTimeCB(nullptr);
  knSceneDataManager::endScene();
  return isRight ? 0 : 1;
}
