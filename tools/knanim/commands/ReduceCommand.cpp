#include "knanim/commands/Commands.h"
#include "knanim/pictures/ReductionPlot.h"
#include "knanim/saving/SceneSaving.h"
#include "knanim/scene/ChannelChoice.h"
#include "knanim/scene/LoadedScene.h"
#include "knanim/scene/SceneReduction.h"
#include "knanim/support/Console.h"
#include "knanim/support/OutputFile.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <filesystem>

namespace knanim {
namespace {

constexpr std::size_t kMostListedCurves = 20;

std::optional<Failure> checkPicture(ReduceOptions const& options) {
  if (options.plot.empty()) return std::nullopt;
  if (!pictureFormat(options.plot))
    return Failure{ExitCode::Usage,
                   "the name of a picture ends in .png or .svg, not " + printable(options.plot)};
  return checkOutput(options.plot, {&options.model, 1});
}

std::variant<std::vector<std::size_t>, Failure> chooseCurves(ImportedModel const& model,
                                                             std::vector<std::string> const& patterns) {
  if (patterns.empty()) {
    std::vector<std::size_t> curves = mostMovingChannels(model);
    // With their differences, two panels each.
    if (curves.size() > 2) curves.resize(2);
    return curves;
  }
  ChosenChannels chosen = chooseChannels(model, patterns);
  if (!chosen.unmatched.empty()) return Failure{ExitCode::Usage, noChannel(model, chosen.unmatched[0])};
  return std::move(chosen.curves);
}

char const* unitOf(ChannelKind kind) { return kind == ChannelKind::Rotation ? " degrees" : ""; }

std::string ratio(std::size_t before, std::size_t after) {
  return after == 0 ? "-" : brief(static_cast<double>(before) / static_cast<double>(after), 3) + " to 1";
}

/// One line for each kind of channel, and the largest error in it.
void printKinds(ImportedModel const& model, SceneReduction const& reduction, std::FILE* output) {
  for (ChannelKind const kind : kChannelKinds) {
    std::size_t count = 0;
    ReducedCurve sum;
    for (std::size_t i = 0; i < model.curves.size(); ++i) {
      if (model.curves[i].kind != kind) continue;
      ReducedCurve const& curve = reduction.curves[i];
      ++count;
      sum.keysBefore += curve.keysBefore;
      sum.keysAfter += curve.keysAfter;
      sum.error = std::max(sum.error, curve.error);
      sum.found = std::max(sum.found, curve.found);
    }
    if (count == 0) continue;
    printRow(output, channelName(kind),
             counted(count, "curve") + ", " + counted(sum.keysBefore, "key") + " to " +
                 grouped(sum.keysAfter) + ", error at most " + brief(sum.error) + unitOf(kind) + ", found " +
                 brief(sum.found));
  }
}

/// The curves, those with the largest part of their tolerance first.
void printCurves(ImportedModel const& model, SceneReduction const& reduction,
                 std::vector<double> const& tolerances, bool all, std::FILE* output) {
  std::vector<std::size_t> order(model.curves.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  auto const kept = [&](std::size_t i) { return reduction.curves[i].keysAfter; };
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return kept(a) > kept(b); });
  std::size_t const shown = all ? order.size() : std::min(order.size(), kMostListedCurves);
  std::fprintf(output, "\n  %-34s  %8s  %8s  %12s  %12s\n", "channel", "keys", "after", "at most",
               "tolerance");
  for (std::size_t i = 0; i < shown; ++i) {
    ReducedCurve const& curve = reduction.curves[order[i]];
    std::string const name = padded(shortened(printable(model.curveName(model.curves[order[i]])), 34), 34);
    std::string const tolerance = tolerances.empty() ? "-" : brief(tolerances[order[i]]);
    std::fprintf(output, "  %s  %8s  %8s  %12s  %12s\n", name.c_str(), grouped(curve.keysBefore).c_str(),
                 grouped(curve.keysAfter).c_str(), brief(curve.error).c_str(), tolerance.c_str());
  }
  if (shown < order.size())
    std::fprintf(output, "  ... and %s with fewer keys, listed with --all\n",
                 grouped(order.size() - shown).c_str());
}

void printTotals(SceneReduction const& reduction, std::FILE* output) {
  ReducedCurve sum;
  for (ReducedCurve const& curve : reduction.curves) {
    sum.keysBefore += curve.keysBefore;
    sum.keysAfter += curve.keysAfter;
  }
  printRow(output, "keys",
           grouped(sum.keysBefore) + " to " + grouped(sum.keysAfter) + ", " +
               ratio(sum.keysBefore, sum.keysAfter) + ", in " + shortTime(reduction.seconds));
}

std::optional<Failure> writePicture(PlotPicture const& picture, std::string const& path, std::FILE* output) {
  std::string bytes;
  std::string message;
  if (!drawPlot(picture, *pictureFormat(path), bytes, message))
    return Failure{ExitCode::Failed, "cannot draw the picture: " + message};
  OutputFile file(path);
  file.write(bytes);
  if (!file.commit()) return Failure{ExitCode::OutputUnwritable, file.message()};
  printRow(output, "file", printable(path));
  return std::nullopt;
}

}  // namespace

ExitCode reduce(ReduceOptions const& options, Terminal terminal) {
  if (auto const failure = checkPicture(options)) return report(*failure, terminal);
  if (auto const failure = checkTolerances(options.tolerances)) return report(*failure, terminal);
  if (auto const failure = checkSceneOutput(options.out, {&options.model, 1}))
    return report(*failure, terminal);
  auto const loaded = LoadedScene::load({options.model, options.animation}, terminal);
  if (auto const* failure = std::get_if<Failure>(&loaded)) return report(*failure, terminal);
  LoadedScene& scene = *std::get<std::unique_ptr<LoadedScene>>(loaded);
  ImportedModel const& model = scene.model();
  if (model.curves.empty())
    return report({ExitCode::NoAnimation, printable(options.model) + " has no curves to reduce"}, terminal);

  double const size = sizeOfFigure(model, scene.content(), scene.scene());
  auto const tolerances = chooseTolerances(model, options.tolerances, size);
  if (auto const* failure = std::get_if<Failure>(&tolerances)) return report(*failure, terminal);
  auto const curves = chooseCurves(model, options.channels);
  if (auto const* failure = std::get_if<Failure>(&curves)) return report(*failure, terminal);
  std::vector<double> wanted = std::get<std::vector<double>>(tolerances);

  std::string const title = printable(std::filesystem::path(options.model).filename().string());
  ReductionPlot const plot(model, scene.scene(), std::get<std::vector<std::size_t>>(curves));
  if (std::size_t const asked = std::get<std::vector<std::size_t>>(curves).size();
      !options.plot.empty() && asked > plot.size())
    warn(counted(asked - plot.size(), "curve") + " of " + grouped(asked) +
             " have no room in the picture; --channel chooses others",
         terminal);
  ReductionMethod const method = options.points ? ReductionMethod::Points : ReductionMethod::Fit;
  SceneReduction const reduction = reduceScene(scene.scene(), method, wanted);
  if (options.points) wanted.clear();

  std::fprintf(terminal.output, "%s\n", title.c_str());
  printRow(terminal.output, "method",
           options.points ? "points by distance, at 0.0001" : "Bezier segments, bound proven");
  printRow(terminal.output, "figure", brief(size) + " scene units at its longest side");
  printTotals(reduction, terminal.output);
  printKinds(model, reduction, terminal.output);
  if (!options.plot.empty()) {
    if (auto const failure = writePicture(plot.draw(title, wanted), options.plot, terminal.output))
      return report(*failure, terminal);
  }
  if (!options.out.empty()) {
    if (auto const failure = saveScene(scene, options.out, {}, terminal)) return report(*failure, terminal);
  }
  printCurves(model, reduction, wanted, options.all, terminal.output);
  return ExitCode::Ok;
}

}  // namespace knanim
