#include "knAnimEvaluator.h"
#include "knanim/commands/Commands.h"
#include "knanim/pictures/PlotPicture.h"
#include "knanim/pictures/StillPicture.h"
#include "knanim/saving/SceneSaving.h"
#include "knanim/scene/ChannelPath.h"
#include "knanim/scene/LoadedScene.h"
#include "knanim/support/Console.h"
#include "knanim/support/OutputFile.h"
#include "knanim/support/Text.h"
#include "model/fields/ChangeList.h"

#include <charconv>
#include <cmath>
#include <filesystem>

namespace knanim {
namespace {

/// A finite float that is all of the text.
std::variant<float, Failure> readValue(std::string_view text) {
  float value = 0;
  auto const read = std::from_chars(text.data(), text.data() + text.size(), value);
  std::string const shown = '"' + printable(text) + '"';
  if (read.ec == std::errc::invalid_argument || read.ptr != text.data() + text.size())
    return Failure{ExitCode::Usage, shown + " is not a number"};
  if (read.ec == std::errc::result_out_of_range)
    return Failure{ExitCode::Usage, shown + " is not a number that a channel can hold"};
  if (!std::isfinite(value)) return Failure{ExitCode::Usage, "the value must be finite, not " + shown};
  return value;
}

std::optional<Failure> checkImage(SetOptions const& options) {
  if (options.image.empty()) return std::nullopt;
  if (!pictureFormat(options.image)) {
    return Failure{ExitCode::Usage,
                   "the name of a picture ends in .png or .svg, not " + printable(options.image)};
  }
  return checkOutput(options.image, {&options.scene.model, 1});
}

/// "Transform3D of node "Hips": translation", with the fields that the mask names.
std::string describe(osg::ChangeList::Entry const& entry, FoundChannel const& found) {
  osg::FieldContainerType const* const type = entry.container.findType();
  if (type == nullptr) return "a container that is gone";
  osg::UInt32 const id = entry.container.getContainerId();
  std::string const owner = (found.object->isMaterial ? "material \"" : "node \"") + found.object->name + '"';
  bool const isOwner = id == found.object->container.getContainerId();
  bool const isPart = id == found.channel.containerId || id == found.channel.parentId;
  std::string const who = isOwner  ? owner
                          : isPart ? std::string(type->getCName()) + " of " + owner
                                   : type->getCName();
  std::string fields;
  osg::UInt32 count = 0;
  for (osg::FieldDescription const& field : type->getFieldDescriptions()) {
    if (!entry.mask.test(field.getFieldId())) continue;
    fields += (count++ == 0 ? "" : ", ") + field.getName().str();
  }
  return who + ": " + (count == type->getNumFieldDescs() ? "all fields" : count == 0 ? "no field" : fields);
}

struct Change {
  float before = 0;
  float after = 0;
  std::vector<std::string> announced;
};

Change write(FoundChannel const& found, float value) {
  Change change;
  change.before = found.read();
  osg::ChangeList changes;
  osg::ChangeList* const former = osg::WinThreadBase::getCurrentChangeList();
  osg::WinThreadBase::setCurrentChangeList(&changes);
  knAnimEvaluator::the()->setOSGFieldValue(found.channel, value, true);
  osg::WinThreadBase::setCurrentChangeList(former);
  change.after = found.read();
  for (osg::ChangeList::Entry const& entry : changes.getEntries())
    change.announced.push_back(describe(entry, found));
  return change;
}

std::string note(Change const& change, float value) {
  bool const isSame = change.before == change.after;
  if (isSame && change.before == value) return "nothing changed: the channel already has that value";
  if (isSame) return "nothing changed: the channel does not take this value";
  if (change.after != value) return "the channel reads back a different value than was written";
  return "";
}

void print(FoundChannel const& found, Change const& change, float value, std::FILE* output) {
  printRow(output, "channel", printable(found.label()));
  printRow(output, "before", shortest(change.before));
  printRow(output, "written", shortest(value));
  printRow(output, "after", shortest(change.after));
  if (change.announced.empty()) printRow(output, "announced", "nothing");
  for (std::size_t i = 0; i < change.announced.size(); ++i)
    printRow(output, i == 0 ? "announced" : "", printable(change.announced[i]));
  if (std::string const text = note(change, value); !text.empty()) printRow(output, "note", text);
}

}  // namespace

ExitCode get(GetOptions const& options, Terminal terminal) {
  auto const loaded = LoadedScene::load(options.scene, terminal);
  if (auto const* failure = std::get_if<Failure>(&loaded)) return report(*failure, terminal);
  SceneObjects const objects(std::get<std::unique_ptr<LoadedScene>>(loaded)->scene());
  auto const found = findChannel(objects, options.path);
  if (auto const* failure = std::get_if<Failure>(&found)) return report(*failure, terminal);
  std::fprintf(terminal.output, "%s\n", shortest(std::get<FoundChannel>(found).read()).c_str());
  return ExitCode::Ok;
}

ExitCode set(SetOptions const& options, Terminal terminal) {
  auto const value = readValue(options.value);
  if (auto const* failure = std::get_if<Failure>(&value)) return report(*failure, terminal);
  if (auto const failure = checkImage(options)) return report(*failure, terminal);
  if (auto const failure = checkSceneOutput(options.out, {&options.scene.model, 1}))
    return report(*failure, terminal);
  auto const loaded = LoadedScene::load(options.scene, terminal);
  if (auto const* failure = std::get_if<Failure>(&loaded)) return report(*failure, terminal);
  LoadedScene& scene = *std::get<std::unique_ptr<LoadedScene>>(loaded);
  SceneObjects const objects(scene.scene());
  auto const found = findChannel(objects, options.path);
  if (auto const* failure = std::get_if<Failure>(&found)) return report(*failure, terminal);
  FoundChannel const& channel = std::get<FoundChannel>(found);

  Change const change = write(channel, std::get<float>(value));
  std::fprintf(terminal.output, "%s\n", scene.title().c_str());
  print(channel, change, std::get<float>(value), terminal.output);
  if (!options.out.empty()) {
    if (auto const failure = saveScene(scene, options.out, {}, terminal)) return report(*failure, terminal);
  }
  if (options.image.empty()) return ExitCode::Ok;
  std::fflush(terminal.output);
  if (channel.channel.fieldName == "visible") warn("hidden nodes are drawn too", terminal);
  std::string const subtitle =
      channel.label() + " from " + shortest(change.before) + " to " + shortest(change.after);
  if (auto const failure = drawStill(scene, options.image, "", subtitle, terminal))
    return report(*failure, terminal);
  printRow(terminal.output, "file", printable(options.image));
  return ExitCode::Ok;
}

}  // namespace knanim
