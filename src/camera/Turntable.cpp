#include "camera/CameraRoot.h"
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/fields/Ref.h"

using osg::AnimNodePtr;
using osg::UberCameraPtr;

void knAnimManager::animateCameraTurntable(UberCameraPtr const& camera) {
  if (!camera.isAlive()) return;
  UberCameraPtr const turning = camera;
  AnimNodePtr const root = prepareCameraAnimationRoot(turning);
  createTurntableCurves(root, turning);
  knAnimEvaluator::the()->enqueue(root, true);
}

void knAnimManager::createTurntableCurves(AnimNodePtr const& animNode, UberCameraPtr const& camera) {
  if (!animNode.isAlive() || !camera.isAlive()) return;
  AnimNodePtr const root = animNode;
  float const duration = camera->getTurntableAnimationDuration();
  float const angle = camera->getTurntableAngle();
  float const turn = camera->hasFlag(osg::UberCamera::TurntableBackwardsFlag) ? -360.F : 360.F;
  bool const loops = camera->hasFlag(osg::UberCamera::TurntableLoopFlag);
  osg::Ref<osg::AnimNode> const node = createChannelCurveNode({}, "turntableAngle", 0, "", "");
  if (!node.isAlive()) return;
  // Straight for a loop, so that the speed is the same on both sides of the seam; eased for a single turn.
  createFromToControlPoints(osg::dcast<osg::AnimCurvePtr>(node->getCore()), angle, angle + turn, duration,
                            loops ? osg::LinearTangent : osg::SmoothTangent);
  if (!root.isAlive() || !node.isAlive()) return;
  if (loops) {
    root->setPostCycles(-1);
    announce(root, osg::AnimNodeBase::PostCyclesFieldMask);
  }
  if (!root.isAlive() || !node.isAlive()) return;
  root->addChild(node.get());
  announce(root, osg::Node::ChildrenFieldMask);
}
