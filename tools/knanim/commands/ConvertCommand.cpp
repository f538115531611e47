#include "knanim/commands/Commands.h"
#include "knanim/playing/SkinBaking.h"
#include "knanim/saving/SceneSaving.h"
#include "knanim/scene/HungCurves.h"
#include "knanim/scene/SceneParts.h"
#include "knanim/support/Console.h"
#include "knanim/support/Text.h"

#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace knanim {
namespace {

struct Counts {
  std::size_t trees = 0;
  std::size_t curves = 0;
  std::size_t clips = 0;
};

/// What hangs on the nodes of a scene, and how many clips there are.
Counts countAnimations(AnimatedScene const& scene) {
  Counts counts;
  HungCurves const found = findCurves(findParts(scene.root()).all);
  counts.curves = found.curves.size() + found.others;
  for (osg::NodePtr const& node : findParts(scene.root()).all) {
    std::vector<osg::AnimNodePtr> trees;
    osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(node);
    if (attachment.isAlive()) attachment->getTopLevelAnimations(trees, true);
    counts.trees += trees.size();
  }
  counts.clips = knAnimManager::getClipNodes().size();
  return counts;
}

std::optional<Failure> check(ConvertOptions const& options) {
  ExportOptions const& wanted = options.exporting;
  bool const isPrecise =
      std::isfinite(wanted.degrees) && wanted.degrees > 0 && std::isfinite(wanted.share) && wanted.share > 0;
  if (!isPrecise)
    return Failure{ExitCode::Usage, "--rotation-error and --value-error must be finite and above 0"};
  ExportOptions const usual;
  bool const isSampling = wanted.degrees != usual.degrees || wanted.share != usual.share;
  if (isSampling && sceneForm(options.out) == SceneForm::Scene)
    return Failure{ExitCode::Usage, "--rotation-error and --value-error are for .gltf and .glb files"};
  if (!options.object.empty() && sceneForm(options.out) == SceneForm::Gltf)
    return Failure{ExitCode::Usage, "the animations of one object go to .osb or .json files"};
  if (!options.object.empty() && options.bakeSkins)
    return Failure{ExitCode::Usage, "--bake-skins cannot be combined with --object"};
  if (auto failure = checkRate(options.framesPerSecond)) return failure;
  return checkSceneOutput(options.out, {&options.model, 1});
}

std::optional<Failure> bake(LoadedScene& loaded, ConvertOptions const& options, Terminal terminal) {
  auto const span = timeSpan(loaded.model());
  if (!span) return Failure{ExitCode::NoAnimation, "there is no animation to bake"};
  auto const frames = frameRange(*span, options.framesPerSecond, std::nullopt, std::nullopt);
  if (auto const* failure = std::get_if<Failure>(&frames)) return *failure;
  Playback playback(std::get<FrameRange>(frames));
  return bakeSkins(loaded.model(), loaded.content(), loaded.scene(), std::get<FrameRange>(frames), playback,
                   terminal);
}

void describe(LoadedScene const& loaded, std::FILE* output) {
  std::fprintf(output, "%s\n", loaded.name().c_str());
  printRow(output, "nodes",
           counted(loaded.model().nodes.size(), "node") + ", " +
               counted(loaded.scene().meshes().size(), "mesh", "meshes"));
  printRow(output, "animations", grouped(loaded.model().summary.animations.size()));
}

}  // namespace

ExitCode convert(ConvertOptions const& options, Terminal terminal) {
  if (auto const failure = check(options)) return report(*failure, terminal);
  auto const opened = LoadedScene::load(
      {.model = options.model, .animation = options.animation, .tangents = options.tangents}, terminal);
  if (auto const* failure = std::get_if<Failure>(&opened)) return report(*failure, terminal);
  LoadedScene& loaded = *std::get<0>(opened);
  if (options.bakeSkins) {
    if (auto const failure = bake(loaded, options, terminal)) return report(*failure, terminal);
  }
  HeldOutput held(terminal);
  describe(loaded, held.terminal().output);
  auto const failure = options.object.empty()
                           ? saveScene(loaded, options.out, options.exporting, held.terminal())
                           : saveObject(loaded, options.object, options.out, held.terminal());
  if (failure) return report(*failure, terminal);
  held.release();
  return ExitCode::Ok;
}

ExitCode convertXml(ConvertXmlOptions const& options, Terminal terminal) {
  std::array<std::string, 2> const inputs = {options.model, options.xml};
  if (auto const failure = checkSceneOutput(options.out, inputs)) return report(*failure, terminal);
  if (options.framesPerSecond && !(std::isfinite(*options.framesPerSecond) && *options.framesPerSecond > 0))
    return report({ExitCode::Usage, "--fps must be finite and above 0"}, terminal);
  std::ifstream stream(options.xml, std::ios::binary);
  std::string const text{std::istreambuf_iterator<char>(stream), {}};
  if (!stream.is_open() || stream.bad())
    return report(
        {ExitCode::FileUnreadable, "cannot read " + printable(options.xml) + ": " + std::strerror(errno)},
        terminal);
  if (std::size_t const first = text.find_first_not_of("\xEF\xBB\xBF \t\r\n");
      first == std::string::npos || text[first] != '<')
    return report({ExitCode::NotAModel, printable(options.xml) + " is not an XML file"}, terminal);
  auto const opened = LoadedScene::load({options.model, ""}, terminal);
  if (auto const* failure = std::get_if<Failure>(&opened)) return report(*failure, terminal);
  LoadedScene& loaded = *std::get<0>(opened);
  if (options.framesPerSecond) knAnimManager::the()->setFPS(*options.framesPerSecond);
  Counts const before = countAnimations(loaded.scene());
  knAnimManager::the()->convertXMLAnimations(loaded.scene().root(), text);
  Counts const after = countAnimations(loaded.scene());
  if (after.trees == before.trees && after.clips == before.clips)
    return report({ExitCode::NotAModel,
                   "nothing in " + printable(options.xml) + " belongs to a node of " + loaded.name()},
                  terminal);
  std::fprintf(terminal.output, "%s\n", loaded.name().c_str());
  auto const row = [&](char const* label, std::size_t was, std::size_t is) {
    printRow(terminal.output, label, grouped(was) + " before, " + grouped(is) + " after");
  };
  row("animations", before.trees, after.trees);
  row("curves", before.curves, after.curves);
  row("clips", before.clips, after.clips);
  loaded.scene().readCurves(loaded.model());
  if (options.out.empty()) return ExitCode::Ok;
  auto const failure = saveScene(loaded, options.out, {}, terminal);
  return failure ? report(*failure, terminal) : ExitCode::Ok;
}

}  // namespace knanim
