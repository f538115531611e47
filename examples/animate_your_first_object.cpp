// A door that opens within two seconds: a scene, a channel with keys, frames, and the value read back.
#include <knAnimManager.h>
#include <knAuthoring.h>
#include <model/fields/ChangeList.h>
#include <model/scenedata/knSceneDataManager.h>
#include <model/scenegraph/Transform3D.h>

#include <cmath>
#include <cstdio>

int main() {
  // A scene with one object.
  knSceneDataManager::beginScene();
  osg::NodePtr const door = osg::Node::create();
  door->setCore(osg::Transform3D::create());
  osg::NodeUtils::setName(door, "Door", true);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(door);

  // A curve for one channel of the door, with keys at 0 s and 2 s.
  osg::AnimCurvePtr const turn = knAuthoring::makeCurve(door, "rotation.Y");
  knAuthoring::setKeys(turn, {{0, 0}, {2, 90}});

  // Six frames of the two seconds.
  knAnimManager& manager = *knAnimManager::the();
  manager.setFPS(25);
  osg::ChangeList& changes = *osg::WinThreadBase::getCurrentChangeList();
  float angle = 0;
  for (int frame = 0; frame <= 50; frame += 10) {
    changes.clear();
    manager.setCurrentFrame(frame, true, true);
    angle = manager.getOSGFieldValue(door->getCore().getContainerId(), "Door.eulerRotation.Y");
    std::printf("frame %2d: %5.2f degrees, %zu change(s) announced\n", frame, static_cast<double>(angle),
                changes.getEntries().size());
  }

  knSceneDataManager::endScene();
  return std::abs(angle - 90.F) < 1e-4F ? 0 : 1;
}
