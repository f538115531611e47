#include "model/sceneext/AnimCurve.h"

#include "model/sceneext/AnimBuilders.h"
#include "support/LogCapture.h"

namespace kntest::AnimCurveTest {

using AnimCurveTest = SceneTest;

constexpr Vec2f Zero;

Int32 addKey(AnimCurve& curve, float x, float y, UInt32 type = LinearTangent) {
  return curve.addPoint({x, y}, Zero, Zero, type, type, false, true);
}

/// The tangent runs the way its type says, into the segment but not through it. A third of the segment is the
/// length at which the segment's cubic loses its leading term.
void expectComputed(CCPnt const& key, Vec2f const& tangent, CCPnt const& neighbour, UInt32 type) {
  float const part = tangent.x() / (neighbour.x() - key.x());
  EXPECT_GT(part, 0.05F);
  EXPECT_LT(part, 0.95F);
  EXPECT_GT(std::abs(part - 1.F / 3), 0.01F);
  float const rise = type == LinearTangent ? part * (neighbour.y() - key.y()) : 0.F;
  EXPECT_FLOAT_EQ(tangent.y(), rise);
}

TEST_F(AnimCurveTest, ManyPointsAreAddedAsOneByOne) {
  std::mt19937 random(5);
  for (int round = 0; round < 2000; ++round) {
    Held const many(AnimCurve::create()), single(AnimCurve::create());
    for (int batch = 0; batch < 3; ++batch) {
      MField<Pnt2f> points;
      for (UInt32 left = static_cast<UInt32>(random() % 6); left > 0; --left) {
        float const time = static_cast<float>(random() % 9) / 4;
        points.push_back({random() % 20 == 0 ? NAN : time, static_cast<float>(random() % 100)});
      }
      if (round % 3 == 0) std::ranges::sort(points.getValues(), {}, [](Pnt2f const& p) { return -p.x(); });
      many->addPoints(points);
      for (Pnt2f const& point : points) addKey(**single, point.x(), point.y());
      // Keys that were moved by hand keep their tangents until a key comes beside them.
      for (Held<AnimCurvePtr> const* const curve : {&many, &single}) {
        if ((*curve)->isEmpty()) continue;
        (*curve)->getControlPoints()[(*curve)->getControlPoints().size() / 2].setY(1000);
      }
    }
    ASSERT_TRUE(many->getControlPoints().isEqual(single->getControlPoints())) << round;
  }
  // A square of these would not come to an end.
  Held const curve(AnimCurve::create());
  for (int i = 0; i < 300'000; ++i) {
    curve->addPoints({{static_cast<float>(i), 0}});
    curve->addPoints({{static_cast<float>(-1 - i), 0}});
    if (i % 2 == 0) addKey(**curve, static_cast<float>(-1 - i) - 0.5F, 0);
  }
  EXPECT_EQ(curve->getControlPoints().size(), 750'000U);
}

TEST_F(AnimCurveTest, KeysThatAreFilledInAreSorted) {
  Held const curve(newCurve({{0, 1}, {2, 7}, {2, 8}, {3, 5}}));
  auto& keys = curve->getControlPoints().getValues();
  std::rotate(keys.begin(), keys.begin() + 3, keys.end());
  keys.push_back(keys[2]);
  keys.back().setX(NAN);
  keys.push_back(keys[2]);
  keys.back().setX(1);
  linkAssignedFields(**curve);
  std::vector<float> values;
  for (CCPnt const& key : curve->getControlPoints()) values.push_back(key.y());
  EXPECT_EQ(values, (std::vector<float>{1, 7, 7, 8, 5, 7}))
      << "equal times keep their order, no number comes last";
}

TEST_F(AnimCurveTest, ZeroTangentsAreComputedByTypeAndFollowTheirNeighbours) {
  std::array const points{Pnt2f(0, 1), Pnt2f(2, 7), Pnt2f(3, -4)};
  for (UInt32 const type : {0U, 1U, 2U, 3U, 4U, 255U, 1000U}) {
    std::array<std::size_t, 3> order{0, 1, 2};
    do {
      Held const curve(AnimCurve::create());
      for (std::size_t const i : order) addKey(**curve, points[i].x(), points[i].y(), type);
      auto const& keys = curve->getControlPoints();
      for (std::size_t i = 0; i < 2; ++i) {
        SCOPED_TRACE(testing::Message() << "type " << type << ", segment " << i);
        if (type == LinearTangent || type == SmoothTangent) {
          expectComputed(keys[i], keys[i].outtangent(), keys[i + 1], type);
          expectComputed(keys[i + 1], keys[i + 1].intangent(), keys[i], type);
        } else {
          EXPECT_EQ(keys[i].outtangent(), Zero);
          EXPECT_EQ(keys[i + 1].intangent(), Zero);
        }
      }
    } while (std::next_permutation(order.begin(), order.end()));
  }
}

TEST_F(AnimCurveTest, GivenTangentsAreKept) {
  Vec2f const in(-0.25F, 3), out(0, 0.5F);
  for (UInt32 type = 0; type < 5; ++type) {
    Held const curve(AnimCurve::create());
    curve->addPoint({1, 5}, in, out, type, type, false, true);
    curve->addPoint({3, 5}, Zero, Zero, type, type, false, false);
    for (float const time : {0.F, 2.F, 4.F}) addKey(**curve, time, 0);
    auto const& keys = curve->getControlPoints();
    EXPECT_TRUE(keys[1].intangent() == in && keys[1].outtangent() == out) << type;
    EXPECT_EQ(keys[3].intangent(), Zero) << "was not to be computed";
  }
  // A computed tangent that is then set by hand does not follow any more.
  Held const edited(newCurve({{0, 0}, {4, 4}}));
  edited->getControlPoints()[0].setOutY(3);
  addKey(**edited, 1, 9);
  EXPECT_EQ(edited->getControlPoints()[0].outtangent().y(), 3);
}

TEST_F(AnimCurveTest, TangentsAreComputedAnewOnRequest) {
  Vec2f const given(-0.5F, 0.125F);
  for (Int32 const type : {-1, 0, 1, 2, 3, 4}) {
    SCOPED_TRACE(type);
    Held const curve(AnimCurve::create());
    auto const& keys = curve->getControlPoints();
    for (Pnt2f const point : {Pnt2f(0, 1), Pnt2f(2, 7), Pnt2f(3, -4)})
      curve->addPoint(point, given, given, SmoothTangent, LinearTangent, false, true);
    for (UInt32 const index : {1U, 3U, 0xFFFFFFFFU}) {
      curve->computeIntangent(index, type);
      curve->computeOuttangent(index, type);
    }
    EXPECT_EQ(keys[1].inType(), type < 0 ? UInt32{SmoothTangent} : static_cast<UInt32>(type));
    if (type == 0 || type > 2) {
      EXPECT_EQ(keys[1].intangent(), type == 0 ? Zero : given);
      EXPECT_EQ(keys[1].outtangent(), type == 0 ? Zero : given);
    } else {
      expectComputed(keys[1], keys[1].intangent(), keys[0], keys[1].inType());
      expectComputed(keys[1], keys[1].outtangent(), keys[2], keys[1].outType());
    }
    EXPECT_TRUE(keys[0].outtangent() == given && keys[2].intangent() == given) << "the neighbours";
    curve->computeIntangent(0, 1);
    EXPECT_EQ(keys[0].intangent(), Zero) << "there is no neighbour on that side";
  }
}

TEST_F(AnimCurveTest, TimesThatAreNotFiniteAreRefused) {
  Held const curve(newCurve({{0, 1}, {2, 7}}));
  for (float const time : {NAN, INFINITY, -INFINITY}) EXPECT_EQ(addKey(**curve, time, 1), -1);
  EXPECT_EQ(addKey(**curve, 1, NAN), 1) << "a value is taken as it is";
  LogCapture const log;
  EXPECT_EQ(curve->addPoint({3, 1}, {NAN, 0}, Zero, 3, 3, false, true), 3) << "nor does a tangent matter";
  EXPECT_TRUE(log.contains("a tangent that is not finite"));
  EXPECT_EQ(curve->getControlPoints().size(), 4U);
}

TEST_F(AnimCurveTest, AKeyOfTheSameTimeIsReplacedWhereAsked) {
  Held const curve(newCurve({{0, 0}, {1, 10}, {1, 20}, {2, 30}}));
  EXPECT_EQ(curve->addPoint({1, 5}, {-0.1F, 1}, Zero, 3, 2, true, true), 1);
  auto const& keys = curve->getControlPoints();
  EXPECT_EQ(keys[1].point(), Pnt2f(1, 5));
  EXPECT_EQ(keys[2].point(), Pnt2f(1, 20)) << "only the first of equal times is replaced";
  expectComputed(keys[0], keys[0].outtangent(), keys[1], LinearTangent);
  EXPECT_EQ(curve->addPoint({1.5F, 5}, Zero, Zero, 0, 0, true, true), 3) << "no key there: added";
  EXPECT_EQ(curve->addPoint({1, 6}, Zero, Zero, 0, 0, false, true), 3) << "after its equals";
  EXPECT_EQ(keys.size(), 6U);
}

}  // namespace kntest::AnimCurveTest
