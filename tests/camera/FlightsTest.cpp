#include "camera/CameraStage.h"
#include "model/constraint/AimConstraint.h"
#include "model/math/MatrixTools.h"
#include "support/LogCapture.h"

namespace kntest::FlightsTest {

using Keys = std::vector<Pnt2f>;

class FlightsTest : public CameraStage {
 protected:
  AnimNodePtr flight() { return camera->getAnimationRoot(); }
  Pnt3f point(Real32 size) { return Pnt3f(vector(size)); }
};

TEST_F(FlightsTest, AFlightEndsInTheStateOfItsTarget) {
  LogCapture const log;
  UberCameraPtr const target = coreOf<UberCamera>(addNode(UberCamera::create(), parent));
  NodePtr const aim = addNode(Transform3D::create()), above = addNode(Transform3D::create(), parent);
  camera->setAimNode(aim);
  camera->setUpVectorNode(above);
  for (int times = 0; times < 40; ++times) {
    coreOf<Transform3D>(aim)->setRotatePivot(vector(2));
    coreOf<Transform3D>(above)->setTranslation(vector(9));
    camera->setRotatePivot(vector(2));
    camera->setRotationOrientationAsEuler(vector(180));
    target->setViewByFromAtUp(point(20), point(20), vector(1));
    target->setRoll(number(90));
    target->setFov(times % 2 == 0 ? 45 : 60 + number(40));
    announce(target, UberCamera::FovFieldMask);
    target->getTonemappingSettings()->setExposure(1 + number(1));
    simulationTime() = 100;
    manager.animateCamera(camera, target, 2, {});
    Real32 const reach = length(AimConstraint::getAimPos(above) - camera->getFrom(Camera::WorldSpace));
    Pnt3f const start = camera->getFrom();
    Pnt3f previous = start;
    Real32 const mean = length(target->getFrom() - start) / 100;
    for (int step = 1; step <= 100; ++step) {
      playTo(step * 0.02);
      EXPECT_LE(length(camera->getFrom() - previous), 2 * mean + 1e-4F);
      previous = camera->getFrom();
    }
    playTo(2.1);
    EXPECT_LT(length(camera->getFrom() - target->getFrom()), 1e-4F);
    EXPECT_LT(length(camera->getAt() - target->getAt()), 1e-4F);
    EXPECT_LT(length(camera->getUp() - target->getUp()), 1e-4F);
    EXPECT_LT(length(AimConstraint::getAimPos(aim) - camera->getAt(Camera::WorldSpace)), 1e-3F);
    Vec3f const upwards = normalized(camera->getUp(Camera::WorldSpace)) * reach;
    EXPECT_LT(length(AimConstraint::getAimPos(above) - (camera->getFrom(Camera::WorldSpace) + upwards)),
              1e-3F);
    EXPECT_NEAR(camera->getFov(), target->getFov(), 1e-4F) << "whatever became of the angles of view";
    EXPECT_FLOAT_EQ(camera->getTonemappingSettings()->getExposure(),
                    target->getTonemappingSettings()->getExposure());
    EXPECT_FALSE(knAnimEvaluator::the()->isPlaying(flight()));
  }
  EXPECT_TRUE(log.lines().empty()) << "of channels that the camera does not take nobody is warned";
}

/// Flights tell who owns their curves, and a look at the whole scene finds the same; edits of the host's come between.
TEST_F(FlightsTest, OwnersAreKnownWithoutALookAtTheScene) {
  using Access = knAnimEvaluatorAccess;
  NodePtr const other = addNode(UberCamera::create(), parent);
  UberCameraPtr const second = coreOf<UberCamera>(other);
  NodePtr const track = addNode(CameraTrack::create(), cameraNode);
  UberCameraPtr const viewpoint = coreOf<UberCamera>(addNode(UberCamera::create(), track));
  Held<AnimNodePtr> const strange(newAnimNode(Group::create()));
  std::vector<std::function<void(UberCameraPtr const&)>> const flights{
      [&](auto& flying) { manager.animateCamera(flying, viewpoint, 1, {}); },
      [&](auto& flying) { manager.animateCamera(flying, point(3), vector(1), 1); },
      [&](auto& flying) {
        manager.animateCamera(flying, Matrix(), {1, 1, 1, 1}, {}, 1);
      },
      [&](auto& flying) { manager.animateCamera(flying, point(3), point(3), vector(1), 40, 0, 1); },
      [&](auto& flying) { manager.animateCamera(flying, track, {}); },
      [&](auto& flying) { manager.animateCameraTurntable(flying); },
  };
  std::vector<std::function<void()>> const edits{
      [&] { addNode(coreOf<UberCamera>(other), parent); },
      [&] { parent->subChild(other); },
      [&] { parent->addChild(other); },
      [&] { track->addChild(other); },
      [&] { flight()->addChild(newAnimNode(flight()->getChild(0)->getCore())); },
      [&] { animate(cameraNode, newAnimNode(flight()->getChild(0)->getCore())); },
      [&] { strange->addChild(flight()); },
      [&] { strange->subChild(flight()); },
      [&] {
        animate(track, newCurveNode("from", 0, {{0, 0}}));
      },
      [&] { camera->setAnimationRoot(newAnimNode(Group::create())); },
      [&] { second->setAnimationRoot(flight()); },
  };
  Held<NodePtr> const keptNode(other);
  int kept = 0;
  for (int times = 0; times < 400; ++times) {
    auto const any = [&](auto const& list) {
      return list[static_cast<std::size_t>((number(1) + 1) * 0.4999F * static_cast<float>(list.size()))];
    };
    if (times % 4 == 0 && flight().isAlive() && flight()->getNChildren() > 0) any(edits)();
    if (times % 3 == 0) knAnimEvaluator::the()->updateSceneAnimParentMap(root());
    any(flights)(times % 2 == 0 ? camera : second);
    if (AnimNode::_changed) continue;
    ++kept;
    auto const known = Access::parents();
    Access::updateParents();
    EXPECT_EQ(known.size(), Access::parents().size()) << times;
    EXPECT_TRUE(known == Access::parents()) << times;
  }
  EXPECT_GT(kept, 100);
}

TEST_F(FlightsTest, TurningToAPointLooksAtItInTheEnd) {
  for (int times = 0; times < 60; ++times) {
    // Parents that stretch and mirror too.
    coreOf<Transform3D>(parent)->setScale(times < 20 ? Vec3f(2, 2, 2) : Vec3f(times < 40 ? 1 : -1, 2, 3));
    camera->setViewByFromAtUp(point(5), point(5), vector(1));
    camera->setRoll(times % 2 == 0 ? 0 : number(90));
    camera->setRotationOrientationAsEuler(times % 3 == 0 ? Vec3f() : vector(180));
    camera->setRotatePivot(times % 4 == 0 ? Vec3f() : vector(0.5F));
    announce(camera, Transform3D::RotatePivotFieldMask);
    Pnt3f const at = point(60);
    Vec3f const up = camera->getUp();
    simulationTime() = 100;
    manager.animateCamera(camera, at, times % 2 == 0 ? Vec3f() : vector(1), 1);
    EXPECT_FALSE(curveIn(flight(), "from", 0));
    playTo(1.5);
    Vec3f const wanted = normalized(at - camera->getFrom(Camera::WorldSpace));
    EXPECT_LT(length(sight() - wanted), 1e-4F) << times;
    if (times % 2 != 0) continue;
    Vec3f const aside = normalized(cross(up, camera->getAt() - camera->getFrom()));
    EXPECT_NEAR(dot(aside, camera->getUp()), 0, 1e-3F) << times;
    EXPECT_GT(dot(up, camera->getUp()), 0) << times;
  }
}

TEST_F(FlightsTest, RotationsGoTheShortWayOnce) {
  camera->setRotationAsEuler({170, 10, -400});
  Held<AnimNodePtr> const root(newAnimNode(Group::create()));
  manager.createRotationCurves(*root, camera, {-170, 350, 400}, 2);
  for (auto const& [index, start, end] :
       {std::tuple{0U, 170.F, 190.F}, {1U, 10.F, -10.F}, {2U, -400.F, 40.F}}) {
    EXPECT_EQ(keysOf(curveIn(*root, "eulerRotation", index)), (Keys{{0, start}, {2, end}}));
  }
  Held<AnimNodePtr> const half(newAnimNode(Group::create()));
  manager.createRotationCurves(*half, camera, {-10, 10, -400}, 2);
  EXPECT_EQ(keysOf(curveIn(*half, "eulerRotation", 0)), (Keys{{0, 170}, {2, -10}})) << "half a turn";
}

TEST_F(FlightsTest, EachFormMakesItsCurves) {
  Matrix const place = lookAt({30, 20, 10}, {0, 0, 0}, {0, 1, 0});
  manager.animateCamera(camera, place, {}, {}, 2);
  playTo(2.5);
  EXPECT_LT(length(camera->getFrom(Camera::WorldSpace) - Pnt3f(30, 20, 10)), 1e-3F);
  EXPECT_LT(length(sight() - normalized(Vec3f(-30, -20, -10))), 1e-4F);

  // A duration of 0 leaves fov and roll alone, each with two keys at 0.
  manager.animateCamera(camera, Pnt3f(), Pnt3f(1, 0, 0), Vec3f(0, 1, 0), 30, 15, 0);
  ASSERT_EQ(flight()->getNChildren(), 2U);
  EXPECT_EQ(curveOf(dcast<AnimNodePtr>(flight()->getChild(1)))->getControlPoints().size(), 2U);
  EXPECT_TRUE(knAnimEvaluator::the()->isPlaying(flight()));

  // Lists that differ in length make no curves of channels; targets of an aim move along all the same.
  UberCameraPtr const viewpoint = coreOf<UberCamera>(addNode(UberCamera::create()));
  viewpoint->setFogSettings({});
  camera->setAimNode(addNode(Transform3D::create()));
  camera->setUpVectorNode(addNode(Transform3D::create(), parent));
  EXPECT_EQ(manager.prepareCameraAnimation(camera, viewpoint, 2, {})->getNChildren(), 6U);
  EXPECT_FALSE(knAnimEvaluator::the()->isPlaying(flight()));
  EXPECT_TRUE(curveIn(flight(), "upTranslation", 2));
}

TEST_F(FlightsTest, ATurntableLoopsUntilItIsStopped) {
  camera->setTurntableAnimationDuration(4);
  camera->setFlags(UberCamera::TurntableLoopFlag | UberCamera::TurntableBackwardsFlag);
  float const angle = camera->getTurntableAngle();
  manager.animateCameraTurntable(camera);
  EXPECT_EQ(keysOf(curveIn(flight(), "turntableAngle", 0)), (Keys{{0, angle}, {4, angle - 360}}));
  EXPECT_EQ(flight()->getPostCycles(), -1);
  playTo(5);
  EXPECT_NEAR(std::remainder(camera->getTurntableAngle() - (angle - 90), 360.F), 0, 1e-2F);
  manager.stopCameraAnimation(camera);
  EXPECT_EQ(flight()->getPostCycles(), 0);
  EXPECT_FALSE(knAnimEvaluator::the()->isPlaying(flight()));
}

TEST_F(FlightsTest, MotionBlurEvaluatesEachTimeOnce) {
  NodePtr const mover = addNode(Transform3D::create());
  AnimNodePtr const tree = animate(mover, newCurveNode("translation", 0, {{0, 0}, {10, 10}}));
  camera->setMotionBlur(true);
  camera->setShutterSpeed(2);
  manager.setCurrentTimeNoEvaluation(3, false);
  // The first sample at a time counts, also at the time where all begins.
  manager.applyMotionBlur(camera, 0);
  EXPECT_EQ(placeOf(mover).x(), 3);
  coreOf<Transform3D>(mover)->setTranslation({});
  manager.applyMotionBlur(camera, 0);
  EXPECT_EQ(placeOf(mover).x(), 0);
  manager.applyMotionBlur(camera, 1);
  EXPECT_EQ(placeOf(mover).x(), 3.5F);
  EXPECT_EQ(manager.currentTime(), 3);
  manager.resetMotionBlur();
  EXPECT_EQ(placeOf(mover).x(), 3);

  // Limited to one object, what takes no part stays; an id of nothing evaluates nothing.
  manager.setMotionBlurObjectID(tree.getContainerId());
  tree->setMotionBlur(false);
  manager.applyMotionBlur(camera, 0.5F);
  EXPECT_EQ(placeOf(mover).x(), 3);
  tree->setMotionBlur(true);
  manager.applyMotionBlur(camera, 0.25F);
  EXPECT_EQ(placeOf(mover).x(), 3.125F);
  manager.setMotionBlurObjectID(mover.getContainerId());
  manager.applyMotionBlur(camera, 0.75F);
  EXPECT_EQ(placeOf(mover).x(), 3.125F);
  manager.resetMotionBlurObjectID();
  manager.resetMotionBlur();
  animate(addNode(Sceneplate::create(), knSceneDataManager::getSceneplateRoot(0)),
          newCurveNode("f", 0, {{0, 0}}));
  EXPECT_EQ(Access::gatherScene().size(), 2U) << "sceneplates are evaluated again";
}

}  // namespace kntest::FlightsTest
