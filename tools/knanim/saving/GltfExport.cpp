#include "knanim/saving/GltfExport.h"

#include "knanim/import/StoredAnimations.h"
#include "knanim/saving/GltfModel.h"
#include "knanim/scene/BlockSwitch.h"
#include "knanim/scene/HungCurves.h"
#include "knanim/scene/SceneParts.h"
#include "knanim/support/Console.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/OutputFile.h"
#include "knanim/support/ProgressBar.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <filesystem>

namespace knanim {
namespace {

/// What was written of all animations.
struct ExportCounts {
  std::size_t exact = 0;
  std::size_t sampled = 0;
  std::size_t keys = 0;
  std::size_t repeating = 0;
};

bool repeats(HungCurve const& each) {
  osg::AnimCurve const& curve = *each.curve.curve;
  bool const cycles = curve.getPreInfinityMode() != osg::ConstantInfinity ||
                      curve.getPostInfinityMode() != osg::ConstantInfinity;
  if (cycles && curve.getControlPoints().size() > 1) return true;
  for (osg::NodePtr node = each.curve.node; node != nullptr; node = node->getParent()) {
    auto const* const placed = osg::dcastTo<osg::AnimNode>(node);
    if (placed != nullptr && placed->getPostCycles() != 0) return true;
  }
  return false;
}

/// The curves that are switched on, by node. False when interrupted.
bool addCurves(LoadedScene const& loaded, ExportOptions const& options, GltfModel& document,
               ExportCounts& counts, Terminal terminal) {
  std::vector<HungCurve> curves = findCurves(loaded.scene().nodes()).curves;
  std::erase_if(curves, [](HungCurve const& each) { return !each.isActive || each.curve.curve->isEmpty(); });
  std::stable_sort(curves.begin(), curves.end(), standsBefore);
  counts.repeating += static_cast<std::size_t>(std::count_if(curves.begin(), curves.end(), repeats));
  ProgressBar progress(terminal.errors, "exporting", curves.size());
  for (auto first = curves.begin(); first != curves.end();) {
    auto const last = std::find_if(first, curves.end(),
                                   [first](HungCurve const& each) { return each.node != first->node; });
    if (InterruptionGuard::isInterrupted()) return false;
    std::vector<GltfTrack> const tracks = makeTracks({first, last}, options);
    for (GltfTrack const& track : tracks) {
      ++(track.isSampled ? counts.sampled : counts.exact);
      counts.keys += track.times.size();
    }
    document.addTracks(first->node, tracks);
    first = last;
    progress.update(static_cast<std::uint64_t>(first - curves.begin()));
  }
  return true;
}

/// The names that are exported, and the first one that weights go to.
std::vector<std::string> animationNames(LoadedScene const& loaded) {
  std::vector<std::string> names;
  for (BlockName const& each : blockNames(loaded.scene().nodes())) names.push_back(each.name);
  auto const& animations = loaded.model().summary.animations;
  if (animations.empty()) return names;
  std::string const& chosen = animations[loaded.model().animation].name;
  if (auto const place = std::find(names.begin(), names.end(), chosen); place != names.end())
    std::rotate(names.begin(), place, place + 1);
  if (names.empty()) names.push_back(chosen == kAllActive ? "" : chosen);
  return names;
}

void warnOfLosses(LoadedScene const& loaded, ExportCounts const& counts, Terminal terminal) {
  if (counts.repeating > 0)
    warn(counted(counts.repeating, "curve") +
             " that repeat or continue outside their keys: glTF holds the end values there",
         terminal);
  if (std::size_t const others = findCurves(loaded.scene().nodes()).others; others > 0)
    warn(counted(others, "curve") + " of channels that are not transforms: left out", terminal);
  SceneParts const parts = findParts(loaded.scene().root());
  if (!parts.lights.empty()) warn(counted(parts.lights.size(), "light") + ": left out", terminal);
  std::size_t tagged = 0;
  for (ImportedNode const& node : loaded.model().nodes) tagged += node.tags.empty() ? 0U : 1U;
  if (tagged > 0) warn("the tags of " + counted(tagged, "node") + ": left out", terminal);
  std::size_t onMaterials = 0;
  std::vector<knAnimNodeData> materials;
  knAnimManager::the()->getMaterialsWithAnimation(materials);
  onMaterials = materials.size();
  if (onMaterials > 0) warn("the animations of " + counted(onMaterials, "material") + ": left out", terminal);
  if (std::size_t const clips = knAnimManager::getClipNodes().size();
      clips > loaded.model().summary.animations.size())
    warn("the clips, which rearrange the animations: left out", terminal);
}

}  // namespace

std::optional<Failure> exportGltf(LoadedScene& loaded, std::string const& path, ExportOptions const& options,
                                  Terminal terminal) {
  GltfModel document;
  std::vector<std::string> warnings;
  document.addScene(loaded, warnings);
  ExportCounts counts;
  bool isFirst = true;
  for (std::string const& name : animationNames(loaded)) {
    std::vector<FormerMask> const former = switchTo(name, loaded.scene().nodes());
    document.beginAnimation(name);
    bool const isDone = addCurves(loaded, options, document, counts, terminal);
    switchBack(former);
    if (!isDone) return Failure{ExitCode::Failed, "interrupted"};
    if (isFirst) counts.exact += document.addWeights();
    isFirst = false;
    if (float const shift = document.endAnimation(); shift > 0)
      warnings.push_back("\"" + name + "\" begins before 0 s, and was moved by " + brief(shift) + " s");
  }
  std::string const bytes = document.write(lowerEnding(path) == ".glb");
  if (bytes.empty()) return Failure{ExitCode::Failed, "the document cannot be written"};
  OutputFile file(path);
  file.write(bytes);
  if (!file.commit()) return Failure{ExitCode::OutputUnwritable, file.message()};
  warn(warnings, terminal);
  warnOfLosses(loaded, counts, terminal);
  printRow(terminal.output, "channels",
           grouped(counts.exact) + " exact, " + grouped(counts.sampled) + " sampled within " +
               brief(options.degrees) + " degrees or " + brief(100 * options.share) +
               " % of the largest value, " + counted(counts.keys, "key"));
  return std::nullopt;
}

}  // namespace knanim
