#include <knAnimManager.h>
#include <knAuthoring.h>
#include <model/scenedata/knSceneDataManager.h>
#include <model/scenegraph/Transform3D.h>
#include <model/utils/knLog.h>

#include <cmath>

// The example of the README, as a host of the installed package.
int main() {
  knAnimManager& manager = *knAnimManager::the();
  knSceneDataManager::beginScene();
  osg::NodePtr door = osg::Node::create();
  door->setCore(osg::Transform3D::create());
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(door);

  osg::AnimCurvePtr turn = knAuthoring::makeCurve(door, "rotation.Y");
  knAuthoring::setKeys(turn, {{0, 0}, {2, 90}});  // eases out of 0 degrees at 0 s, and into 90 at 2 s

  manager.setFPS(25);
  manager.setCurrentFrame(25, false, true);  // 1 s: the door stands at 45 degrees

  float const angle = osg::dcast<osg::Transform3DPtr>(door->getCore())->getEulerRotation().y();
  knSceneDataManager::endScene();
  if (std::abs(angle - 45.F) < 1e-3F) return 0;
  knLog::error("the door does not stand at 45 degrees");
  return 1;
}
