#include "knanim/pictures/ChannelPlot.h"

#include "knCurves.h"
#include "knanim/scene/AnimatedScene.h"
#include "knanim/support/Text.h"
#include "model/fields/Ref.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <tuple>

namespace knanim {
namespace {

constexpr std::size_t kMostLinesPerKind = 6;
constexpr std::size_t kMostPanels = 30;
constexpr std::size_t kMostFrameSamples = 20'000;
constexpr std::size_t kFewestSamplesOfBends = 1000;

constexpr std::array<Color, 3> kComponentColors = {Color::fromHex(0xCF4058), Color::fromHex(0x2B9A63),
                                                   Color::fromHex(0x2F6FC4)};
constexpr std::array<Color, 6> kLineColors = {Color::fromHex(0x2F6FC4), Color::fromHex(0xDD6B20),
                                              Color::fromHex(0x2B9A63), Color::fromHex(0xC2335B),
                                              Color::fromHex(0x7B55C2), Color::fromHex(0x8A6D1B)};
static_assert(kLineColors.size() >= kMostLinesPerKind);

char const* unitName(ChannelKind kind) {
  switch (kind) {
    case ChannelKind::Translation:
      return "scene units";
    case ChannelKind::Rotation:
      return "degrees";
    case ChannelKind::Scale:
      break;
  }
  return "factor";
}

/// The curves of one panel, all of one kind.
using PanelCurves = std::vector<std::size_t>;

/// Curves of one kind together; by node as well when `byNode`.
std::vector<PanelCurves> group(ImportedModel const& model, std::vector<std::size_t> curves, bool byNode) {
  auto const place = [&](std::size_t index) {
    ImportedCurve const& curve = model.curves[index];
    return std::tuple(byNode ? curve.node : 0, curve.kind);
  };
  std::stable_sort(curves.begin(), curves.end(),
                   [&](std::size_t a, std::size_t b) { return place(a) < place(b); });
  std::vector<PanelCurves> panels;
  for (std::size_t const curve : curves) {
    if (panels.empty() || place(panels.back().front()) != place(curve)) panels.emplace_back();
    panels.back().push_back(curve);
  }
  return panels;
}

/// When the picture reads the curves: at every frame, unless there are far more than can be seen, and at the keys.
std::vector<double> sampleTimes(ImportedModel const& model, std::vector<PanelCurves> const& panels,
                                FrameRange const& frames) {
  std::vector<double> times;
  std::size_t const fewest = model.tangents == Tangents::Linear ? 0 : kFewestSamplesOfBends;
  std::size_t const count = std::clamp(frames.count(), fewest, kMostFrameSamples);
  TimeSpan const span{frames.time(frames.first), frames.time(frames.last)};
  for (std::size_t i = 0; i < count; ++i) {
    double const share = count == 1 ? 0 : static_cast<double>(i) / static_cast<double>(count - 1);
    times.push_back(span.begin + share * (span.end - span.begin));
  }
  for (PanelCurves const& panel : panels) {
    for (std::size_t const curve : panel) {
      for (Key const& key : model.curves[curve].keys) {
        if (key.time >= span.begin && key.time <= span.end) times.push_back(key.time);
      }
    }
  }
  std::sort(times.begin(), times.end());
  times.erase(std::unique(times.begin(), times.end()), times.end());
  return times;
}

PlotPanel makePanel(ImportedModel const& model, PanelCurves const& curves) {
  ImportedCurve const& first = model.curves[curves[0]];
  bool const oneNode = std::all_of(curves.begin(), curves.end(),
                                   [&](std::size_t curve) { return model.curves[curve].node == first.node; });
  PlotPanel panel;
  panel.unit = unitName(first.kind);
  panel.axis = first.kind == ChannelKind::Rotation ? AxisUnit::Degrees : AxisUnit::Number;
  panel.title = channelName(first.kind);
  if (oneNode) {
    panel.title = model.nodes[first.node].name + "  " + panel.title;
  } else {
    panel.title[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(panel.title[0])));
  }
  for (std::size_t const index : curves) {
    ImportedCurve const& curve = model.curves[index];
    PlotSeries& series = panel.series.emplace_back();
    std::string const suffix = kComponentSuffixes[curve.component];
    series.label = oneNode ? suffix : model.nodes[curve.node].name + ' ' + suffix;
    series.color = oneNode ? kComponentColors[curve.component] : kLineColors[panel.series.size() - 1];
    series.keys = curve.keys;
  }
  return panel;
}

void sample(AnimatedScene const& scene, std::vector<PanelCurves> const& groups,
            std::vector<double> const& times, std::vector<PlotPanel>& panels) {
  for (std::size_t panel = 0; panel < groups.size(); ++panel) {
    for (std::size_t i = 0; i < groups[panel].size(); ++i)
      panels[panel].series[i].samples = readSeries(scene.curves()[groups[panel][i]], times);
  }
}

/// The only line once with each sort of tangents, the one that is played last, as it is drawn on top.
void compareTangents(ImportedModel const& model, std::size_t curve, std::vector<double> const& times,
                     PlotPanel& panel) {
  struct Sort {
    Tangents tangents;
    char const* name;
    Color color;
  };
  constexpr std::array<Sort, 3> kSorts = {Sort{Tangents::Linear, "linear", Color::fromHex(0x8A94A6)},
                                          Sort{Tangents::Auto, "auto", Color::fromHex(0xDD6B20)},
                                          Sort{Tangents::Clamped, "clamped", Color::fromHex(0x2F6FC4)}};
  PlotSeries played = panel.series.front();
  panel.series.clear();
  std::vector<float> const at(times.begin(), times.end());
  std::vector<float> values(at.size());
  for (Sort const& sort : kSorts) {
    if (sort.tangents == model.tangents) {
      played.color = sort.color;
      played.label = sort.name;
      continue;
    }
    osg::Ref<osg::AnimNode> const node(makeCurveNode(model.curves[curve], sort.tangents));
    if (!knCurves::getValues(node.get(), at, values)) continue;
    PlotSeries& series = panel.series.emplace_back(PlotSeries{sort.name, sort.color, {}, {}});
    for (std::size_t i = 0; i < at.size(); ++i) series.samples.push_back({times[i], values[i]});
  }
  panel.series.push_back(std::move(played));
}

std::string describe(ImportedModel const& model, std::size_t shown, FrameRange const& frames) {
  AnimationSummary const& animation = model.summary.animations[model.animation];
  std::string text = animation.name.empty() ? "" : "\xE2\x80\x9C" + animation.name + "\xE2\x80\x9D, ";
  text += brief(frames.time(frames.first)) + " to " + brief(frames.time(frames.last)) + " s at " +
          brief(frames.framesPerSecond) + " frames per second, ";
  if (shown == model.curves.size())
    return text + (shown == 1 ? "the only curve" : "all " + counted(shown, "curve"));
  return text + grouped(shown) + " of " + counted(model.curves.size(), "curve");
}

std::size_t columnsFor(std::size_t panels) { return panels <= 3 ? 1 : panels <= 8 ? 2 : 3; }

}  // namespace

PlotPicture plotChannels(ImportedModel const& model, AnimatedScene const& scene,
                         std::span<std::size_t const> curves, FrameRange const& frames,
                         std::string const& title, std::size_t* omitted) {
  std::vector<std::size_t> const chosen(curves.begin(), curves.end());
  std::vector<PanelCurves> groups = group(model, chosen, false);
  bool const fewLines = std::all_of(groups.begin(), groups.end(), [](PanelCurves const& panel) {
    return panel.size() <= kMostLinesPerKind;
  });
  if (!fewLines) groups = group(model, chosen, true);
  if (groups.size() > kMostPanels) groups.resize(kMostPanels);

  PlotPicture picture;
  picture.title = title;
  picture.span = {frames.time(frames.first), frames.time(frames.last)};
  picture.labelsAtLines = fewLines;
  picture.columns = fewLines ? 1 : columnsFor(groups.size());
  std::size_t shown = 0;
  for (PanelCurves const& panel : groups) {
    picture.panels.push_back(makePanel(model, panel));
    shown += panel.size();
  }
  picture.subtitle = describe(model, shown, frames);
  if (omitted != nullptr) *omitted = curves.size() - shown;
  std::vector<double> const times = sampleTimes(model, groups, frames);
  sample(scene, groups, times, picture.panels);
  bool const isCompared =
      model.tangents != Tangents::Linear && chosen.size() == 1 && model.curves[chosen[0]].form.keys.empty();
  if (isCompared) compareTangents(model, chosen[0], times, picture.panels[0]);
  return picture;
}

}  // namespace knanim
