#include "knanim/scene/SceneReduction.h"

#include "knCurveReduction.h"
#include "knanim/scene/ChannelChoice.h"
#include "knanim/scene/SceneFigure.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>

namespace knanim {
namespace {

constexpr double kRotationTolerance = 0.1;      ///< degrees
constexpr double kTranslationTolerance = 1e-3;  ///< of the figure's size
constexpr double kScaleTolerance = 1e-3;

struct ToleranceRule {
  std::string pattern;
  double value = 0;
  bool isPercent = false;
};

Failure misused(std::string const& text, std::string const& reason) {
  return {ExitCode::Usage, "--tolerance \"" + printable(text) + "\": " + reason};
}

std::variant<ToleranceRule, Failure> parseRule(std::string const& text) {
  ToleranceRule rule;
  std::size_t const sign = text.rfind('=');
  rule.pattern = sign == std::string::npos ? "*" : text.substr(0, sign);
  std::string number = sign == std::string::npos ? text : text.substr(sign + 1);
  rule.isPercent = number.ends_with('%');
  if (rule.isPercent) number.pop_back();
  char const* const end = number.data() + number.size();
  auto const [rest, error] = std::from_chars(number.data(), end, rule.value);
  if (error != std::errc() || rest != end || !std::isfinite(rule.value) || rule.value < 0)
    return misused(text, "expected VALUE, or PATTERN=VALUE, with a number that is not negative");
  return rule;
}

double defaultTolerance(ChannelKind kind, double figureSize) {
  switch (kind) {
    case ChannelKind::Translation:
      return kTranslationTolerance * figureSize;
    case ChannelKind::Rotation:
      return kRotationTolerance;
    case ChannelKind::Scale:
      break;
  }
  return kScaleTolerance;
}

std::vector<std::size_t> curvesOf(ImportedModel const& model, std::string const& pattern) {
  std::vector<std::size_t> curves = chooseChannels(model, {&pattern, 1}).curves;
  for (std::size_t i = 0; i < model.curves.size(); ++i) {
    if (pattern == channelName(model.curves[i].kind)) curves.push_back(i);
  }
  return curves;
}

double secondsSince(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// The largest difference of curves of straight lines stands at one of the old keys.
SceneReduction reducePoints(AnimatedScene const& scene) {
  std::vector<osg::AnimCurvePtr> curves;
  std::vector<std::vector<osg::CCPnt>> before;
  for (SceneCurve const& each : scene.curves()) {
    curves.push_back(each.curve);
    before.push_back(each.curve->getControlPoints().getValues());
  }
  SceneReduction reduction;
  auto const begin = std::chrono::steady_clock::now();
  knAnimManager::the()->douglasPeuckerPointReduction(curves);
  reduction.seconds = secondsSince(begin);
  for (std::size_t i = 0; i < before.size(); ++i) {
    ReducedCurve& result = reduction.curves.emplace_back();
    result.keysBefore = before[i].size();
    result.keysAfter = curves[i]->getControlPoints().size();
    CurveReader reader(scene, {&i, 1});
    for (osg::CCPnt const& key : before[i]) {
      reader.evaluate(key.x());
      result.found = std::max(result.found, std::abs(static_cast<double>(reader.value(0)) - key.y()));
    }
    result.error = result.found;
  }
  return reduction;
}

/// Imported curves have straight tangents, and give the same values by these as by the lines that they are made of. With
/// lines no segment could bend. A linear extension needs other tangents: such curves stay lines.
void allowBends(osg::AnimCurve& curve) {
  bool const extends =
      curve.getPreInfinityMode() == osg::LinearInfinity || curve.getPostInfinityMode() == osg::LinearInfinity;
  if (!extends) curve.setForceLinearInterpolation(false);
}

SceneReduction fitSegments(AnimatedScene const& scene, std::span<double const> tolerances) {
  std::vector<knCurveReductionJob> jobs;
  for (SceneCurve const& each : scene.curves()) {
    allowBends(*each.curve);
    announce(each.curve, osg::AnimCurveBase::ForceLinearInterpolationFieldMask);
  }
  for (std::size_t i = 0; i < tolerances.size(); ++i)
    jobs.push_back({scene.curves()[i].curve, static_cast<float>(tolerances[i]), {}});
  SceneReduction reduction;
  auto const begin = std::chrono::steady_clock::now();
  std::vector<knCurveReductionResult> const results = knCurveReduction::reduce(jobs);
  reduction.seconds = secondsSince(begin);
  for (knCurveReductionResult const& result : results)
    reduction.curves.push_back({result.keysBefore, result.keysAfter, result.error, result.found});
  return reduction;
}

}  // namespace

std::optional<Failure> checkTolerances(std::span<std::string const> texts) {
  for (std::string const& text : texts) {
    auto parsed = parseRule(text);
    if (auto* failure = std::get_if<Failure>(&parsed)) return std::move(*failure);
  }
  return std::nullopt;
}

std::variant<std::vector<double>, Failure> chooseTolerances(ImportedModel const& model,
                                                            std::span<std::string const> texts,
                                                            double figureSize) {
  std::vector<double> tolerances;
  for (ImportedCurve const& curve : model.curves)
    tolerances.push_back(defaultTolerance(curve.kind, figureSize));
  for (std::string const& text : texts) {
    auto const parsed = parseRule(text);
    if (auto const* failure = std::get_if<Failure>(&parsed)) return *failure;
    auto const& rule = std::get<ToleranceRule>(parsed);
    std::vector<std::size_t> const curves = curvesOf(model, rule.pattern);
    if (curves.empty()) return misused(text, "no curve of this animation matches");
    for (std::size_t const curve : curves) {
      if (rule.isPercent && model.curves[curve].kind != ChannelKind::Translation)
        return misused(text, "a percentage of the figure's size is for translations only");
      tolerances[curve] = rule.isPercent ? rule.value / 100 * figureSize : rule.value;
    }
  }
  return tolerances;
}

double sizeOfFigure(ImportedModel const& model, ModelContent const& content, AnimatedScene const& scene) {
  SceneFigure const figure(model, content, scene);
  std::vector<osg::Pnt3f> points;
  figure.addPoints(figure.capture(), points);
  double size = 0;
  for (int axis = 0; axis < 3; ++axis) {
    auto const of = [axis](osg::Pnt3f const& point) { return static_cast<double>(point[axis]); };
    double low = INFINITY;
    double high = -INFINITY;
    for (osg::Pnt3f const& point : points) {
      low = std::min(low, of(point));
      high = std::max(high, of(point));
    }
    if (high - low < INFINITY) size = std::max(size, high - low);
  }
  return size;
}

SceneReduction reduceScene(AnimatedScene const& scene, ReductionMethod method,
                           std::span<double const> tolerances) {
  return method == ReductionMethod::Fit ? fitSegments(scene, tolerances) : reducePoints(scene);
}

}  // namespace knanim
