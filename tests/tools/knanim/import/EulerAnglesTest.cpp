#include "knanim/import/EulerAngles.h"

#include "support/Testing.h"

#include <numbers>

namespace knanim::EulerAnglesTest {

Rotation around(double x, double y, double z, double degrees) {
  double const half = degrees / 360 * std::numbers::pi;
  return {std::cos(half), x * std::sin(half), y * std::sin(half), z * std::sin(half)};
}

/// Made of single turns, so that neither the order nor a sign of the code under test is taken on trust.
Rotation compose(EulerDegrees const& angles) {
  return around(0, 0, 1, angles.z) * around(0, 1, 0, angles.y) * around(1, 0, 0, angles.x);
}

/// The angle in degrees between what two rotations do.
double difference(Rotation const& a, Rotation const& b) {
  Rotation const turn = Rotation{a.w, -a.x, -a.y, -a.z} * b;
  return 2 * std::atan2(std::hypot(turn.x, turn.y, turn.z), std::abs(turn.w)) * 180 / std::numbers::pi;
}

TEST(EulerAngles, AnyRotationIsDescribedAndMatricesAgree) {
  std::mt19937 random(7);
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> angle(-720, 720);
  for (int i = 0; i < 20'000; ++i) {
    Rotation rotation{normal(random), normal(random), normal(random), normal(random)};
    ASSERT_TRUE(normalize(rotation));
    EulerDegrees const angles = toEuler(rotation);
    ASSERT_LT(difference(compose(angles), rotation), 1e-9);
    ASSERT_LE(std::abs(angles.y), 90 + 1e-9);
    EulerDegrees const previous{angle(random), angle(random), angle(random)};
    EulerDegrees const near = toEulerNear(rotation, previous);
    ASSERT_LT(difference(compose(near), rotation), 1e-6);
    Matrix3 const a = toMatrix(rotation);
    Matrix3 const b = toMatrix(near);
    for (std::size_t row = 0; row < 3; ++row) {
      for (std::size_t column = 0; column < 3; ++column) ASSERT_NEAR(a[row][column], b[row][column], 1e-9);
    }
  }
}

// A path that keeps away from the quarter turn of y comes back exactly, through any number of whole turns; one
// that runs through it comes back too, as the other triple is then the nearer one.
TEST(EulerAngles, PathsRunOnWithoutJumps) {
  struct Path {
    EulerDegrees start;
    EulerDegrees step;
  };
  for (Path const& path : {Path{{10, 20, 30}, {3, 0.02, -5}}, Path{{0, 0, 0}, {0, 1.7, 0}},
                           Path{{15, -40, 5}, {0.01, -2.31, 0.4}}, Path{{20, 0, 30}, {0, 90.0 / 64, 0}}}) {
    EulerDegrees angles = path.start;
    for (int i = 1; i <= 1000; ++i) {
      EulerDegrees const exact{path.start.x + i * path.step.x, path.start.y + i * path.step.y,
                               path.start.z + i * path.step.z};
      angles = toEulerNear(compose(exact), angles);
      ASSERT_NEAR(angles.x, exact.x, 1e-5) << i;
      ASSERT_NEAR(angles.y, exact.y, 1e-5) << i;
      ASSERT_NEAR(angles.z, exact.z, 1e-5) << i;
    }
  }
}

}  // namespace knanim::EulerAnglesTest
