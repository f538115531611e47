// A ball bounces while its curve is edited: keys are moved and added, and the next frame shows it.
#include <knAnimManager.h>
#include <knAuthoring.h>
#include <knCurves.h>
#include <knFramePlayer.h>
#include <model/fields/FieldContainer.h>
#include <model/scenedata/knSceneDataManager.h>
#include <model/scenegraph/Transform3D.h>

#include <cmath>
#include <cstdio>

namespace {

double now = 0;  // the host's clock in seconds
osg::NodePtr ball;

/// One pass of the host's loop.
float passAt(double time) {
  now = time;
  knFramePlayer::the().tick();
  knFramePlayer::the().apply();
  float const height = osg::dcast<osg::Transform3DPtr>(ball->getCore())->getTranslation().y();
  std::printf("%4.2f s: %5.2f\n", time, static_cast<double>(height));
  return height;
}

bool isNear(float a, float b) { return std::abs(a - b) < 1e-3F; }

}  // namespace

int main() {
  knAnimManager& manager = *knAnimManager::the();
  knSceneDataManager::beginScene();
  knAnimManager::setSimulationTimeCB([] { return now; });
  manager.setFPS(20);
  ball = osg::Node::create();
  ball->setCore(osg::Transform3D::create());
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(ball);
  osg::AnimCurvePtr const curve = knAuthoring::makeCurve(ball, "translation.Y");
  knAuthoring::setKeys(curve, {{0, 0}, {1, 4}, {2, 0}});

  knFramePlayer::the().play({.lastFrame = 39});  // two seconds, in a loop

  bool isRight = isNear(passAt(0), 0) && isNear(passAt(1), 4) && isNear(passAt(2.5), 2);

  // Move a key. The next frame shows it.
  knCurves::movePoint(curve, 1, {1, 6});
  isRight = isNear(passAt(3), 6) && isRight;

  // Add a key: addPoint keeps the keys in order. The first flag replaces a key at exactly that time.
  curve->addPoint({0.5F, 5}, {}, {}, osg::SmoothTangent, osg::SmoothTangent, true, true);
  osg::announce(curve, osg::AnimCurveBase::ControlPointsFieldMask);
  isRight = isNear(passAt(4.5), 5) && isRight;

  // No new frame, no evaluation: while the player stands still, ask for one.
  knFramePlayer::the().stop(nullptr);
  knCurves::movePoint(curve, 1, {0.5F, 2});
  manager.reevaluateAnimations(false);
  isRight = isNear(osg::dcast<osg::Transform3DPtr>(ball->getCore())->getTranslation().y(), 2) && isRight;

  knAnimManager::setSimulationTimeCB(nullptr);
  knSceneDataManager::endScene();
  return isRight ? 0 : 1;
}
