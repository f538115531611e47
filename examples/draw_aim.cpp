// Draws what the aim of a camera does: a drive past a target before and after evaluateConstraints, and the axes after it.
// Prints docs/pictures/camera-aim.svg.
#include <knAnimManager.h>
#include <knAuthoring.h>
#include <model/camera/UberCamera.h>
#include <model/constraint/knConstraintManager.h>
#include <model/scenedata/knSceneDataManager.h>

#include "drawing.h"

namespace {

osg::NodePtr addNode(osg::NodeCorePtr const& core) {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(core);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  return node;
}

/// x to the right, z downwards: from above.
Spot fromAbove(osg::Pnt3f const& point) {
  return {140 + 28. * static_cast<double>(point.x()), 110 + 28. * static_cast<double>(point.z())};
}

void drawDrive(Picture& picture, osg::UberCameraPtr const& camera, osg::NodePtr const& target, bool isAimed) {
  for (int second = 0; second <= 4; ++second) {
    knAnimManager::the()->setCurrentTime(second, true, false);
    if (isAimed) knConstraintManager::evaluateConstraints();
    osg::Matrix const place = camera->getMatrix();
    Spot const from = fromAbove(camera->getFrom());
    Spot const aim = fromAbove(osg::AimConstraint::getAimPos(target));
    picture.arrow(from, fromAbove(place.multMatrixPnt({0, 0, -2})), Picture::Blue);
    if (isAimed) picture.dashes(from, aim, Picture::Grey);
    picture.dot(from, Picture::Ink);
    picture.dot(aim, Picture::Orange);
    picture.text({from.x, from.y + 19}, number(second), Picture::Ink, "middle");
    picture.text({aim.x, aim.y - 9}, number(second), Picture::Orange, "middle");
  }
}

/// With the depth, -z, to the right and up.
Spot fromTheSide(osg::Pnt3f const& point) {
  return {120 + 28. * static_cast<double>(point.x()) - 14. * static_cast<double>(point.z()),
          150 - 28. * static_cast<double>(point.y()) + 10. * static_cast<double>(point.z())};
}

void drawAxes(Picture& picture, osg::UberCamera const& camera) {
  osg::Matrix const place = camera.getMatrix();
  Spot const from = fromTheSide(camera.getFrom());
  Spot const aim = fromTheSide(osg::AimConstraint::getAimPos(camera.getAimNode()));
  Spot const above = fromTheSide(osg::AimConstraint::getAimPos(camera.getUpVectorNode()));
  picture.dashes(from, aim, Picture::Orange);
  picture.dashes(from, above, Picture::Green);
  char const* const names[] = {"x", "y", "-z"};
  for (int axis = 0; axis < 3; ++axis) {
    osg::Pnt3f end;
    end[static_cast<osg::UInt32>(axis)] = axis == 2 ? -1.8F : 1.8F;
    Spot const tip = fromTheSide(place.multMatrixPnt(end));
    picture.arrow(from, tip, Picture::Blue, 2);
    picture.text({tip.x + 6, tip.y + 14}, names[axis], Picture::Blue);
  }
  picture.dot(from, Picture::Ink);
  picture.dot(aim, Picture::Orange);
  picture.dot(above, Picture::Green);
  picture.text({aim.x, aim.y - 9}, "AimNode", Picture::Orange, "middle");
  picture.text({above.x + 9, above.y + 4}, "UpVectorNode", Picture::Green);
}

}  // namespace

int main() {
  knSceneDataManager::beginScene();
  osg::UberCameraPtr const camera = osg::UberCamera::create();
  osg::NodePtr const cameraNode = addNode(camera);
  osg::NodePtr const target = addNode(osg::Transform3D::create());
  osg::NodePtr const above = addNode(osg::Transform3D::create());
  knKeyOptions const straight{.tangents = knTangents::Straight};
  knAuthoring::setKeys(knAuthoring::makeCurve(cameraNode, "translation.X"), {{0, -4}, {4, 4}}, straight);
  knAuthoring::setKeys(knAuthoring::makeCurve(cameraNode, "translation.Z"), {{0, 2.5F}, {4, 2.5F}}, straight);
  knAuthoring::setKeys(knAuthoring::makeCurve(target, "translation.X"), {{0, 2}, {4, -2}}, straight);
  knAuthoring::setKeys(knAuthoring::makeCurve(target, "translation.Z"), {{0, -2}, {4, -1}}, straight);
  Picture picture(900, 280);
  picture.beginPanel({20, 36}, 280, 220, "After the animations");
  drawDrive(picture, camera, target, false);
  picture.endPanel();
  camera->setAimNode(target);
  picture.beginPanel({320, 36}, 280, 220, "After evaluateConstraints");
  drawDrive(picture, camera, target, true);
  picture.endPanel();

  osg::dcast<osg::Transform3DPtr>(above->getCore())->setTranslation({-0.5F, 4, -0.5F});
  camera->setUpVectorNode(above);
  knAnimManager::the()->setCurrentTime(1, true, false);
  knConstraintManager::evaluateConstraints();
  picture.beginPanel({620, 36}, 260, 220, "The axes of the camera at 1 s");
  drawAxes(picture, *camera);
  picture.endPanel();
  knSceneDataManager::endScene();
}
