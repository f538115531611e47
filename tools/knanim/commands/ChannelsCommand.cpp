#include "knanim/commands/Commands.h"
#include "knanim/scene/ChannelPath.h"
#include "knanim/scene/LoadedScene.h"
#include "knanim/support/Console.h"
#include "knanim/support/CsvTable.h"
#include "knanim/support/JsonText.h"
#include "knanim/support/NearNames.h"
#include "knanim/support/OutputFile.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <filesystem>
#include <optional>

namespace knanim {
namespace {

using Channel = knAnimManager::knOSGChannelData;
using Objects = std::vector<SceneObject const*>;

constexpr std::size_t kMostListedObjects = 40;
constexpr std::size_t kWidestName = 44;

/// Rows of texts below each other, all but the last column padded.
class TextTable {
 public:
  void add(std::vector<std::string> row) { _rows.push_back(std::move(row)); }

  void print(std::FILE* output) const {
    std::vector<std::size_t> widths;
    for (auto const& row : _rows) {
      widths.resize(std::max(widths.size(), row.size()));
      for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], widthInColumns(row[i]));
    }
    for (auto const& row : _rows) {
      std::string line = " ";
      for (std::size_t i = 0; i < row.size(); ++i)
        line += ' ' + (i + 1 < row.size() ? padded(row[i], widths[i]) + ' ' : row[i]);
      std::fprintf(output, "%s\n", line.c_str());
    }
  }

 private:
  std::vector<std::vector<std::string>> _rows;
};

float valueOf(Channel const& channel) { return knAnimManager::the()->getOSGFieldValue(channel); }

std::string describe(ChannelCurves const& on) {
  if (on.curves == 0) return "-";
  std::string const keys = counted(on.keys, "key");
  return on.curves == 1 ? keys : counted(on.curves, "curve") + ", " + keys;
}

void printChannels(SceneObjects const& objects, SceneObject const& object, std::FILE* output) {
  std::fprintf(output, "%s  (%s)\n", printable(object.path).c_str(), object.kind.c_str());
  TextTable table;
  table.add({"channel", "field", "index", "value", "curve"});
  for (Channel const& channel : object.channels) {
    table.add({printable(channelLabel(channel)), printable(channel.fieldName),
               std::to_string(channel.valueIndex), shortest(valueOf(channel)),
               describe(objects.curvesOn(channel))});
  }
  table.print(output);
}

std::size_t countAnimated(SceneObjects const& objects, SceneObject const& object) {
  auto const isAnimated = [&](Channel const& channel) { return objects.curvesOn(channel).curves != 0; };
  return static_cast<std::size_t>(std::count_if(object.channels.begin(), object.channels.end(), isAnimated));
}

void printOverview(SceneObjects const& objects, bool all, std::FILE* output) {
  std::size_t const total = objects.all().size();
  std::size_t const shown = all ? total : std::min(total, kMostListedObjects);
  TextTable table;
  table.add({"node", "kind", "channels", "with curves"});
  std::size_t materials = 0;
  std::size_t channels = 0;
  std::size_t animated = 0;
  for (std::size_t i = 0; i < total; ++i) {
    SceneObject const& object = objects.all()[i];
    std::size_t const moving = countAnimated(objects, object);
    materials += object.isMaterial ? 1U : 0U;
    channels += object.channels.size();
    animated += moving;
    if (i >= shown) continue;
    std::size_t const indent = std::min(2 * object.level, kWidestName / 2);
    table.add({std::string(indent, ' ') + shortened(printable(object.name), kWidestName - indent),
               object.kind, grouped(object.channels.size()), moving == 0 ? "-" : grouped(moving)});
  }
  table.print(output);
  if (shown < total)
    std::fprintf(output, "  ... and %s more, listed with --all\n", grouped(total - shown).c_str());
  std::fprintf(output, "  %s, %s: %s, %s with curves\n", counted(total - materials, "node").c_str(),
               counted(materials, "material").c_str(), counted(channels, "channel").c_str(),
               grouped(animated).c_str());
}

void printJson(std::string const& model, LoadedScene const& scene, SceneObjects const& objects,
               Objects const& chosen, std::FILE* output) {
  JsonText json;
  json.beginObject().add("model", model).add("seconds", scene.time());
  json.name("objects").beginList();
  for (SceneObject const* object : chosen) {
    json.beginObject().add("path", object->path).add("name", object->name).add("kind", object->kind);
    json.name("channels").beginList();
    for (Channel const& channel : object->channels) {
      ChannelCurves const on = objects.curvesOn(channel);
      json.beginObject().add("name", channelLabel(channel)).add("field", channel.fieldName);
      json.add("index", channel.valueIndex).add("value", valueOf(channel));
      json.add("curves", on.curves).add("keys", on.keys).endObject();
    }
    json.endList().endObject();
  }
  json.endList().endObject().print(output);
}

std::optional<Failure> writeTable(std::string const& path, SceneObjects const& objects,
                                  Objects const& chosen) {
  OutputFile output(path);
  CsvTable table(output);
  for (char const* title : {"path", "kind", "channel", "suffix", "field", "index", "value", "curves", "keys"})
    table.add(std::string_view(title));
  table.endRow();
  for (SceneObject const* object : chosen) {
    for (Channel const& channel : object->channels) {
      ChannelCurves const on = objects.curvesOn(channel);
      table.add(object->path).add(object->kind).add(channel.channelName).add(channel.suffix);
      table.add(channel.fieldName).add(static_cast<long long>(channel.valueIndex)).add(valueOf(channel));
      table.add(static_cast<long long>(on.curves)).add(static_cast<long long>(on.keys));
      if (!table.endRow()) break;
    }
  }
  if (!output.commit()) return Failure{ExitCode::OutputUnwritable, output.message()};
  return std::nullopt;
}

std::variant<Objects, Failure> chooseObjects(SceneObjects const& objects, std::string const& name) {
  if (!name.empty()) {
    Objects found = objects.find(name);
    if (!found.empty()) return found;
    return Failure{ExitCode::Usage, "no node or material \"" + printable(name) + "\" is in this model" +
                                        insteadClause(name, objects.names())};
  }
  Objects all;
  for (SceneObject const& object : objects.all()) all.push_back(&object);
  return all;
}

}  // namespace

ExitCode channels(ChannelsOptions const& options, Terminal terminal) {
  if (auto const failure = checkOutput(options.csv, {&options.scene.model, 1}))
    return report(*failure, terminal);
  if (options.json && isStandardOutput(options.csv))
    return report({ExitCode::Usage, "--json and --csv - would both print to standard output"}, terminal);
  auto const loaded = LoadedScene::load(options.scene, terminal);
  if (auto const* failure = std::get_if<Failure>(&loaded)) return report(*failure, terminal);
  LoadedScene const& scene = *std::get<std::unique_ptr<LoadedScene>>(loaded);
  SceneObjects const objects(scene.scene());
  auto const chosen = chooseObjects(objects, options.node);
  if (auto const* failure = std::get_if<Failure>(&chosen)) return report(*failure, terminal);
  if (!options.csv.empty()) {
    auto const failure = writeTable(options.csv, objects, std::get<Objects>(chosen));
    if (failure) return report(*failure, terminal);
    if (isStandardOutput(options.csv)) return ExitCode::Ok;
  }
  if (options.json) {
    printJson(options.scene.model, scene, objects, std::get<Objects>(chosen), terminal.output);
    return ExitCode::Ok;
  }
  std::fprintf(terminal.output, "%s\n", scene.title().c_str());
  if (options.node.empty()) {
    printOverview(objects, options.all, terminal.output);
  } else {
    for (SceneObject const* object : std::get<Objects>(chosen))
      printChannels(objects, *object, terminal.output);
  }
  if (!options.csv.empty()) printRow(terminal.output, "file", printable(options.csv));
  return ExitCode::Ok;
}

}  // namespace knanim
