#include "knanim/pictures/ReductionPlot.h"

#include "knanim/support/Text.h"

#include <algorithm>

namespace knanim {
namespace {

constexpr std::size_t kMostCurves = 6;
constexpr std::size_t kEvenSamples = 4000;
constexpr Color kOld = Color::fromHex(0xB3BBC6);
constexpr Color kNew = Color::fromHex(0x2F6FC4);
constexpr Color kDifference = Color::fromHex(0xDD6B20);
constexpr Color kTolerance = Color::fromHex(0xC2335B);

char const* unitName(ChannelKind kind) {
  return kind == ChannelKind::Rotation      ? "degrees"
         : kind == ChannelKind::Translation ? "scene units"
                                            : "factor";
}

std::vector<Key> line(TimeSpan span, double value) { return {{span.begin, value}, {span.end, value}}; }

}  // namespace

ReductionPlot::ReductionPlot(ImportedModel const& model, AnimatedScene const& scene,
                             std::span<std::size_t const> curves)
    : _model(model),
      _scene(scene),
      _curves(curves.begin(),
              curves.begin() + static_cast<std::ptrdiff_t>(std::min(kMostCurves, curves.size()))),
      _span(timeSpan(model).value_or(TimeSpan())) {
  for (std::size_t i = 0; i <= kEvenSamples; ++i) {
    double const share = static_cast<double>(i) / static_cast<double>(kEvenSamples);
    _times.push_back(_span.begin + share * (_span.end - _span.begin));
  }
  for (std::size_t const curve : _curves) {
    for (Key const& key : model.curves[curve].keys) _times.push_back(key.time);
  }
  std::sort(_times.begin(), _times.end());
  for (std::size_t const curve : _curves) _old.push_back(read(curve));
}

std::vector<Key> ReductionPlot::read(std::size_t curve) const {
  return readSeries(_scene.curves()[curve], _times);
}

PlotPicture ReductionPlot::draw(std::string const& title, std::span<double const> tolerances) const {
  PlotPicture picture;
  picture.title = title;
  picture.span = _span;
  std::size_t before = 0;
  std::size_t after = 0;
  for (std::size_t i = 0; i < _curves.size(); ++i) {
    ImportedCurve const& curve = _model.curves[_curves[i]];
    std::vector<Key> const samples = read(_curves[i]);
    std::vector<Key> keys;
    for (osg::CCPnt const& key : _scene.curves()[_curves[i]].curve->getControlPoints())
      keys.push_back({key.x(), key.y()});
    std::vector<Key> difference = samples;
    for (std::size_t k = 0; k < samples.size(); ++k) difference[k].value -= _old[i][k].value;
    before += curve.keys.size();
    after += keys.size();

    AxisUnit const axis = curve.kind == ChannelKind::Rotation ? AxisUnit::Degrees : AxisUnit::Number;
    std::string const name = _model.curveName(curve);
    PlotPanel& values = picture.panels.emplace_back(PlotPanel{name, unitName(curve.kind), axis, {}});
    values.series.push_back({"before, " + counted(curve.keys.size(), "key"), kOld, _old[i], {}});
    values.series.push_back({"after, " + counted(keys.size(), "key"), kNew, samples, keys});
    PlotPanel& error = picture.panels.emplace_back(
        PlotPanel{"after minus before", unitName(curve.kind), AxisUnit::Number, {}});
    error.series.push_back({"difference", kDifference, difference, {}});
    if (tolerances.empty()) continue;
    double const tolerance = tolerances[_curves[i]];
    error.series.push_back({"tolerance", kTolerance, line(_span, tolerance), {}});
    error.series.push_back({"", kTolerance, line(_span, -tolerance), {}});
  }
  picture.subtitle = counted(_curves.size(), "curve") + ", " + grouped(before) + " keys before, " +
                     grouped(after) + " after";
  return picture;
}

}  // namespace knanim
