#include "evaluation/SegmentSolver.h"

#include "support/Testing.h"

namespace SegmentSolverTest {

constexpr float Kept = -77;

/// The value, or `Kept` when none was found.
float solve(SegmentKeys const& k, float time) {
  float value = Kept;
  bool const found = solveSegment(k, time, value);
  EXPECT_TRUE(found || value == Kept) << "a value was written although no root was found";
  return value;
}

enum Region { SingleRoot, ThreeRoots, NearDouble };

/// The method written down without any care for speed or rounding.
struct Plain {
  Region region = NearDouble;
  bool found = false;
  double root = 0;
  double value = 0;      ///< before values close to zero are cut
  double slack = 0;      ///< what cancellation may cost the root
  bool edge = false;     ///< a candidate lies so close to what is accepted that rounding decides
  double steepness = 0;  ///< |b / a|
  double residual = 0;   ///< how far the root's time is from what was asked, in widths of the segment
};

double plainCubeRoot(double r) { return std::copysign(std::pow(std::fabs(r), 1.0 / 3.0), r); }

void solveThreeRoots(double p, double q, double shift, Plain& plain) {
  constexpr double Pi = 3.14159265358;
  double const m = std::sqrt((p / 3) * (p / 3) * (-p / 3));
  double const degrees = std::acos(-q / (2 * m)) * 180 / Pi / 3;
  for (double const turn : {0.0, 120.0, 240.0}) {
    plain.root = std::cos((degrees + turn) * Pi / 180) * 2 * std::sqrt(-p / 3) - shift;
    plain.edge = plain.edge || std::fabs(plain.root - 1) < 1e-9 || std::fabs(plain.root + 0.000001) < 1e-9;
    plain.found = plain.root <= 1 && plain.root + 0.000001 >= 0;
    if (plain.found) return;
  }
}

void solveNearDouble(double p, double q, double shift, Plain& plain) {
  plain.root = -shift;
  plain.found = p == 0 && q == 0;
  for (double const t : {-std::pow(4 * q, 1.0 / 3.0), std::pow(q / 2, 1.0 / 3.0)}) {
    if (plain.found) return;
    plain.root = t - shift;
    plain.edge = plain.edge || std::fabs(plain.root) < 1e-9 || std::fabs(plain.root - 1) < 1e-9;
    plain.found = plain.root >= 0 && plain.root <= 1;
  }
}

Plain solvePlainly(SegmentKeys const& k, float time) {
  Plain plain;
  double const width = static_cast<double>(k.bx) - k.ax;
  float const p1x = k.ax + k.aoutX;
  float const p2x = k.bx + k.binX;
  double const u = k.ax == time ? 0 : k.bx == time ? 1 : (static_cast<double>(time) - k.ax) / width;
  double const a1 = (static_cast<double>(p1x) - k.ax) / width;
  double const a2 = (static_cast<double>(p2x) - k.ax) / width;
  double const d = a2 - a1;
  double const e = d - a1;
  double const a = ((1 - a2) - d) - e;
  double const b = 3 * e;
  double const c = 3 * a1;
  double const p = (c * (3 * a) - b * b) / (a * (3 * a));
  double const q = (2 * b * b * b) / (27 * a * a * a) - (c * b) / (a * (3 * a)) - u / a;
  double const discriminant = (p / 3) * (p / 3) * (p / 3) + (q / 2) * (q / 2);
  double const shift = b / (3 * a);
  plain.steepness = std::fabs(b / a);
  if (discriminant >= 0.000001) {
    double const r1 = -q / 2 + std::sqrt(discriminant);
    double const r2 = -q / 2 - std::sqrt(discriminant);
    double const lost = 4e-16 * (std::fabs(r1) + std::fabs(r2));
    plain.region = SingleRoot;
    plain.found = true;
    plain.root = plainCubeRoot(r1) + plainCubeRoot(r2) - shift;
    plain.slack = lost / std::pow(std::max(lost, std::min(std::fabs(r1), std::fabs(r2))), 2.0 / 3.0);
  } else if (discriminant <= -0.000001) {
    plain.region = ThreeRoots;
    solveThreeRoots(p, q, shift, plain);
  } else {
    solveNearDouble(p, q, shift, plain);
  }
  double const s = plain.root;
  plain.residual = ((a * s + b) * s + c) * s - u;
  float const y1 = k.ay + k.aoutY;
  float const y2 = k.by + k.binY;
  plain.value = s * s * s * k.by + (1 - s) * 3 * s * s * y2 + (1 - s) * (1 - s) * 3 * s * y1 +
                (1 - s) * (1 - s) * (1 - s) * k.ay;
  return plain;
}

/// Random segments, the same for every compiler, as braces evaluate from left to right. Values lie on a grid of
/// 1/4096, so that a curve can be moved up and down exactly.
class Segments {
 public:
  float uniform(float low, float high) { return std::uniform_real_distribution<float>(low, high)(_random); }
  float onGrid(float limit) { return std::round(uniform(-limit, limit) * 4096) / 4096; }
  bool coin() { return uniform(0, 1) < 0.5f; }
  float magnitude(float low, float high) { return std::pow(10.0f, uniform(low, high)); }

  struct Times {
    float start, width, out, in;
  };
  SegmentKeys make(Times const& x) {
    return {x.start, onGrid(4), x.out, onGrid(4), x.start + x.width, onGrid(4), -x.in, onGrid(4)};
  }
  SegmentKeys smooth() {
    float const width = uniform(0.5f, 2);
    return make({uniform(0, 100), width, width * uniform(0.05f, 0.95f), width * uniform(0.05f, 0.95f)});
  }
  SegmentKeys overshooting() { return make({uniform(-1, 1), 1, uniform(-3, 3), uniform(-3, 3)}); }
  SegmentKeys nearThirds() {
    float const off = coin() ? 0 : magnitude(-8, -2);
    return make({0, 1, 1.0f / 3 + off, 1.0f / 3 - (coin() ? off : -off)});
  }
  SegmentKeys vertical() { return make({0, 1, coin() ? 0.0f : 1.0f, coin() ? 0.0f : uniform(0, 1)}); }
  SegmentKeys anyWidth() {
    float const width = magnitude(-30, 30);
    return make({width * uniform(-1, 1), width, width * uniform(0, 1), width * uniform(0, 2)});
  }

 private:
  std::mt19937 _random{20};
};

/// Moves the curve so that its value at the time is small and floats are fine there, but above the cut at zero.
SegmentKeys lowered(SegmentKeys k, double value) {
  auto const by = static_cast<float>(std::floor(value * 4096) / 4096 - 1.0 / 4096);
  k.ay -= by;
  k.by -= by;
  return k;
}

TEST(SegmentSolver, KnownValues) {
  struct Case {
    char const* name;
    SegmentKeys k;
    float time;
    float value;
  };
  SegmentKeys const ease{0, 2, 0.4f, 0, 1, 6, -0.4f, 0};
  std::array const cases{
      Case{"no width", {3, 4, 1, 1, 3, 9, -1, -1}, 3, 4},
      Case{"no width, value close to zero", {3, 1e-7f, 1, 1, 3, 9, -1, -1}, 3, 1e-7f},
      Case{"all tangents zero: x is 3s^2 - 2s^3, and so is y", {0, 0, 0, 0, 1, 8, 0, 0}, 0.25f, 2},
      Case{"double root at the start", {0, 1, 0, 4, 1, 9, -0.9f, 0}, 0, 1},
      Case{"constant just above the cut", {0, 1.1e-6f, 0.4f, 0, 1, 1.1e-6f, -0.4f, 0}, 0.3f, 1.1e-6f},
      Case{"constant just below the cut", {0, 0.9e-6f, 0.4f, 0, 1, 0.9e-6f, -0.4f, 0}, 0.3f, 0},
      Case{"negative just below the cut", {0, -0.9e-6f, 0.4f, 0, 1, -0.9e-6f, -0.4f, 0}, 0.3f, 0},
      Case{"infinite value", {0, INFINITY, 0.4f, 0, 1, INFINITY, -0.4f, 0}, 0.5f, INFINITY},
      Case{"a value that is no number", {0, NAN, 0.4f, 0, 1, 1, -0.4f, 0}, 0.5f, 0},
      Case{"infinite time", ease, INFINITY, 0},
      Case{"infinite time, control points of alternating sign",
           {0, -1, 0.4f, 2, 1, 1, -0.4f, -2},
           INFINITY,
           0},
      Case{"tangents are added in float", {0, 16777216, 0.5f, 1, 1, -16777216, -0.5f, 0}, 0.5f, 0},
  };
  for (Case const& c : cases) EXPECT_FLOAT_EQ(solve(c.k, c.time), c.value) << c.name;
}

TEST(SegmentSolver, KeepsTheValueWhereNoRootIsFound) {
  SegmentKeys const ease{0, 2, 0.4f, 0, 1, 6, -0.4f, 0};
  for (float const bad : {NAN, INFINITY, -INFINITY}) {
    for (auto const member : {&SegmentKeys::ax, &SegmentKeys::aoutX, &SegmentKeys::bx, &SegmentKeys::binX}) {
      SegmentKeys k = ease;
      k.*member = bad;
      EXPECT_EQ(solve(k, 0.5f), Kept) << bad;
    }
  }
  EXPECT_EQ(solve(ease, NAN), Kept);
  SegmentKeys const quadratic{0, 0, 1, 1, 18, 1, -11, 1};
  ASSERT_EQ(solvePlainly(quadratic, 9).steepness, INFINITY) << "the cubic term is meant to vanish";
  EXPECT_EQ(solve(quadratic, 9), Kept);
  // Three real roots, none of them between the keys.
  EXPECT_EQ(solve({0, 0, 0.2f, 1, 1, 1, -0.2f, 1}, 1.03f), Kept);
}

TEST(SegmentSolver, AgreesWithThePlainFormulas) {
  Segments segments;
  std::array const families{&Segments::smooth, &Segments::overshooting, &Segments::nearThirds,
                            &Segments::vertical, &Segments::anyWidth};
  std::array<int, 3> compared{};
  int edges = 0;
  int const rounds = 60000;
  for (int round = 0; round < rounds; ++round) {
    for (auto const family : families) {
      SegmentKeys k = (segments.*family)();
      float const part = round % 16 < 2 ? static_cast<float>(round % 16) : segments.uniform(0, 1);
      float const time = part == 1 ? k.bx : k.ax + (k.bx - k.ax) * part;
      k = lowered(k, solvePlainly(k, time).value);
      Plain const plain = solvePlainly(k, time);
      edges += plain.edge;
      if (plain.edge || !(std::fabs(plain.value) <= 1)) continue;
      ++compared[plain.region];
      if (plain.found && plain.region != NearDouble) {
        ASSERT_NEAR(plain.residual, 0, 1e-4 * (1 + plain.steepness) + 10 * plain.slack);
      }
      // The control points span up to 16.
      double const loss = 1e-10 * std::max(1.0, plain.steepness * 1e-3) + 10 * plain.slack;
      ASSERT_NEAR(solve(k, time), plain.found ? plain.value : Kept, loss * 16)
          << k.ax << ' ' << k.aoutX << ' ' << k.bx << ' ' << k.binX << " at " << time;
    }
  }
  EXPECT_GT(compared[SingleRoot], rounds);
  EXPECT_GT(compared[ThreeRoots], rounds / 2);
  EXPECT_GT(compared[NearDouble], rounds / 100);
  EXPECT_LT(edges, rounds / 4);
}

}  // namespace SegmentSolverTest
