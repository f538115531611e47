#include "knanim/commands/Commands.h"
#include "knanim/commands/InfoJson.h"
#include "knanim/scene/SceneSurvey.h"
#include "knanim/support/Console.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <array>

namespace knanim {
namespace {

constexpr std::size_t kMostListedNodes = 40;
constexpr std::size_t kMostNames = 8;
constexpr std::size_t kWidestName = 44;
constexpr std::size_t kWidestTags = 60;

std::string fileSize(std::uintmax_t bytes) {
  constexpr std::array<char const*, 4> kUnits = {"kB", "MB", "GB", "TB"};
  if (bytes < 1000) return counted(bytes, "byte");
  double size = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  for (; size >= 1000 && unit + 1 < kUnits.size(); ++unit) size /= 1000;
  return brief(size, 3) + ' ' + kUnits[unit];
}

/// "a, b and c" without the empty parts; "none" when all are.
std::string joined(std::vector<std::string> const& parts) {
  std::string result;
  for (std::string const& part : parts) {
    if (!part.empty()) result += (result.empty() ? "" : ", ") + part;
  }
  return result.empty() ? "none" : result;
}

std::string orNothing(std::size_t count, char const* singular, char const* plural = "") {
  return count == 0 ? "" : counted(count, singular, plural);
}

unsigned long long number(osg::UInt64 count) { return count; }

void printModel(ImportedModel const& model, std::string const& path, std::FILE* output) {
  ModelSummary const& summary = model.summary;
  std::size_t levels = 0;
  for (ImportedNode const& node : model.nodes) levels = std::max(levels, node.depth + 1);
  std::string const version = summary.formatVersion.empty() ? "" : " (version " + summary.formatVersion + ')';

  std::fprintf(output, "%s\n", printable(path).c_str());
  printRow(output, "format", summary.importer + version + ", " + fileSize(summary.fileBytes));
  printRow(output, "nodes", counted(model.nodes.size(), "node") + " on " + counted(levels, "level"));
  printRow(output, "meshes",
           joined({orNothing(summary.meshes, "mesh", "meshes"),
                   orNothing(summary.vertices, "vertex", "vertices"), orNothing(summary.faces, "face"),
                   orNothing(summary.bones, "bone"), orNothing(summary.morphTargets, "morph target")}));
  printRow(
      output, "materials",
      joined({orNothing(summary.materials, "material"), orNothing(summary.textures, "embedded texture")}));
  printRow(output, "cameras", joined({orNothing(summary.cameras, "camera")}));
  printRow(output, "lights", joined({orNothing(summary.lights, "light")}));
}

std::string describeKeys(KeyCounts const& keys) {
  if (keys.total() == 0) return "no keys";
  return counted(keys.total(), "key") + " (" +
         joined({orNothing(keys.translation, "translation", "translation"),
                 orNothing(keys.rotation, "rotation", "rotation"), orNothing(keys.scale, "scale", "scale")}) +
         ')';
}

std::string describeTime(AnimationSummary const& animation) {
  double const begin = animation.beginSeconds;
  double const end = animation.durationSeconds;
  std::string const length = brief(end - begin, 6) + " s";
  return begin == 0 ? length : length + ", from " + brief(begin, 6) + " s to " + brief(end, 6) + " s";
}

void printAnimations(ModelSummary const& summary, std::FILE* output) {
  if (summary.animations.empty()) return printRow(output, "animations", "none");
  printRow(output, "animations", grouped(summary.animations.size()));
  for (std::size_t i = 0; i < summary.animations.size(); ++i) {
    AnimationSummary const& animation = summary.animations[i];
    std::fprintf(output, "%5zu  \"%s\"\n", i + 1, animation.name.c_str());
    std::fprintf(output, "         %s, %s ticks per second%s\n", describeTime(animation).c_str(),
                 brief(animation.ticksPerSecond, 6).c_str(),
                 animation.ticksAreGuessed ? " (not in the file)" : "");
    std::fprintf(output, "         %s, %s\n", counted(animation.channels, "channel").c_str(),
                 describeKeys(animation.keys).c_str());
    if (animation.morphChannels != 0) {
      std::fprintf(output, "         %s, %s of weights\n",
                   counted(animation.morphChannels, "morph target channel").c_str(),
                   counted(animation.morphKeys, "key").c_str());
    }
    if (animation.meshChannels != 0) {
      std::fprintf(output, "         %s, not played yet\n",
                   counted(animation.meshChannels, "mesh channel").c_str());
    }
  }
}

/// An animated node as one line of the list.
struct ListedNode {
  std::size_t node = 0;
  std::size_t level = 0;  ///< how many animated nodes are above it
  KeyCounts keys;
};

std::vector<ListedNode> animatedNodes(ImportedModel const& model) {
  std::vector<KeyCounts> keys(model.nodes.size());
  for (ImportedCurve const& curve : model.curves) {
    KeyCounts& counts = keys[curve.node];
    std::size_t const count = curve.keys.size();
    (curve.kind == ChannelKind::Translation ? counts.translation
     : curve.kind == ChannelKind::Rotation  ? counts.rotation
                                            : counts.scale) = count;
  }
  std::vector<ListedNode> listed;
  std::vector<std::size_t> animatedAbove(model.nodes.size(), 0);
  for (std::size_t i = 0; i < model.nodes.size(); ++i) {
    std::size_t const parent = model.nodes[i].parent;
    if (parent != ImportedNode::NoParent) {
      animatedAbove[i] = animatedAbove[parent] + (keys[parent].total() != 0 ? 1U : 0U);
    }
    if (keys[i].total() != 0) listed.push_back({i, animatedAbove[i], keys[i]});
  }
  return listed;
}

void printAnimatedNodes(ImportedModel const& model, bool all, std::FILE* output) {
  std::vector<ListedNode> const listed = animatedNodes(model);
  std::size_t const shown = all ? listed.size() : std::min(listed.size(), kMostListedNodes);
  std::string const title = "keys of animation " + std::to_string(model.animation + 1);
  std::size_t width = title.size();
  for (std::size_t i = 0; i < shown; ++i) {
    width = std::max(width, 2 * listed[i].level + widthInColumns(model.nodes[listed[i].node].name));
  }
  width = std::min(width, kWidestName);
  std::fprintf(output, "\n  %s  translation  rotation     scale\n", padded(title, width).c_str());
  for (std::size_t i = 0; i < shown; ++i) {
    ListedNode const& node = listed[i];
    std::string const indent(std::min(2 * node.level, kWidestName / 2), ' ');
    std::string const name = indent + shortened(model.nodes[node.node].name, width - indent.size());
    std::fprintf(output, "  %s  %11zu  %8zu  %8zu\n", padded(name, width).c_str(), node.keys.translation,
                 node.keys.rotation, node.keys.scale);
  }
  if (shown < listed.size()) {
    std::fprintf(output, "  ... and %s, listed with --all\n",
                 counted(listed.size() - shown, "more node", "more nodes").c_str());
  }
}

/// What becomes of the morph channels of the animation.
void printCaches(ImportedModel const& model, ModelContent const& content, bool all, std::FILE* output) {
  std::size_t const shown = all ? model.morphs.size() : std::min(model.morphs.size(), kMostListedNodes);
  std::size_t width = 4;
  for (std::size_t i = 0; i < shown; ++i)
    width = std::max(width, widthInColumns(model.nodes[model.morphs[i].node].name));
  width = std::min(width, kWidestName);
  std::size_t shapes = 0;
  for (ImportedMorph const& morph : model.morphs) shapes += morph.keys.size();
  std::fprintf(output, "\n  %s, %s\n", counted(model.morphs.size(), "shape cache").c_str(),
               counted(shapes, "shape").c_str());
  std::fprintf(output, "  %s      targets    shapes  vertices\n", padded("", width).c_str());
  for (std::size_t i = 0; i < shown; ++i) {
    ImportedMorph const& morph = model.morphs[i];
    std::fprintf(output, "  %s  %11zu  %8zu  %8zu\n",
                 padded(shortened(model.nodes[morph.node].name, width), width).c_str(),
                 morph.keys.front().weights.size(), morph.keys.size(),
                 content.meshes[morph.mesh].positions.size());
  }
  if (shown < model.morphs.size()) {
    std::fprintf(output, "  ... and %s, listed with --all\n",
                 counted(model.morphs.size() - shown, "more cache", "more caches").c_str());
  }
}

void printClips(std::vector<SurveyedClip> const& clips, double framesPerSecond, bool all, std::FILE* output) {
  std::size_t const shown = all ? clips.size() : std::min(clips.size(), kMostListedNodes);
  std::size_t width = 18;
  for (std::size_t i = 0; i < shown; ++i) width = std::max(width, widthInColumns(clips[i].name));
  width = std::min(width, kWidestName);
  std::fprintf(output, "\n  %s    curves      keys    values  seconds           frames, %s per second\n",
               padded("clips of the scene", width).c_str(), brief(framesPerSecond, 6).c_str());
  for (std::size_t i = 0; i < shown; ++i) {
    SurveyedClip const& clip = clips[i];
    std::string const seconds = brief(clip.info.start, 6) + " to " + brief(clip.info.end, 6);
    std::fprintf(output, "  %s  %8llu  %8llu  %8llu  %s  %d to %d\n",
                 padded(shortened(clip.name, width), width).c_str(), number(clip.info.curves),
                 number(clip.info.controlPoints), number(clip.info.values), padded(seconds, 16).c_str(),
                 clip.firstFrame, clip.lastFrame);
  }
  if (shown < clips.size()) {
    std::fprintf(output, "  ... and %s, listed with --all\n",
                 counted(clips.size() - shown, "more clip", "more clips").c_str());
  }
}

void printNames(std::vector<SurveyedName> const& names, bool all, std::FILE* output) {
  std::size_t const shown = all ? names.size() : std::min(names.size(), kMostNames);
  std::vector<std::string> parts;
  for (std::size_t i = 0; i < shown; ++i) {
    parts.push_back('"' + names[i].name + "\" (" +
                    joined({orNothing(names[i].blocks, "block"), orNothing(names[i].clips, "clip")}) + ')');
  }
  if (shown < names.size()) parts.push_back("... and " + grouped(names.size() - shown) + " more with --all");
  std::fprintf(output, "\n");
  printRow(output, "names", joined(parts));
}

void printObjects(std::vector<SurveyedObject> const& objects, char const* title, bool all,
                  std::FILE* output) {
  std::size_t const shown = all ? objects.size() : std::min(objects.size(), kMostListedNodes);
  std::size_t width = widthInColumns(title);
  bool haveTags = false;
  for (std::size_t i = 0; i < shown; ++i) {
    width = std::max(width, widthInColumns(objects[i].name));
    haveTags = haveTags || !objects[i].tags.empty();
  }
  width = std::min(width, kWidestName);
  std::fprintf(output, "\n  %s   animations    curves      keys%s\n", padded(title, width).c_str(),
               haveTags ? "  tags" : "");
  for (std::size_t i = 0; i < shown; ++i) {
    SurveyedObject const& object = objects[i];
    std::string const tags = object.tags.empty() ? "" : "  " + joined(object.tags);
    std::fprintf(output, "  %s  %11zu  %8llu  %8llu%s\n",
                 padded(shortened(object.name, width), width).c_str(), object.animations,
                 number(object.curves), number(object.keys),
                 (all ? tags : shortened(tags, kWidestTags)).c_str());
  }
  if (shown < objects.size()) {
    std::fprintf(output, "  ... and %s more, listed with --all\n", grouped(objects.size() - shown).c_str());
  }
}

/// Builds the scene, and prints what the library tells about it.
void printScene(ImportedModel const& model, ModelFile const& file, bool all, Terminal terminal) {
  auto const loaded = file.loadContent();
  if (auto const* failure = std::get_if<Failure>(&loaded)) return warn(failure->message, terminal);
  auto const& content = std::get<ModelContent>(loaded);
  if (!model.morphs.empty()) printCaches(model, content, all, terminal.output);
  AnimatedScene scene(model, content);
  warn(completeScene(scene, model, file), terminal);
  double const rate = framesPerSecond(model.summary.animations[model.animation]);
  SceneSurvey const survey = surveyScene(scene, rate);
  printClips(survey.clips, rate, all, terminal.output);
  printObjects(survey.nodes, "animated nodes", all, terminal.output);
  if (!survey.materials.empty()) printObjects(survey.materials, "animated materials", all, terminal.output);
  printNames(survey.names, all, terminal.output);
  if (survey.materials.empty()) printRow(terminal.output, "materials", "none animated");
}

}  // namespace

ExitCode info(InfoOptions const& options, Terminal terminal) {
  auto const opened = ModelFile::open(options.model);
  if (auto const* failure = std::get_if<Failure>(&opened)) return report(*failure, terminal);
  auto const& file = std::get<ModelFile>(opened);
  auto const animation = file.findAnimation(options.animation);
  auto const* const missing = std::get_if<Failure>(&animation);
  if (missing != nullptr && !options.animation.empty()) return report(*missing, terminal);

  if (options.json) {
    auto const* const index = std::get_if<std::size_t>(&animation);
    printInfoJson(file, options.model, index != nullptr ? std::optional(*index) : std::nullopt, terminal);
    return ExitCode::Ok;
  }
  printModel(file.model(), options.model, terminal.output);
  printAnimations(file.model().summary, terminal.output);
  if (missing != nullptr) {
    warn(file.model().warnings, terminal);
    return ExitCode::Ok;
  }
  auto const loaded = file.load(std::get<std::size_t>(animation));
  if (auto const* model = std::get_if<ImportedModel>(&loaded)) {
    if (!model->curves.empty()) printAnimatedNodes(*model, options.allNodes, terminal.output);
    printScene(*model, file, options.allNodes, terminal);
    std::fflush(terminal.output);
    warn(model->warnings, terminal);
  } else {
    warn(file.model().warnings, terminal);
    warn(std::get<Failure>(loaded).message, terminal);
  }
  return ExitCode::Ok;
}

}  // namespace knanim
