// Two clips overlap on a figure of 30 joints; the queue plays them and tells when it has finished.
#include <knAnimEvaluator.h>
#include <knAnimManager.h>
#include <knAuthoring.h>
#include <model/scenedata/knSceneDataManager.h>
#include <model/sceneext/AnimClip.h>
#include <model/scenegraph/Transform3D.h>
#include <model/utils/knUtils.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace {

double now = 0;  // the host's clock in seconds

/// A chain of joints below `parent`, one unit apart.
std::vector<osg::NodePtr> makeFigure(osg::NodePtr parent, int count) {
  std::vector<osg::NodePtr> joints;
  for (int i = 0; i < count; ++i) {
    osg::NodePtr const joint = osg::Node::create();
    osg::Transform3DPtr const transform = osg::Transform3D::create();
    transform->setTranslation({0, 1, 0});
    joint->setCore(transform);
    osg::NodeUtils::setName(joint, "Joint " + std::to_string(i), true);
    parent->addChild(joint);
    parent = joint;
    joints.push_back(joint);
  }
  return joints;
}

/// A clip that bends each joint from one angle to another within 2 s. It shares its curves with a block of each joint,
/// which is switched off, so that the timeline leaves it to the clip.
osg::AnimNodePtr makeMove(char const* name, std::vector<osg::NodePtr> const& joints, float from, float to) {
  for (osg::NodePtr const& joint : joints)
    knAuthoring::setKeys(knAuthoring::makeCurve(joint, "rotation.Z"), {{0, from}, {2, to}},
                         {.tangents = knTangents::Straight});
  return knAuthoring::makeClipOfBlocks(knAuthoring::makeBlocks(joints, name), name);
}

}  // namespace

int main() {
  knAnimManager& manager = *knAnimManager::the();
  knSceneDataManager::beginScene();
  knAnimManager::setSimulationTimeCB([] { return now; });
  std::vector<osg::NodePtr> const joints = makeFigure(knSceneDataManager::getSceneData(0)->getRoot(), 30);

  osg::AnimNodePtr const bend = makeMove("Bend", joints, 0, 10);  // 0 s to 2 s
  osg::AnimNodePtr const straighten =
      makeMove("Back", joints, 10, 0);  // 1 s to 3 s; it wins, as its curves came later
  straighten->setOffset({1, 0});
  // A clip of the two clips, which move into it.
  osg::AnimNodePtr const show = osg::AnimNode::create();
  show->setCore(osg::AnimClip::create());
  osg::NodeUtils::setName(show, "Show", true);
  show->addChild(bend);
  show->addChild(straighten);
  manager.addToClipStructure(show);

  int finished = 0;
  show->registerFinishedAnimationCallback([&](osg::AnimNodePtr const&) { ++finished; }, true);
  int passes = 0;
  auto const subscription =
      knUtils::listen("evaluatedAnimationObjects", [&](std::string_view, knMessage&, int) { ++passes; });

  manager.enqueue(show, true);
  float middle = 0;
  for (now = 0; manager.isPlaying(show) && now < 10; now += 0.5) {
    knAnimEvaluator::the()->loop();
    float const angle = osg::dcast<osg::Transform3DPtr>(joints[29]->getCore())->getEulerRotation().z();
    if (now == 1.5) middle = angle;
    std::printf("%3.1f s: last joint at %5.2f degrees\n", now, static_cast<double>(angle));
  }
  std::printf("%d passes, finished %d time(s)\n", passes, finished);

  float const last = osg::dcast<osg::Transform3DPtr>(joints[29]->getCore())->getEulerRotation().z();
  knAnimManager::setSimulationTimeCB(nullptr);
  manager.clearClipStructure();
  knSceneDataManager::endScene();
  return finished == 1 && passes == 8 && std::abs(middle - 7.5F) < 1e-3F && std::abs(last) < 1e-3F ? 0 : 1;
}
