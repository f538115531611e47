// A camera zooms while a lamp warms up: curves on what is neither a transform nor a geometry, and values read back.
#include <knAnimManager.h>
#include <model/camera/UberCamera.h>
#include <model/light/UberLight.h>
#include <model/scenedata/knSceneDataManager.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace {

osg::NodePtr addNode(char const* name, osg::NodeCorePtr const& core) {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(core);
  osg::NodeUtils::setName(node, name, true);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  return node;
}

/// The channel of a node by its name and suffix; empty when it has none of that name.
knOSGChannelData findChannel(osg::NodePtr const& node, std::string const& name, std::string const& suffix) {
  std::vector<knOSGChannelData> channels;
  knAnimManager::the()->getKeyableChannels(node, channels);
  for (knOSGChannelData const& channel : channels) {
    if (channel.channelName == name && channel.suffix == suffix) return channel;
  }
  return {};
}

/// Runs a channel from one value at 0 s to another one at 2 s.
knOSGChannelData key(osg::NodePtr const& node, char const* name, char const* suffix, float from, float to) {
  knAnimManager& manager = *knAnimManager::the();
  knOSGChannelData const channel = findChannel(node, name, suffix);
  osg::AnimNodePtr const curveNode = manager.createChannelCurveNode(channel, {});
  if (!curveNode) return {};  // an empty channel makes no curve
  osg::AnimCurvePtr const curve = osg::dcast<osg::AnimCurvePtr>(curveNode->getCore());
  curve->addPoint({0, from}, {}, {}, osg::SmoothTangent, osg::SmoothTangent, false, true);
  curve->addPoint({2, to}, {}, {}, osg::SmoothTangent, osg::SmoothTangent, false, true);
  manager.addAnimation(node, curveNode);
  return channel;
}

}  // namespace

int main() {
  knAnimManager& manager = *knAnimManager::the();
  knSceneDataManager::beginScene();
  osg::UberCameraPtr const camera = osg::UberCamera::create();
  osg::UberLightPtr const lamp = osg::UberLight::create();
  osg::NodePtr const cameraNode = addNode("Camera", camera);
  osg::NodePtr const lampNode = addNode("Lamp", lamp);

  knOSGChannelData const fov = key(cameraNode, "fov", "", 60, 20);
  knOSGChannelData const exposure = key(cameraNode, "exposure", "", 1, 3);
  knOSGChannelData const intensity = key(lampNode, "intensity", "", 0, 800);
  knOSGChannelData const green = key(lampNode, "diffuse", "G", 0.2F, 1);
  for (knOSGChannelData const* channel : {&fov, &exposure, &intensity, &green}) {
    if (channel->isEmpty()) return 1;
  }

  for (double time = 0; time <= 2; time += 0.5) {
    manager.setCurrentTime(time, true, false);
    std::printf("%3.1f s: fov %5.2f, exposure %4.2f, lamp %6.2f, green %4.2f\n", time,
                static_cast<double>(manager.getOSGFieldValue(fov)),
                static_cast<double>(manager.getOSGFieldValue(exposure)),
                static_cast<double>(manager.getOSGFieldValue(intensity)),
                static_cast<double>(manager.getOSGFieldValue(green)));
  }

  // The same values by the objects' own operations.
  bool const isRight = std::abs(camera->getFov() - 20) < 1e-3F &&
                       std::abs(camera->getTonemappingSettings()->getExposure() - 3) < 1e-3F &&
                       std::abs(lamp->getIntensity(lamp->getUnit()) - 800) < 1e-2F &&
                       std::abs(lamp->getDiffuseColor()[1] - 1) < 1e-3F;
  knSceneDataManager::endScene();
  return isRight ? 0 : 1;
}
