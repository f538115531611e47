// A scene is saved, dropped, loaded and played on; then its animation alone goes onto another object.
#include <knAnimManager.h>
#include <knSceneFile.h>
#include <model/fields/Ref.h>
#include <model/scenedata/knSceneDataManager.h>
#include <model/scenegraph/Transform3D.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace {

osg::NodePtr addNode(char const* name) {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(osg::Transform3D::create());
  osg::NodeUtils::setName(node, name, true);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  return node;
}

/// A block called "Open" with one curve: from 0 to 90 degrees in 2 s.
void animate(osg::NodePtr const& door) {
  knAnimManager& manager = *knAnimManager::the();
  auto const [node, curve] = manager.createCurve("eulerRotation", "Y");
  osg::Ref<osg::AnimNode> const made = node;  // ends here; the block has a node of its own
  curve->addPoint({0, 0}, {}, {}, osg::SmoothTangent, osg::SmoothTangent, false, true);
  curve->addPoint({2, 90}, {}, {}, osg::SmoothTangent, osg::SmoothTangent, false, true);
  manager.importBlock(door, {curve}, "Open");
}

float angleOf(osg::NodePtr const& door) {
  return osg::dcast<osg::Transform3DPtr>(door->getCore())->getEulerRotation().y();
}

}  // namespace

int main() {
  namespace fs = std::filesystem;
  fs::path const folder = fs::temp_directory_path() / ("knOpenSGAnim-" + std::to_string(getpid()));
  fs::create_directories(folder);
  std::string const sceneFile = folder / "house.osb";
  std::string const animationFile = folder / "open.osb";

  // One program makes the scene and saves it.
  knAnimManager& manager = *knAnimManager::the();
  knSceneDataManager::beginScene();
  animate(addNode("Door"));
  manager.setFPS(25);
  manager.setCurrentFrame(25, false, false);
  if (!knSceneFile::save(sceneFile)) return 1;  // the log says why
  knSceneDataManager::endScene();

  // Another one loads it. Handles of the former scene are dead; what is in the new one is found by its name.
  if (!knSceneFile::load(sceneFile)) return 1;
  osg::NodePtr const door = knSceneDataManager::getSceneData(0)->getRoot()->getChild(0);
  std::printf("loaded \"%s\": %.0f frames a second, frame %.0f, %.1f degrees\n",
              osg::NodeUtils::getName(door), manager.fps(), manager.currentFrame(),
              static_cast<double>(angleOf(door)));
  manager.setCurrentFrame(50, false, false);
  bool isRight = std::abs(angleOf(door) - 90) < 1e-3F;

  // An animation file carries the animations of one object onto others.
  osg::NodePtr const gate = addNode("Gate");
  isRight = manager.saveAnimations(animationFile.c_str(), door) && isRight;
  isRight = manager.loadAnimationsTo(gate, animationFile.c_str(), false) && isRight;
  manager.setCurrentFrame(25, false, false);
  std::printf("frame 25: door %.1f degrees, gate %.1f degrees\n", static_cast<double>(angleOf(door)),
              static_cast<double>(angleOf(gate)));
  isRight = std::abs(angleOf(gate) - 45) < 1e-3F && isRight;

  knSceneDataManager::endScene();
  fs::remove_all(folder);
  return isRight ? 0 : 1;
}
