// A sheet bulges and flattens: whole shapes of a geometry, each at a time, and the shapes between them blended.
#include <knAnimManager.h>
#include <model/geometry/Geometry.h>
#include <model/scenedata/knSceneDataManager.h>
#include <model/sceneext/TimeShapeCache.h>

#include <array>
#include <cmath>
#include <cstdio>

namespace {

constexpr osg::UInt32 Side = 5;  // vertices along each side of the sheet

/// A vertex and its normal when the middle of the sheet is `top` high.
struct Vertex {
  Vertex(osg::UInt32 i, float top) {
    float const x = static_cast<float>(i % Side) - 2;
    float const z = static_cast<float>(i / Side) - 2;
    float const y = top * std::exp(-(x * x + z * z) / 2);
    float const length = std::hypot(x * y, 1.F, z * y);
    position = osg::Pnt3f(x, y, z);
    normal = osg::Vec3f(x * y / length, 1 / length, z * y / length);
  }
  osg::Pnt3f position;
  osg::Vec3f normal;
};

/// A flat sheet of squares.
osg::GeometryPtr makeSheet() {
  osg::GeoPositions3fPtr const positions = osg::GeoPositions3f::create();
  osg::GeoNormals3fPtr const normals = osg::GeoNormals3f::create();
  for (osg::UInt32 i = 0; i < Side * Side; ++i) {
    positions->getValues().push_back(Vertex(i, 0).position);
    normals->getValues().push_back(Vertex(i, 0).normal);
  }
  osg::GeometryPtr const sheet = osg::Geometry::create();
  sheet->setPositions(positions);
  sheet->setNormals(normals);
  for (osg::UInt32 row = 0; row + 1 < Side; ++row) {
    for (osg::UInt32 column = 0; column + 1 < Side; ++column) {
      osg::UInt32 const first = row * Side + column;
      sheet->addFace(std::array{first, first + Side, first + Side + 1, first + 1});
    }
  }
  return sheet;
}

/// One shape with as many vertices as the sheet. Shapes blend only when each has as many normals as positions.
osg::TimeShapeDataPtr makeShape(float seconds, float top) {
  osg::TimeShapeDataPtr const shape = osg::TimeShapeData::create();
  shape->setTime(seconds);
  for (osg::UInt32 i = 0; i < Side * Side; ++i) {
    shape->getPositions().push_back(Vertex(i, top).position);
    shape->getNormals().push_back(Vertex(i, top).normal);
  }
  return shape;
}

}  // namespace

int main() {
  knAnimManager& manager = *knAnimManager::the();
  knSceneDataManager::beginScene();
  osg::GeometryPtr const sheet = makeSheet();
  osg::NodePtr const node = osg::Node::create();
  node->setCore(sheet);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);

  osg::TimeShapeCachePtr const cache = osg::TimeShapeCache::create();
  cache->addShape(makeShape(0, 0));
  cache->addShape(makeShape(1, 3));
  cache->addShape(makeShape(2, 0));
  osg::AnimNodePtr const cacheNode = osg::AnimNode::create();
  cacheNode->setCore(cache);
  cacheNode->setPostCycles(-1);  // again and again
  manager.addAnimation(node, cacheNode);

  auto const middle = [&] {
    return osg::dcast<osg::GeoPositions3fPtr>(sheet->getPositions())->getValue(Side * Side / 2).y();
  };
  for (double time = 0; time <= 2.5; time += 0.5) {
    manager.setCurrentTime(time, true, false);
    std::printf("%3.1f s: the middle is at %4.2f\n", time, static_cast<double>(middle()));
  }
  bool const isRight = std::abs(middle() - 1.5F) < 1e-4F;  // 2.5 s is 0.5 s of the second run
  knSceneDataManager::endScene();
  return isRight ? 0 : 1;
}
