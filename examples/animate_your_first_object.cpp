// A door that opens within two seconds: a scene, a channel with keys, frames, and the value read back.
#include <knAnimManager.h>
#include <model/fields/ChangeList.h>
#include <model/scenedata/knSceneDataManager.h>
#include <model/scenegraph/Transform3D.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

osg::NodePtr makeDoor() {
  osg::NodePtr const door = osg::Node::create();
  door->setCore(osg::Transform3D::create());
  osg::NodeUtils::setName(door, "Door", true);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(door);
  return door;
}

/// The channel of a node by its name and suffix, as an editor would offer it.
knOSGChannelData findChannel(osg::NodePtr const& node, std::string const& name, std::string const& suffix) {
  std::vector<knOSGChannelData> channels;
  knAnimManager::the()->getKeyableChannels(node, channels);
  for (knOSGChannelData const& channel : channels) {
    if (channel.channelName == name && channel.suffix == suffix) return channel;
  }
  return {};
}

/// Keys at seconds and degrees, joined by curves that ease in and out.
void key(osg::NodePtr const& node, knOSGChannelData const& channel, std::vector<osg::Pnt2f> const& keys) {
  osg::AnimNodePtr const curveNode = knAnimManager::the()->createChannelCurveNode(channel, {});
  osg::AnimCurvePtr const curve = osg::dcast<osg::AnimCurvePtr>(curveNode->getCore());
  for (osg::Pnt2f const& one : keys) {
    curve->addPoint(one, {}, {}, osg::SmoothTangent, osg::SmoothTangent, false, true);
  }
  knAnimManager::the()->addAnimation(node, curveNode);
}

}  // namespace

int main() {
  knAnimManager& manager = *knAnimManager::the();
  knSceneDataManager::beginScene();
  osg::NodePtr const door = makeDoor();

  knOSGChannelData const turn = findChannel(door, "rotation", "Y");
  if (turn.isEmpty()) return 1;
  key(door, turn, {{0.F, 0.F}, {2.F, 90.F}});

  manager.setFPS(25);
  osg::ChangeList& changes = *osg::WinThreadBase::getCurrentChangeList();
  for (int frame = 0; frame <= 50; frame += 10) {
    changes.clear();
    manager.setCurrentFrame(frame, true, true);
    std::printf("frame %2d: %5.2f degrees, %zu change(s) announced\n", frame,
                static_cast<double>(manager.getOSGFieldValue(turn)), changes.getEntries().size());
  }

  float const open = manager.getOSGFieldValue(door->getCore().getContainerId(), "Door.eulerRotation.Y");
  knSceneDataManager::endScene();
  return std::abs(open - 90.F) < 1e-4F ? 0 : 1;
}
