// Curve values against a second opinion: where a time falls, and what happens outside of a curve, is worked out here
// anew in doubles. What a segment gives there is left to the solver, which has tests of its own.
#include "evaluation/CurveStage.h"
#include "evaluation/SegmentSolver.h"
#include "support/CurveMuseum.h"

namespace kntest::CurveValuesOracleTest {

using CurveValuesOracleTest = SceneTest;

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
  double cycleOffset = CurveStage::KeptOffset;
  double slack = 0;  ///< what floats may cost along straight lines
};

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
    answer.values = {NAN};
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
    double const turns = runs < 0 ? std::floor(runs) : std::trunc(runs);
    answer.time -= turns * (to - from);
    if (mode == CycleRelativeInfinity) answer.cycleOffset = (static_cast<double>(last.y) - first.y) * turns;
    if (mode == OscillateInfinity && std::fmod(turns, 2) != 0) answer.time = to - (answer.time - from);
  }

  void findValue(Answer& answer) const {
    double const time = answer.time;
    // Outside, the first segment of the array is extended, and the last key's value is all there is.
    if (std::isnan(time) || (_flipped ? time < start() : time > end())) {
      answer.values = {_curve.keys.back().y};
      return;
    }
    // The search never looks at the first key of the array; there the segment's own end answers.
    for (std::size_t i = 0; i < _keys.size(); ++i)
      if (_keys[i].x == time && i != (_flipped ? _keys.size() - 1 : 0)) answer.values.push_back(_keys[i].y);
    if (!answer.values.empty()) return;
    std::size_t i = _flipped && time >= end() ? _keys.size() - 2 : 0;
    while (i + 2 < _keys.size() && time > _keys[i + 1].x) ++i;
    findBetween(_keys[i], _keys[i + 1], answer);
  }

  void findBetween(CurveKey const& a, CurveKey const& b, Answer& answer) const {
    float value = CurveStage::Kept;
    if (_curve.linear) {
      double const u = (answer.time - a.x) / (static_cast<double>(b.x) - a.x);
      double const rise = static_cast<double>(b.y) - a.y;
      answer.values = {a.x == b.x ? NAN : a.y + u * rise};
      answer.slack = 1e-6 * (1 + std::fabs(u)) * (std::fabs(a.y) + std::fabs(rise));
    } else if (holds(a, b) || a.x == b.x) {
      answer.values = {a.y};
    } else {
      static_cast<void>(solveSegment({a.x, a.y, a.outX, a.outY, b.x, b.y, b.inX, b.inY},
                                     static_cast<float>(answer.time), value));
      answer.values = {value};
    }
  }

  CurveScene const& _curve;
  Chain const& _chain;
  bool _flipped;
  std::vector<CurveKey> _keys;  ///< in global time, ascending
};

class Random {
 public:
  double uniform(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(_engine);
  }
  std::size_t number(std::size_t count) { return static_cast<std::size_t>(_engine() % count); }
  /// A multiple of 1 / `parts` up to the limit, so that sums and products stay exact.
  double onGrid(double limit, double parts) { return std::round(uniform(-limit, limit) * parts) / parts; }
  UInt32 mode() { return std::array{0U, 1U, 2U, 3U, 4U, 7U}[number(6)]; }

 private:
  std::mt19937 _engine{21};
};

/// Gives the segment its tangents: about as short as those that hold it, or such that leave it in time or not.
void bend(CurveKey& a, CurveKey& b, Random& random) {
  double const width = static_cast<double>(b.x) - a.x;
  std::size_t const shape = random.number(4);
  auto const least = [&] {
    return std::array{0.F, 0.F, 0.00009F, 0.0001F, 0.0002F, -0.4F}[random.number(6)];
  };
  if (shape == 0) {
    a.outX = least(), a.outY = least(), b.inX = least(), b.inY = least();
    return;
  }
  auto const reach = [&] {
    double const part = shape == 1   ? random.uniform(0.05, 0.95)
                        : shape == 2 ? static_cast<double>(random.number(2))
                                     : random.uniform(-3, 3);
    return static_cast<float>(std::round(part * width * 64) / 64);
  };
  a.outX = reach();
  b.inX = -reach();
  a.outY = static_cast<float>(random.onGrid(4, 64));
  b.inY = static_cast<float>(random.onGrid(4, 64));
}

CurveScene randomCurve(Random& random) {
  std::vector<double> times(2 + random.number(6));
  for (double& time : times) time = random.onGrid(6, 4);
  CurveScene curve;
  std::sort(times.begin(), times.end());
  for (double const time : times)
    curve.keys.push_back({static_cast<float>(time), static_cast<float>(random.onGrid(4, 64)), 0, 0, 0, 0});
  for (std::size_t i = 0; i + 1 < times.size(); ++i) bend(curve.keys[i], curve.keys[i + 1], random);
  // Linear extrapolation looks at the tangents of the ends that no segment uses, too.
  curve.keys.front().inX = -0.5F;
  curve.keys.back().outX = 0.5F;
  curve.pre = random.mode();
  curve.post = random.mode();
  curve.linear = random.number(5) == 0;
  curve.chain.resize(1 + random.number(3));
  for (Line& line : curve.chain) {
    line.scale = std::array{0.5, 1.0, 1.0, 2.0, -1.0, -0.5}[random.number(6)];
    line.offset = random.onGrid(8, 4);
  }
  return curve;
}

double distance(double value, std::vector<double> const& values) {
  double nearest = std::numeric_limits<double>::infinity();
  for (double const expected : values) {
    if (value == expected || (std::isnan(expected) && !std::isfinite(value))) return 0;
    nearest = std::min(nearest, std::fabs(expected - value));
  }
  return nearest;
}

void compare(CurveScene const& curve, Model const& model, std::vector<float> const& times) {
  auto const records = CurveStage(curve).compute(times);
  for (std::size_t i = 0; i < times.size(); ++i) {
    Answer const answer = model.at(times[i]);
    SCOPED_TRACE(testing::Message() << "at " << times[i] << ", modes " << curve.pre << ' ' << curve.post
                                    << ", own scale " << curve.chain[0].scale);
    if (std::isnan(answer.time)) {
      ASSERT_TRUE(std::isnan(records[i].time));
    } else {
      ASSERT_EQ(records[i].time, answer.time);
      ASSERT_EQ(records[i].cycleValueOffset, answer.cycleOffset);
    }
    ASSERT_LE(distance(records[i].value, answer.values), answer.slack)
        << records[i].value << " but " << testing::PrintToString(answer.values);
  }
}

/// All numbers are short binary fractions, so that placing and wrapping is exact in floats too, and every time falls
/// exactly where it should.
TEST_F(CurveValuesOracleTest, ExactPlacements) {
  Random random;
  for (int round = 0; round < 3700 && !HasFatalFailure(); ++round) {
    SCOPED_TRACE(round);
    CurveScene const curve = randomCurve(random);
    Model const model(curve);
    double const length = model.end() - model.start();
    std::vector<float> times;
    for (int i = 0; i < 24; ++i) {
      double const time = random.uniform(model.start() - 2 * length - 1, model.end() + 2 * length + 1);
      times.push_back(static_cast<float>(std::round(time * 64) / 64));
    }
    for (CurveKey const& key : curve.keys) times.push_back(static_cast<float>(toGlobal(curve.chain, key.x)));
    compare(curve, model, times);
  }
}

TEST_F(CurveValuesOracleTest, TheMuseum) {
  for (MuseumCurve const& exhibit : curveMuseum()) {
    for (double const scale : {1.0, -1.0, 2.0, -2.0}) {
      SCOPED_TRACE(exhibit.name);
      CurveScene curve{exhibit.keys};
      curve.chain = {{scale, 0}, {1, 0}};
      if (curve.keys.size() < 2) {
        float const expected = curve.keys.empty() ? CurveStage::Kept : curve.keys[0].y;
        for (curve.pre = 0; curve.pre < 6; curve.post = ++curve.pre) {
          for (knCurveData const& record : CurveStage(curve).compute({-9, 2, 9, NAN}))
            EXPECT_EQ(record.value, expected);
        }
        continue;
      }
      Model const model(curve);
      std::vector<float> times;
      for (int step = -2; step <= 66; ++step)
        times.push_back(static_cast<float>(model.start() + (model.end() - model.start()) * step / 64));
      // Of those that are not finite it is enough that they come to an end.
      exhibit.finite ? compare(curve, model, times) : void(CurveStage(curve).compute(times));
    }
  }
}

}  // namespace kntest::CurveValuesOracleTest
