#include "knCurves.h"

#include "evaluation/CurveStage.h"
#include "model/fields/Ref.h"
#include "model/sceneext/AnimBuilders.h"
#include "support/CurveMuseum.h"
#include "support/LogCapture.h"
#include "support/TestContainers.h"

#include <bit>

namespace kntest::CurvesTest {

class CurvesTest : public SceneTest {
 protected:
  std::mt19937 random{7};
  float unit() { return std::uniform_real_distribution<float>(0, 1)(random); }

  /// Keys at random distances and values, some of them equal.
  AnimCurvePtr randomCurve(unsigned int count, UInt32 type) {
    AnimCurvePtr const curve = AnimCurve::create();
    float const size = std::pow(10.F, 6 * unit() - 3);
    float time = 0;
    float value = 0;
    for (unsigned int i = 0; i < count; ++i) {
      if (random() % 4 != 0) value = size * (unit() - 0.5F);
      curve->addPoint({time, value}, {}, {}, type, type, false, true);
      time += 0.3F + unit();
    }
    return curve;
  }
};

std::uint32_t bitsOf(float value) { return std::isnan(value) ? 1U : std::bit_cast<std::uint32_t>(value); }

float heightOf(AnimCurve const& curve) {
  auto const byValue = [](CCPnt const& a, CCPnt const& b) { return a.y() < b.y(); };
  auto const [low, high] = std::ranges::minmax_element(curve.getControlPoints(), byValue);
  return high->y() - low->y();
}

TEST_F(CurvesTest, OneValueAndManyAreThoseOfRecordsToTheBit) {
  std::vector<float> times{NAN, INFINITY, -INFINITY, 0, 1, 2, 3.5F};
  for (int i = 0; i < 150; ++i) times.push_back(-7 + 0.1F * static_cast<float>(i));
  for (MuseumCurve const& piece : curveMuseum()) {
    for (UInt32 mode = 0; mode < 6; ++mode) {
      for (std::vector<Line> const& chain : {std::vector<Line>{{}}, {{-0.7, 1}, {2, 0.3}}, {{0, 1}}}) {
        CurveStage const stage({piece.keys, mode, mode == 0 ? 3U : mode, mode == 5, chain});
        bool const isFree = chain.size() == 1 && chain[0].scale == 1;
        std::vector<float> series(times.size());
        std::vector<float> free(times.size());
        EXPECT_EQ(knCurves::getValues(stage.node, times, series), !piece.keys.empty());
        EXPECT_EQ(knCurves::getValues(stage.curve, times, free), !piece.keys.empty());
        for (std::size_t i = 0; i < times.size(); ++i) {
          std::vector<knCurveData> records{{stage.node, stage.curve}};
          records[0].time = times[i];
          knAnimManager::the()->computeCurveValues(records, 0);
          std::uint32_t const expected = bitsOf(records[0].value + records[0].cycleValueOffset);
          ASSERT_EQ(bitsOf(knCurves::getValue(stage.node, times[i]).value_or(0)), expected)
              << piece.name << " at " << times[i];
          ASSERT_EQ(bitsOf(series[i]), expected) << piece.name << " at " << times[i];
          if (isFree) {
            ASSERT_EQ(bitsOf(free[i]), expected) << piece.name << " at " << times[i];
          }
        }
      }
    }
  }
  EXPECT_FALSE(knCurves::getValue(AnimCurvePtr(), 1) || knCurves::getSlope(AnimNodePtr(), 1));
}

TEST_F(CurvesTest, TheSlopeIsTheDifferenceOfCloseValues) {
  for (int round = 0; round < 200; ++round) {
    Ref<AnimCurve> const curve(randomCurve(6, round % 5 == 0 ? LinearTangent : SmoothTangent));
    curve->setForceLinearInterpolation(round % 7 == 0);
    curve->setPostInfinityMode(static_cast<UInt32>(round % 5));
    if (round % 2 == 0) knCurves::setTangents(curve, knTangents::Smooth);
    Ref<AnimNode> const node(AnimNode::create());
    node->setCore(curve);
    node->setScale(round % 3 == 0 ? -1.5F : 1.F);
    // Periods leave the node above out: times past the keys have the last value.
    Ref<AnimNode> const above(AnimNode::create());
    above->addChild(node);
    above->setOffset({round % 4 == 0 ? -1.F : 0.F, 0});
    constexpr float Step = 0.004F;
    for (float time = -4; time < 12; time += 0.37F) {
      float const slope = knCurves::getSlope(node, time).value_or(0);
      auto const differenceOver = [&](float h) {
        return (*knCurves::getValue(node, time + h) - *knCurves::getValue(node, time - h)) / (2 * h);
      };
      // Beside a key the differences disagree.
      float const near = differenceOver(Step / 2);
      float const slack = 0.02F * heightOf(*curve);
      if (std::fabs(near - differenceOver(Step)) > 0.1F * slack) continue;
      EXPECT_NEAR(slope, near, slack) << time;
    }
  }
  CurveStage const tent(
      {{{0, 0, 0, 0, 0, 0}, {1, 8, 0, 0, 0, 0}, {2, 0, 0, 0, 0, 0}}, 0, 0, true, {{-1, 0}}});
  EXPECT_EQ(knCurves::getSlope(tent.node, -1), -8.F) << "on a key, of what comes after";
}

/// The same keys, put in one after the other.
TEST_F(CurvesTest, EditedKeysAreThoseOfACurveThatWasMadeSo) {
  struct Key {
    float time, value;
    UInt32 type;
  };
  Announced announced;
  for (int round = 0; round < 60; ++round) {
    Ref<AnimCurve> const curve(AnimCurve::create());
    std::vector<Key> model;
    for (unsigned int i = 0; i < 8; ++i) {
      model.push_back({static_cast<float>(i / 2), unit(), static_cast<UInt32>(random() % 3)});
      curve->addPoint({model[i].time, model[i].value}, {}, {}, model[i].type, model[i].type, false, true);
    }
    for (int step = 0; step < 12 && model.size() > 1; ++step) {
      auto const index = static_cast<UInt32>(random() % model.size());
      Key moved{static_cast<float>(random() % 5), unit(), model[index].type};
      announced.list.clear();
      if (step % 3 == 0) {
        ASSERT_TRUE(knCurves::removePoint(curve, index));
        model.erase(model.begin() + index);
      } else {
        // A key that keeps its time keeps its place.
        if (moved.time == model[index].time) {
          model[index] = moved;
          ASSERT_EQ(knCurves::movePoint(curve, index, {moved.time, moved.value}), static_cast<Int32>(index));
        } else {
          model.erase(model.begin() + index);
          auto const later = [](Key const& a, Key const& b) { return a.time < b.time; };
          auto const place = model.insert(std::upper_bound(model.begin(), model.end(), moved, later), moved);
          ASSERT_EQ(knCurves::movePoint(curve, index, {moved.time, moved.value}), place - model.begin());
        }
      }
      ASSERT_EQ(announced.list.getEntries().size(), 1U);
      Ref<AnimCurve> const made(AnimCurve::create());
      for (Key const& key : model)
        made->addPoint({key.time, key.value}, {}, {}, key.type, key.type, false, true);
      ASSERT_TRUE(std::ranges::equal(curve->getControlPoints(), made->getControlPoints(),
                                     FieldDataTraits<CCPnt>::isEqual))
          << round << " " << step;
    }
    LogCapture const log;
    CCPnt bad = curve->getControlPoints()[0];
    bad.setOutY(INFINITY);
    EXPECT_EQ(knCurves::setPoint(curve, 0, bad), -1);
    EXPECT_EQ(knCurves::movePoint(curve, 0, {NAN, 0}), -1);
    EXPECT_EQ(knCurves::movePoint(curve, 0, {0, NAN}), -1);
    EXPECT_EQ(knCurves::insertPoint(curve, NAN), -1);
    EXPECT_EQ(log.errors().size(), 4U);
    curve->getControlPoints().push_back(CCPnt({NAN, 0}, {}, {}, StepTangent, StepTangent));
    auto const last = static_cast<UInt32>(model.size());
    EXPECT_EQ(knCurves::movePoint(curve, last, {-1, 0}), 0) << "as if a file had brought it";
    EXPECT_FALSE(knCurves::removePoint(curve, 99));
  }
}

TEST_F(CurvesTest, ClampedTangentsNeverLeaveTheSpanOfTheirKeys) {
  for (int round = 0; round < 1000; ++round) {
    Ref<AnimCurve> const curve(randomCurve(7, LinearTangent));
    knCurves::setTangents(curve, knTangents::Clamped);
    auto const& keys = curve->getControlPoints();
    float const slack = 1e-6F + 1e-6F * heightOf(*curve);
    for (std::size_t i = 0; i + 1 < keys.size(); ++i) {
      auto const [low, high] = std::minmax({keys[i].y(), keys[i + 1].y()});
      for (float const end : {keys[i].y() + keys[i].outY(), keys[i + 1].y() + keys[i + 1].inY()})
        ASSERT_TRUE(end >= low && end <= high) << round << ": an end of a tangent";
      float previous = keys[i].y();
      for (int part = 0; part <= 10; ++part) {
        float const time = std::lerp(keys[i].x(), keys[i + 1].x(), 0.1F * static_cast<float>(part));
        float const value = *knCurves::getValue(curve, time);
        ASSERT_TRUE(value >= low - slack && value <= high + slack) << round << " at " << time;
        ASSERT_GE((value - previous) * (keys[i].y() < keys[i + 1].y() ? 1 : -1), -slack) << round << " turns";
        previous = value;
      }
    }
  }
  Ref<AnimCurve> const steps(newCurve({{0, 0}, {1, 100}, {2, 101}, {3, 201}}));
  knCurves::setTangents(steps, knTangents::Clamped);
  EXPECT_FLOAT_EQ(steps->getControlPoints()[1].outY(), 1) << "as steep as may be";
}

TEST_F(CurvesTest, AnInsertedKeyLeavesTheShape) {
  for (int round = 0; round < 300; ++round) {
    Ref<AnimCurve> const curve(randomCurve(5, static_cast<UInt32>(round % 3)));
    if (round % 2 == 0)
      knCurves::setTangents(curve, round % 4 == 0 ? knTangents::Smooth : knTangents::Clamped);
    curve->setForceLinearInterpolation(round % 11 == 0);
    bool const isFree = round % 3 == 0 && round % 11 != 0;
    for (CCPnt& key : curve->getControlPoints()) key.setOutType(isFree ? 3 : key.outType());
    float const end = curve->getControlPoints()[4].x();
    std::vector<float> times;
    for (int i = 0; i <= 200; ++i) times.push_back(0.005F * static_cast<float>(i) * end);
    std::vector<float> before(times.size());
    std::vector<float> after(times.size());
    knCurves::getValues(curve, times, before);
    float const time = round % 9 == 0 ? 0.001F : (0.001F + 0.998F * unit()) * end;
    auto const index = static_cast<UInt32>(knCurves::insertPoint(curve, time));
    ASSERT_EQ(curve->getControlPoints().size(), 6U) << round;
    CCPnt const key = curve->getControlPoints()[index], former = curve->getControlPoints()[index - 1];
    EXPECT_EQ(key.x(), time);
    EXPECT_TRUE(!isFree || (key.inType() == former.inType() && key.outType() == 3)) << round;
    EXPECT_TRUE(round % 6 != 1 || std::fabs(former.outX() - 0.4F * (time - former.x())) < 1e-5F) << round;
    EXPECT_EQ(knCurves::insertPoint(curve, time), static_cast<Int32>(index));
    knCurves::getValues(curve, times, after);
    for (std::size_t i = 0; i < times.size(); ++i) {
      ASSERT_NEAR(after[i], before[i], 1e-6F + 1e-6F * heightOf(*curve)) << round << " at " << times[i];
    }
    EXPECT_EQ(knCurves::insertPoint(curve, end + 1), -1);
  }
  for (auto const& [out, in] : {std::pair(0.5F, -1.5F), {1.5F, -0.5F}}) {
    CurveStage const turning({{{0, 0, 0, 0, out, 0}, {1, 1, in, 0, 0, 0}}});
    EXPECT_EQ(knCurves::insertPoint(turning.curve, 0.5F), -1) << "a segment that may turn back in time";
  }
}

}  // namespace kntest::CurvesTest
