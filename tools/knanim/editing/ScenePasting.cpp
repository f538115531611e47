#include "knanim/editing/NameTables.h"
#include "knanim/editing/Retargeting.h"
#include "knanim/editing/SceneEditing.h"
#include "knanim/scene/ChannelChoice.h"
#include "knanim/support/Console.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/ProgressBar.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

namespace knanim {
namespace {

std::variant<ImportedModel, Failure> loadSource(PasteOptions const& options, Terminal terminal) {
  auto const opened = ModelFile::open(options.source);
  if (auto const* failure = std::get_if<Failure>(&opened)) return *failure;
  auto const& file = std::get<ModelFile>(opened);
  auto loaded = file.loadChosen(options.animation);
  auto const* const failure = std::get_if<Failure>(&loaded);
  std::string const name = printable(std::filesystem::path(options.source).filename().string());
  auto const& warnings = (failure != nullptr ? file.model() : std::get<ImportedModel>(loaded)).warnings;
  for (std::string const& warning : warnings) warn(name + ": " + warning, terminal);
  if (failure != nullptr) return *failure;
  auto const& model = std::get<ImportedModel>(loaded);
  if (model.curves.empty())
    return Failure{ExitCode::NoAnimation, printable(options.source) + " has no curves to paste"};
  return loaded;
}

/// What fits, and what does not, with the reasons.
struct Fitting {
  std::vector<NodePair> pairs;
  std::vector<std::string> reasons;
};

bool isWanted(std::string const& name, std::vector<std::string> const& patterns) {
  return patterns.empty() || std::any_of(patterns.begin(), patterns.end(),
                                         [&name](std::string const& pattern) { return fits(pattern, name); });
}

Fitting fitNodes(ImportedModel const& source, ImportedModel const& target,
                 std::span<osg::NodePtr const> nodes, NameMap const& map,
                 std::vector<std::string> const& only) {
  std::map<std::string, std::size_t> places;
  for (std::size_t i = 0; i < target.nodes.size(); ++i) places.try_emplace(target.nodes[i].name, i);
  std::set<std::size_t> animated;
  for (ImportedCurve const& curve : source.curves) animated.insert(curve.node);
  std::map<std::size_t, std::size_t> taken;
  Fitting fitting;
  for (std::size_t const node : animated) {
    std::string const& name = source.nodes[node].name;
    if (!isWanted(name, only)) continue;
    std::string const wanted = map(name);
    std::string const label =
        printable(name) + (wanted == name ? "" : " (called " + printable(wanted) + " in the target)") + ": ";
    auto const place = places.find(wanted);
    if (place == places.end()) {
      fitting.reasons.push_back(label + "no such node");
    } else if (osg::dcastTo<osg::Transform3D>(nodes[place->second]->getCore()) == nullptr) {
      fitting.reasons.push_back(label + "this node has no transform");
    } else if (auto const [other, isNew] = taken.try_emplace(place->second, node); !isNew) {
      fitting.reasons.push_back(label + "this node already gets the animation of " +
                                printable(source.nodes[other->second].name));
    } else {
      fitting.pairs.push_back({node, place->second});
    }
  }
  return fitting;
}

std::vector<std::string> describe(Retargeting const& result) {
  std::vector<std::string> lines;
  lines.push_back((result.isSizeKnown ? "bones are " + brief(result.sizeRatio) + " times as long; "
                                      : "no bone in common, so lengths are taken as equal; ") +
                  counted(result.moved, "translation curve") + " moved to the rest positions");
  if (result.turned > 0) {
    lines.push_back(counted(result.turned, "node") + " with a rest pose that differs by up to " +
                    brief(result.largestTurn) + " degrees: rotations recomputed");
  }
  for (std::string const& name : result.leftAlone)
    lines.push_back(printable(name) +
                    ": has a different rest pose, but not a curve for every axis; left unchanged");
  return lines;
}

std::size_t curvesOf(ImportedModel const& model, std::vector<NodePair> const& pairs) {
  std::set<std::size_t> nodes;
  for (NodePair const& pair : pairs) nodes.insert(pair.source);
  return static_cast<std::size_t>(
      std::count_if(model.curves.begin(), model.curves.end(),
                    [&nodes](ImportedCurve const& curve) { return nodes.count(curve.node) > 0; }));
}

}  // namespace

EditResult SceneEditing::paste(PasteOptions const& options, Terminal terminal) {
  NameMap map;
  if (!options.map.empty()) {
    auto read = readNameMap(options.map);
    if (auto const* failure = std::get_if<Failure>(&read)) return *failure;
    map = std::move(std::get<NameMap>(read));
  }
  auto loaded = loadSource(options, terminal);
  if (auto const* failure = std::get_if<Failure>(&loaded)) return *failure;
  auto const& source = std::get<ImportedModel>(loaded);
  Fitting const fitting = fitNodes(source, _model, _scene.nodes(), map, options.only);
  std::string const name = printable(std::filesystem::path(options.source).filename().string());
  if (fitting.pairs.empty())
    return Failure{ExitCode::Usage, "no animated node of " + name + " has a counterpart in the model" +
                                        (fitting.reasons.empty() ? "" : ": " + fitting.reasons.front())};

  SceneGuest const guest(_scene, source);
  Retargeting fitted;
  if (options.retarget) fitted = retarget(guest, source, _model, fitting.pairs);
  ProgressBar progress(terminal.errors, "pasting", fitting.pairs.size());
  std::uint64_t done = 0;
  for (NodePair const& pair : fitting.pairs) {
    if (InterruptionGuard::isInterrupted()) return Failure{ExitCode::Failed, "interrupted"};
    copyOnto(guest.nodes()[pair.source], _scene.nodes()[pair.target], false, options.replace);
    progress.update(++done);
  }
  AnimationSummary const& animation = source.summary.animations[source.animation];
  if (_model.summary.animations.empty()) _model.summary.animations.push_back(animation);
  refresh();

  EditReport report;
  report.line = name + (animation.name.empty() ? "" : ", \"" + printable(animation.name) + '"') + ": " +
                grouped(fitting.pairs.size()) + " of " +
                counted(fitting.pairs.size() + fitting.reasons.size(), "node") + " matched, " +
                counted(curvesOf(source, fitting.pairs), "curve");
  if (options.retarget) report.details = describe(fitted);
  for (std::string const& reason : fitting.reasons) report.details.push_back(reason);
  return report;
}

}  // namespace knanim
