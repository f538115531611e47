#include "knanim/curvefiles/CurveReplacement.h"

#include "knanim/support/Text.h"
#include "model/sceneext/AnimCurve.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace knanim {
namespace {

Extrapolation extrapolation(std::uint32_t mode) {
  if (mode == osg::ConstantInfinity) return Extrapolation::Constant;
  return mode == osg::LinearInfinity ? Extrapolation::Linear : Extrapolation::Repeat;
}

bool isFinite(BezierKey const& key) {
  auto const all = {key.time, key.value, key.in[0], key.in[1], key.out[0], key.out[1]};
  return std::all_of(all.begin(), all.end(), [](float each) { return std::isfinite(each); });
}

auto placeOf(ImportedCurve const& curve) { return std::tuple(curve.node, curve.kind, curve.component); }

}  // namespace

void CurveReplacement::add(std::size_t node, ChannelKind kind, std::uint8_t component,
                           SourceCurve const& curve) {
  addFitted(node, kind, component, fitCurve(curve));
}

void CurveReplacement::add(std::size_t node, ChannelKind kind, std::uint8_t component,
                           SourceFunction const& function) {
  addFitted(node, kind, component, fitFunction(function));
}

void CurveReplacement::addFitted(std::size_t node, ChannelKind kind, std::uint8_t component,
                                 FittedCurve fitted) {
  if (!fitted.isNear)
    warn(node, kind,
         std::string(kComponentSuffixes[component]) + " is fitted to within " + brief(fitted.deviation) +
             ", " + brief(100 * fitted.deviation / fitted.range, 2) + " % of its range");
  addForm(node, kind, component, std::move(fitted.keys), std::move(fitted.form));
}

void CurveReplacement::addRotation(std::size_t node, SourceRotation const& rotation, Outside before,
                                   Outside after) {
  FittedRotation fitted = fitRotation(rotation);
  constexpr double kRounding = 1e-6;
  if (fitted.deviation > kRounding) ++_rotations.channels;
  if (fitted.deviation > _rotations.deviation) {
    _rotations.deviation = fitted.deviation;
    _rotations.name = channelOf(node, ChannelKind::Rotation);
  }
  for (std::uint8_t axis = 0; axis < 3; ++axis) {
    std::vector<Key> keys = listKeys(fitted.forms[axis]);
    addEnds(fitted.forms[axis], before, 0, after, 0);
    addForm(node, ChannelKind::Rotation, axis, std::move(keys), std::move(fitted.forms[axis]));
  }
}

void CurveReplacement::addForm(std::size_t node, ChannelKind kind, std::uint8_t component,
                               std::vector<Key> keys, CurveForm form) {
  if (!std::all_of(form.keys.begin(), form.keys.end(), isFinite)) {
    warn(node, kind, "its numbers are too large");
    return;
  }
  ImportedCurve& curve = _curves.emplace_back();
  curve.node = node;
  curve.kind = kind;
  curve.component = component;
  curve.before = extrapolation(form.before);
  curve.after = extrapolation(form.after);
  bool const isPlain = form.isStraight && form.keys.size() == keys.size() &&
                       form.before == osg::ConstantInfinity && form.after == osg::ConstantInfinity;
  curve.keys = std::move(keys);
  if (!isPlain) curve.form = std::move(form);
}

std::string CurveReplacement::channelOf(std::size_t node, ChannelKind kind) const {
  return _model.nodes[node].name + '.' + channelName(kind);
}

void CurveReplacement::warn(std::size_t node, ChannelKind kind, std::string const& text) {
  _warnings.push_back(channelOf(node, kind) + ": " + text);
}

void CurveReplacement::finish() {
  std::set<std::pair<std::size_t, ChannelKind>> channels;
  for (ImportedCurve const& curve : _curves) channels.insert({curve.node, curve.kind});
  auto const isReplaced = [&](ImportedCurve const& curve) {
    return channels.count({curve.node, curve.kind}) != 0 || _nodes.count(curve.node) != 0;
  };
  std::erase_if(_model.curves, isReplaced);
  // What was wrong with keys that count no more is not of interest.
  for (auto const& channel : channels) {
    std::string const begin = channelOf(channel.first, channel.second) + ": ";
    std::erase_if(_model.warnings, [&begin](std::string const& each) { return each.starts_with(begin); });
  }
  for (ImportedCurve& curve : _curves) _model.curves.push_back(std::move(curve));
  std::sort(_model.curves.begin(), _model.curves.end(),
            [](ImportedCurve const& a, ImportedCurve const& b) { return placeOf(a) < placeOf(b); });
  if (_rotations.channels != 0)
    _warnings.push_back(counted(_rotations.channels, "channel") + " of rotations as angles, to within " +
                        brief(_rotations.deviation, 2) + " degree (" + _rotations.name + ')');
  _model.warnings.insert(_model.warnings.end(), _warnings.begin(), _warnings.end());
}

}  // namespace knanim
