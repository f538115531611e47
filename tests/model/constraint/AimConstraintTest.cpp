#include "camera/CameraStage.h"
#include "knFramePlayer.h"
#include "model/constraint/knConstraintManager.h"
#include "model/math/MatrixTools.h"
#include "model/scenegraph/Cloning.h"

namespace kntest::AimConstraintTest {

class AimConstraintTest : public CameraStage {};

TEST_F(AimConstraintTest, CamerasFollowTheirTargetsThroughAnyParents) {
  EXPECT_FALSE(knConstraintManager::findAimConstraintForTarget(camera));
  NodePtr const aim = addNode(Transform3D::create(), addNode(Transform3D::create()));
  NodePtr const up = addNode(Transform3D::create(), parent);
  camera->setAimNode(aim);
  Held const copy(deepCopyContainer(camera, "Node"));
  EXPECT_EQ(UberCamera::getAimedCameras().size(), 2U) << "a copy aims as well";
  for (int times = 0; times < 50; ++times) {
    coreOf<Transform3D>(aim)->setTranslation(vector(9));
    coreOf<Transform3D>(aim)->setRotatePivot(vector(9));
    coreOf<Transform3D>(aim->getParent())->setTranslation(vector(9));
    coreOf<Transform3D>(up)->setTranslation(vector(9));
    camera->setUpVectorNode(times % 2 == 0 ? NodePtr() : up);
    Pnt3f const from = camera->getFrom(Camera::WorldSpace);
    knConstraintManager::evaluateConstraints();
    EXPECT_EQ(camera->getFrom(), Pnt3f(1, 2, 3)) << "nothing adds up from frame to frame";
    Pnt3f const target = aim->getToWorld().multMatrixPnt(Pnt3f(coreOf<Transform3D>(aim)->getRotatePivot()));
    EXPECT_LT(length(sight() - normalized(target - from)), 1e-4F);
    if (times % 2 != 0) {
      Vec3f const wanted = normalized(up->getToWorld().multMatrixPnt({}) - from);
      EXPECT_NEAR(dot(cross(wanted, sight()), normalized(camera->getUp(Camera::WorldSpace))), 0, 1e-3F);
    }
    changes.clear();
    knConstraintManager::evaluateConstraints();
    EXPECT_TRUE(changes.getEntries().empty());
  }
}

TEST_F(AimConstraintTest, WhatCannotBeAimedAtLeavesTheCamera) {
  NodePtr const aim = addNode(Transform3D::create());
  Vec3f const before = sight();
  auto const stays = [&] {
    knConstraintManager::evaluateConstraints();
    EXPECT_LT(length(sight() - before), 1e-5F);
  };
  camera->setAimNode(aim);
  // In the camera itself, nowhere, below the camera, destroyed.
  Pnt3f const from = camera->getFrom(Camera::WorldSpace);
  coreOf<Transform3D>(aim)->setTranslation(from - Pnt3f());
  stays();
  coreOf<Transform3D>(aim)->setTranslation({std::numeric_limits<Real32>::quiet_NaN(), 0, 0});
  stays();
  NodePtr const below = addNode(Transform3D::create(), cameraNode);
  coreOf<Transform3D>(below)->setTranslation({3, 4, 5});
  camera->setAimNode(below);
  stays();
  // Below another node of the same camera, which turns with it as well.
  NodePtr const twin = addNode(camera);
  twin->addChild(below);
  stays();
  twin->subChild(below);
  stays();
  EXPECT_TRUE(UberCamera::getAimedCameras().empty());
  // A parent without extent.
  coreOf<Transform3D>(aim)->setTranslation({50, 0, 0});
  coreOf<Transform3D>(parent)->setScale({2, 0, 2});
  camera->setAimNode(aim);
  knConstraintManager::evaluateConstraints();
  EXPECT_EQ(camera->getFrom(), Pnt3f(1, 2, 3));
  coreOf<Transform3D>(parent)->setScale({2, 2, 2});
  // An up target in line with the aim.
  coreOf<Transform3D>(aim)->setTranslation({50, 0, 0});
  camera->setAimNode(aim);
  camera->setUpVectorNode(aim);
  knConstraintManager::evaluateConstraints();
  EXPECT_LT(length(sight() - normalized(Pnt3f(50, 0, 0) - from)), 1e-4F);
  // An up target that turns with the camera.
  Vec3f const up = camera->getUp();
  camera->setUpVectorNode(addNode(Transform3D::create(), cameraNode));
  coreOf<Transform3D>(camera->getUpVectorNode())->setTranslation({3, 4, 5});
  knConstraintManager::evaluateConstraints();
  EXPECT_EQ(camera->getUp(), up);
}

TEST_F(AimConstraintTest, ThePlayerTurnsCamerasAfterItHasMovedTheirAims) {
  NodePtr const aim = addNode(Transform3D::create());
  animate(aim, newCurveNode("translation", 0, {{0, 0}, {1, 40}}));
  camera->setAimNode(aim);
  knFramePlayer& player = knFramePlayer::the();
  player.start({.startFrame = manager.fps()}, false, nullptr);
  player.tick();
  player.apply();
  player.stop(nullptr);
  EXPECT_LT(length(sight() - normalized(Pnt3f(40, 0, 0) - camera->getFrom(Camera::WorldSpace))), 1e-4F);
}

TEST_F(AimConstraintTest, MatricesAreTheirPartsTogether) {
  for (int times = 0; times < 300; ++times) {
    Matrix const matrix = Matrix::translation(vector(5)) * Matrix::rotationEuler(vector(5) * 40) *
                          Matrix::scale(vector(5)) * Matrix::rotationEuler(vector(5) * 40);
    TransformParts const parts = splitTransform(matrix);
    Matrix const frame = Matrix::rotation(parts.scaleOrientation);
    Matrix back;
    ASSERT_TRUE(frame.inverse(back));
    Matrix const again = Matrix::translation(parts.translation) * Matrix::rotation(parts.rotation) * frame *
                         Matrix::scale(parts.scale) * back;
    for (UInt32 i = 0; i < 16; ++i) EXPECT_NEAR(again.data()[i], matrix.data()[i], 2e-3F);
  }
  EXPECT_NEAR(lookAt({1, 2, 3}, {1, 9, 3}, {0, 1, 0}).determinant3(), 1, 1e-6F);
  EXPECT_EQ(lookAt({}, {0, 0, -2}, {0, 5, 0}), Matrix());
  EXPECT_EQ(splitTransform(Matrix::scale({0, 1, 1})).rotation, Quaternion());
}

}  // namespace kntest::AimConstraintTest
