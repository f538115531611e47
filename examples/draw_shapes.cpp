// Plays whole shapes of a geometry and draws what is between and around them. Prints docs/pictures/shape-cache.svg.
#include <knAnimManager.h>
#include <model/geometry/Geometry.h>
#include <model/scenedata/knSceneDataManager.h>
#include <model/sceneext/TimeShapeCache.h>

#include <cmath>

#include "drawing.h"

namespace {

constexpr int Vertices = 25;  // in a row along x

std::vector<osg::Pnt3f> makeRow(float top, float middle) {
  std::vector<osg::Pnt3f> row;
  for (int i = 0; i < Vertices; ++i) {
    float const x = static_cast<float>(i) - Vertices / 2;
    row.emplace_back(x, top * std::exp(-(x - middle) * (x - middle) / 18), 0.F);
  }
  return row;
}

osg::TimeShapeDataPtr makeShape(float seconds, float top, float middle) {
  osg::TimeShapeDataPtr const shape = osg::TimeShapeData::create();
  shape->setTime(seconds);
  shape->getPositions().getValues() = makeRow(top, middle);
  shape->getNormals().getValues().assign(Vertices, {0, 1, 0});
  return shape;
}

void drawRow(Picture& picture, std::vector<osg::Pnt3f> const& row, double left, char const* colour) {
  std::vector<Spot> spots;
  for (osg::Pnt3f const& point : row)
    spots.push_back({left + 2. * static_cast<double>(point.x()), 110 - 8. * static_cast<double>(point.y())});
  picture.path(spots, colour, 2.5);
}

}  // namespace

int main() {
  knSceneDataManager::beginScene();
  osg::GeoPositions3fPtr const positions = osg::GeoPositions3f::create();
  osg::GeoNormals3fPtr const normals = osg::GeoNormals3f::create();
  positions->getValues().getValues() = makeRow(0, 0);
  normals->getValues().getValues().assign(Vertices, {0, 1, 0});
  osg::GeometryPtr const geometry = osg::Geometry::create();
  geometry->setPositions(positions);
  geometry->setNormals(normals);
  osg::NodePtr const node = osg::Node::create();
  node->setCore(geometry);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);

  osg::TimeShapeCachePtr const cache = osg::TimeShapeCache::create();
  cache->addShape(makeShape(0, 1, 0));
  cache->addShape(makeShape(1, 10, -4));
  cache->addShape(makeShape(2, 6, 5));
  osg::AnimNodePtr const cacheNode = osg::AnimNode::create();
  cacheNode->setCore(cache);
  knAnimManager::the()->addAnimation(node, cacheNode);

  Picture picture(900, 190);
  picture.beginPanel(
      {20, 36}, 860, 130,
      "A row of vertices and the three shapes of its cache (orange), every quarter of a second");
  for (int step = -2; step <= 10; ++step) {
    double const seconds = step / 4.;
    bool const isShape = step == 0 || step == 4 || step == 8;
    double const left = 166 + 264 * seconds;
    knAnimManager::the()->setCurrentTime(seconds, true, false);
    drawRow(picture, positions->getValues().getValues(), left, isShape ? Picture::Orange : Picture::Blue);
    picture.text({left, 127}, number(seconds, 2) + " s", isShape ? Picture::Orange : Picture::Ink, "middle");
  }
  picture.endPanel();
  knSceneDataManager::endScene();
}
