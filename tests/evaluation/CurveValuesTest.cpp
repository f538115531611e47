#include "evaluation/CurveStage.h"

#include <bit>
#include <tbb/blocked_range.h>
#include <thread>

namespace kntest::CurveValuesTest {

constexpr float Kept = CurveStage::Kept;
constexpr float KeptOffset = CurveStage::KeptOffset;

using CurveValuesTest = SceneTest;

CurveScene placed(CurveScene scene, double scale, double offset, double scaleAbove = 1,
                  double offsetAbove = 0) {
  scene.chain = {{scale, offset}, {scaleAbove, offsetAbove}};
  return scene;
}

CurveScene with(UInt32 infinity, CurveScene scene) {
  scene.pre = infinity;
  scene.post = infinity;
  return scene;
}

void expectSame(float actual, float expected) {
  if (std::isnan(expected)) {
    EXPECT_TRUE(std::isnan(actual)) << actual;
  } else {
    EXPECT_FLOAT_EQ(actual, expected);
  }
}

/// Rows of a table: at `time` the curve has `value`.
struct Row {
  char const* rule;
  CurveScene scene;
  float time;
  float value;
  std::optional<float> wrappedTime = {};  ///< nothing: unchanged
  float cycleOffset = KeptOffset;
};

void check(std::vector<Row> const& rows) {
  for (Row const& row : rows) {
    SCOPED_TRACE(testing::Message() << row.rule << ", at " << row.time);
    knCurveData const result = CurveStage(row.scene).compute({row.time})[0];
    expectSame(result.value, row.value);
    expectSame(result.time, row.wrappedTime.value_or(row.time));
    expectSame(result.cycleValueOffset, row.cycleOffset);
  }
}

// 1 s to 3 s, from 10 to 30 in a straight line. The tangents count for linear extrapolation alone.
CurveScene const line{{{1, 10, 0, 0, 2, 5}, {3, 30, -1, -4, 0, 0}}, 0, 0, true};
CurveScene const steps{
    {{0, 0, 0, 0, 0, 0}, {1, 1, 0, 0, 0, 0}, {1, 5, 0, 0, 0, 0}, {1, 9, 0, 0, 0, 0}, {2, 6, 0, 0, 0, 0}}};

/// What random curves on exact placements cannot show.
TEST_F(CurveValuesTest, CornersOfTheRules) {
  CurveScene const constant = with(ConstantInfinity, line);
  check({
      {"held to the last moment", {{{0, 3, 0, 0, 0, 0}, {2, 7, 0, 0, 0, 0}}}, std::nextafterf(2, 0), 3},
      {"zero scale: all keys at one time, that of no index", placed(line, 0, 5), 5, 30},
      {"constant: no scale", placed(constant, 0, 5), 4, 30},
      {"cycle without length", placed(with(CycleInfinity, line), 0, 5), 6, 30, NAN},
      {"unknown modes are constant", with(0xFFFFFFFFU, line), 4, 30},
      {"not a number", line, NAN, 30},
      {"equal times: the middle of the array", steps, 1, 5},
      {"equal times: after", steps, 1.5F, 9},
      {"equal times at the start", {{{0, 1, 0, 0, 0, 0}, {0, 4, 0, 0, 0, 0}, {1, 6, 0, 0, 0, 0}}}, 0, 4},
      {"equal times at the end", {{{0, 1, 0, 0, 0, 0}, {1, 4, 0, 0, 0, 0}, {1, 6, 0, 0, 0, 0}}}, 1, 4},
      {"near zero, cut by the cubic", {{{0, 9e-7F, 0, 0, 0.4F, 0}, {1, 9e-7F, 0, 0, 0, 0}}}, 0.5F, 0},
      {"but not when held", {{{0, 9e-7F, 0, 0, 0, 0}, {1, 9, 0, 0, 0, 0}}}, 0.5F, 9e-7F},
      {"linear: vertical", with(LinearInfinity, {{{1, 10, 0, 0, 1, 12}, {3, 30, 3, 0, 0, 0}}}), 0, NAN},
      {"cycle relative, a worked example",
       placed(with(CycleRelativeInfinity, {{{0, 0, 0, 0, 0.4F, 4}, {1, 10, -0.4F, -4, 0, 0}}}), 2, 3), 5.5F,
       2.5F, 3.5F, 10},
  });
}

TEST_F(CurveValuesTest, RecordsWithoutAnswerAreLeftAlone) {
  CurveStage const stage(with(CycleRelativeInfinity, line));
  CurveStage const inactive(with(CycleRelativeInfinity, line));
  CurveStage const barely(with(CycleRelativeInfinity, line));
  CurveStage const empty(CurveScene{});
  CurveStage const vanishingCubic(CurveScene{{{0, 0, 0, 0, 1, 1}, {18, 1, -11, 1, 0, 0}}});
  inactive.node->setTravMask(0);
  barely.node->setTravMask(0xFFFFFFFEU);
  AnimNodePtr const deadNode = AnimNode::create();
  AnimCurvePtr const deadCurve = AnimCurve::create();
  std::vector<knCurveData> records(4, stage.record(9));
  for (CurveStage const* const other : {&inactive, &barely, &empty, &vanishingCubic})
    records.push_back(other->record(9));
  records[0].node = {};
  records[1].node = deadNode;
  records[2].curve = {};
  records[3].curve = deadCurve;
  deadNode.subRef();
  deadCurve.subRef();
  records.push_back(stage.record(2));
  knAnimManager::the()->computeCurveValues(records, 2);
  EXPECT_EQ(records.back().value, 20) << "the others do not keep this one from its value";
  records.pop_back();
  for (knCurveData const& data : records) {
    EXPECT_EQ(data.value, Kept) << &data - records.data();
    EXPECT_EQ(data.time, 9);
    EXPECT_EQ(data.cycleValueOffset, KeptOffset);
  }
  std::vector<knCurveData> none;
  knAnimManager::the()->computeCurveValues(none, 1);
}

/// Keys at random distances and values, some at equal times, with tangents that never leave the segment.
AnimCurvePtr longCurve(std::size_t count, std::mt19937& random) {
  AnimCurvePtr const curve = AnimCurve::create();
  constexpr UInt32 types[] = {StepTangent, LinearTangent, SmoothTangent};
  std::uniform_real_distribution<float> unit(0, 1);
  float time = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (random() % 16 != 0) time += unit(random) + 0.01F;
    curve->addPoint({time, unit(random)}, {}, {}, types[random() % 3], types[random() % 3], false, true);
  }
  return curve;
}

float valueAt(AnimNodePtr const& node, AnimCurvePtr const& curve, float time) {
  std::vector<knCurveData> records{knCurveData(node, curve)};
  records[0].value = Kept;
  records[0].time = time;
  knAnimComputeCurveValueTask(&records, 0)(tbb::blocked_range<unsigned int>(0, 1));
  return records[0].value;
}

/// Follows long curves through many evaluations and edits; copies that have never been read must agree.
TEST_F(CurveValuesTest, LongCurvesGiveTheSameWithAndWithoutHistory) {
  std::mt19937 random(5);
  for (std::size_t const count : {31U, 32U, 33U, 100U, 1000U, 5000U}) {
    for (float const scale : {1.F, -1.F}) {
      AnimCurvePtr const curve = longCurve(count, random);
      MField<CCPnt>& keys = curve->getControlPoints();
      Held const node(AnimNode::create());
      node->setScale(scale);
      node->setCore(curve);
      auto const end = [&] { return keys.back().x(); };
      auto const anyTime = [&] { return std::uniform_real_distribution<float>(-1, end() + 1)(random); };
      // Times count in the curve's own axis.
      auto const read = [&](float time) {
        Held const fresh(AnimCurve::create());
        fresh->getControlPoints() = keys;
        float const expected = valueAt(node, fresh, time * scale);
        float const value = valueAt(node, curve, time * scale);
        ASSERT_EQ(std::bit_cast<UInt32>(value), std::bit_cast<UInt32>(expected)) << time << " of " << end();
      };
      auto const readAround = [&] {
        float const step = end() / 150;
        for (float time = -step; time < end() + step; time += step) read(time);
        for (float time = end() + step; time > -step; time -= step) read(time);
        for (int i = 0; i < 60; ++i) read(anyTime());
        for (int i = 0; i < 60; ++i) read(keys[random() % keys.size()].x());
        // Forward and backward in steps finer than the keys.
        float const from = anyTime();
        for (int i = 0; i < 100; ++i) read(from + 0.05F * static_cast<float>(i < 60 ? i : 120 - i));
      };
      readAround();
      float const where = keys[count / 2].x() + 0.005F;
      read(where);
      curve->addPoint({where - 0.001F, 9}, {}, {}, 1, 1, false, true);
      read(where);
      keys.getValues().erase(keys.begin(), keys.begin() + std::ssize(keys) / 3);
      read(where);
      read(end() - 0.001F);
      keys.getValues().resize(keys.size() - keys.size() / 4);
      read(where);
      readAround();
      // Keys out of order have answers of their own, which must not hang on what was asked before.
      for (bool const isAnnounced : {false, true}) {
        std::ranges::stable_sort(keys.getValues(), {}, &CCPnt::x);
        announce(curve, AnimCurve::ControlPointsFieldMask);
        read(where);
        std::shuffle(isAnnounced ? keys.begin() : curve->getControlPoints().begin(), keys.end(), random);
        if (isAnnounced) announce(curve, AnimCurve::ControlPointsFieldMask);
        for (int i = 0; i < 300; ++i) read(std::uniform_real_distribution<float>(0, 20)(random));
      }
    }
  }
}

/// Many records of few curves, in two calls at once: the same as one after the other.
TEST_F(CurveValuesTest, RecordsOfTheSameCurveMayBeComputedAtOnce) {
  std::mt19937 random(9);
  std::vector<std::unique_ptr<Held<AnimNodePtr>>> nodes;
  std::vector<knCurveData> records;
  for (std::size_t const count : {2U, 40U, 500U, 3000U}) {
    AnimCurvePtr const curve = longCurve(count, random);
    curve->setPostInfinityMode(CycleRelativeInfinity);
    nodes.push_back(std::make_unique<Held<AnimNodePtr>>(AnimNode::create()));
    (*nodes.back())->setCore(curve);
    float const end = curve->getControlPoints().back().x();
    for (int i = 0; i < 2000; ++i) {
      records.emplace_back(**nodes.back(), curve);
      records.back().time = std::uniform_real_distribution<float>(-1, end * 2)(random);
      records.push_back(records.back());
    }
  }
  std::shuffle(records.begin(), records.end(), random);
  std::vector<knCurveData> expected = records;
  knAnimComputeCurveValueTask const serial(&expected, 0);
  serial(tbb::blocked_range<unsigned int>(0, static_cast<unsigned int>(expected.size())));
  auto const computeAndCompare = [&] {
    for (int round = 0; round < 5; ++round) {
      std::vector<knCurveData> mine = records;
      knAnimManager::the()->computeCurveValues(mine, 0);
      EXPECT_EQ(mine, expected);
    }
  };
  std::thread other(computeAndCompare);
  computeAndCompare();
  other.join();
}

}  // namespace kntest::CurveValuesTest
