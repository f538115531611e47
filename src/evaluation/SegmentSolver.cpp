#include "evaluation/SegmentSolver.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace {

/// Half-width of the band around zero in which discriminants, roots and values count as zero.
constexpr double Tolerance = 0.000001;

/// The cubic of a segment's normalised time, a s^3 + b s^2 + c s = u. The inner control points are given in widths of
/// the segment.
struct TimeCubic {
  double a, b, c, u;

  TimeCubic(double a1, double a2, double time) : u(time) {
    double const d = a2 - a1;
    double const e = d - a1;
    a = ((1.0 - a2) - d) - e;
    b = 3.0 * e;
    c = 3.0 * a1;
  }
};

/// t^3 + p t + q = 0, whose roots are the segment's parameters plus the shift.
struct DepressedCubic {
  double p;
  double q;
  double discriminant;
  double shift;
};

/// A vanishing cubic term is not guarded against: the divisions make the discriminant not-a-number.
DepressedCubic depress(TimeCubic const& k) {
  double const a3 = 3.0 * k.a;
  DepressedCubic cubic;
  cubic.p = (k.c * a3 - k.b * k.b) / (k.a * a3);
  cubic.q = (2.0 * k.b * k.b * k.b) / (27.0 * k.a * k.a * k.a) - (k.c * k.b) / (k.a * a3) - k.u / k.a;
  double const p3 = cubic.p / 3.0;
  double const q2 = cubic.q / 2.0;
  cubic.discriminant = p3 * p3 * p3 + q2 * q2;
  cubic.shift = k.b / a3;
  return cubic;
}

/// The same with one division in place of seven, exact to a few units in the last place: for where these do not count.
DepressedCubic depressQuickly(TimeCubic const& k) {
  double const inverse = 1.0 / k.a;
  double const b = k.b * inverse;
  double const c = k.c * inverse;
  double const b3 = b * (1.0 / 3.0);
  DepressedCubic cubic;
  cubic.p = c - b * b3;
  cubic.q = b3 * (2.0 * b3 * b3 - c) - k.u * inverse;
  double const p3 = cubic.p * (1.0 / 3.0);
  double const q2 = cubic.q * 0.5;
  cubic.discriminant = p3 * p3 * p3 + q2 * q2;
  cubic.shift = b3;
  return cubic;
}

/// Whether the roots of depressQuickly can stand for the exact ones: the discriminant is far from zero, where the
/// regions meet, and where two roots draw together and rounding costs most.
bool isWellConditioned(TimeCubic const& k, DepressedCubic const& cubic) {
  constexpr double SmallCubicTerm = 0.001;
  constexpr double SmallDiscriminant = 0.001;
  double const p = std::fabs(cubic.p);
  double const scale = 1.0 + p * p * p + cubic.q * cubic.q;
  return std::fabs(k.a) > SmallCubicTerm && std::fabs(cubic.discriminant) > SmallDiscriminant * scale;
}

/// r^(-1/3) to double precision for a normal, positive r. A fifth-degree polynomial in the mantissa is good to
/// 6e-6, one step of third order does the rest. No division and no branch.
double inverseCubeRoot(double r) {
  constexpr std::uint64_t MantissaBits = 0x000fffffffffffffULL;
  constexpr std::uint64_t ExponentOfOne = 1023;
  constexpr std::array<double, 3> Remainder{1.0, 0.79370052598409973738, 0.62996052494743658238};

  auto const bits = std::bit_cast<std::uint64_t>(r);
  auto const exponent = static_cast<std::uint32_t>(bits >> 52);
  std::uint32_t const third = exponent / 3;
  double const power = std::bit_cast<double>((ExponentOfOne + ExponentOfOne / 3 - third) << 52);

  double const m = std::bit_cast<double>((bits & MantissaBits) | (ExponentOfOne << 52)) - 1.0;
  double const m2 = m * m;
  double const low = 0.9999940330378083 - 0.33287421652473353 * m;
  double const middle = 0.21632126822789668 - 0.1435409055695497 * m;
  double const high = 0.07070816088091866 - 0.016912176456478543 * m;
  double const y = (low + m2 * (middle + m2 * high)) * (power * Remainder[exponent - 3 * third]);

  double const error = 1.0 - (r * y) * (y * y);
  return y + (y * error) * (1.0 / 3.0 + error * (2.0 / 9.0));
}

/// The only real root. The two cube roots of Cardano's formula have the product -p/3: the larger one gives the other
/// without the cancellation that computing it would suffer.
double singleRoot(DepressedCubic const& cubic) {
  if (cubic.discriminant > std::numeric_limits<double>::max())
    return std::numeric_limits<double>::quiet_NaN();
  double const r = std::fabs(cubic.q / 2.0) + std::sqrt(cubic.discriminant);
  double const y = inverseCubeRoot(r);
  return std::copysign(y * (y * r - cubic.p * (1.0 / 3.0)), -cubic.q) - cubic.shift;
}

using Coefficients = std::array<double, 20>;

/// cos(acos(x) / 3) on 0..1, error below 1e-16.
constexpr Coefficients ThirdCosine{
    0.8660254037844386,     0.1666666666666652,    -0.04811252243226842,    0.024691358013845137,
    -0.015592020847060298,  0.010973931405581101,  -0.00825793154372973,    0.006502531257391051,
    -0.005288980120545077,  0.004399987902412445,  -0.0036998928811939513,  0.003083436846397354,
    -0.0024666720275715124, 0.0018134310601842986, -0.0011648618342542001,  0.0006193288100606164,
    -0.0002566222620216086, 7.668708494471335e-05, -1.4574040279168313e-05, 1.3151570034097222e-06};

/// sin(acos(x) / 3) / sqrt(1 - x^2) on 0..1, error below 2.1e-16.
constexpr Coefficients ThirdSine{
    0.49999999999999994,  -0.2886751345947513,    0.22222222221384072,   -0.1871042534496979,
    0.1646090404210618,   -0.14864370398632307,   0.13656181405449813,   -0.12699290892572854,
    0.11908094965141727,  -0.11203831277050535,   0.10470810187335461,   -0.09527331032132583,
    0.08170159806564126,  -0.06328745073794652,   0.04222233203873871,   -0.023063032762196286,
    0.009742254129619198, -0.0029521649191742217, 0.0005668431130528728, -5.154976024222301e-05};

/// Evaluated in pairs (Estrin's scheme): a Horner chain of twenty steps would take three times as long.
double polynomial(Coefficients const& k, double x) {
  double const x2 = x * x;
  double const x4 = x2 * x2;
  double const x8 = x4 * x4;
  auto const four = [&](std::size_t i) { return (k[i] + k[i + 1] * x) + (k[i + 2] + k[i + 3] * x) * x2; };
  return ((four(0) + four(4) * x4) + (four(8) + four(12) * x4) * x8) + four(16) * (x8 * x8);
}

struct Angle {
  double cosine;
  double sine;
};

/// The angles that a third of an arc cosine is turned by, for the three roots in the order they are tried: about 0,
/// 120 and 240 degrees. For x < 0 the arc is measured back from 180 degrees, so that its third counts from 60.
/// A degree is 3.14159265358 / 180 here. The missing digits are meant: stored results rest on them, and a better pi
/// would move the second and the third root.
constexpr std::array<Angle, 3> TurnForward{
    {{1.0, 0.0}, {-0.49999999999434586, -0.8660254037877031}, {-0.5000000000113083, 0.8660254037779098}}};
constexpr std::array<Angle, 3> TurnBackward{
    {{0.5, 0.8660254037844386}, {-1.0, 6.528825641762256e-12}, {0.49999999998869177, -0.8660254037909675}}};

/// Of three real roots the first in 0..1 (a little less than 0 is allowed, nothing beyond 1).
bool firstOfThreeRoots(DepressedCubic const& cubic, double& root) {
  double const p3 = cubic.p / 3.0;
  double const m = std::sqrt(p3 * p3 * -p3);
  double const x = -cubic.q / (2.0 * m);
  double const g = 2.0 * std::sqrt(-p3);

  double const magnitude = std::fabs(x);
  double const cosine = polynomial(ThirdCosine, magnitude);
  double const sine = polynomial(ThirdSine, magnitude) * std::sqrt((1.0 - magnitude) * (1.0 + magnitude));

  auto const& turns = x < 0.0 ? TurnBackward : TurnForward;
  for (Angle const& turn : turns) {
    root = (cosine * turn.cosine + sine * turn.sine) * g - cubic.shift;
    if (root <= 1.0 && root + Tolerance >= 0.0) return true;
  }
  return false;
}

/// The roots of a cubic with a double root. The powers of negative numbers are not-a-number and so never taken.
bool rootNearDouble(DepressedCubic const& cubic, double& root) {
  auto const inside = [](double s) { return s >= 0.0 && s <= 1.0; };
  root = -cubic.shift;
  if (cubic.p == 0.0 && cubic.q == 0.0) return true;
  root = -std::pow(4.0 * cubic.q, 1.0 / 3.0) - cubic.shift;
  if (inside(root)) return true;
  root = std::pow(cubic.q / 2.0, 1.0 / 3.0) - cubic.shift;
  return inside(root);
}

bool findRoot(TimeCubic const& timeCubic, double& root) {
  DepressedCubic cubic = depressQuickly(timeCubic);
  if (!isWellConditioned(timeCubic, cubic)) cubic = depress(timeCubic);
  if (cubic.discriminant >= Tolerance) {
    root = singleRoot(cubic);
    return true;
  }
  if (cubic.discriminant <= -Tolerance) return firstOfThreeRoots(cubic, root);
  return rootNearDouble(cubic, root);
}

}  // namespace

bool solveSegment(SegmentKeys const& k, float time, float& value) noexcept {
  double const start = k.ax;
  double const width = k.bx - start;
  if (width == 0.0) {
    value = k.ay;
    return true;
  }

  // The control points are sums of floats, as the keys store them.
  float const p1x = k.ax + k.aoutX;
  float const p2x = k.bx + k.binX;
  double const y1 = k.ay + k.aoutY;
  double const y2 = k.by + k.binY;
  // At the two keys the normalised time is exactly 0 and 1.
  TimeCubic const cubic((p1x - start) / width, (p2x - start) / width, (time - start) / width);
  double s;
  if (!findRoot(cubic, s)) return false;

  double const t = 1.0 - s;
  double const v = s * s * s * k.by + t * 3.0 * s * s * y2 + t * t * 3.0 * s * y1 + t * t * t * k.ay;
  value = std::fabs(v) >= Tolerance ? static_cast<float>(v) : 0.0f;
  return true;
}
