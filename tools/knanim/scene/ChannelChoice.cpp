#include "knanim/scene/ChannelChoice.h"

#include "knanim/support/NearNames.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>

namespace knanim {
namespace {

constexpr std::size_t kMostTurningNodes = 5;
constexpr double kSmallestTurn = 0.5;   ///< degrees
constexpr double kSmallestMove = 1e-6;  ///< scene units, and shares of a scale
constexpr double kShareOfLargest =
    0.02;  ///< a component that moves less than this beside another one is still

char lower(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

double range(ImportedCurve const& curve) {
  auto const [least, most] = std::minmax_element(
      curve.keys.begin(), curve.keys.end(), [](Key const& a, Key const& b) { return a.value < b.value; });
  return most->value - least->value;
}

/// The movement of one channel of one node.
struct Movement {
  std::array<std::optional<std::size_t>, 3> curves;  ///< by component
  std::array<double, 3> ranges = {0, 0, 0};

  double largest() const { return std::max({ranges[0], ranges[1], ranges[2]}); }
  std::size_t largestCurve() const {
    auto const place = std::max_element(ranges.begin(), ranges.end()) - ranges.begin();
    return *curves[static_cast<std::size_t>(place)];
  }
};

/// The channels of a kind that move by more than `threshold`, those that move most first.
std::vector<Movement> movements(ImportedModel const& model, ChannelKind kind, double threshold) {
  std::vector<Movement> result;
  std::size_t node = ImportedNode::NoParent;
  for (std::size_t i = 0; i < model.curves.size(); ++i) {
    ImportedCurve const& curve = model.curves[i];
    if (curve.kind != kind) continue;
    if (result.empty() || curve.node != node) result.emplace_back();
    node = curve.node;
    result.back().curves[curve.component] = i;
    result.back().ranges[curve.component] = range(curve);
  }
  std::erase_if(result, [threshold](Movement const& movement) { return movement.largest() <= threshold; });
  std::stable_sort(result.begin(), result.end(),
                   [](Movement const& a, Movement const& b) { return a.largest() > b.largest(); });
  return result;
}

bool isAlike(ImportedCurve const& a, ImportedCurve const& b) {
  double const tolerance = range(a) * kShareOfLargest;
  return std::equal(a.keys.begin(), a.keys.end(), b.keys.begin(), b.keys.end(),
                    [&](Key const& x, Key const& y) {
                      return x.time == y.time && std::abs(x.value - y.value) <= tolerance;
                    });
}

/// The leading components of the first few movements, without those that would lie on each other.
std::vector<std::size_t> leadingCurves(ImportedModel const& model, std::vector<Movement> const& movements) {
  std::vector<std::size_t> curves;
  for (Movement const& movement : movements) {
    if (curves.size() == kMostTurningNodes) break;
    std::size_t const leading = movement.largestCurve();
    bool const seen = std::any_of(curves.begin(), curves.end(), [&](std::size_t other) {
      return isAlike(model.curves[leading], model.curves[other]);
    });
    if (!seen) curves.push_back(leading);
  }
  return curves;
}

void addMovingComponents(Movement const& movement, std::vector<std::size_t>& curves) {
  for (std::size_t component = 0; component < 3; ++component) {
    bool const moves = movement.ranges[component] > kShareOfLargest * movement.largest();
    if (movement.curves[component] && moves) curves.push_back(*movement.curves[component]);
  }
}

}  // namespace

bool fits(std::string_view pattern, std::string_view text) {
  std::size_t p = 0;
  std::size_t t = 0;
  std::size_t star = std::string_view::npos;
  std::size_t afterStar = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      afterStar = t;
    } else if (p < pattern.size() && (pattern[p] == '?' || lower(pattern[p]) == lower(text[t]))) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++afterStar;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

ChosenChannels chooseChannels(ImportedModel const& model, std::span<std::string const> patterns) {
  ChosenChannels chosen;
  std::vector<bool> used(patterns.size(), false);
  for (std::size_t i = 0; i < model.curves.size(); ++i) {
    ImportedCurve const& curve = model.curves[i];
    std::string const& node = model.nodes[curve.node].name;
    std::string const channel = node + '.' + channelName(curve.kind);
    std::string const whole = model.curveName(curve);
    bool taken = false;
    for (std::size_t p = 0; p < patterns.size(); ++p) {
      if (!fits(patterns[p], whole) && !fits(patterns[p], channel) && !fits(patterns[p], node)) continue;
      used[p] = true;
      taken = true;
    }
    if (taken) chosen.curves.push_back(i);
  }
  for (std::size_t p = 0; p < patterns.size(); ++p) {
    if (!used[p]) chosen.unmatched.push_back(patterns[p]);
  }
  return chosen;
}

std::string noChannel(ImportedModel const& model, std::string const& pattern) {
  std::vector<std::string> nodes;
  std::vector<std::string> channels;
  for (ImportedCurve const& curve : model.curves) {
    std::string const& node = model.nodes[curve.node].name;
    if (nodes.empty() || nodes.back() != node) nodes.push_back(node);
    channels.push_back(model.curveName(curve));
  }
  std::string const message = "no channel matches \"" + printable(pattern) + '"';
  if (channels.empty()) return message + "; the animation has none";
  std::vector<std::string> const near = nearNames(pattern, channels);
  if (pattern.find('.') != std::string::npos && !near.empty()) return message + nearClause(near);
  return message + insteadClause(pattern, nodes) + "; channels have names like " + channels.front();
}

std::vector<std::size_t> mostMovingChannels(ImportedModel const& model) {
  std::vector<std::size_t> curves =
      leadingCurves(model, movements(model, ChannelKind::Rotation, kSmallestTurn));
  std::vector<Movement> const moves = movements(model, ChannelKind::Translation, kSmallestMove);
  if (!moves.empty()) addMovingComponents(moves[0], curves);
  if (curves.empty()) {
    std::vector<Movement> const scales = movements(model, ChannelKind::Scale, kSmallestMove);
    if (!scales.empty()) addMovingComponents(scales[0], curves);
  }
  if (curves.empty()) {
    curves.resize(std::min<std::size_t>(3, model.curves.size()));
    std::iota(curves.begin(), curves.end(), std::size_t{0});
  }
  std::sort(curves.begin(), curves.end());
  return curves;
}

}  // namespace knanim
