#include "knAnimManager.h"

#include "support/TestContainers.h"

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
using kntest::Held;

constexpr float NaN = std::numeric_limits<float>::quiet_NaN();
constexpr float Kept = -77;
constexpr float KeptOffset = 3.25F;

using CurveValuesTest = kntest::SceneTest;

struct Key {
  float x, y;
  Vec2f in, out;
};

/// A curve below a node, which stands below another one.
struct Scene {
  std::vector<Key> keys;
  UInt32 pre = ConstantInfinity;
  UInt32 post = ConstantInfinity;
  bool linear = false;
  float scale = 1;
  float offset = 0;
  float parentScale = 1;
  float parentOffset = 0;

  Scene placed(float itsScale, float itsOffset, float scaleAbove = 1, float offsetAbove = 0) const {
    Scene scene = *this;
    scene.scale = itsScale;
    scene.offset = itsOffset;
    scene.parentScale = scaleAbove;
    scene.parentOffset = offsetAbove;
    return scene;
  }
  Scene with(UInt32 infinity) const {
    Scene scene = *this;
    scene.pre = infinity;
    scene.post = infinity;
    return scene;
  }
};

AnimCurvePtr newCurve(Scene const& scene) {
  AnimCurvePtr const curve = AnimCurve::create();
  for (Key const& key : scene.keys) curve->addPoint({key.x, key.y}, key.in, key.out, 0, 0, false, false);
  curve->setPreInfinityMode(scene.pre);
  curve->setPostInfinityMode(scene.post);
  curve->setForceLinearInterpolation(scene.linear);
  return curve;
}

/// Owns the nodes of a scene.
class Stage {
 public:
  explicit Stage(Scene const& scene)
      : _parent(AnimNode::create()), node(AnimNode::create()), curve(newCurve(scene)) {
    _parent->addChild(node);
    _parent->setScale(scene.parentScale);
    _parent->setOffset({scene.parentOffset, 0});
    node->setScale(scene.scale);
    node->setOffset({scene.offset, 0});
    node->setCore(curve);
  }

  knCurveData record(float time) const {
    knCurveData data(node, curve);
    data.value = Kept;
    data.time = time;
    data.cycleValueOffset = KeptOffset;
    return data;
  }
  knCurveData compute(float time) const {
    std::vector<knCurveData> records{record(time)};
    knAnimManager::the().computeCurveValues(records, NaN);
    return records[0];
  }

 private:
  Held<AnimNodePtr> const _parent;

 public:
  AnimNodePtr const node;
  AnimCurvePtr const curve;
};

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
  Scene scene;
  float time;
  float value;
  std::optional<float> wrappedTime = {};  ///< nothing: unchanged
  float cycleOffset = KeptOffset;
};

void check(std::vector<Row> const& rows) {
  for (Row const& row : rows) {
    SCOPED_TRACE(testing::Message() << row.rule << ", at " << row.time);
    knCurveData const result = Stage(row.scene).compute(row.time);
    expectSame(result.value, row.value);
    expectSame(result.time, row.wrappedTime.value_or(row.time));
    expectSame(result.cycleValueOffset, row.cycleOffset);
  }
}

// 1 s to 3 s, from 10 to 30 in a straight line. The tangents count for linear extrapolation alone.
Scene const line{{{1, 10, {0, 0}, {2, 5}}, {3, 30, {-1, -4}, {0, 0}}}, 0, 0, true};
// The halves of an ease in and out, from 2 to 6 within a second.
Scene const ease{{{0, 2, {0, 0}, {0.4F, 0}}, {1, 6, {-0.4F, 0}, {0, 0}}}};
Scene const steps{{{0, 0, {}, {}}, {1, 1, {}, {}}, {1, 5, {}, {}}, {1, 9, {}, {}}, {2, 6, {}, {}}}};

TEST_F(CurveValuesTest, PlacementAndSegments) {
  Scene const three{{{0, 1, {}, {0.4F, 0}}, {1, 3, {-0.4F, 0}, {}}, {2, 7, {}, {}}}};
  check({
      {"straight", line, 2.5F, 25},
      {"start key belongs to the curve", line.with(CycleInfinity), 1, 10},
      {"so does the end key", line.with(CycleRelativeInfinity), 3, 30},
      {"scale and offset", line.placed(2, 4), 9, 25},
      {"nested", line.placed(2, 4, 3, 100), 127, 25},
      {"flipped", line.placed(-1, 0), -2.5F, 25},
      {"flipped by the parent", line.placed(1, 4, -2, 0), -13, 25},
      {"flipped twice", line.placed(-1, 0, -1, 0), 2.5F, 25},
      {"ease", ease, 0.5F, 4},
      {"ease, flipped", ease.placed(-2, 0), -1, 4},
      {"held", three, 1.75F, 3},
      {"held to the last moment", three, std::nextafterf(2, 0), 3},
      {"held in a flipped node by its other end", three.placed(-1, 0), -1.25F, 7},
      {"on a key", three, 1, 3},
      {"on a key, flipped", three.placed(-1, 0), -1, 3},
      {"the first key is not looked for: a flipped curve that holds does so to its very end",
       {{{0, 2, {}, {}}, {1, 6, {}, {}}}, 0, 0, false, -1},
       0,
       6},
      {"zero scale: all keys at one time, that of no index", line.placed(0, 5), 5, 30},
      {"not a number", line, NaN, 30},
      {"not a number, flipped", line.placed(-1, 0), NaN, 30},
      {"equal times: the middle of the array", steps, 1, 5},
      {"equal times: before", steps, 0.5F, 0},
      {"equal times: after", steps, 1.5F, 9},
      {"equal times at the start", {{{0, 1, {}, {}}, {0, 4, {}, {}}, {1, 6, {}, {}}}}, 0, 4},
      {"equal times at the end", {{{0, 1, {}, {}}, {1, 4, {}, {}}, {1, 6, {}, {}}}}, 1, 4},
      {"constant-value fact", {{{0, 0, {}, {}}, {1, 1, {}, {}}}}, 0.99F, 0},
      {"values close to zero are cut by the cubic",
       {{{0, 9e-7F, {}, {0.4F, 0}}, {1, 9e-7F, {}, {}}}},
       0.5F,
       0},
      {"but not when held", {{{0, 9e-7F, {}, {}}, {1, 9, {}, {}}}}, 0.5F, 9e-7F},
  });
}

/// Tangents that reach less than 0.0001 into the segment hold it. Times decide first, values only between equals.
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
    Scene scene{{{0, 2, {7, 7}, c.out}, {1, 6, c.in, {7, 7}}}};
    scene.scale = c.scale;
    float const value = Stage(scene).compute(0.5F * c.scale).value;
    float const heldValue = c.scale < 0 ? 6 : 2;
    EXPECT_EQ(value == heldValue, c.held) << value;
    scene.linear = true;
    EXPECT_FLOAT_EQ(Stage(scene).compute(0.5F * c.scale).value, 4) << "forced linear does not ask";
  }
}

TEST_F(CurveValuesTest, OutsideOfTheCurve) {
  Scene const climb = Scene{{{0, 0, {}, {0.4F, 4}}, {1, 10, {-0.4F, -4}, {}}}}.placed(2, 3);
  Scene const plain = line.with(ConstantInfinity);
  Scene const extended = line.with(LinearInfinity);
  Scene const cycling = line.with(CycleInfinity);
  Scene const rising = line.with(CycleRelativeInfinity);
  Scene const swinging = line.with(OscillateInfinity);
  check({
      {"constant", plain, 0.5F, 10},
      {"constant", plain, 3.5F, 30},
      {"unknown modes are constant", line.with(7), 0, 10},
      {"unknown modes are constant", line.with(0xFFFFFFFFU), 4, 30},
      {"constant, flipped", plain.placed(-1, 0), -4, 30},
      {"constant, flipped", plain.placed(-1, 0), 0, 10},
      {"constant: the node's own scale tells the end, not the ancestors'", plain.placed(1, 0, -1, 0), -4, 10},
      {"constant: the same", plain.placed(1, 0, -1, 0), 0, 30},
      {"constant: flipped twice", plain.placed(-1, 0, -1, 0), 0, 30},
      {"constant: no scale", plain.placed(0, 5), 4, 30},
      {"constant: no scale", plain.placed(0, 5), 6, 10},
      // Through (1, 10) and (2, 5): the out tangent's components as if they were a place.
      {"linear", extended, 0, 15},
      // Through (-1, -4) and (3, 30).
      {"linear", extended, 5, 47},
      // Through (6, 10) and (8, 5), and through (2, -4) and (10, 30).
      {"linear, placed", extended.placed(2, 4), 0, 25},
      {"linear, placed", extended.placed(2, 4), 20, 72.5F},
      {"linear: ancestors do not count", extended.placed(2, 4, 1, 100), 90, -200},
      {"linear: vertical", Scene{{{1, 10, {}, {1, 12}}, {3, 30, {3, 0}, {}}}}.with(LinearInfinity), 0, NaN},
      {"cycle", cycling, 4, 20, 2},
      {"cycle: at a whole run after, the start", cycling, 5, 10, 1},
      {"cycle", cycling, 0.5F, 25, 2.5F},
      {"cycle: at a whole run before, the start", cycling, -1, 10, 1},
      {"cycle", cycling, -5.5F, 25, 2.5F},
      {"cycle, placed", cycling.placed(2, 4), 11, 15, 7},
      {"cycle, a worked example", climb.with(CycleInfinity), 5.5F, 2.5F, 3.5F},
      {"cycle relative, the same", climb.with(CycleRelativeInfinity), 5.5F, 2.5F, 3.5F, 10},
      {"cycle, flipped", cycling.placed(-1, 0), -4.5F, 25, -2.5F},
      {"cycle, flipped", cycling.placed(-1, 0), 0.5F, 15, -1.5F},
      {"cycle relative", rising, 4, 20, 2, 20},
      {"cycle relative", rising, 0.5F, 25, 2.5F, -20},
      {"cycle relative", rising, -5.5F, 25, 2.5F, -80},
      {"cycle relative, flipped", rising.placed(-1, 0), -4.5F, 25, -2.5F, 20},
      {"cycle relative, flipped", rising.placed(-1, 0), 0.5F, 15, -1.5F, -20},
      {"inside, the offset stays", rising, 2, 20},
      {"oscillate", swinging, 4.5F, 15, 1.5F},
      {"oscillate, even run", swinging, 6.5F, 25, 2.5F},
      {"oscillate, whole run", swinging, 5, 10, 1},
      {"oscillate, odd whole run", swinging, 7, 30, 3},
      {"oscillate", swinging, 0.5F, 15, 1.5F},
      {"oscillate, even run", swinging, -1.5F, 25, 2.5F},
      {"oscillate, flipped", swinging.placed(-1, 0), -4.5F, 15, -1.5F},
      // The node's own placement wraps the time by its own range, 1 to 3, far before the curve, which stands at
      // 101 to 103: the straight line through the first segment is extended.
      {"cycle: ancestors do not count", cycling.placed(1, 0, 1, 100), 104, -980, 2},
      // By 2 to 6 when the curve stands at 1 to 3: past the end the last key's value is all there is.
      {"cycle: ancestors do not count", cycling.placed(2, 0, 0.5F, 0), 0, 30, 4},
      {"cycle without length", cycling.placed(0, 5), 6, 30, NaN},
  });
  Scene mixed = line;
  mixed.pre = OscillateInfinity;
  mixed.post = LinearInfinity;
  EXPECT_FLOAT_EQ(Stage(mixed).compute(0.5F).value, 15);
  EXPECT_FLOAT_EQ(Stage(mixed).compute(5).value, 47);
}

TEST_F(CurveValuesTest, OneKeyHasItsValueAtAllTimes) {
  Scene const one{{{1, 5, {-1, -1}, {1, 1}}}};
  for (UInt32 const mode : {0U, 1U, 2U, 3U, 4U, 7U}) {
    for (float const time : {-100.F, 1.F, 50.F, NaN}) {
      for (float const scale : {1.F, -2.F, 0.F, NaN})
        check({{"one key", one.with(mode).placed(scale, 3), time, 5}});
    }
  }
}

TEST_F(CurveValuesTest, RecordsWithoutAnswerAreLeftAlone) {
  Stage const stage(line.with(CycleRelativeInfinity));
  Stage const inactive(line.with(CycleRelativeInfinity));
  Stage const barely(line.with(CycleRelativeInfinity));
  Stage const empty(Scene{});
  Stage const vanishingCubic(Scene{{{0, 0, {}, {1, 1}}, {18, 1, {-11, 1}, {}}}});
  inactive.node->setTravMask(0);
  barely.node->setTravMask(0xFFFFFFFEU);
  AnimNodePtr const deadNode = AnimNode::create();
  AnimCurvePtr const deadCurve = newCurve(line);
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
  knAnimManager::the().computeCurveValues(records, 2);
  EXPECT_EQ(records.back().value, 20) << "the others do not keep this one from its value";
  records.pop_back();
  for (knCurveData const& data : records) {
    EXPECT_EQ(data.value, Kept) << &data - records.data();
    EXPECT_EQ(data.time, 9);
    EXPECT_EQ(data.cycleValueOffset, KeptOffset);
  }
  std::vector<knCurveData> none;
  knAnimManager::the().computeCurveValues(none, 1);
  EXPECT_TRUE(none.empty());
}

TEST_F(CurveValuesTest, RecordsCompareByCurveAndResult) {
  Stage const stage(line);
  Stage const other(line);
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
      knAnimManager::the().computeCurveValues(mine, 0);
      EXPECT_EQ(mine, expected);
    }
  };
  std::thread other(computeAndCompare);
  computeAndCompare();
  other.join();
}

}  // namespace
