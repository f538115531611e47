#include "knanim/scene/ChannelPath.h"

#include "knanim/support/NearNames.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <optional>

namespace knanim {
namespace {

using Channel = knAnimManager::knOSGChannelData;

constexpr std::string_view kLetters = "XYZW";

std::string quoted(std::string_view text) { return '"' + printable(text) + '"'; }

Failure usage(std::string message) { return {ExitCode::Usage, std::move(message)}; }

/// "field.Letter" for a component of a field with several ones, else the field.
std::string fieldLabel(Channel const& channel, std::vector<Channel> const& siblings) {
  if (!channel.suffix.empty()) return channel.fieldName + '.' + channel.suffix;
  auto const ofField = std::count_if(siblings.begin(), siblings.end(), [&channel](Channel const& other) {
    return other.containerId == channel.containerId && other.fieldName == channel.fieldName;
  });
  bool const hasLetter = ofField > 1 && channel.valueIndex < kLetters.size();
  return hasLetter ? channel.fieldName + '.' + kLetters[channel.valueIndex] : channel.fieldName;
}

/// The channels of an object that a label means.
std::vector<Channel> channelsOf(SceneObject const& object, std::string_view label) {
  std::vector<Channel> found;
  for (Channel const& channel : object.channels) {
    if (channelLabel(channel) == label || fieldLabel(channel, object.channels) == label)
      found.push_back(channel);
  }
  return found;
}

/// There are channels of the name, but none of that component.
Failure wrongComponent(std::string const& where, std::string_view name, std::string_view component,
                       std::vector<std::string> const& labels) {
  std::string known;
  for (std::string const& label : labels) known += (known.empty() ? "" : ", ") + printable(label);
  if (component.empty()) return usage(where + ": " + quoted(name) + " needs a component: " + known);
  return usage(where + ": " + quoted(name) + " has no component " + quoted(component) + "; there is " +
               known);
}

/// Why none of the objects, which are of one name, has a channel of that label.
Failure whyNone(std::vector<SceneObject const*> const& objects, std::string_view label) {
  SceneObject const& first = *objects.front();
  std::string const where = (first.isMaterial ? "material " : "node ") + quoted(first.name);
  if (label.empty()) {
    return usage("the path names only the " + where + ": add a field and a component, as in " +
                 printable(first.name + '.' + channelLabel(first.channels.front())));
  }
  std::size_t const point = label.find('.');
  std::string_view const name = label.substr(0, point);
  std::vector<std::string> names;
  std::vector<std::string> labels;
  for (SceneObject const* object : objects) {
    for (Channel const& channel : object->channels) {
      names.push_back(channel.channelName);
      names.push_back(channel.fieldName);
      if (channel.channelName == name || channel.fieldName == name) labels.push_back(channelLabel(channel));
    }
  }
  if (labels.empty())
    return usage(where + " has no channel " + quoted(name) + nearClause(nearNames(name, names)));
  return wrongComponent(where, name, point == std::string_view::npos ? "" : label.substr(point + 1), labels);
}

Failure ambiguous(std::string const& path, std::vector<FoundChannel> const& found) {
  std::string text =
      quoted(path) + " is ambiguous: " + counted(found.size(), "channel") + " match. Give a longer path:";
  for (FoundChannel const& each : found)
    text += "\n  " + printable(each.object->path + '.' + channelLabel(each.channel)) + "  (" +
            each.object->kind + ')';
  return usage(text);
}

/// Nothing in the model is called as the path up to any of its points.
Failure unknownObject(SceneObjects const& objects, std::string const& path) {
  std::vector<std::string> const names = objects.names();
  std::vector<std::string> near;
  for (std::size_t end = 0; end != std::string::npos;) {
    end = path.find('.', end + 1);
    for (std::string& name : nearNames(std::string_view(path).substr(0, end), names)) {
      if (std::find(near.begin(), near.end(), name) == near.end()) near.push_back(std::move(name));
    }
  }
  return usage(quoted(path) + " does not begin with a node or material of this model" + nearClause(near));
}

}  // namespace

std::string channelLabel(Channel const& channel) {
  return channel.suffix.empty() ? channel.channelName : channel.channelName + '.' + channel.suffix;
}

float FoundChannel::read() const {
  knAnimManager& manager = *knAnimManager::the();
  // A path cannot name bits.
  if (channel.valueIndex >= kLetters.size()) return manager.getOSGFieldValue(channel);
  // What stands before the first point is for the reader alone; the object's name may hold points itself.
  return manager.getOSGFieldValue(channel.containerId,
                                  '.' + channel.fieldName + '.' + kLetters[channel.valueIndex]);
}

std::variant<FoundChannel, Failure> findChannel(SceneObjects const& objects, std::string const& path) {
  std::optional<Failure> failure;
  for (std::size_t end = path.size();;) {
    std::vector<FoundChannel> found;
    std::vector<SceneObject const*> const candidates = objects.find(path.substr(0, end));
    std::string_view const label = std::string_view(path).substr(std::min(end + 1, path.size()));
    for (SceneObject const* object : candidates) {
      for (Channel& channel : channelsOf(*object, label)) found.push_back({object, std::move(channel)});
    }
    if (found.size() == 1) return found[0];
    if (found.size() > 1) return ambiguous(path, found);
    if (!candidates.empty() && !failure) failure = whyNone(candidates, label);
    end = end == 0 ? std::string::npos : path.rfind('.', end - 1);
    if (end == std::string::npos) break;
  }
  return failure ? *failure : unknownObject(objects, path);
}

}  // namespace knanim
