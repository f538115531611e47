#include "support/CurveOracle.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace kntest {

namespace {

using Real = long double;
using Controls = std::array<Real, 4>;

Controls timesOf(CurveKey const& a, CurveKey const& b) {
  float const afterA = a.x + a.outX;
  float const beforeB = b.x + b.inX;
  return {a.x, afterA, beforeB, b.x};
}

Controls valuesOf(CurveKey const& a, CurveKey const& b) {
  float const afterA = a.y + a.outY;
  float const beforeB = b.y + b.inY;
  return {a.y, afterA, beforeB, b.y};
}

/// De Casteljau's construction.
Real pointAt(Controls points, Real s) {
  for (std::size_t left = 3; left > 0; --left)
    for (std::size_t i = 0; i < left; ++i) points[i] += s * (points[i + 1] - points[i]);
  return points[0];
}

/// 0, the turning points between 0 and 1, and 1.
std::vector<Real> monotonePieces(Controls const& x) {
  Real const first = x[1] - x[0];
  Real const second = x[2] - x[1];
  Real const third = x[3] - x[2];
  Real const squared = first - 2 * second + third;
  Real const half = second - first;

  std::vector<Real> ends{0, 1};
  auto const add = [&](Real s) {
    if (s > 0 && s < 1) ends.push_back(s);
  };
  Real const radicand = half * half - squared * first;
  if (radicand > 0) {
    Real const sum = -(half + std::copysign(std::sqrt(radicand), half));
    add(sum / squared);
    add(first / sum);
  }
  std::sort(ends.begin(), ends.end());
  return ends;
}

Real bisect(Controls const& x, Real low, Real high) {
  bool const rising = pointAt(x, low) < 0;
  for (int step = 0; step < 70; ++step) {
    Real const middle = (low + high) / 2;
    bool const left = (pointAt(x, middle) < 0) == rising;
    (left ? low : high) = middle;
  }
  return (low + high) / 2;
}

void sortAndUnify(std::vector<double>& numbers) {
  std::sort(numbers.begin(), numbers.end());
  auto const same = [](double a, double b) { return b - a <= 1e-15 * std::max(std::fabs(a), std::fabs(b)); };
  numbers.erase(std::unique(numbers.begin(), numbers.end(), same), numbers.end());
}

}  // namespace

bool holds(CurveKey const& a, CurveKey const& b) {
  constexpr std::pair<float, float> Least{0.0001f, 0.0001f};
  return std::pair{a.outX, a.outY} < Least && std::pair{b.inX, b.inY} < Least;
}

std::vector<double> parametersAt(CurveKey const& a, CurveKey const& b, double time) {
  Controls x = timesOf(a, b);
  std::vector<double> roots;
  if (a.x == b.x) return roots;
  for (Real& value : x) value -= time;

  auto const ends = monotonePieces(x);
  for (std::size_t i = 0; i + 1 < ends.size(); ++i) {
    Real const low = pointAt(x, ends[i]);
    Real const high = pointAt(x, ends[i + 1]);
    if (low == 0) roots.push_back(static_cast<double>(ends[i]));
    if (high == 0) roots.push_back(static_cast<double>(ends[i + 1]));
    if ((low < 0 && high > 0) || (low > 0 && high < 0))
      roots.push_back(static_cast<double>(bisect(x, ends[i], ends[i + 1])));
  }
  sortAndUnify(roots);
  return roots;
}

double valueAtParameter(CurveKey const& a, CurveKey const& b, double s) {
  return static_cast<double>(pointAt(valuesOf(a, b), s));
}

Conditioning conditioningAt(CurveKey const& a, CurveKey const& b, double time) {
  Controls x = timesOf(a, b);
  Real const start = x[0];
  Real const width = x[3] - x[0];
  for (Real& value : x) value = (value - start) / width;
  Real const k3 = 1 - 3 * (x[2] - x[1]);
  Real const k2 = 3 * (x[2] - 2 * x[1]);
  Real const k1 = 3 * x[1];
  Real const k0 = (start - time) / width;
  Real const discriminant = 18 * k3 * k2 * k1 * k0 - 4 * k2 * k2 * k2 * k0 + k2 * k2 * k1 * k1 -
                            4 * k3 * k1 * k1 * k1 - 27 * k3 * k3 * k0 * k0;
  return {static_cast<double>(k3), static_cast<double>(-discriminant / (108 * k3 * k3 * k3 * k3))};
}

}  // namespace kntest
