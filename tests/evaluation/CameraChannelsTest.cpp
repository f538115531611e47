// The channels of a camera two by two: none takes away what another one has written.
#include "support/SceneStage.h"

#include <Eigen/Geometry>
#include <numbers>

namespace kntest::CameraChannelsTest {

using Eigen::Matrix3d;
using Eigen::Vector3d;

double radians(double degrees) { return degrees * std::numbers::pi / 180; }
Matrix3d turned(double degrees, Vector3d const& axis) {
  return Eigen::AngleAxisd(radians(degrees), axis).toRotationMatrix();
}

/// A camera as each channel changes it by itself, at once. From, at and up wait until the others are done.
struct Model {
  Vector3d from{0, 3, 10}, at{0, 0, 0}, up{0, 1, 0};
  double roll = 0;
  std::optional<Vector3d> newFrom, newAt, newUp;

  Matrix3d orientation() const {
    Matrix3d axes;
    axes.col(2) = (from - at).normalized();
    axes.col(0) = up.cross(axes.col(2)).normalized();
    axes.col(1) = axes.col(2).cross(axes.col(0));
    return axes * turned(roll, Vector3d::UnitZ());
  }
  void apply(std::string const& channel, double value) {
    auto const keep = [&](std::optional<Vector3d>& kept, Vector3d const& present, int i) {
      kept = present;
      (*kept)[i] = value;
    };
    Vector3d const arm = from - at;
    if (channel == "from") keep(newFrom, from, 0);
    if (channel == "at") keep(newAt, at, 1);
    if (channel == "up") keep(newUp, up, 0);
    if (channel == "roll") roll = value;
    if (channel == "translation") {
      at.y() += value - from.y();
      from.y() = value;
    }
    if (channel == "eulerRotation") {
      Vector3d angles = orientation().eulerAngles(2, 1, 0);  // one of two ways to tell the same
      if (std::abs(angles.y()) > std::numbers::pi / 2) {
        angles += Vector3d(std::numbers::pi, 0, std::numbers::pi);
      }
      if (std::abs(angles.y() - radians(value)) < 1e-6) return;
      Matrix3d const axes = Eigen::AngleAxisd(angles.x(), Vector3d::UnitZ()) *
                            turned(value, Vector3d::UnitY()) *
                            Eigen::AngleAxisd(angles.z(), Vector3d::UnitX());
      at = from - axes.col(2) * arm.norm();
      up = (axes * turned(-roll, Vector3d::UnitZ())).col(1);
    }
    if (channel == "turntableAngle") {
      double const angle = std::atan2(arm.x(), arm.z());
      Matrix3d const turn = Eigen::AngleAxisd(radians(value) - angle, Vector3d::UnitY()).toRotationMatrix();
      from = at + turn * arm;
      up = turn * up;
    }
    if (channel == "turntableHeight") from.y() = at.y() + value;
    if (channel == "turntableDistance") {
      Vector3d const outwards = Vector3d(arm.x(), 0, arm.z()).normalized() * value;
      from = at + outwards + Vector3d(0, arm.y(), 0);
    }
  }
  void finish() {
    from = newFrom.value_or(from);
    at = newAt.value_or(at);
    up = newUp.value_or(up);
    newFrom = newAt = newUp = std::nullopt;
  }
  double distanceTo(Model const& other) const {
    return (from - other.from).norm() + (at - other.at).norm() + (up - other.up).norm() +
           std::abs(roll - other.roll);
  }
};

struct Channel {
  char const* name;
  UInt32 index;
  float begin, end;
  float at(float time) const { return begin + (end - begin) * time; }
};
constexpr Channel Channels[] = {{"translation", 1, 1, 9},
                                {"eulerRotation", 1, 20, 50},
                                {"from", 0, 2, 6},
                                {"at", 1, -1, 3},
                                {"up", 0, 0.25F, 1},
                                {"roll", 0, 5, 65},
                                {"turntableAngle", 0, 37, 71},
                                {"turntableHeight", 0, 1, 4},
                                {"turntableDistance", 0, 3, 7},
                                {"aimTranslation", 1, 2, 5},
                                {"upTranslation", 0, -3, 4},
                                {"fov", 0, 30, 50}};

class CameraChannelsTest : public SceneStage {};

void expectLike(UberCamera const& camera, Model const& model) {
  auto const toEigen = [](auto const& v) { return Vector3d(v[0], v[1], v[2]); };
  constexpr double Tolerance = 1e-3;
  EXPECT_LT((toEigen(camera.getTranslation()) - model.from).norm(), Tolerance);
  EXPECT_LT((toEigen(camera.getFrom()) - model.from).norm(), Tolerance);
  EXPECT_LT((toEigen(camera.getAt()) - model.at).norm(), Tolerance);
  EXPECT_NEAR(camera.getRoll(), model.roll, Tolerance);
  Matrix const matrix = camera.getMatrix();
  Matrix3d const orientation = model.orientation();
  for (UInt32 row = 0; row < 3; ++row) {
    for (UInt32 column = 0; column < 3; ++column)
      EXPECT_NEAR(matrix(row, column), orientation(row, column), Tolerance);
  }
}

TEST_F(CameraChannelsTest, NoChannelTakesAwayWhatAnotherWrote) {
  int resting = 0;
  for (Channel const& first : Channels) {
    for (Channel const& second : Channels) {
      if (&first == &second) continue;
      SCOPED_TRACE(std::string(first.name) + " and " + second.name);
      UberCameraPtr const camera = UberCamera::create();
      NodePtr const node = addNode(camera);
      NodePtr const aim = addNode(Transform3D::create()), above = addNode(Transform3D::create());
      camera->setAimNode(aim);
      camera->setUpVectorNode(above);
      Model model;
      camera->setViewByFromAtUp({0, 3, 10}, {0, 0, 0}, {0, 1, 0});
      std::vector<AnimNodePtr> curves;
      for (Channel const& one : {first, second})
        curves.push_back(newCurveNode(one.name, one.index, {{0, one.begin}, {1, one.end}}));
      animate(node, newGroup<AnimBlock>(curves));
      auto const evaluateBoth = [&](float time) {
        changes.clear();
        evaluate(time);
        for (Channel const& one : {first, second}) model.apply(one.name, one.at(time));
        model.finish();
        expectLike(*camera, model);
        // A rotation that is off by a rounding takes the up vector along; the orientation is the same.
        bool const isRotated = curveOf(curves[0])->getName() == "eulerRotation" ||
                               curveOf(curves[1])->getName() == "eulerRotation";
        Vec3f const up = camera->getUp();
        EXPECT_TRUE(isRotated || (Vector3d(up[0], up[1], up[2]) - model.up).norm() < 1e-3);
      };
      for (float const time : {0.F, 0.25F, 0.5F, 1.F}) evaluateBoth(time);
      // At rest nothing is announced, unless the two want the same thing otherwise.
      evaluateBoth(1);
      Model const before = model;
      bool atRest = true;
      for (Channel const& one : {first, second}) {
        model.apply(one.name, one.end);
        atRest = atRest && model.distanceTo(before) < 1e-6;
      }
      model.finish();
      if (atRest && model.distanceTo(before) < 1e-6) {
        ++resting;
        evaluateBoth(1);
        EXPECT_FALSE(announced(camera).any());
      }
      for (Channel const& one : {first, second}) {
        std::string_view const name = one.name;
        EXPECT_TRUE(name != "aimTranslation" || placeOf(aim).y() == one.end);
        EXPECT_TRUE(name != "upTranslation" || placeOf(above).x() == one.end);
        EXPECT_TRUE(name != "fov" || camera->getFov() == one.end);
      }
      if (HasFailure()) return;
      root()->subChild(node);
    }
  }
  EXPECT_GT(resting, 80);
}

/// A turntable that stands still leaves the camera alone, near and far from the origin, upright or not.
TEST_F(CameraChannelsTest, ATurntableComesToRest) {
  for (Vec3f const& up : {Vec3f(0, 1, 0), Vec3f(0.25F, 1, 0.5F)}) {
    for (Pnt3f const& at : {Pnt3f(0, 0, 0), Pnt3f(1000, 3, -700)}) {
      for (Vec3f const& arm : {Vec3f(0, 2, 7), Vec3f(0, 5, 0)}) {
        for (int i = 0; i < 400; ++i) {
          Held const camera(UberCamera::create());
          camera->setViewByFromAtUp(at + arm, at, up);
          auto const angle = static_cast<float>(i) * 1.37F - 180.F;
          camera->setTurntableAngle(angle);
          if (arm.z() > 0) camera->setTurntableDistance(4.1F);
          Vec3f const turnedUp = camera->getUp();
          changes.clear();
          for (int again = 0; again < 3; ++again) {
            camera->setTurntableAngle(angle);
            if (arm.z() > 0) camera->setTurntableDistance(4.1F);
            camera->setTurntableHeight(camera->getTurntableHeight());
          }
          ASSERT_FALSE(announced(camera).any()) << angle << ", " << at.x() << ", " << arm.z();
          ASSERT_EQ(camera->getUp(), turnedUp);
          float const off = std::remainder(camera->getTurntableAngle() - angle, 360.F);
          ASSERT_NEAR(off, 0, at.x() > 0 ? 0.02F : 1e-3F);
        }
      }
    }
  }
}

}  // namespace kntest::CameraChannelsTest
