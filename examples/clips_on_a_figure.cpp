// Two clips overlap on a figure of 30 joints; the queue plays them and tells when it has finished.
// They are built by hand: `knAuthoring::makeClip` takes all animations of its objects, so the second would hold the first too.
#include <knAnimEvaluator.h>
#include <knAnimManager.h>
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

osg::AnimNodePtr makeClip(char const* name) {
  osg::AnimClipPtr const core = osg::AnimClip::create();
  core->setName(name);
  osg::AnimNodePtr const clip = osg::AnimNode::create();
  clip->setCore(core);
  osg::NodeUtils::setName(clip, name, true);
  return clip;
}

/// Bends each joint from one angle to another within 2 s. The joint owns the curve, through a node that is switched off
/// so that the timeline leaves it alone; the clip plays it, through a node of its own that shares the curve.
void addMove(osg::AnimNodePtr const& clip, std::vector<osg::NodePtr> const& joints, float from, float to) {
  knAnimManager& manager = *knAnimManager::the();
  for (osg::NodePtr const& joint : joints) {
    auto const [node, curve] = manager.createCurve("eulerRotation", "Z");
    curve->addPoint({0, from}, {}, {}, osg::LinearTangent, osg::LinearTangent, false, true);
    curve->addPoint({2, to}, {}, {}, osg::LinearTangent, osg::LinearTangent, false, true);
    manager.addAnimation(joint, node);
    manager.setTreeActive(node, false);
    osg::AnimNodePtr const inClip = osg::AnimNode::create();
    inClip->setCore(curve);
    clip->addChild(inClip);
  }
}

}  // namespace

int main() {
  knAnimManager& manager = *knAnimManager::the();
  knSceneDataManager::beginScene();
  knAnimManager::setSimulationTimeCB([] { return now; });
  std::vector<osg::NodePtr> const joints = makeFigure(knSceneDataManager::getSceneData(0)->getRoot(), 30);

  osg::AnimNodePtr const bend = makeClip("Bend");        // 0 s to 2 s
  osg::AnimNodePtr const straighten = makeClip("Back");  // 1 s to 3 s; it wins, as its curves came later
  addMove(bend, joints, 0, 10);
  addMove(straighten, joints, 10, 0);
  straighten->setOffset({1, 0});
  osg::AnimNodePtr const show = makeClip("Show");
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
