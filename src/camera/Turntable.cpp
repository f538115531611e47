#include "camera/FlightTree.h"
#include "knAnimManager.h"

using osg::AnimNodePtr;
using osg::UberCameraPtr;

void addTurntableCurve(FlightTree& tree, UberCameraPtr const& camera) {
  if (!tree.isAlive() || !camera.isAlive()) return;
  AnimNodePtr const root = tree.root();
  float const duration = camera->getTurntableAnimationDuration();
  float const angle = camera->getTurntableAngle();
  float const turn = camera->hasFlag(osg::UberCamera::TurntableBackwardsFlag) ? -360.F : 360.F;
  bool const loops = camera->hasFlag(osg::UberCamera::TurntableLoopFlag);
  osg::Ref<osg::AnimNode> const node = FlightTree::makeCurveNode("turntableAngle", 0, "", "");
  if (!node.isAlive()) return;
  // Straight for a loop, so that the speed is the same on both sides of the seam; eased for a single turn.
  createFromToControlPoints(osg::dcast<osg::AnimCurvePtr>(node->getCore()), angle, angle + turn, duration,
                            loops ? osg::LinearTangent : osg::SmoothTangent);
  if (!root.isAlive() || !node.isAlive()) return;
  if (loops) {
    root->setPostCycles(-1);
    announce(root, osg::AnimNodeBase::PostCyclesFieldMask);
  }
  tree.add(node);
  tree.announceChildren();
}

void knAnimManager::animateCameraTurntable(UberCameraPtr const& camera) {
  if (!camera.isAlive()) return;
  UberCameraPtr const turning = camera;
  FlightTree tree = FlightTree::prepare(turning);
  addTurntableCurve(tree, turning);
  tree.start();
}

void knAnimManager::createTurntableCurves(AnimNodePtr const& animNode, UberCameraPtr const& camera) {
  FlightTree tree(animNode);
  addTurntableCurve(tree, UberCameraPtr(camera));
}
