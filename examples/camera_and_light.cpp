// A camera zooms while a lamp warms up: curves on what is neither a transform nor a geometry, and values read back.
#include <knAnimManager.h>
#include <knAuthoring.h>
#include <model/camera/UberCamera.h>
#include <model/light/UberLight.h>
#include <model/scenedata/knSceneDataManager.h>

#include <cmath>
#include <cstdio>

namespace {

osg::NodePtr addNode(char const* name, osg::NodeCorePtr const& core) {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(core);
  osg::NodeUtils::setName(node, name, true);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  return node;
}

/// Runs a channel from one value at 0 s to another one at 2 s. False if there is no such channel.
bool key(osg::NodePtr const& node, char const* channel, float from, float to) {
  return knAuthoring::setKeys(knAuthoring::makeCurve(node, channel), {{0, from}, {2, to}});
}

double valueOf(osg::NodePtr const& node, char const* channel) {
  return static_cast<double>(knAuthoring::getValue(node, channel).value_or(0.F));
}

}  // namespace

int main() {
  knAnimManager& manager = *knAnimManager::the();
  knSceneDataManager::beginScene();
  osg::UberCameraPtr const camera = osg::UberCamera::create();
  osg::UberLightPtr const lamp = osg::UberLight::create();
  osg::NodePtr const cameraNode = addNode("Camera", camera);
  osg::NodePtr const lampNode = addNode("Lamp", lamp);

  bool const isKeyed = key(cameraNode, "fov", 60, 20) && key(cameraNode, "exposure", 1, 3) &&
                       key(lampNode, "intensity", 0, 800) && key(lampNode, "diffuse.G", 0.2F, 1);

  for (double time = 0; time <= 2; time += 0.5) {
    manager.setCurrentTime(time, true, false);
    std::printf("%3.1f s: fov %5.2f, exposure %4.2f, lamp %6.2f, green %4.2f\n", time,
                valueOf(cameraNode, "fov"), valueOf(cameraNode, "exposure"), valueOf(lampNode, "intensity"),
                valueOf(lampNode, "diffuse.G"));
  }

  // The same values by the objects' own operations.
  bool const isRight = isKeyed && std::abs(camera->getFov() - 20) < 1e-3F &&
                       std::abs(camera->getTonemappingSettings()->getExposure() - 3) < 1e-3F &&
                       std::abs(lamp->getIntensity(lamp->getUnit()) - 800) < 1e-2F &&
                       std::abs(lamp->getDiffuseColor()[1] - 1) < 1e-3F;
  knSceneDataManager::endScene();
  return isRight ? 0 : 1;
}
