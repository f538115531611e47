#include "camera/CameraStage.h"
#include "support/LogCapture.h"

namespace kntest::ShotsTest {

using Keys = std::vector<Pnt2f>;

class ShotsTest : public CameraStage {
 protected:
  AnimNodePtr newShot(UInt32 transition, UInt32 type, UInt32 interpolation, float transitionTime,
                      float time) {
    AnimShotPtr const shot = AnimShot::create();
    shot->setTransitionType(transition);
    shot->setShotType(type);
    shot->setInterpolation(interpolation);
    shot->setTransitionDuration(transitionTime);
    shot->setShotDuration(time);
    shot->setStartFrom({10, 11, 12});
    shot->setEndFrom({20, 21, 22});
    return newAnimNode(shot);
  }
};

TEST_F(ShotsTest, KeysFollowTransitionTypeAndInterpolation) {
  struct {
    UInt32 transition, type, interpolation;
    Keys fromY;
    UInt32 in, out;
  } const rows[] = {
      {0, 0, 0, {{0, 0}, {0.0001F, 11}}, 0, 0},          {0, 1, 1, {{0, 0}, {0.0001F, 11}, {5, 21}}, 2, 1},
      {1, 1, 3, {{0, 2}, {2, 11}, {7, 21}}, 2, 2},       {1, 0, 2, {{0, 2}, {2, 11}}, 1, 2},
      {2, 1, 0, {{0, 0}, {0.0001F, 11}, {5, 21}}, 1, 1}, {9, 0, 7, {{0, 0}, {0.0001F, 11}}, 1, 1},
  };
  for (auto const& row : rows) {
    Held<AnimNodePtr> const shot(newShot(row.transition, row.type, row.interpolation, 2, 5));
    manager.createAnimationCurvesForShotNode(*shot, camera);
    // A second time finds the curves.
    manager.createAnimationCurvesForShotNode(*shot, camera);
    EXPECT_EQ(shot->getNChildren(), row.transition == 2 ? 10U : 9U);
    AnimCurvePtr const curve = curveIn(*shot, "from", 1);
    EXPECT_EQ(keysOf(curve), row.fromY) << row.transition << row.type;
    EXPECT_EQ(curve->getControlPoints()[0].inType(), row.in);
    EXPECT_EQ(curve->getControlPoints()[1].outType(), row.out);
    EXPECT_TRUE(curve->getIsCameraShotCurve());
  }
  // Without a duration of the fade, its last key comes before the second.
  Held<AnimNodePtr> const fade(newShot(2, 0, 3, 0, 5));
  manager.createAnimationCurvesForShotNode(*fade, camera);
  AnimCurvePtr const exposure = curveIn(*fade, "exposure", 0);
  float const present = camera->getTonemappingSettings()->getExposure();
  EXPECT_EQ(keysOf(exposure), (Keys{{0, present}, {0, present}, {0.0001F, 0}}));
  EXPECT_EQ(exposure->getControlPoints()[0].outType(), 0U);
  EXPECT_FALSE(exposure->getIsCameraShotCurve());
}

TEST_F(ShotsTest, ConvertingOnceGivesTheCameraAClone) {
  AnimNodePtr const shot = newShot(0, 1, 0, 0, 5);
  shot->setOffset({3, 50});
  Held<AnimNodePtr> const clip(newGroup<AnimClip>({shot, newAnimNode(Group::create())}));
  {
    LogCapture const log;
    manager.convertShotToCurvesR(*clip, parent);
    EXPECT_EQ(log.errors(), std::vector<std::string>{
                                "Error converting camera shots to curves. Parent core is not a camera!"});
    EXPECT_EQ(shot->getNChildren(), 0U);
  }
  for (int times = 0; times < 2; ++times) manager.convertShotToCurvesR(*clip, cameraNode);
  std::vector<AnimNodePtr> const animations = treesOf(cameraNode);
  ASSERT_EQ(animations.size(), 1U);
  EXPECT_EQ(animations[0]->getCore(), shot->getCore());
  EXPECT_EQ(animations[0]->getChild(0)->getCore(), shot->getChild(0)->getCore());
  EXPECT_EQ(animations[0]->getOffset(), Vec2f(3, 50));
  EXPECT_EQ(shot->getOffset(), Vec2f(6, 50));
  EXPECT_EQ(manager.getCameraNodeWithAnimationShot(shot), cameraNode);

  // The first key follows the camera, the rest stays.
  camera->setFrom({-5, -6, -7});
  manager.updateCameraShotCurves(*clip);
  EXPECT_EQ(keysOf(curveIn(shot, "from", 1)), (Keys{{0, -6}, {0.0001F, 11}, {5, 21}}));
  EXPECT_FLOAT_EQ(curveIn(shot, "from", 1)->getControlPoints()[1].inY(), 0.4F * (-6 - 11));
}

}  // namespace kntest::ShotsTest
