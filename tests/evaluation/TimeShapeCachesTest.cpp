#include "knDiagnosis.h"
#include "model/geometry/Geometry.h"
#include "support/LogCapture.h"
#include "support/SceneStage.h"

namespace kntest::TimeShapeCachesTest {

using osg::Pnt3f;
using osg::Vec3f;

/// A shape of which every coordinate is `value`.
osg::TimeShapeDataPtr newShape(float time, float value, std::size_t positions = 4, std::size_t normals = 4) {
  osg::TimeShapeDataPtr const shape = osg::TimeShapeData::create();
  shape->setTime(time);
  shape->getPositions().getValues().assign(positions, Pnt3f(value, value, value));
  shape->getNormals().getValues().assign(normals, Vec3f(-value, -value, -value));
  return shape;
}

class TimeShapeCachesTest : public SceneStage {
 protected:
  osg::GeometryPtr newGeometry(osg::UInt32 count = 4) {
    osg::GeometryPtr const geometry = osg::Geometry::create();
    osg::GeoPositions3fPtr const positions = osg::GeoPositions3f::create();
    osg::GeoNormals3fPtr const normals = osg::GeoNormals3f::create();
    positions->resize(count);
    normals->resize(count);
    geometry->setPositions(positions);
    geometry->setNormals(normals);
    animate(addNode(geometry), newAnimNode(cache));
    return geometry;
  }
  static Pnt3f position(osg::GeometryPtr const& geometry, osg::UInt32 i = 0) {
    return osg::dcast<osg::GeoPositions3fPtr>(geometry->getPositions())->getValue(i);
  }
  float valueAt(float time, osg::GeometryPtr const& geometry) {
    evaluate(time);
    Vec3f const normal = osg::dcast<osg::GeoNormals3fPtr>(geometry->getNormals())->getValue(0);
    EXPECT_EQ(normal, Vec3f(-position(geometry).x(), -position(geometry).y(), -position(geometry).z()));
    return position(geometry).x();
  }
  static osg::AnimNodePtr cacheNodeOf(osg::GeometryPtr const& geometry) {
    osg::NodePtr const node = geometry->getParents()[0];
    osg::NodePtr const tree = knAnimManager::getAnimAttachment(node)->getAnimationRoot();
    return osg::dcast<osg::AnimNodePtr>(tree->getChild(0));
  }

  osg::TimeShapeCachePtr const cache = osg::TimeShapeCache::create();
};

TEST_F(TimeShapeCachesTest, PlacesWrapsAndBlends) {
  cache->addShape(newShape(0, 10));
  cache->addShape(newShape(1, 20));
  cache->addShape(newShape(2, 40));
  osg::GeometryPtr const geometry = newGeometry();
  osg::AnimNodePtr const node = cacheNodeOf(geometry);
  struct Case {
    float offset, scale;
    int cycles;
    float time, value;
  };
  Case const cases[] = {{0, 1, 0, 0.5F, 15}, {0, 1, 0, 1, 20},   {0, 1, 0, -1, 10},    {0, 1, 0, 3, 40},
                        {10, 2, 0, 12, 20},  {10, 2, 0, 13, 30}, {2, -1, 0, 0.5F, 30}, {2, -1, 0, -1, 40},
                        {2, -1, 0, 3, 10},   {0, 1, -1, 5, 20},  {0, 1, -1, -1, 20},   {0, 1, 1, 3, 20},
                        {0, 1, 1, 5, 40}};
  for (Case const& one : cases) {
    node->setOffset({one.offset, 0});
    node->setScale(one.scale);
    node->setPostCycles(one.cycles);
    EXPECT_FLOAT_EQ(valueAt(one.time, geometry), one.value)
        << one.offset << ' ' << one.scale << ' ' << one.cycles << " at " << one.time;
  }
  changes.clear();
  evaluate(5);
  EXPECT_EQ(changes.getAnnouncementCount(), 3U) << "a driven geometry is announced each time";
}

TEST_F(TimeShapeCachesTest, SizesThatDoNotFit) {
  cache->addShape(newShape(0, 10, 100, 100));
  cache->addShape(newShape(2, 20, 100, 100));
  cache->addShape(newShape(4, 30, 101, 100));
  osg::GeometryPtr const smaller = newGeometry(80);
  osg::GeometryPtr const larger = newGeometry(120);
  LogCapture const log;
  knDiagnosis::forgetWarnings();
  evaluate(1);
  EXPECT_EQ(position(smaller, 79), Pnt3f(15, 15, 15));
  EXPECT_EQ(position(larger, 99), Pnt3f(15, 15, 15));
  EXPECT_EQ(position(larger, 100), Pnt3f());
  evaluate(2);
  EXPECT_EQ(position(smaller), Pnt3f(15, 15, 15)) << "a hit is copied whole or not at all";
  EXPECT_EQ(log.warnings().size(), 2U) << "one for each geometry";
  for (char const* const part : {"100 vertices and the geometry has 80", "the geometry has 120"})
    EXPECT_TRUE(log.contains(part)) << part;
  for (int times = 0; times < 2; ++times) evaluate(3);
  EXPECT_EQ(position(smaller), Pnt3f(15, 15, 15)) << "shapes of different sizes do not blend";
  EXPECT_EQ(log.warnings().size(), 3U);
  EXPECT_TRUE(log.contains("2 s and 4 s have 100 and 101 vertices and 100 and 100 normals"));
}

TEST_F(TimeShapeCachesTest, WhyACacheIsStill) {
  cache->addShape(newShape(0, 10));
  cache->addShape(newShape(2, 20));
  osg::GeometryPtr const geometry = newGeometry();
  osg::AnimNodePtr const node = cacheNodeOf(geometry);
  EXPECT_TRUE(knDiagnosis::whyStill(node).empty() && knDiagnosis::whyStill().empty()) << "it plays";
  auto const causes = [&] {
    std::vector<knStillness> found;
    for (knStillnessReason const& reason : knDiagnosis::whyStill(node)) found.push_back(reason.cause);
    return found;
  };
  cache->addShape(newShape(4, 30, 4, 0));
  EXPECT_EQ(causes(), std::vector{knStillness::ShapesDisagree});
  cache->addShape(newShape(5, 30, 3, 0));
  EXPECT_TRUE(std::ranges::count(causes(), knStillness::WrongVertexCount) == 1);
  cache->clearShapes();
  for (float const time : {0.F, 1.F}) cache->addShape(newShape(time, 10));
  cache->getShapes()[0]->setTime(3);
  EXPECT_EQ(causes(), std::vector{knStillness::KeysOutOfOrder});
  cache->clearShapes();
  cache->addShape(newShape(0, NAN));
  EXPECT_EQ(causes(), std::vector{knStillness::BadKeys});
  cache->clearShapes();
  geometry->setPositions({});
  EXPECT_EQ(causes(), (std::vector{knStillness::NoShapes, knStillness::NoGeometry}));
}

TEST_F(TimeShapeCachesTest, WhatIsMissing) {
  osg::GeometryPtr const geometry = newGeometry();
  evaluate(1);
  EXPECT_EQ(position(geometry), Pnt3f()) << "a cache without shapes";
  cache->addShape(newShape(1, 10));
  EXPECT_EQ(valueAt(7, geometry), 10.F);
  geometry->setNormals({});
  cache->addShape(newShape(3, 20));
  evaluate(2);
  EXPECT_EQ(position(geometry), Pnt3f(15, 15, 15));
  geometry->setPositions({});
  changes.clear();
  evaluate(2.5F);
  EXPECT_EQ(changes.getAnnouncementCount(), 1U) << "the geometry alone";
}

/// Lists that were written past `addShape`: unsorted, with equal times and without some shapes.
TEST_F(TimeShapeCachesTest, DamagedLists) {
  osg::GeometryPtr const geometry = newGeometry();
  for (float const time : {0.F, 1.F, 2.F}) cache->addShape(newShape(time, 10 * time));
  auto& shapes = static_cast<osg::MField<osg::TimeShapeDataPtr>&>(*cache->getField("shapes")).getValues();
  std::swap(shapes[0], shapes[2]);
  for (float const time : {-1.F, 0.5F, 1.5F, 3.F})
    EXPECT_TRUE(std::isfinite(valueAt(time, geometry))) << time;
  EXPECT_EQ(valueAt(1, geometry), 10.F) << "a hit is a hit";
  shapes[0]->setTime(1);
  shapes[2]->setTime(1);
  for (float const time : {0.F, 1.F, 2.F}) EXPECT_TRUE(std::isfinite(valueAt(time, geometry))) << time;
  osg::TimeShapeDataPtr const kept = std::exchange(shapes[1], {});
  valueAt(0.5F, geometry);
  shapes[1] = kept;
  EXPECT_EQ(valueAt(1, geometry), 20.F) << "the first of those at one time";
}

/// Below a clip, caches overlap by the same order as curves: what is in progress writes last.
TEST_F(TimeShapeCachesTest, OverlapInAClip) {
  osg::TimeShapeCachePtr const later = osg::TimeShapeCache::create();
  for (float const time : {0.F, 2.F}) {
    cache->addShape(newShape(time, 10));
    later->addShape(newShape(time + 5, 70));
  }
  osg::GeometryPtr const geometry = newGeometry();
  osg::NodePtr const owner = geometry->getParents()[0];
  osg::AnimNodePtr const second = newAnimNode(later);
  osg::AnimNodePtr const clip = newGroup<osg::AnimClip>({second, newAnimNode(cache)});
  animate(owner, clip);
  for (auto const& [time, value, offset] : {std::tuple(1.F, 10.F, 0.F),
                                            {3.F, 10.F, 0.F},
                                            {6.F, 70.F, 0.F},
                                            {9.F, 70.F, 0.F},
                                            {-1.F, 10.F, 0.F},
                                            {2.F, 10.F, -3.F}}) {
    second->setOffset({offset, 0});
    knAnimEvaluator::the()->evaluateObject(clip, time, false, true, true);
    EXPECT_EQ(position(geometry).x(), value) << time;
  }
}

}  // namespace kntest::TimeShapeCachesTest
