#include "knanim/pictures/AxisTicks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <span>

namespace knanim {
namespace {

constexpr double kPadding = 0.07;
/// Below this share of the magnitude a range is nothing but rounding of single precision.
constexpr double kFlat = 2e-6;
/// A round step times this lies just above the half of the round step below it, at most.
constexpr double kNextFiner = 0.39;
constexpr double kVisibleAngle = 0.01;
constexpr double kVisibleNumber = 1e-20;
constexpr char const* kMinus = "\xE2\x88\x92";

std::span<double const> specialSteps(AxisUnit unit) {
  static constexpr std::array<double, 8> kAngles = {15, 30, 45, 90, 180, 360, 720, 1800};
  static constexpr std::array<double, 10> kTimes = {10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600};
  switch (unit) {
    case AxisUnit::Degrees:
      return kAngles;
    case AxisUnit::Seconds:
      return kTimes;
    case AxisUnit::Number:
      break;
  }
  return {};
}

/// The smallest of 1, 2 and 5 times a power of ten that is not below `least`.
double decimalStep(double least) {
  double const power = std::pow(10, std::floor(std::log10(least)));
  for (double const factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= least * (1 - 1e-9)) return factor * power;
  }
  return 10 * power;
}

double roundStep(double least, AxisUnit unit) {
  double const decimal = decimalStep(least);
  std::span<double const> const special = specialSteps(unit);
  if (special.empty() || decimal < special.front()) return decimal;
  auto const found = std::lower_bound(special.begin(), special.end(), least * (1 - 1e-9));
  return found == special.end() ? decimal : *found;
}

std::string format(double value, double step, double magnitude) {
  std::array<char, 64> buffer;
  double const shown = std::abs(value) < step / 1000 ? 0 : std::abs(value);
  if (magnitude >= 1e6 || step < 1e-5) {
    int const digits = std::clamp(static_cast<int>(std::ceil(std::log10(magnitude / step))) + 1, 2, 15);
    std::snprintf(buffer.data(), buffer.size(), "%.*g", digits, shown);
  } else {
    int const decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
    std::snprintf(buffer.data(), buffer.size(), "%.*f", decimals, shown);
  }
  return (value < 0 && shown != 0 ? kMinus : "") + std::string(buffer.data());
}

}  // namespace

AxisTicks roundTicks(double low, double high, int most, AxisUnit unit) {
  AxisTicks ticks;
  double const slack = (high - low) * 1e-9;
  auto const valuesAt = [&](double step) {
    std::vector<double> values;
    double const last = std::floor((high + slack) / step);
    for (double i = std::ceil((low - slack) / step); i <= last; ++i) values.push_back(i * step);
    return values;
  };
  double least = (high - low) / std::max(1, most);
  do {
    ticks.step = roundStep(least, unit);
    least = ticks.step * 1.01;
    ticks.values = valuesAt(ticks.step);
  } while (ticks.values.size() > static_cast<std::size_t>(most));
  // One value alone gives no scale: then two of a finer step do.
  double finer = ticks.step;
  while (ticks.values.size() < 2) {
    finer = roundStep(finer * kNextFiner, unit);
    ticks.values = valuesAt(finer);
  }
  if (ticks.values.size() > static_cast<std::size_t>(most))
    ticks.values = {ticks.values.front(), ticks.values.back()};
  ticks.step = ticks.values[1] - ticks.values[0];

  double const magnitude = std::max(std::abs(low), std::abs(high));
  for (double const value : ticks.values) ticks.labels.push_back(format(value, finer, magnitude));
  return ticks;
}

AxisRange paddedRange(double low, double high, AxisUnit unit) {
  double const magnitude = std::max(std::abs(low), std::abs(high));
  double const spread = high - low;
  double const visible = unit == AxisUnit::Degrees ? kVisibleAngle : kVisibleNumber;
  if (spread > std::max(magnitude * kFlat, visible))
    return {low - spread * kPadding, high + spread * kPadding};
  double const half = std::max(magnitude * 0.115, magnitude < visible ? 1.15 : 10 * visible);
  double const middle = low + spread / 2;
  return {middle - half, middle + half};
}

}  // namespace knanim
