#include "knanim/commands/Commands.h"
#include "knanim/editing/SceneEditing.h"
#include "knanim/import/StoredModel.h"
#include "knanim/saving/SceneSaving.h"
#include "knanim/scene/ChannelChoice.h"
#include "knanim/scene/SceneObjects.h"
#include "knanim/support/Console.h"
#include "knanim/support/LogCapture.h"
#include "knanim/support/NearNames.h"
#include "knanim/support/Text.h"
#include "model/geometry/Geometry.h"

#include <algorithm>
#include <array>
#include <filesystem>

namespace knanim {
namespace {

constexpr std::size_t kMostDetails = 20;

/// What the rule of pasting compares: the type of a material, or of a node's core.
std::string kindOf(osg::AttachmentContainerPtr const& container) {
  auto const node = osg::dcast<osg::NodePtr>(container);
  if (node == nullptr) return container.findType()->getCName();
  osg::NodeCorePtr const& core = node->getCore();
  if (!core.isAlive()) return "node without a core";
  auto const* const geometry = osg::dcastTo<osg::Geometry>(core);
  std::string kind = core.findType()->getCName();
  if (geometry != nullptr && geometry->getMaterial().isAlive())
    kind += std::string(" with a ") + geometry->getMaterial().findType()->getCName();
  return kind;
}

bool isWanted(SceneObject const& object, std::vector<std::string> const& patterns) {
  return std::any_of(patterns.begin(), patterns.end(), [&object](std::string const& pattern) {
    return fits(pattern, object.name) || object.path == pattern;
  });
}

void printDetails(std::vector<std::string> const& lines, bool all, std::FILE* output) {
  std::size_t const count = all ? lines.size() : std::min(lines.size(), kMostDetails);
  for (std::size_t i = 0; i < count; ++i) printRow(output, "", lines[i]);
  if (count < lines.size())
    printRow(output, "", "... and " + grouped(lines.size() - count) + " more, listed with --all");
}

/// The animations of one object, onto the objects that were named.
EditResult loadObject(LoadedScene& loaded, LoadOntoOptions const& options, std::string const& kind) {
  SceneObjects const objects(loaded.scene());
  EditReport result;
  std::size_t fitted = 0;
  std::size_t tried = 0;
  for (SceneObject const& object : objects.all()) {
    if (!isWanted(object, options.objects)) continue;
    ++tried;
    LogCapture const log;
    if (knAnimManager::the()->loadAnimationsTo(object.container, options.file.c_str(), true)) {
      ++fitted;
      continue;
    }
    bool const isOtherKind = kindOf(object.container) != kind;
    result.details.push_back(
        printable(object.path) + ": " +
        (isOtherKind ? "is a " + kindOf(object.container) + ", but the file holds animations of a " + kind
                     : log.reason("refused")));
  }
  if (tried == 0)
    return Failure{ExitCode::Usage, "no node or material matches " + printable(options.objects.front()) +
                                        nearClause(nearNames(options.objects.front(), objects.names()))};
  result.line = counted(fitted, "object") + " of " + grouped(tried) + " took the animations of a " + kind;
  loaded.scene().readCurves(loaded.model());
  if (fitted > 0) return result;
  std::string const why = result.details.empty() ? "" : ": " + result.details.front();
  return Failure{ExitCode::Usage, "no object takes the animations" + why};
}

/// The type of the object whose animations a file holds; empty for a file with nodes.
std::variant<std::string, Failure> kindOfFile(std::string const& path, Terminal terminal) {
  if (!isStoredModel(path)) return std::string();
  auto const opened = StoredModel::open(path);
  if (auto const* failure = std::get_if<Failure>(&opened)) return *failure;
  auto const& stored = std::get<StoredModel>(opened);
  std::string kind = stored.objectKind();
  // A file with nodes is opened once more, as a model, and its warnings are printed then.
  if (!kind.empty()) warn(stored.model().warnings, terminal);
  return kind;
}

EditResult load(LoadedScene& loaded, LoadOntoOptions const& options, Terminal terminal) {
  auto const kind = kindOfFile(options.file, terminal);
  if (auto const* failure = std::get_if<Failure>(&kind)) return *failure;
  bool const isObject = !std::get<std::string>(kind).empty();
  if (isObject && options.objects.empty())
    return Failure{ExitCode::Usage, printable(options.file) + " holds the animations of one " +
                                        std::get<std::string>(kind) +
                                        ", without its name: give the target with --object"};
  if (!isObject && !options.objects.empty())
    return Failure{
        ExitCode::Usage,
        "--object is for files with the animations of one object; for this file, choose nodes with --only"};
  if (isObject) return loadObject(loaded, options, std::get<std::string>(kind));
  PasteOptions paste = options.paste;
  paste.source = options.file;
  return SceneEditing(loaded).paste(paste, terminal);
}

}  // namespace

ExitCode loadOnto(LoadOntoOptions const& options, Terminal terminal) {
  std::array<std::string, 3> const inputs = {options.model, options.file, options.paste.map};
  if (auto const failure = checkSceneOutput(options.out, inputs)) return report(*failure, terminal);
  auto const opened = LoadedScene::load({options.model, ""}, terminal);
  if (auto const* failure = std::get_if<Failure>(&opened)) return report(*failure, terminal);
  LoadedScene& loaded = *std::get<0>(opened);
  EditResult const result = load(loaded, options, terminal);
  if (auto const* failure = std::get_if<Failure>(&result)) return report(*failure, terminal);
  std::fprintf(terminal.output, "%s\n", loaded.name().c_str());
  printRow(terminal.output, "loaded", std::get<EditReport>(result).line);
  printDetails(std::get<EditReport>(result).details, options.all, terminal.output);
  if (options.out.empty()) return ExitCode::Ok;
  auto const failure = saveScene(loaded, options.out, {}, terminal);
  return failure ? report(*failure, terminal) : ExitCode::Ok;
}

}  // namespace knanim
