#include "evaluation/SegmentSolver.h"

#include "evaluation/SegmentTables.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

using namespace segment;

namespace {

/// r^(-1/3) to double precision for a normal, positive r. A fifth-degree polynomial in the mantissa is good to
/// 6e-6, one step of third order does the rest. No division and no branch.
double inverseCubeRoot(double r) {
  constexpr std::uint64_t MantissaBits = 0x000fffffffffffffULL;
  constexpr std::uint64_t ExponentOfOne = 1023;

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

/// Evaluated in pairs (Estrin's scheme): a Horner chain of twenty steps would take three times as long.
double polynomial(Coefficients const& k, double x) {
  double const x2 = x * x;
  double const x4 = x2 * x2;
  double const x8 = x4 * x4;
  auto const four = [&](std::size_t i) { return (k[i] + k[i + 1] * x) + (k[i + 2] + k[i + 3] * x) * x2; };
  return ((four(0) + four(4) * x4) + (four(8) + four(12) * x4) * x8) + four(16) * (x8 * x8);
}

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

double derivative(double p0, double p1, double p2, double p3, double s) {
  double const t = 1.0 - s;
  return t * t * (p1 - p0) + 2.0 * s * t * (p2 - p1) + s * s * (p3 - p2);
}

double secondDerivative(double p0, double p1, double p2, double p3, double s) {
  return (1.0 - s) * (p2 - 2.0 * p1 + p0) + s * (p3 - 2.0 * p2 + p1);
}

}  // namespace

/// The control points are sums of floats, as the keys store them.
SegmentSolver::SegmentSolver(SegmentKeys const& k) noexcept
    : _points{{k.ax, k.ay},
              {static_cast<double>(k.ax + k.aoutX), static_cast<double>(k.ay + k.aoutY)},
              {static_cast<double>(k.bx + k.binX), static_cast<double>(k.by + k.binY)},
              {k.bx, k.by}},
      _width(_points[3].x - _points[0].x) {
  double const a1 = (_points[1].x - _points[0].x) / _width;
  double const a2 = (_points[2].x - _points[0].x) / _width;
  double const d = a2 - a1;
  double const e = d - a1;
  _a = ((1.0 - a2) - d) - e;
  _b = 3.0 * e;
  _c = 3.0 * a1;

  // One division in place of seven, exact to a few units in the last place: for where these do not count.
  _inverse = 1.0 / _a;
  double const b = _b * _inverse;
  double const c = _c * _inverse;
  double const b3 = b * (1.0 / 3.0);
  _p = c - b * b3;
  _q0 = b3 * (2.0 * b3 * b3 - c);
  _shift = b3;
  double const p3 = _p * (1.0 / 3.0);
  _cube = p3 * p3 * p3;
  double const p = std::fabs(_p);
  _scale = 1.0 + p * p * p;
  _hasCubicTerm = std::fabs(_a) > SmallCubicTerm;
}

[[gnu::always_inline]] inline DepressedCubic SegmentSolver::depress(double u) const noexcept {
  double const q = _q0 - u * _inverse;
  double const q2 = q * 0.5;
  return {_p, q, _cube + q2 * q2, _shift};
}

/// A vanishing cubic term is not guarded against: the divisions make the discriminant not-a-number.
DepressedCubic SegmentSolver::depressExactly(double u) const noexcept {
  double const a3 = 3.0 * _a;
  DepressedCubic cubic;
  cubic.p = (_c * a3 - _b * _b) / (_a * a3);
  cubic.q = (2.0 * _b * _b * _b) / (27.0 * _a * _a * _a) - (_c * _b) / (_a * a3) - u / _a;
  double const p3 = cubic.p / 3.0;
  double const q2 = cubic.q / 2.0;
  cubic.discriminant = p3 * p3 * p3 + q2 * q2;
  cubic.shift = _b / a3;
  return cubic;
}

/// The quick form can stand for the exact one where the discriminant is far from zero: there the regions meet, and two
/// roots draw together and rounding costs most.
[[gnu::always_inline]] inline bool SegmentSolver::findRoot(float time, double& root) const noexcept {
  // At the two keys the normalised time is exactly 0 and 1.
  double const u = (time - _points[0].x) / _width;
  DepressedCubic cubic = depress(u);
  bool const isWellConditioned =
      _hasCubicTerm && std::fabs(cubic.discriminant) > SmallDiscriminant * (_scale + cubic.q * cubic.q);
  if (!isWellConditioned) cubic = depressExactly(u);
  if (cubic.discriminant >= Tolerance) {
    root = singleRoot(cubic);
    return true;
  }
  if (cubic.discriminant <= -Tolerance) return firstOfThreeRoots(cubic, root);
  return rootNearDouble(cubic, root);
}

[[gnu::flatten]] bool SegmentSolver::value(float time, float& value) const noexcept {
  if (_width == 0.0) {
    value = static_cast<float>(_points[0].y);
    return true;
  }
  double s;
  if (!findRoot(time, s)) return false;
  double const t = 1.0 - s;
  double const v = s * s * s * _points[3].y + t * 3.0 * s * s * _points[2].y +
                   t * t * 3.0 * s * _points[1].y + t * t * t * _points[0].y;
  value = std::fabs(v) >= Tolerance ? static_cast<float>(v) : 0.0f;
  return true;
}

bool SegmentSolver::parameter(float time, double& s) const noexcept {
  return _width != 0.0 && findRoot(time, s);
}

bool SegmentSolver::slope(float time, double& slope) const noexcept {
  double s;
  if (_width == 0.0 || !findRoot(time, s)) return false;
  auto const& [p0, p1, p2, p3] = _points;
  double const x = derivative(p0.x, p1.x, p2.x, p3.x, s);
  double const y = derivative(p0.y, p1.y, p2.y, p3.y, s);
  slope = y / x;
  constexpr double Rest = 1e-9;
  if (std::fabs(x) > Rest * std::fabs(_width)) return true;
  double const x2 = secondDerivative(p0.x, p1.x, p2.x, p3.x, s);
  double const y2 = secondDerivative(p0.y, p1.y, p2.y, p3.y, s);
  double const height = std::fabs(p3.y - p0.y) + std::fabs(p1.y - p0.y) + std::fabs(p2.y - p0.y);
  if (std::fabs(y) <= Rest * height && x2 != 0.0) slope = y2 / x2;
  return true;
}

[[gnu::flatten]] bool solveSegment(SegmentKeys const& k, float time, float& value) noexcept {
  return SegmentSolver(k).value(time, value);
}
