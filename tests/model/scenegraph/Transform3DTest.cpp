#include "model/scenegraph/Transform3D.h"

#include "support/TestContainers.h"

#include <numbers>

namespace kntest::Transform3DTest {

constexpr double Radians = std::numbers::pi / 180.0;

/// A transform of space in doubles, as a function: an independent way to say where a point comes to lie.
using Place = std::array<double, 3>;

Place turned(Place p, Vec3f const& degrees) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    std::size_t const u = (axis + 1) % 3, v = (axis + 2) % 3;
    double const c = std::cos(degrees[axis] * Radians), s = std::sin(degrees[axis] * Radians);
    double const pu = p[u], pv = p[v];
    p[u] = c * pu - s * pv;
    p[v] = s * pu + c * pv;
  }
  return p;
}

Place carried(Transform3D const& transform, Place p) {
  for (std::size_t i = 0; i < 3; ++i) p[i] = p[i] * transform.getScale()[i] - transform.getRotatePivot()[i];
  p = turned(turned(p, transform.getEulerRotation()), transform.getEulerRotationOrientation());
  for (std::size_t i = 0; i < 3; ++i) p[i] += transform.getRotatePivot()[i] + transform.getTranslation()[i];
  return p;
}

double distance(Place const& a, Pnt3f const& b) { return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]); }

Pnt3f pointOf(Place const& p) { return {p[0], p[1], p[2]}; }

class Transform3DTest : public SceneTest {
 protected:
  Real32 number(Real32 size) { return std::uniform_real_distribution<Real32>(-size, size)(_random); }
  Vec3f vector(Real32 size) { return {number(size), number(size), number(size)}; }
  Place place() { return {number(4), number(4), number(4)}; }

  Transform3DPtr anyTransform() {
    Transform3DPtr const transform = Transform3D::create();
    transform->setTranslation(vector(10));
    transform->setScale(vector(2));
    transform->setRotationAsEuler(vector(400));
    if (_random() % 2 == 0) transform->setRotationOrientationAsEuler(vector(400));
    if (_random() % 2 == 0) transform->setRotatePivot(vector(5));
    return transform;
  }

  std::mt19937 _random{17};
};

TEST_F(Transform3DTest, MatrixIsTheStatedComposition) {
  Held const fresh(Transform3D::create());
  fresh->setFlags(6);
  EXPECT_TRUE(fresh->hasFlag(2) && fresh->hasFlag(6) && !fresh->hasFlag(3));
  for (int i = 0; i < 300; ++i) {
    Held const transform(anyTransform());
    Place const p = place();
    EXPECT_LT(distance(carried(**transform, p), transform->getMatrix().multMatrixPnt(pointOf(p))), 5e-5);
  }
}

TEST_F(Transform3DTest, EulerAnglesOfAQuaternionTurnAlike) {
  for (int i = 0; i < 3000; ++i) {
    // A third of them at or close to a quarter turn of y, where x and z turn around one axis.
    Vec3f degrees = vector(180);
    if (i % 3 == 0) degrees[1] = std::copysign(90.F, number(1)) + (i % 2 == 0 ? 0.F : number(0.1F));
    Quaternion rotation = Quaternion::fromMatrix(Matrix::rotationEuler(degrees));
    if (i % 5 == 0) rotation = Quaternion(-rotation.x(), -rotation.y(), -rotation.z(), -rotation.w());
    Vec3f euler, radians;
    Transform3D::convertQuatToEuler(euler, rotation, 1);
    Transform3D::convertQuatToEuler(radians, rotation, 0);
    EXPECT_LE(std::abs(euler.y()), 90.F);
    EXPECT_LT(length(radians * static_cast<Real32>(1 / Radians) - euler), 1e-4F);
    Place const p = place();
    Place const expected = turned(p, degrees);
    EXPECT_LT(distance(expected, pointOf(turned(p, euler))), 1e-4)
        << degrees[0] << ' ' << degrees[1] << ' ' << degrees[2];
  }
  Vec3f euler(1, 1, 1);
  Transform3D::convertQuatToEuler(euler, Quaternion(0, 0, 0, 0), 1);
  EXPECT_EQ(euler, Vec3f()) << "no rotation";
}

TEST_F(Transform3DTest, WorldVolumeHoldsTheBoxesOfTheWholeSubtree) {
  Held const root(Node::create());
  Held const core(BoxCore::create());
  EXPECT_TRUE(root->getWorldVolume().isEmpty());
  auto const expectSame = [](BoxVolume const& a, BoxVolume const& b) {
    Pnt3f minA, maxA, minB, maxB;
    a.getBounds(minA, maxA);
    b.getBounds(minB, maxB);
    EXPECT_LT(length(minA - minB) + length(maxA - maxB), 1e-3F);
  };
  BoxVolume expected;
  for (int i = 0; i < 5; ++i) {
    Transform3DPtr const outer = anyTransform(), inner = anyTransform();
    std::vector<NodePtr> const n = {Node::create(), Node::create(), Node::create(), Node::create()};
    n[0]->setCore(outer);
    n[2]->setCore(inner);  // below a node without a core
    n[3]->setCore(*core);
    root->addChild(n[0]);
    for (std::size_t k = 1; k < n.size(); ++k) n[k - 1]->addChild(n[k]);
    BoxVolume own;
    for (int corner = 0; corner < 8; ++corner) {
      Place const p = {corner & 1 ? 1. : -1., corner & 2 ? 1. : -1., corner & 4 ? 1. : -1.};
      own.extendBy(pointOf(carried(*outer, carried(*inner, p))));
    }
    expected.extendBy(own);
    expectSame(root->getWorldVolume(), expected);
    expectSame(n[3]->getWorldVolume(), own);  // asked below, told in the world
  }
}

}  // namespace kntest::Transform3DTest
