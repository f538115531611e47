#include "model/camera/UberCamera.h"

#include "support/TestContainers.h"

namespace kntest::UberCameraTest {

Real32 apart(Pnt3f const& a, Pnt3f const& b) { return length(a - b); }

Vec3f axis(Matrix const& matrix, UInt32 column) {
  return {matrix(0, column), matrix(1, column), matrix(2, column)};
}

/// The transform stands at from, looks at `at`, and leans as up and roll say.
void expectInStep(UberCamera const& camera, Real32 tolerance = 2e-4F) {
  Matrix const matrix = camera.getMatrix();
  Vec3f const sight = camera.getAt() - camera.getFrom();
  EXPECT_LT(apart(matrix.multMatrixPnt(Pnt3f()), camera.getFrom()), tolerance);
  EXPECT_LT(apart(matrix.multMatrixPnt(Pnt3f(0, 0, -camera.getAtDistance())), camera.getAt()), tolerance);
  EXPECT_NEAR(length(sight), camera.getAtDistance(), tolerance);
  Vec3f const upright = axis(matrix * Matrix::rotationEuler({0, 0, -camera.getRoll()}), 1);
  Vec3f const across = normalized(cross(normalized(sight), camera.getUp()));
  EXPECT_NEAR(dot(upright, across), 0.F, tolerance);
  EXPECT_GT(dot(upright, camera.getUp()), 0.F);
}

class UberCameraTest : public SceneTest {
 protected:
  Real32 number(Real32 size) { return std::uniform_real_distribution<Real32>(-size, size)(_random); }
  Vec3f vector(Real32 size) { return {number(size), number(size), number(size)}; }
  Pnt3f point() { return Pnt3f(vector(10)); }

  std::mt19937 _random{5};
  Held<UberCameraPtr> const _camera{UberCamera::create()};
};

TEST_F(UberCameraTest, WrittenFieldsCountOnceAnnounced) {
  _camera->setViewByFromAtUp({0, 0, 10}, {0, 0, 0}, {0, 1, 0});
  Field& from = *_camera->getField("viewFrom");
  auto const write = [&](Pnt3f const& value) {
    static_cast<SField<Pnt3f>&>(from).setValue(value);
    announce(*_camera, BitVector::all());
  };
  write({10, 0, 0});
  EXPECT_LT(apart(Pnt3f(_camera->getTranslation()), {10, 0, 0}), 1e-5F);
  EXPECT_NEAR(_camera->getEulerRotation().y(), 90.F, 1e-4F);

  _camera->setTranslation({7, 7, 7});
  write({0, 0, 5});
  EXPECT_EQ(_camera->getTranslation(), Vec3f(0, 0, 5)) << "from wins over the transform";
  write({NAN, 0, 0});
  EXPECT_EQ(_camera->getFrom(), Pnt3f(0, 0, 5));

  _camera->setTranslation({1, 0, 5});
  announce(*_camera, UberCamera::TranslationFieldMask);
  EXPECT_LT(apart(_camera->getAt(), {1, 0, 0}), 1e-5F) << "at goes along";

  Announced const announced;
  _camera->setTranslation({2, 0, 5});  // not announced, but not forgotten
  EXPECT_LT(apart(_camera->getFrom(), {2, 0, 5}) + apart(_camera->getAt(), {2, 0, 0}), 1e-5F);
  _camera->setUp({0, 2, 0});
  EXPECT_LT(apart(_camera->getFrom(), {2, 0, 5}), 1e-5F);
  BitVector const expected = UberCamera::TranslationFieldMask | UberCamera::FromFieldMask |
                             UberCamera::AtFieldMask | UberCamera::UpFieldMask;
  EXPECT_EQ(announced.list.getEntries().size(), 1U);
  EXPECT_EQ(announced.maskOf(*_camera) & expected, expected);
}

TEST_F(UberCameraTest, SpacesAreThoseOfTheParentAndTheWorld) {
  Held const parent(Node::create());
  Transform3DPtr const placed = Transform3D::create();
  placed->setTranslation({100, 0, 0});
  placed->setRotationAsEuler({20, 90, 10});
  placed->setScale({2, 2, 2});
  parent->setCore(placed);
  NodePtr const node = Node::create();
  node->setCore(*_camera);
  parent->addChild(node);
  for (int i = 0; i < 50; ++i) {
    Pnt3f const from = point(), at = point();
    Vec3f const up = vector(2);
    _camera->setViewByFromAtUp(from, at, up, Camera::WorldSpace);
    Pnt3f worldFrom, worldAt;
    Vec3f worldUp;
    _camera->getFromAtUp(worldFrom, worldAt, worldUp, Camera::WorldSpace);
    EXPECT_LT(apart(worldFrom, from) + apart(worldAt, at) + length(worldUp - up), 1e-3F);
  }
}

TEST_F(UberCameraTest, TurntableGoesAroundAt) {
  _camera->setViewByFromAtUp({1, 5, 12}, {1, 2, 2}, {0, 1, 0});
  _camera->setTurntableAngle(360 + 90);
  EXPECT_LT(apart(_camera->getFrom(), {11, 5, 2}), 1e-4F);
  EXPECT_NEAR(_camera->getTurntableAngle(), 90, 1e-3F);
  _camera->setTurntableAngle(120);
  _camera->setTurntableDistance(-3);
  EXPECT_NEAR(_camera->getTurntableDistance(), 0.F, 1e-6F);
  EXPECT_NEAR(_camera->getTurntableAngle(), 120.F, 0.1F) << "straight above, the angle is not lost";
  for (Real32 const refused : {NAN, INFINITY}) {
    _camera->setTurntableAngle(refused);
    _camera->setTurntableDistance(refused);
    _camera->setTurntableHeight(refused);
    expectInStep(**_camera);
  }
}

TEST_F(UberCameraTest, LensAngleAndSensorGoTogether) {
  _camera->setFocalLength(18);
  EXPECT_NEAR(_camera->getFocalLength(), 18.F, 1e-4F);
  EXPECT_NEAR(_camera->getFieldOfView()[0], 1.5707963F, 1e-6F);
  EXPECT_NEAR(_camera->getFov(), 67.380135F, 1e-4F) << "2 atan(24 / 36)";
  _camera->setFov(45);
  announce(*_camera, UberCamera::FovFieldMask);
  EXPECT_NEAR(_camera->getFocalLength(), 12.F / std::tan(0.39269908F), 1e-3F) << "the shape stays";
  _camera->setFieldOfView({1, 0.5F});
  announce(*_camera, UberCamera::FieldOfViewFieldMask);
  EXPECT_EQ(_camera->getFov(), 45) << "angles by themselves move no lens";
  EXPECT_NEAR(_camera->getFocalLength(), 12.F / std::tan(0.39269908F), 1e-3F);
  _camera->setFov(50);
  announce(*_camera, UberCamera::FovFieldMask);
  EXPECT_EQ(_camera->getFieldOfView(), Vec2f(1, 0.5F)) << "a curve may keep them there";

  Real32 const kept = _camera->getFocalLength();
  for (Real32 const refused : {0.F, -1.F, NAN, INFINITY}) {
    _camera->setFocalLength(refused);
    _camera->setFStop(refused);
  }
  EXPECT_EQ(_camera->getFocalLength(), kept);
  EXPECT_EQ(_camera->getFStop(), 8.F);
  _camera->setPrincipalPointOffset({3, 6});
  Vec4f const edges = _camera->getViewEdges(1);
  EXPECT_NEAR((edges[2] + edges[3]) / (edges[0] + edges[1]), 2, 1e-4F) << "moved by the offset";
  _camera->setFrustumSides({-1, 2, -3, 4});
  Matrix const projection = _camera->getProjection(1);
  EXPECT_LT(apart(projection.multFullMatrixPnt({20, -30, -10}), {1, -1, 0.98F}), 0.03F);
  _camera->setSkewFactor(0.5F);
  EXPECT_EQ(_camera->getProjection(1)(0, 1), 0.5F * projection(0, 0)) << "x goes along with y";
}

TEST_F(UberCameraTest, FogLiesBelowItsRange) {
  Held const fog(FogSettings::create());
  fog->setFogEnableHeight(true);
  for (Vec2f const range : {Vec2f(0, 100), Vec2f(50, 50)}) {
    fog->setFogRangeHeight(range);
    EXPECT_EQ(fog->getHeightFog(range[0] - 1), 1) << range[1];
    EXPECT_EQ(fog->getHeightFog(range[0]), 1) << range[1];
    EXPECT_EQ(fog->getHeightFog(range[1] + 1), 0) << range[1];
  }
}

TEST_F(UberCameraTest, DegenerateViewsKeepAValidOrientation) {
  Pnt3f const from(1, 2, 3), at(4, 2, 3);
  _camera->setRoll(30);
  struct Case {
    Pnt3f from, at;
    Vec3f up;
  };
  for (Case const& c : {Case{from, from, {0, 1, 0}}, Case{from, at, {3, 0, 0}}, Case{from, at, {}},
                        Case{{NAN, 0, 0}, at, {0, 1, 0}}, Case{from, {0, INFINITY, 0}, {0, 0, NAN}},
                        Case{from, {1, 2, 3.0000002F}, {0, 1, 0}}, Case{{1e30F, 0, 0}, at, {0, 1, 0}}}) {
    _camera->setViewByFromAtUp(from, at, {0, 1, 0});
    _camera->setViewByFromAtUp(c.from, c.at, c.up);
    Matrix const rotation = _camera->getMatrix();
    EXPECT_NEAR(rotation.determinant3(), 1.F, 1e-5F);
    EXPECT_NEAR(rotation(1, 1), 0.8660254F, 1e-4F) << "as upright as the roll has it";
    EXPECT_GT(_camera->getAtDistance(), 0.F);
  }
  _camera->setViewByFromAtUp(from, at, {0, 1, 0});
  _camera->setFrom(at);
  _camera->setTranslation({NAN, 0, 0});
  announce(*_camera, UberCamera::TranslationFieldMask);
  EXPECT_EQ(_camera->getFrom(), at);
  _camera->setFrom(from);
  expectInStep(**_camera);
}

}  // namespace kntest::UberCameraTest
