#include "evaluation/CurveStage.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <thread>

namespace {

using namespace osg;
using kntest::CurveScene;
using kntest::CurveStage;
using kntest::Held;

constexpr float NaN = std::numeric_limits<float>::quiet_NaN();
constexpr float Kept = CurveStage::Kept;
constexpr float KeptOffset = CurveStage::KeptOffset;

using CurveValuesTest = kntest::SceneTest;

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
// The halves of an ease in and out, from 2 to 6 within a second.
CurveScene const ease{{{0, 2, 0, 0, 0.4F, 0}, {1, 6, -0.4F, 0, 0, 0}}};
CurveScene const steps{
    {{0, 0, 0, 0, 0, 0}, {1, 1, 0, 0, 0, 0}, {1, 5, 0, 0, 0, 0}, {1, 9, 0, 0, 0, 0}, {2, 6, 0, 0, 0, 0}}};

TEST_F(CurveValuesTest, PlacementAndSegments) {
  CurveScene const three{{{0, 1, 0, 0, 0.4F, 0}, {1, 3, -0.4F, 0, 0, 0}, {2, 7, 0, 0, 0, 0}}};
  check({
      {"straight", line, 2.5F, 25},
      {"start key belongs to the curve", with(CycleInfinity, line), 1, 10},
      {"so does the end key", with(CycleRelativeInfinity, line), 3, 30},
      {"scale and offset", placed(line, 2, 4), 9, 25},
      {"nested", placed(line, 2, 4, 3, 100), 127, 25},
      {"flipped", placed(line, -1, 0), -2.5F, 25},
      {"flipped by the parent", placed(line, 1, 4, -2, 0), -13, 25},
      {"flipped twice", placed(line, -1, 0, -1, 0), 2.5F, 25},
      {"ease", ease, 0.5F, 4},
      {"ease, flipped", placed(ease, -2, 0), -1, 4},
      {"held", three, 1.75F, 3},
      {"held to the last moment", three, std::nextafterf(2, 0), 3},
      {"held in a flipped node by its other end", placed(three, -1, 0), -1.25F, 7},
      {"on a key", three, 1, 3},
      {"on a key, flipped", placed(three, -1, 0), -1, 3},
      {"the first key is not looked for: a flipped curve that holds does so to its very end",
       placed({{{0, 2, 0, 0, 0, 0}, {1, 6, 0, 0, 0, 0}}}, -1, 0), 0, 6},
      {"zero scale: all keys at one time, that of no index", placed(line, 0, 5), 5, 30},
      {"not a number", line, NaN, 30},
      {"not a number, flipped", placed(line, -1, 0), NaN, 30},
      {"equal times: the middle of the array", steps, 1, 5},
      {"equal times: before", steps, 0.5F, 0},
      {"equal times: after", steps, 1.5F, 9},
      {"equal times at the start", {{{0, 1, 0, 0, 0, 0}, {0, 4, 0, 0, 0, 0}, {1, 6, 0, 0, 0, 0}}}, 0, 4},
      {"equal times at the end", {{{0, 1, 0, 0, 0, 0}, {1, 4, 0, 0, 0, 0}, {1, 6, 0, 0, 0, 0}}}, 1, 4},
      {"constant-value fact", {{{0, 0, 0, 0, 0, 0}, {1, 1, 0, 0, 0, 0}}}, 0.99F, 0},
      {"near zero, cut by the cubic", {{{0, 9e-7F, 0, 0, 0.4F, 0}, {1, 9e-7F, 0, 0, 0, 0}}}, 0.5F, 0},
      {"but not when held", {{{0, 9e-7F, 0, 0, 0, 0}, {1, 9, 0, 0, 0, 0}}}, 0.5F, 9e-7F},
  });
}

/// Tangents that reach less than 0.0001 into the segment hold it. Times decide, values only between equals.
TEST_F(CurveValuesTest, HoldingIsDecidedByTangentsInGlobalTime) {
  constexpr float T = 0.0001F;
  struct Case {
    Vec2f out, in;
    float scale;
    bool held;
  };
  for (Case const& c :
       {Case{{0, 0}, {0, 0}, 1, true},
        {{0.00009F, 100}, {-1, 5}, 1, true},
        {{T, 0}, {0, 0}, 1, true},
        {{T, T}, {0, 0}, 1, false},
        {{0, 0}, {T, 0}, 1, true},
        {{0, 0}, {T, T}, 1, false},
        {{0.4F, 0}, {0, 0}, 1, false},
        {{0, 0}, {0.0002F, 0}, 1, false},
        {{0.00006F, 0}, {0, 0}, 2, false},
        {{0.0005F, 0}, {0, 0}, 0.125F, true},
        // A flipped node leaves by the in tangent of the later key, and arrives by the out tangent.
        {{0.4F, 0}, {0, 0}, -1, true},
        {{0, 0}, {-0.4F, 0}, -1, false},
        {{-0.4F, 0}, {0, 0}, -1, false}}) {
    SCOPED_TRACE(testing::Message() << c.out.x() << ' ' << c.out.y() << ", " << c.in.x() << ' ' << c.in.y()
                                    << ", scale " << c.scale);
    CurveScene scene{{{0, 2, 7, 7, c.out.x(), c.out.y()}, {1, 6, c.in.x(), c.in.y(), 7, 7}}};
    scene.chain[0].scale = c.scale;
    float const value = CurveStage(scene).compute({0.5F * c.scale})[0].value;
    float const heldValue = c.scale < 0 ? 6 : 2;
    EXPECT_EQ(value == heldValue, c.held) << value;
    scene.linear = true;
    EXPECT_FLOAT_EQ(CurveStage(scene).compute({0.5F * c.scale})[0].value, 4) << "forced linear does not ask";
  }
}

TEST_F(CurveValuesTest, OutsideOfTheCurve) {
  CurveScene const climb = placed({{{0, 0, 0, 0, 0.4F, 4}, {1, 10, -0.4F, -4, 0, 0}}}, 2, 3);
  CurveScene const plain = with(ConstantInfinity, line);
  CurveScene const extended = with(LinearInfinity, line);
  CurveScene const cycling = with(CycleInfinity, line);
  CurveScene const rising = with(CycleRelativeInfinity, line);
  CurveScene const swinging = with(OscillateInfinity, line);
  check({
      {"constant", plain, 0.5F, 10},
      {"constant", plain, 3.5F, 30},
      {"unknown modes are constant", with(7, line), 0, 10},
      {"unknown modes are constant", with(0xFFFFFFFFU, line), 4, 30},
      {"constant, flipped", placed(plain, -1, 0), -4, 30},
      {"constant, flipped", placed(plain, -1, 0), 0, 10},
      {"constant: the node's own scale tells the end, not the ancestors'", placed(plain, 1, 0, -1, 0), -4,
       10},
      {"constant: the same", placed(plain, 1, 0, -1, 0), 0, 30},
      {"constant: flipped twice", placed(plain, -1, 0, -1, 0), 0, 30},
      {"constant: no scale", placed(plain, 0, 5), 4, 30},
      {"constant: no scale", placed(plain, 0, 5), 6, 10},
      // Through (1, 10) and (2, 5): the out tangent's components as if they were a place.
      {"linear", extended, 0, 15},
      // Through (-1, -4) and (3, 30).
      {"linear", extended, 5, 47},
      // Through (6, 10) and (8, 5), and through (2, -4) and (10, 30).
      {"linear, placed", placed(extended, 2, 4), 0, 25},
      {"linear, placed", placed(extended, 2, 4), 20, 72.5F},
      {"linear: ancestors do not count", placed(extended, 2, 4, 1, 100), 90, -200},
      {"linear: vertical", with(LinearInfinity, {{{1, 10, 0, 0, 1, 12}, {3, 30, 3, 0, 0, 0}}}), 0, NaN},
      {"cycle", cycling, 4, 20, 2},
      {"cycle: at a whole run after, the start", cycling, 5, 10, 1},
      {"cycle", cycling, 0.5F, 25, 2.5F},
      {"cycle: at a whole run before, the start", cycling, -1, 10, 1},
      {"cycle", cycling, -5.5F, 25, 2.5F},
      {"cycle, placed", placed(cycling, 2, 4), 11, 15, 7},
      {"cycle, a worked example", with(CycleInfinity, climb), 5.5F, 2.5F, 3.5F},
      {"cycle relative, the same", with(CycleRelativeInfinity, climb), 5.5F, 2.5F, 3.5F, 10},
      {"cycle, flipped", placed(cycling, -1, 0), -4.5F, 25, -2.5F},
      {"cycle, flipped", placed(cycling, -1, 0), 0.5F, 15, -1.5F},
      {"cycle relative", rising, 4, 20, 2, 20},
      {"cycle relative", rising, 0.5F, 25, 2.5F, -20},
      {"cycle relative", rising, -5.5F, 25, 2.5F, -80},
      {"cycle relative, flipped", placed(rising, -1, 0), -4.5F, 25, -2.5F, 20},
      {"cycle relative, flipped", placed(rising, -1, 0), 0.5F, 15, -1.5F, -20},
      {"inside, the offset stays", rising, 2, 20},
      {"oscillate", swinging, 4.5F, 15, 1.5F},
      {"oscillate, even run", swinging, 6.5F, 25, 2.5F},
      {"oscillate, whole run", swinging, 5, 10, 1},
      {"oscillate, odd whole run", swinging, 7, 30, 3},
      {"oscillate", swinging, 0.5F, 15, 1.5F},
      {"oscillate, even run", swinging, -1.5F, 25, 2.5F},
      {"oscillate, flipped", placed(swinging, -1, 0), -4.5F, 15, -1.5F},
      // The node's own placement wraps the time by its own range, 1 to 3, far before the curve, which stands
      // at 101 to 103: the straight line through the first segment is extended.
      {"cycle: ancestors do not count", placed(cycling, 1, 0, 1, 100), 104, -980, 2},
      // By 2 to 6 when the curve stands at 1 to 3: past the end the last key's value is all there is.
      {"cycle: ancestors do not count", placed(cycling, 2, 0, 0.5F, 0), 0, 30, 4},
      {"cycle without length", placed(cycling, 0, 5), 6, 30, NaN},
  });
  CurveScene mixed = line;
  mixed.pre = OscillateInfinity;
  mixed.post = LinearInfinity;
  EXPECT_FLOAT_EQ(CurveStage(mixed).compute({0.5F})[0].value, 15);
  EXPECT_FLOAT_EQ(CurveStage(mixed).compute({5})[0].value, 47);
}

TEST_F(CurveValuesTest, OneKeyHasItsValueAtAllTimes) {
  CurveScene const one{{{1, 5, -1, -1, 1, 1}}};
  for (UInt32 const mode : {0U, 1U, 2U, 3U, 4U, 7U}) {
    for (float const time : {-100.F, 1.F, 50.F, NaN}) {
      for (float const scale : {1.F, -2.F, 0.F, NaN})
        check({{"one key", placed(with(mode, one), scale, 3), time, 5}});
    }
  }
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
  std::vector<knCurveData> records{stage.record(9), stage.record(9),         stage.record(9),
                                   stage.record(9), inactive.record(9),      barely.record(9),
                                   empty.record(9), vanishingCubic.record(9)};
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
  EXPECT_TRUE(none.empty());
}

TEST_F(CurveValuesTest, RecordsCompareByCurveAndResult) {
  CurveStage const stage(line);
  CurveStage const other(line);
  knCurveData const plain;
  EXPECT_EQ(plain.nodeId + plain.curveId, 0U);
  EXPECT_EQ(plain.value, 0);
  EXPECT_EQ(plain.time, 0);
  EXPECT_EQ(plain.cycleValueOffset, 0);
  EXPECT_EQ(knCurveData({}, {}), plain);
  knCurveData const data(stage.node, stage.curve);
  EXPECT_EQ(data.nodeId, stage.node->getContainerId());
  EXPECT_EQ(data.curveId, stage.curve->getContainerId());
  knCurveData same = data;
  same.time = 5;
  same.aims.insert(stage.node);
  same.parents.insert(stage.node);
  EXPECT_EQ(same, data) << "time and the sets take no part";
  EXPECT_EQ(knCurveData(same).aims, same.aims) << "but are copied";
  std::vector<knCurveData> different(6, data);
  different[0].node = other.node;
  different[1].nodeId = other.node->getContainerId();
  different[2].curve = other.curve;
  different[3].curveId = 0;
  different[4].value = 1;
  different[5].cycleValueOffset = 1;
  for (knCurveData const& each : different) EXPECT_FALSE(each == data) << &each - different.data();
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

/// Follows a long curve through many evaluations and edits; a copy that has never been read must agree.
class HintCheck {
 public:
  HintCheck(std::size_t count, float scale) : _scale(scale), _curve(longCurve(count, random)) {
    _node->setScale(scale);
    _node->setCore(_curve);
  }

  std::mt19937 random{5};

  float randomTime() { return std::uniform_real_distribution<float>(-1, end() + 1)(random); }
  float end() const { return _curve->getControlPoints().back().x(); }
  float timeOfKey(std::size_t i) const { return keys()[i % keys().size()].x(); }
  MField<CCPnt>& keys() const { return _curve->getControlPoints(); }
  AnimCurve& curve() const { return *_curve; }

  /// `time` counts in the curve's own axis.
  void read(float time) {
    Held const fresh(AnimCurve::create());
    fresh->getControlPoints() = _curve->getControlPoints();
    float const expected = valueAt(_node, fresh, time * _scale);
    float const value = valueAt(_node, _curve, time * _scale);
    ASSERT_EQ(std::bit_cast<UInt32>(value), std::bit_cast<UInt32>(expected)) << time << " of " << end();
    ++reads;
  }
  int reads = 0;

 private:
  float _scale;
  Held<AnimNodePtr> const _node{AnimNode::create()};
  AnimCurvePtr const _curve;
};

TEST_F(CurveValuesTest, LongCurvesGiveTheSameWithAndWithoutHistory) {
  int reads = 0;
  for (std::size_t const count : {31U, 32U, 33U, 100U, 1000U, 5000U}) {
    for (float const scale : {1.F, -1.F}) {
      HintCheck check(count, scale);
      auto const readAround = [&] {
        float const step = check.end() / 150;
        for (float time = -step; time < check.end() + step; time += step) check.read(time);
        for (float time = check.end() + step; time > -step; time -= step) check.read(time);
        for (int i = 0; i < 60; ++i) check.read(check.randomTime());
        for (int i = 0; i < 60; ++i) check.read(check.timeOfKey(check.random()));
        // Forward and backward in steps finer than the keys.
        float const from = check.randomTime();
        for (int i = 0; i < 100; ++i) check.read(from + 0.05F * static_cast<float>(i < 60 ? i : 120 - i));
      };
      readAround();
      float const where = check.timeOfKey(count / 2) + 0.005F;
      check.read(where);
      check.curve().addPoint({where - 0.001F, 9}, {}, {}, 1, 1, false, true);
      check.read(where);
      check.keys().getValues().erase(check.keys().begin(),
                                     check.keys().begin() + std::ssize(check.keys()) / 3);
      check.read(where);
      check.read(check.end() - 0.001F);
      check.keys().getValues().resize(check.keys().size() - check.keys().size() / 4);
      check.read(where);
      readAround();
      check.curve().setSegmentHint(0xFFFFFFFFU);
      readAround();
      reads += check.reads;
    }
  }
  EXPECT_GT(reads, 15'000);
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

}  // namespace
