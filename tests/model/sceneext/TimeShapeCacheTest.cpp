#include "model/sceneext/TimeShapeCache.h"

#include "support/TestContainers.h"

namespace kntest::TimeShapeCacheTest {

using TimeShapeCacheTest = SceneTest;

TimeShapeDataPtr newShape(float time) {
  TimeShapeDataPtr const shape = TimeShapeData::create();
  shape->setTime(time);
  return shape;
}

/// Leaves null in the place of the shape of that index, as a file may.
void blank(TimeShapeCache& cache, std::size_t index) {
  std::size_t place = 0;
  cache.getField("shapes")->visitHandles([&](FieldContainerPtr const& handle) {
    if (place++ != index) return handle;
    handle.subRef();
    return FieldContainerPtr();
  });
}

TEST_F(TimeShapeCacheTest, ShapesAreSortedByTime) {
  Held const cache(TimeShapeCache::create());
  TimeShapeDataPtr const c = newShape(3), a = newShape(1), b1 = newShape(2), b2 = newShape(2),
                         dead = newShape(5);
  dead.subRef();
  for (TimeShapeDataPtr const& shape : {c, a, b1, b2, TimeShapeDataPtr(), dead}) cache->addShape(shape);
  for (float const time : {std::nanf(""), std::numeric_limits<float>::infinity()}) {
    Held const refused(newShape(time));
    cache->addShape(refused);
  }
  EXPECT_EQ(cache->getShapes().getValues(), (std::vector{a, b1, b2, c}));

  blank(**cache, 3);
  blank(**cache, 0);
  EXPECT_EQ(cache->getTimeRange(), (TimeRange{2, 2})) << "null entries span nothing";
  EXPECT_EQ(cache->findShape(2, 0, 1), b1) << "the first of equally near ones";
  EXPECT_EQ(cache->findShape(0, 0, 1), nullptr);
  TimeShapeDataPtr const added = newShape(1);
  cache->addShape(added);
  EXPECT_EQ(cache->findShape(1, 0, 1), added);
}

TEST_F(TimeShapeCacheTest, TheShapeAtATimeIsFoundThroughPlacementAndFlips) {
  Held const cache(TimeShapeCache::create());
  std::vector<TimeShapeDataPtr> shapes;
  for (int frame = 0; frame < 300; ++frame) {
    shapes.push_back(newShape(static_cast<float>(frame / 24.0)));
    cache->addShape(shapes.back());
  }
  using Placement = std::pair<float, float>;
  for (auto const& [offset, scale] : {Placement{0, 1}, {3, 2}, {-7.3F, 0.7F}, {5, -1}, {1000, -3.1F}}) {
    for (std::size_t i = 0; i < shapes.size(); ++i) {
      SCOPED_TRACE(testing::Message() << i << " with " << offset << ", " << scale);
      double const stored = shapes[i]->getTime();
      auto const at = static_cast<float>(stored * scale + offset);
      auto const between = static_cast<float>((stored + 1 / 48.0) * scale + offset);
      ASSERT_EQ(cache->findShape(at, offset, scale), shapes[i]);
      ASSERT_EQ(cache->findShape(between, offset, scale), nullptr);
    }
  }
}

}  // namespace kntest::TimeShapeCacheTest
