#include "knanim/commands/Commands.h"
#include "knanim/comparing/AnimationDifference.h"
#include "knanim/scene/LoadedScene.h"
#include "knanim/scene/SceneSurvey.h"
#include "knanim/support/Console.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/ProgressBar.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <cmath>

namespace knanim {
namespace {

constexpr std::size_t kMostListed = 20;

std::variant<AnimationHarvest, Failure> harvestFile(std::string const& path, Terminal terminal) {
  auto const opened = LoadedScene::load({path, ""}, terminal);
  if (auto const* failure = std::get_if<Failure>(&opened)) return *failure;
  LoadedScene& loaded = *std::get<0>(opened);
  warn(completeScene(loaded.scene(), loaded.model(), loaded.file()), terminal);
  loaded.scene().switchBack();
  return harvest(loaded.scene());
}

std::string sizeOf(double difference) { return std::isinf(difference) ? "not a number" : brief(difference); }

void printList(char const* label, std::vector<std::string> const& lines, bool all, std::FILE* output) {
  std::size_t const count = all ? lines.size() : std::min(lines.size(), kMostListed);
  for (std::size_t i = 0; i < count; ++i) printRow(output, i == 0 ? label : "", lines[i]);
  if (count < lines.size())
    printRow(output, "", "... and " + grouped(lines.size() - count) + " more, listed with --all");
}

std::string remarks(CurveDifference const& each) {
  return std::string(each.isSwitched ? "  switched" : "") +
         (each.repeatsOtherwise ? "  repeats differently" : "");
}

void printCurves(std::vector<CurveDifference> const& curves, bool all, std::FILE* output) {
  if (curves.empty()) return;
  std::size_t const count = all ? curves.size() : std::min(curves.size(), kMostListed);
  std::size_t width = 7;
  for (std::size_t i = 0; i < count; ++i) width = std::max(width, widthInColumns(curves[i].label));
  width = std::min<std::size_t>(width, 60);
  std::fprintf(output, "\n  %s      keys     after     moved   difference  at\n",
               padded("channel", width).c_str());
  for (std::size_t i = 0; i < count; ++i) {
    CurveDifference const& each = curves[i];
    std::fprintf(output, "  %s  %8s  %8s  %8s  %11s  %s s%s\n",
                 padded(shortened(each.label, width), width).c_str(), grouped(each.keysBefore).c_str(),
                 grouped(each.keysAfter).c_str(), grouped(each.moved).c_str(), sizeOf(each.largest).c_str(),
                 brief(each.at).c_str(), remarks(each).c_str());
  }
  if (count < curves.size())
    std::fprintf(output, "  ... and %s more, listed with --all\n", grouped(curves.size() - count).c_str());
}

void print(AnimationDifference const& result, bool all, std::FILE* output) {
  bool const isNothing = result.equal == 0 && result.isEmpty();
  printRow(output, "equal", isNothing ? "neither has an animation" : counted(result.equal, "curve"));
  printList("missing", result.missing, all, output);
  printList("added", result.added, all, output);
  printList("renamed", result.renamed, all, output);
  std::vector<std::string> shapes;
  for (CacheDifference const& each : result.caches)
    shapes.push_back(each.owner + ", " + grouped(each.shapesBefore) + " and " +
                     counted(each.shapesAfter, "shape") +
                     (std::isinf(each.largest) ? ", with different times or sizes"
                                               : ", vertices differ by up to " + brief(each.largest)));
  printList("shapes", shapes, all, output);
  if (result.curves.empty()) return;
  std::size_t moved = 0;
  for (CurveDifference const& each : result.curves) moved += each.moved;
  printRow(output, "differ",
           counted(result.curves.size(), "curve") + ", " + counted(moved, "key") + " moved, by at most " +
               sizeOf(result.curves.front().largest));
  printCurves(result.curves, all, output);
}

}  // namespace

ExitCode diff(DiffOptions const& options, Terminal terminal) {
  if (!std::isfinite(options.tolerance) || options.tolerance < 0)
    return report({ExitCode::Usage, "--tolerance must be finite and not negative"}, terminal);
  auto const first = harvestFile(options.first, terminal);
  if (auto const* failure = std::get_if<Failure>(&first)) return report(*failure, terminal);
  auto const second = harvestFile(options.second, terminal);
  if (auto const* failure = std::get_if<Failure>(&second)) return report(*failure, terminal);
  auto const& before = std::get<AnimationHarvest>(first);
  ProgressBar progress(terminal.errors, "comparing", before.curves.size());
  AnimationDifference const result =
      compare(before, std::get<AnimationHarvest>(second), options.tolerance, [&progress](std::size_t done) {
        progress.update(done);
        return !InterruptionGuard::isInterrupted();
      });
  if (InterruptionGuard::isInterrupted()) return report({ExitCode::Failed, "interrupted"}, terminal);
  std::fprintf(terminal.output, "%s\n%s\n", printable(options.first).c_str(),
               printable(options.second).c_str());
  print(result, options.all, terminal.output);
  return result.isEmpty() ? ExitCode::Ok : ExitCode::Failed;
}

}  // namespace knanim
