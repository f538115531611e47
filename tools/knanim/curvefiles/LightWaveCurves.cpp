#include "knanim/curvefiles/CurveReaders.h"
#include "knanim/curvefiles/LightWaveScene.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <iterator>
#include <numbers>
#include <set>

namespace knanim {
namespace {

constexpr double kDegrees = 180 / std::numbers::pi;

enum Channel : std::size_t { Heading = 3, Pitch, Bank, ScaleX };

std::string lowered(std::string text) {
  for (char& each : text) each = static_cast<char>(std::tolower(static_cast<unsigned char>(each)));
  return text;
}

/// The importer puts an item's id in parentheses behind its name, and makes a node for its pivot above.
std::optional<std::size_t> findNode(ImportedModel const& model, std::string const& id) {
  std::string const end = lowered("_(" + id + ')');
  for (std::size_t i = 0; i < model.nodes.size(); ++i) {
    if (lowered(model.nodes[i].name).ends_with(end)) return i;
  }
  return std::nullopt;
}

bool isZero(SourceCurve const& curve) {
  return std::all_of(curve.keys.begin(), curve.keys.end(), [](Key const& key) { return key.value == 0; }) &&
         std::all_of(curve.spans.begin(), curve.spans.end(),
                     [](SourceSpan const& span) { return span.out.value == 0 && span.in.value == 0; });
}

SourceCurve constant(double time, double value) { return {{{time, value}}, {}}; }

/// The turns of a motion: heading about y, pitch about x, bank about z, applied from the last to the first, in a space
/// that is the mirror image of the model's.
class Turns {
 public:
  explicit Turns(LightWaveItem const& item) {
    for (std::size_t i = 0; i < 3; ++i) {
      LightWaveEnvelope const& envelope = item.channels[Heading + i];
      _curves[i] = envelope.keys.empty() ? constant(0, 0) : toSourceCurve(envelope);
      _isGiven = _isGiven || !envelope.keys.empty();
    }
  }

  bool isGiven() const { return _isGiven; }
  /// The angles are those of a transform, about x and y or about z alone.
  bool isExact() const { return isZero(_curves[2]) || (isZero(_curves[0]) && isZero(_curves[1])); }
  void addExact(std::size_t node, CurveReplacement& replacement) const {
    replacement.add(node, ChannelKind::Rotation, 0, scaled(_curves[1], -kDegrees));
    replacement.add(node, ChannelKind::Rotation, 1, scaled(_curves[0], -kDegrees));
    replacement.add(node, ChannelKind::Rotation, 2, scaled(_curves[2], kDegrees));
  }
  void addFitted(std::size_t node, CurveReplacement& replacement) const {
    std::set<double> distinct;
    for (SourceCurve const& curve : _curves) {
      for (Key const& key : curve.keys) {
        if (curve.keys.size() > 1) distinct.insert(key.time);
      }
    }
    if (distinct.empty()) distinct.insert(_curves[0].keys.front().time);
    SourceRotation source;
    source.times.assign(distinct.begin(), distinct.end());
    for (std::size_t i = 1; i < source.times.size(); ++i)
      source.shapes.push_back(shapeAt((source.times[i - 1] + source.times[i]) / 2));
    source.at = [&](std::size_t span, double share) {
      double const a = source.times[span];
      double const b = source.times[span + 1];
      return rotationAt(std::lerp(a, b, share), (a + b) / 2);
    };
    source.last = rotationAt(source.times.back(), source.times.back());
    auto const [before, after] = ends(source);
    if (!before || !after)
      replacement.warn(node, ChannelKind::Rotation,
                       "its extrapolation has no equivalent; the end values are held");
    replacement.addRotation(node, source, before.value_or(Outside::Constant),
                            after.value_or(Outside::Constant));
  }

 private:
  SpanShape shapeAt(double time) const {
    bool const isHeld = std::all_of(_curves.begin(), _curves.end(), [time](SourceCurve const& curve) {
      auto const after = std::find_if(curve.keys.begin(), curve.keys.end(),
                                      [time](Key const& key) { return key.time > time; });
      if (after == curve.keys.begin() || after == curve.keys.end()) return true;
      return curve.spans[static_cast<std::size_t>(after - curve.keys.begin()) - 1].shape == SpanShape::Held;
    });
    return isHeld ? SpanShape::Held : SpanShape::Straight;
  }
  Rotation rotationAt(double time, double inside) const {
    auto const degrees = [&](std::size_t i) { return valueBeside(_curves[i], time, inside) * kDegrees; };
    return toRotation({0, -degrees(0), 0}) * toRotation({-degrees(1), 0, 0}) * toRotation({0, 0, degrees(2)});
  }
  /// What the angles do together; nothing where they do not agree, or add something with each repetition.
  std::array<std::optional<Outside>, 2> ends(SourceRotation const& source) const {
    std::array<std::optional<Outside>, 2> result;
    for (std::size_t side = 0; side < 2; ++side) {
      std::set<Outside> modes;
      bool spansAll = true;
      for (SourceCurve const& curve : _curves) {
        if (curve.keys.size() < 2) continue;
        modes.insert(side == 0 ? curve.before : curve.after);
        spansAll = spansAll && curve.keys.front().time == source.times.front() &&
                   curve.keys.back().time == source.times.back();
      }
      if (modes.empty()) modes.insert(Outside::Constant);
      Outside const mode = *modes.begin();
      bool const isCyclic = mode == Outside::Repeat || mode == Outside::Oscillate;
      if (modes.size() == 1 && (mode == Outside::Constant || (isCyclic && spansAll))) result[side] = mode;
    }
    return result;
  }

  std::array<SourceCurve, 3> _curves;
  bool _isGiven = false;
};

void addItem(LightWaveItem const& item, std::size_t node, CurveReplacement& replacement) {
  for (std::uint8_t axis = 0; axis < 3; ++axis) {
    if (auto const& place = item.channels[axis]; !place.keys.empty())
      replacement.add(node, ChannelKind::Translation, axis, scaled(toSourceCurve(place), axis == 2 ? -1 : 1));
    if (auto const& size = item.channels[ScaleX + axis]; !size.keys.empty())
      replacement.add(node, ChannelKind::Scale, axis, toSourceCurve(size));
  }
  Turns const turns(item);
  if (!turns.isGiven()) return;
  turns.isExact() ? turns.addExact(node, replacement) : turns.addFitted(node, replacement);
}

/// Whether the item has more than a place.
bool moves(LightWaveItem const& item) {
  return std::any_of(item.channels.begin(), item.channels.end(),
                     [](LightWaveEnvelope const& each) { return each.keys.size() > 1; });
}

}  // namespace

std::optional<std::string> readLightWaveCurves(std::string const& path, ImportedModel const& model,
                                               CurveReplacement& replacement) {
  std::ifstream stream(path, std::ios::binary);
  std::string const text{std::istreambuf_iterator<char>(stream), {}};
  if (!stream.is_open() || stream.bad()) return "it cannot be read";
  LightWaveScene const scene = readLightWaveScene(text);
  if (!scene.failure.empty()) return scene.failure;
  for (std::string const& warning : scene.warnings) replacement.warn(warning);
  for (std::size_t i = 0; i < scene.items.size(); ++i) {
    LightWaveItem const& item = scene.items[i];
    if (!moves(item)) continue;
    if (auto const node = findNode(model, item.id))
      addItem(item, *node, replacement);
    else
      replacement.warn("item " + std::to_string(i + 1) +
                       " of the file: curves are replaced by samples, because no node has its id");
  }
  return std::nullopt;
}

}  // namespace knanim
