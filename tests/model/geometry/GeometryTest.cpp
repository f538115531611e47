#include "model/geometry/Geometry.h"

#include "model/scenegraph/ClipPlane.h"
#include "support/TestContainers.h"

namespace kntest::GeometryTest {

using GeometryTest = SceneTest;

Transform3DPtr moved(Vec3f const& translation, Vec3f const& degrees = {}) {
  Transform3DPtr const transform = Transform3D::create();
  transform->setTranslation(translation);
  transform->setRotationAsEuler(degrees);
  return transform;
}

TEST_F(GeometryTest, ShapeStandsWhereItsTransformPutsIt) {
  Held const node(Node::create());
  GeometryPtr const geometry = Geometry::create();
  node->setCore(geometry);
  EXPECT_TRUE(node->getWorldVolume().isEmpty());
  GeoPositions3fPtr const positions = GeoPositions3f::create();
  positions->getValues() = {{0, 0, 0}, {2, 0, 0}, {2, 3, 0}, {0, 3, 1}};
  geometry->setPositions(positions);
  geometry->setTransform(moved({10, 0, 0}, {0, 0, 90}));
  Pnt3f min, max;
  node->getWorldVolume().getBounds(min, max);
  EXPECT_LT(length(min - Pnt3f(7, 0, 0)) + length(max - Pnt3f(10, 2, 1)), 1e-5F);
  NodePtr const child = Node::create();
  node->addChild(child);
  EXPECT_EQ(child->getToWorld(), geometry->getTransform()->getMatrix());

  UInt32 const corners[] = {0, 1, 2, 3};
  geometry->addFace(corners);
  geometry->getFaceSizes().push_back(1);
  EXPECT_EQ(geometry->getFaceCount(), 1U) << "no corner is left for it";
}

TEST_F(GeometryTest, ClipPlaneTellsItsPlaneInTheWorld) {
  Held const node(Node::create());
  node->setCore(moved({0, 5, 0}));
  NodePtr const below = Node::create();
  ClipPlanePtr const plane = ClipPlane::create();
  below->setCore(plane);
  node->addChild(below);
  plane->setNormal({0, 0, 2});
  plane->setDistance(3);
  EXPECT_EQ(plane->getPlane(), Vec4f(0, 0, 1, 3));
  plane->setTransform(moved({0, 1, 0}, {-90, 0, 0}));  // z becomes y
  Vec4f const world = plane->getWorldPlane(below);
  EXPECT_LT(length(world - Vec4f(0, 1, 0, 9)), 1e-5F);
  plane->getTransform()->setScale({1, 1, 0.5F});
  EXPECT_LT(length(plane->getPlane() - Vec4f(0, 1, 0, 2.5F)), 1e-5F);
  plane->setNormal({});
  EXPECT_EQ(plane->getPlane(), Vec4f());
}

}  // namespace kntest::GeometryTest
