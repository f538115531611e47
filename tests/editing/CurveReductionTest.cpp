#include "knCurveReduction.h"

#include "evaluation/CurveStage.h"
#include "support/CurveMuseum.h"
#include "support/SceneStage.h"

namespace kntest::CurveReductionTest {

using Keys = std::vector<CurveKey>;
using Outcome = knCurveReductionOutcome;

Keys curveKeysOf(AnimCurve const& curve) {
  Keys keys;
  for (CCPnt const& k : curve.getControlPoints())
    keys.push_back({k.x(), k.y(), k.inX(), k.inY(), k.outX(), k.outY()});
  return keys;
}

/// A curve of one character: joined lines, ease, free tangents, or a mixture with held stretches, pauses and jumps of
/// density. Drawn from waves, so that there is something to find, with some noise.
CurveScene randomCurve(std::mt19937& random, int kind) {
  std::uniform_real_distribution<float> unit(0, 1);
  CurveScene scene;
  scene.linear = kind == 4;
  float const size = std::pow(10.F, 4 * unit(random) - 2);
  float const noise = unit(random) < 0.5F ? 0.F : 0.02F * size;
  float const bend = 0.2F + 3 * unit(random);
  auto const wave = [&](float t) { return size * (std::sin(bend * t) + 0.3F * std::sin(2.7F * bend * t)); };
  float time = 10 * unit(random);
  for (unsigned int i = 0, n = 2 + static_cast<unsigned int>(random() % 80); i < n; ++i) {
    scene.keys.push_back({time, wave(time) + noise * (unit(random) - 0.5F), 0, 0, 0, 0});
    time += unit(random) < 0.1F ? 0.5F : 0.04F;
  }
  for (std::size_t i = 0; i + 1 < scene.keys.size(); ++i) {
    CurveKey& a = scene.keys[i];
    CurveKey& b = scene.keys[i + 1];
    if (kind == 3 && random() % 6 == 0) {
      if (random() % 2 == 0) b.y = a.y;
      continue;
    }
    float const reach = kind == 2 ? 0.36F + 0.2F * unit(random) : 0.4F;
    float const w = b.x - a.x;
    float const h = kind == 0 ? b.y - a.y : 0.F;
    float const slopeA = kind == 2 ? (wave(a.x + 1e-3F) - wave(a.x - 1e-3F)) / 2e-3F * w : h;
    float const slopeB = kind == 2 ? (wave(b.x + 1e-3F) - wave(b.x - 1e-3F)) / 2e-3F * w : h;
    a.outX = reach * w, a.outY = reach * slopeA;
    b.inX = -reach * w, b.inY = -reach * slopeB;
  }
  return scene;
}

std::vector<float> denseTimes(Keys const& keys) {
  std::vector<float> times;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    for (float const way : {-INFINITY, INFINITY}) times.push_back(std::nextafter(keys[i].x, way));
    for (int k = 0; k < 16 && i + 1 < keys.size(); ++k)
      times.push_back(keys[i].x + (keys[i + 1].x - keys[i].x) * static_cast<float>(k) / 16);
  }
  std::erase_if(times, [&](float t) { return t < keys.front().x || t > keys.back().x; });
  return times;
}

std::vector<CCPnt> copyOf(AnimCurve const& curve) { return curve.getControlPoints().getValues(); }
bool isSame(CCPnt const& a, CCPnt const& b) { return FieldDataTraits<CCPnt>::isEqual(a, b); }

class CurveReductionTest : public SceneStage {};

TEST_F(CurveReductionTest, ThePromiseHoldsEverywhere) {
  std::mt19937 random(3);
  std::size_t before = 0;
  std::size_t after = 0;
  for (int round = 0; round < 300; ++round) {
    CurveStage const stage(randomCurve(random, round % 5));
    std::vector<CCPnt> const oldKeys = copyOf(*stage.curve);
    Keys const old = curveKeysOf(*stage.curve);
    std::vector<float> const times = denseTimes(old);
    auto const oldValues = stage.compute(times);
    double size = 0;
    for (CurveKey const& key : old) size = std::max(size, std::fabs(double(key.y)));
    float const tolerance = static_cast<float>(size) * std::pow(10.F, -1 - static_cast<float>(random() % 4));
    std::vector<UInt32> pinned{UInt32(random() % 200), UInt32(random() % 200)};

    auto const result = knCurveReduction::reduce({{stage.curve, tolerance, pinned}}).at(0);
    Keys const now = curveKeysOf(*stage.curve);
    ASSERT_EQ(result.keysAfter, now.size());
    ASSERT_EQ(result.keysBefore, old.size());
    ASSERT_EQ(result.outcome, now.size() < old.size() ? Outcome::Reduced : Outcome::NothingRemoved);
    ASSERT_LE(result.error, tolerance);
    if (tolerance > 0.05 * size) before += old.size(), after += now.size();

    double largest = 0;
    auto const newValues = stage.compute(times);
    for (std::size_t i = 0; i < times.size(); ++i) {
      double const evaluated = std::fabs(double(oldValues[i].value) - newValues[i].value);
      ASSERT_LE(evaluated, result.error) << round << " at " << times[i];
      largest = std::max(largest, evaluated);
    }
    // The bound is sharp, and what was found does occur.
    EXPECT_LE(result.found, 1.05 * largest + 0.02 * tolerance) << round;
    EXPECT_GE(result.found, 0.95 * largest - 0.03 * tolerance - 4e-6 * size - 4e-6) << round;
    EXPECT_LE(result.error, 1.05 * largest + 0.03 * tolerance + 4e-6 * size + 4e-6) << round;

    ASSERT_TRUE(now.front().x == old.front().x && now.back().x == old.back().x);
    std::size_t place = 0;
    for (CCPnt const& key : copyOf(*stage.curve)) {
      while (place < oldKeys.size() && oldKeys[place].x() != key.x()) ++place;
      ASSERT_LT(place, oldKeys.size());
      ASSERT_EQ(key.y(), oldKeys[place].y());
      bool const isPinned = std::ranges::count(pinned, place) > 0;
      ASSERT_TRUE(!isPinned || isSame(key, oldKeys[place])) << round;
    }
    for (UInt32 const pin : pinned) {
      auto const isPin = [&](CurveKey const& key) { return key.x == old[pin].x; };
      ASSERT_TRUE(pin >= old.size() || std::ranges::any_of(now, isPin)) << round;
    }
  }
  EXPECT_LT(after, before / 3) << "far too careful";
}

double slopeOut(CCPnt const& key) { return double(key.outY()) / key.outX(); }
double slopeIn(CCPnt const& key) { return double(key.inY()) / key.inX(); }

TEST_F(CurveReductionTest, StepsAndSmoothPassagesStay) {
  // Held at 1 through three keys, a small step, held again, then two waves with a period of 8 s.
  CurveScene scene;
  for (float const y : {1.F, 1.F, 1.F, 1.01F})
    scene.keys.push_back({float(scene.keys.size()), y, -0.4F, 0, 0, 0});
  float const w = 0.125F;
  auto const slope = [](float t) { return std::cos(t * 0.7853981F) * 0.7853981F * 0.4F; };
  for (int i = 0; i <= 128; ++i) {
    float const t = w * static_cast<float>(i);
    scene.keys.push_back({4 + t, std::sin(t * 0.7853981F), -0.4F * w, -w * slope(t), 0.4F * w, w * slope(t)});
  }
  CurveStage const stage(scene);
  auto const result = knCurveReduction::reduce({{stage.curve, 0.05F, {}}})[0];
  auto const keys = copyOf(*stage.curve);
  ASSERT_GT(keys.size(), 4U);
  EXPECT_LT(keys.size(), 20U);
  EXPECT_GT(result.found, 0.F);
  EXPECT_EQ(keys[0].x(), 0.F);
  EXPECT_EQ(keys[1].x(), 3.F) << "a step below the tolerance";
  EXPECT_EQ(keys[2].x(), 4.F);
  EXPECT_EQ(keys[0].outtangent(), Vec2f());
  for (std::size_t i = 3; i + 1 < keys.size(); ++i)
    EXPECT_NEAR(slopeIn(keys[i]), slopeOut(keys[i]), 1e-3) << keys[i].x();

  for (UInt32 const mode : {CycleInfinity, CycleRelativeInfinity}) {
    CurveScene cycle = scene;
    cycle.keys.erase(cycle.keys.begin(), cycle.keys.begin() + 4);
    cycle.pre = cycle.post = mode;
    CurveStage const seam(cycle);
    EXPECT_LT(knCurveReduction::reduce({{seam.curve, 0.05F, {}}})[0].keysAfter, 16U);
    auto const seamKeys = copyOf(*seam.curve);
    EXPECT_NEAR(slopeIn(seamKeys.back()), slopeOut(seamKeys.front()), 1e-3);
    float const end = cycle.keys.back().x;
    auto const values = seam.compute({std::nextafter(end, 0.F), std::nextafter(end, 99.F)});
    EXPECT_NEAR(values[0].value + (mode == CycleRelativeInfinity ? 3.25F : 0.F),
                values[1].value + values[1].cycleValueOffset + (mode == CycleInfinity ? -3.25F : 3.25F),
                1e-4);
  }
  scene.keys.erase(scene.keys.begin(), scene.keys.begin() + 4);
  for (auto const& [pre, post] :
       {std::pair(LinearInfinity, ConstantInfinity), {ConstantInfinity, LinearInfinity}}) {
    scene.pre = pre, scene.post = post;
    CurveStage const extended(scene);
    auto const before = extended.compute({-3, 30});
    EXPECT_EQ(knCurveReduction::reduce({{extended.curve, 0.05F, {}}})[0].outcome, Outcome::Reduced);
    auto const after = extended.compute({-3, 30});
    for (int i : {0, 1}) EXPECT_EQ(before[std::size_t(i)].value, after[std::size_t(i)].value);
  }
  // A corner at the seam: nothing is to be kept of the slopes there.
  scene.keys.resize(97);
  for (UInt32 const mode : {CycleInfinity, OscillateInfinity}) {
    scene.pre = scene.post = mode;
    CurveStage const corner(scene);
    knCurveReduction::reduce({{corner.curve, 0.05F, {}}});
    EXPECT_GT(std::fabs(slopeIn(copyOf(*corner.curve).back()) + 0.7853981), 1e-3);
  }
}

TEST_F(CurveReductionTest, HardCurvesKeepWhatCannotBeSolved) {
  for (MuseumCurve const& piece : curveMuseum()) {
    CurveStage const stage({piece.keys});
    auto const before = copyOf(*stage.curve);
    auto const result = knCurveReduction::reduce({{stage.curve, 0.1F, {}}})[0];
    auto const after = copyOf(*stage.curve);
    EXPECT_EQ(result.keysAfter, after.size()) << piece.name;
    if (piece.keys.size() < 3 || !piece.finite || piece.name == "all keys at one time") {
      ASSERT_EQ(before.size(), after.size()) << piece.name;
      for (std::size_t i = 0; i < after.size(); ++i)
        EXPECT_TRUE(isSame(before[i], after[i]) || !piece.finite) << piece.name;
    }
  }
  // A segment without solution, or that turns back, between two that would have gone.
  for (auto const& [out, in] :
       {std::pair(Vec2f(1.F / 18, 1), Vec2f(-11.F / 18, 1)), {{0.3F, 1}, {0.5F, 1}}}) {
    CurveStage const stage({{{0, 0, 0, 0, 0.4F, 0},
                             {1, 0, -0.4F, 0, 0.4F, 0},
                             {2, 0, -0.4F, 0, out.x(), out.y()},
                             {3, 0, in.x(), in.y(), 0.4F, 0},
                             {4, 0, -0.4F, 0, 0.4F, 0},
                             {5, 0, -0.4F, 0, 0, 0}}});
    knCurveReduction::reduce({{stage.curve, 5.F, {}}});
    auto const keys = copyOf(*stage.curve);
    ASSERT_EQ(keys.size(), 4U);
    EXPECT_EQ(keys[1].outtangent(), out);
    EXPECT_EQ(keys[2].intangent(), in);
  }
}

TEST_F(CurveReductionTest, RoundedTimesAndLargeValuesKeepThePromise) {
  // Rounding wraps this time to just before the first key, where the first segment has no value.
  CurveScene cycle{{{0, 0, 0, 0, 0.0194213F, 2.65526F},
                    {0.0399999991F, 5.447F, -0.0074038F, -0.994162F, 0.0150604F, 2.02227F},
                    {0.0799999982F, 10.8965F, -0.0188541F, -2.57771F, 0.0227286F, 3.09522F},
                    {0.119999997F, 16.3437F, -0.0188567F, -2.56793F, 0.0208337F, 2.84835F},
                    {0.159999996F, 21.793F, -0.0274776F, -3.7567F, 0, 0}}};
  cycle.pre = CycleRelativeInfinity;
  CurveStage const stage(cycle);
  auto const before = stage.compute({-0.800000012F})[0];
  EXPECT_EQ(knCurveReduction::reduce({{stage.curve, 0.3F, {}}})[0].outcome, Outcome::Reduced);
  EXPECT_NEAR(stage.compute({-0.800000012F})[0].value, before.value, 0.3F);
  // One line over it all would overflow.
  CurveScene huge;
  huge.linear = true;
  for (int i = 0; i <= 1000; ++i) huge.keys.push_back({0.04F * static_cast<float>(i), 1e37F, 0, 0, 0, 0});
  CurveStage const lines(huge);
  knCurveReduction::reduce({{lines.curve, 1e35F, {}}});
  EXPECT_FLOAT_EQ(lines.compute({39.99F})[0].value, 1e37F);
  // The segments beside a pin stay, held ones too.
  CurveStage const held({{{0, 1, 0, 0, 0, 0}, {1, 1, 0, 0, 0, 0}, {2, 1, 0, 0, 0, 0}, {3, 1, 0, 0, 0, 0}}});
  EXPECT_EQ(knCurveReduction::reduce({{held.curve, 1.F, {0}}})[0].keysAfter, 3U);
}

TEST_F(CurveReductionTest, ManyCurvesAtOnceGiveWhatEachAloneGives) {
  std::mt19937 random(8);
  std::vector<std::unique_ptr<CurveStage>> stages;
  std::vector<knCurveReductionJob> jobs;
  std::vector<std::vector<CCPnt>> alone;
  for (int i = 0; i < 200; ++i) {
    stages.push_back(std::make_unique<CurveStage>(randomCurve(random, i % 5)));
    jobs.push_back({stages.back()->curve, 0.05F, {3}});
    knCurveReduction::compute(*jobs.back().curve, 0.05F, {3}, alone.emplace_back());
  }
  AnimCurvePtr const dead = newCurve({{0, 0}});
  { Held const gone(dead); }
  jobs.insert(jobs.end(), {{{}, 1.F, {}}, {dead, 1.F, {}}});
  for (float const tolerance : {-1.F, NAN, INFINITY}) jobs.push_back({stages[0]->curve, tolerance, {}});
  changes.clear();
  auto const results = knCurveReduction::reduce(jobs);
  std::size_t reduced = 0;
  for (std::size_t i = 0; i < stages.size(); ++i) {
    auto const keys = copyOf(*stages[i]->curve);
    EXPECT_TRUE(std::ranges::equal(keys, alone[i], isSame)) << i;
    reduced += results[i].outcome == Outcome::Reduced ? 1U : 0U;
  }
  EXPECT_EQ(changes.getEntries().size(), reduced);
  EXPECT_EQ(results[200].outcome, Outcome::NoCurve);
  EXPECT_EQ(results[201].outcome, Outcome::NoCurve);
  for (std::size_t i : {202U, 203U, 204U}) EXPECT_EQ(results[i].outcome, Outcome::BadTolerance);
}

}  // namespace kntest::CurveReductionTest
