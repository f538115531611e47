// Curve values against a second opinion. Where a time falls, and what happens outside of a curve, is worked
// out here anew in doubles; the value within a segment comes from the oracle.
#include "evaluation/CurveStage.h"
#include "support/CurveMuseum.h"
#include "support/CurveOracle.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <random>

namespace CurveValuesOracleTest {

using namespace osg;
using namespace kntest;

using CurveValuesOracleTest = SceneTest;

constexpr float Kept = CurveStage::Kept;
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// The placement of a node and its ancestors, the node's own first.
using Chain = std::vector<Line>;

double toGlobal(Chain const& chain, double x) {
  for (Line const& node : chain) x = node.at(x);
  return x;
}

double totalScale(Chain const& chain) {
  double scale = 1;
  for (Line const& node : chain) scale *= node.scale;
  return scale;
}

/// What a record may hold after the computation.
struct Answer {
  std::vector<double> values;  ///< any of these; a value that is not a number stands for itself
  double time = 0;             ///< after wrapping
  double turns = 0;            ///< whole runs that were taken off
  double cycleOffset = CurveStage::KeptOffset;
  double slack = 0;   ///< what floats may cost beyond the rounding of times
  double reach = 1;   ///< by how much a segment that is extended beyond its keys enlarges rounding
  bool kept = false;  ///< no solution: the value stays
  bool hard = false;  ///< the closed form loses digits here, or rounding decides
};

/// Where the only real root of the segment's cubic lies, wherever that is.
double extendedParameter(CurveKey const& a, CurveKey const& b, double time) {
  double const inner[] = {static_cast<double>(a.x) + a.outX, static_cast<double>(b.x) + b.inX};
  auto const at = [&](double s) {
    double const t = 1 - s;
    return t * t * t * a.x + 3 * t * t * s * inner[0] + 3 * t * s * s * inner[1] + s * s * s * b.x - time;
  };
  double low = -1;
  double high = 2;
  while ((at(low) < 0) == (at(high) < 0)) {
    low *= 2;
    high *= 2;
  }
  bool const rising = at(low) < 0;
  for (int step = 0; step < 100; ++step) {
    double const middle = (low + high) / 2;
    ((at(middle) < 0) == rising ? low : high) = middle;
  }
  return low;
}

class Model {
 public:
  explicit Model(CurveScene const& curve)
      : _curve(curve), _chain(curve.chain), _flipped(totalScale(curve.chain) < 0) {
    double const scale = totalScale(_chain);
    for (CurveKey const& key : curve.keys) {
      auto const x = static_cast<float>(toGlobal(_chain, key.x));
      auto const inX = static_cast<float>(key.inX * scale);
      auto const outX = static_cast<float>(key.outX * scale);
      _keys.push_back(_flipped ? CurveKey{x, key.y, outX, key.outY, inX, key.inY}
                               : CurveKey{x, key.y, inX, key.inY, outX, key.outY});
    }
    if (_flipped) std::reverse(_keys.begin(), _keys.end());
  }

  double start() const { return _keys.front().x; }
  double end() const { return _keys.back().x; }
  /// The extent of the values, with the control points between the keys.
  double height() const {
    double height = 1e-3;
    for (CurveKey const& key : _keys)
      height =
          std::max({height, std::fabs(1.0 * key.y), std::fabs(1.0 * key.inY), std::fabs(1.0 * key.outY)});
    return 4 * height;
  }

  Answer at(double time) const {
    Answer answer;
    answer.time = time;
    CurveKey const& first = _curve.keys.front();
    CurveKey const& last = _curve.keys.back();
    bool const before = time < start();
    bool const after = time > end();
    UInt32 const mode = before ? _curve.pre : _curve.post;
    if ((before || after) && mode == LinearInfinity) {
      extrapolate(before ? first : last, before, answer);
    } else if ((before || after) && mode >= CycleInfinity && mode <= OscillateInfinity) {
      wrap(first, last, mode, answer);
      findValue(answer);
    } else if (before || after) {
      answer.values = {before == (_chain[0].scale > 0) ? first.y : last.y};
    } else {
      findValue(answer);
    }
    return answer;
  }

 private:
  void extrapolate(CurveKey const& key, bool before, Answer& answer) const {
    Line const own = _chain[0];
    double const x = own.at(key.x);
    double const otherX = own.at(before ? key.outX : key.inX);
    double const otherY = before ? key.outY : key.inY;
    answer.values = {NaN};
    if (otherX == x) return;
    double const slope = (otherY - key.y) / (otherX - x);
    answer.values = {key.y + slope * (answer.time - x)};
    double const scales = std::fabs(slope) * (std::fabs(answer.time) + std::fabs(x) + std::fabs(otherX));
    double const lost = (std::fabs(x) + std::fabs(otherX) + std::fabs(own.offset)) / std::fabs(otherX - x);
    answer.slack = 2e-7 * (scales * (1 + lost) + std::fabs(otherY) + std::fabs(key.y));
  }

  void wrap(CurveKey const& first, CurveKey const& last, UInt32 mode, Answer& answer) const {
    double const from = _chain[0].at(first.x);
    double const to = _chain[0].at(last.x);
    double const runs = (answer.time - from) / (to - from);
    answer.turns = runs < 0 ? std::floor(runs) : std::trunc(runs);
    answer.time -= answer.turns * (to - from);
    if (mode == CycleRelativeInfinity)
      answer.cycleOffset = (static_cast<double>(last.y) - first.y) * answer.turns;
    if (mode == OscillateInfinity && std::fmod(answer.turns, 2) != 0) answer.time = to - (answer.time - from);
  }

  void findValue(Answer& answer) const {
    double const time = answer.time;
    if (std::isnan(time)) {
      answer.values = {_curve.keys.back().y};
      return;
    }
    // The search never looks at the first key of the array; there the segment's own end answers.
    for (std::size_t i = 0; i < _keys.size(); ++i)
      if (_keys[i].x == time && i != (_flipped ? _keys.size() - 1 : 0)) answer.values.push_back(_keys[i].y);
    if (!answer.values.empty()) return;
    // Outside, the first segment of the array is extended, and the last key's value is all there is.
    bool const beyondLastKey = _flipped ? time < start() : time > end();
    if (beyondLastKey) {
      answer.values = {_curve.keys.back().y};
      return;
    }
    std::size_t i = _flipped && time >= end() ? _keys.size() - 2 : 0;
    while (i + 2 < _keys.size() && time > _keys[i + 1].x) ++i;
    findBetween(_keys[i], _keys[i + 1], answer);
  }

  void findBetween(CurveKey const& a, CurveKey const& b, Answer& answer) const {
    double const u = (answer.time - a.x) / (static_cast<double>(b.x) - a.x);
    if (_curve.linear) {
      answer.values = {a.y + u * (static_cast<double>(b.y) - a.y)};
      answer.reach = std::fabs(u) + std::fabs(1 - u);
      answer.slack = 4e-7 * answer.reach * height();
      if (a.x == b.x) answer.values = {NaN};
      return;
    }
    if (holds(a, b) || a.x == b.x) {
      answer.values = {a.y};
      return;
    }
    auto const [cubicTerm, discriminant] = conditioningAt(a, b, answer.time);
    answer.hard = std::fabs(discriminant) < 2e-6 || std::fabs(cubicTerm) < 1e-3;
    if (answer.hard) return;
    // Of three roots none beyond 1 is taken, so at the very end rounding decides.
    if (answer.time == b.x && discriminant < 0) answer.values = {Kept};
    std::vector<double> parameters = parametersAt(a, b, answer.time);
    answer.kept = parameters.empty() && discriminant < 0;
    if (parameters.empty() && !answer.kept) {
      double const s = extendedParameter(a, b, answer.time);
      answer.reach = std::pow(std::fabs(s) + std::fabs(1 - s), 3);
      parameters = {s};
    }
    for (double const s : parameters) answer.values.push_back(valueAtParameter(a, b, s));
  }

  CurveScene const& _curve;
  Chain const& _chain;
  bool _flipped;
  std::vector<CurveKey> _keys;  ///< in global time, ascending
};

class Random {
 public:
  explicit Random(unsigned int seed) : _engine(seed) {}
  double uniform(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(_engine);
  }
  std::size_t number(std::size_t count) { return static_cast<std::size_t>(_engine() % count); }
  /// A multiple of 1 / `parts` up to the limit, so that sums and products stay exact.
  double onGrid(double limit, double parts) { return std::round(uniform(-limit, limit) * parts) / parts; }
  UInt32 mode() { return std::array{0U, 1U, 2U, 3U, 4U, 7U}[number(6)]; }

 private:
  std::mt19937 _engine;
};

enum class Shape { Held, Inside, Upright, Overshooting };

/// Gives the segment its tangents.
void bend(CurveKey& a, CurveKey& b, Shape shape, Random& random) {
  double const width = static_cast<double>(b.x) - a.x;
  auto const reach = [&] {
    if (shape == Shape::Held) return 0.0;
    if (shape == Shape::Upright) return random.number(2) == 0 ? 0.0 : width;
    return width * (shape == Shape::Inside ? random.uniform(0.05, 0.95) : random.uniform(-3, 3));
  };
  auto const fraction = [](double x) { return static_cast<float>(std::round(x * 64) / 64); };
  a.outX = fraction(reach());
  b.inX = fraction(-reach());
  a.outY = shape == Shape::Held ? 0 : static_cast<float>(random.onGrid(4, 64));
  b.inY = shape == Shape::Held ? 0 : static_cast<float>(random.onGrid(4, 64));
}

CurveScene randomCurve(Random& random, std::vector<double> times, std::size_t shapes) {
  CurveScene curve;
  std::sort(times.begin(), times.end());
  for (double const time : times)
    curve.keys.push_back({static_cast<float>(time), static_cast<float>(random.onGrid(4, 64)), 0, 0, 0, 0});
  for (std::size_t i = 0; i + 1 < times.size(); ++i)
    bend(curve.keys[i], curve.keys[i + 1], static_cast<Shape>(random.number(shapes)), random);
  // Linear extrapolation looks at the tangents of the ends that no segment uses, too.
  curve.keys.front().inX = -0.5F;
  curve.keys.back().outX = 0.5F;
  curve.pre = random.mode();
  curve.post = random.mode();
  curve.linear = random.number(5) == 0;
  return curve;
}

double distance(double value, std::vector<double> const& values) {
  double nearest = std::numeric_limits<double>::infinity();
  for (double const expected : values) {
    if (std::isnan(expected) && !std::isfinite(value)) return 0;
    nearest = std::min(nearest, std::fabs(expected - value));
  }
  return nearest;
}

/// All numbers are short binary fractions, so that placing and wrapping is exact in floats too: every time falls
/// exactly where it should, and only the cubic's rounding remains.
TEST_F(CurveValuesOracleTest, ExactPlacements) {
  Random random(21);
  int pairs = 0, hard = 0;
  for (int round = 0; round < 3700; ++round) {
    std::vector<double> times(2 + random.number(6));
    for (double& time : times) time = random.onGrid(6, 4);
    CurveScene curve = randomCurve(random, times, 4);
    Chain& chain = curve.chain;
    chain.resize(1 + random.number(3));
    for (Line& line : chain) {
      line.scale = std::array{0.5, 1.0, 1.0, 2.0, -1.0, -0.5}[random.number(6)];
      line.offset = random.onGrid(8, 4);
    }
    Model const model(curve);
    double const length = model.end() - model.start();
    std::vector<float> at;
    for (int i = 0; i < 24; ++i) {
      double const time = random.uniform(model.start() - 2 * length - 1, model.end() + 2 * length + 1);
      at.push_back(static_cast<float>(std::round(time * 64) / 64));
    }
    for (CurveKey const& key : curve.keys) at.push_back(static_cast<float>(toGlobal(chain, key.x)));
    auto const records = CurveStage(curve).compute(at);
    for (std::size_t i = 0; i < at.size(); ++i) {
      Answer const answer = model.at(at[i]);
      ++pairs;
      SCOPED_TRACE(testing::Message() << "round " << round << " at " << at[i] << ", modes " << curve.pre
                                      << ' ' << curve.post << ", own scale " << chain[0].scale);
      if (std::isnan(answer.time)) {
        ASSERT_TRUE(std::isnan(records[i].time));
      } else {
        ASSERT_EQ(records[i].time, answer.time);
        ASSERT_EQ(records[i].cycleValueOffset, answer.cycleOffset);
      }
      hard += answer.hard;
      if (answer.hard) continue;
      if (answer.kept) {
        ASSERT_EQ(records[i].value, Kept);
        continue;
      }
      double const off = distance(records[i].value, answer.values);
      if (off == 0) continue;
      double const tolerance = answer.slack + 1e-6 * (model.height() + std::fabs(records[i].value));
      ASSERT_LE(off, tolerance) << records[i].value << " but " << testing::PrintToString(answer.values);
    }
  }
  EXPECT_GT(pairs - hard, 100'000);
}

TEST_F(CurveValuesOracleTest, TheMuseum) {
  int pairs = 0, hard = 0;
  for (MuseumCurve const& exhibit : curveMuseum()) {
    for (double const scale : {1.0, -1.0, 2.0, -2.0}) {
      CurveScene curve{exhibit.keys};
      curve.chain = {{scale, 0}, {1, 0}};
      if (curve.keys.size() < 2) {
        float const expected = curve.keys.empty() ? Kept : curve.keys[0].y;
        for (knCurveData const& record : CurveStage(curve).compute({-9, 2, 9}))
          EXPECT_EQ(record.value, expected);
        continue;
      }
      Model const model(curve);
      std::vector<float> at;
      for (int step = -2; step <= 66; ++step)
        at.push_back(static_cast<float>(model.start() + (model.end() - model.start()) * step / 64));
      auto const records = CurveStage(curve).compute(at);
      // Of the others it is enough that they come to an end.
      if (!exhibit.finite || !exhibit.solvable) continue;
      for (std::size_t i = 0; i < at.size(); ++i) {
        SCOPED_TRACE(testing::Message() << exhibit.name << " at " << at[i] << ", scale " << scale);
        Answer const answer = model.at(at[i]);
        ++pairs;
        hard += answer.hard;
        if (answer.hard) continue;
        double const off = distance(records[i].value, answer.values);
        ASSERT_LE(off, 1e-6 * model.height())
            << records[i].value << ' ' << testing::PrintToString(answer.values);
      }
    }
  }
  EXPECT_LT(hard, pairs / 5);
}

}  // namespace CurveValuesOracleTest
