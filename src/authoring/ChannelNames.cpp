#include "authoring/ChannelNames.h"

#include "diagnosis/NearNames.h"
#include "diagnosis/Refusal.h"
#include "knAnimManager.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/materials/Material.h"
#include "model/scenegraph/NodeQueries.h"
#include "model/utils/knLog.h"

#include <algorithm>
#include <cctype>

namespace {

using Channels = std::vector<knOSGChannelData>;

std::string withSuffix(std::string const& name, std::string const& suffix) {
  return suffix.empty() ? name : name + '.' + suffix;
}

/// One channel by its full name, else all components under a name.
Channels matching(Channels const& all, std::string_view text) {
  for (knOSGChannelData const& one : all) {
    if (withSuffix(one.channelName, one.suffix) == text || withSuffix(one.fieldName, one.suffix) == text)
      return {one};
  }
  Channels found;
  auto const isSameField = [&](knOSGChannelData const& one) {
    return found.empty() || (one.containerId == found[0].containerId && one.fieldName == found[0].fieldName);
  };
  for (knOSGChannelData const& one : all) {
    if ((one.channelName == text || one.fieldName == text) && isSameField(one)) found.push_back(one);
  }
  std::ranges::stable_sort(found, {}, &knOSGChannelData::valueIndex);
  return found;
}

/// Whether a name made of words, as "UberCamera", ends in these words, in letters of any case.
bool endsInWord(std::string_view name, std::string_view end) {
  auto const isSame = [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); };
  if (end.empty() || end.size() > name.size()) return false;
  std::string_view const last = name.substr(name.size() - end.size());
  return std::isupper(static_cast<unsigned char>(last[0])) != 0 && std::ranges::equal(last, end, isSame);
}

/// Whether a word tells what a container is: a type that it has, or the end of its name, as "camera" of "UberCamera".
bool isKind(osg::FieldContainerPtr const& container, std::string_view word) {
  for (osg::FieldContainerType const* type = container.findType(); type != nullptr;
       type = type->getParent()) {
    if (endsInWord(type->getName().str(), word)) return true;
  }
  return false;
}

/// What has the channels by itself: the core of a node, if it has one, or a material.
osg::FieldContainerPtr bodyOf(osg::AttachmentContainerPtr const& owner) {
  auto const* const node = osg::dcastTo<osg::Node>(owner);
  if (node != nullptr && node->getCore().isAlive()) return node->getCore();
  return owner;
}

bool isHolder(osg::AttachmentContainerPtr const& owner, Channels const& channels, std::string_view word) {
  if (word.empty()) return false;
  if (word == osg::nameOf(owner) || isKind(bodyOf(owner), word)) return true;
  return std::ranges::any_of(channels, [&](knOSGChannelData const& one) {
    return isKind(osg::FieldContainerFactory::the().getContainer(one.containerId), word);
  });
}

/// Whether a container takes values for a field that is not among the channels.
bool isUnlisted(osg::FieldContainerPtr const& body, Channels const& all, std::string const& field) {
  return !field.empty() && !findRefusal(body, field, 0) &&
         std::ranges::none_of(all, [&](knOSGChannelData const& one) { return one.fieldName == field; });
}

/// What is wrong with the list of channels that a container of the host's own declares, as far as it concerns a name;
/// empty where there is no such list, or nothing wrong.
std::string describeDeclaration(osg::FieldContainerPtr const& body, std::string const& name) {
  std::vector<osg::ChannelDescription> declared;
  body->getChannelDescriptions(declared);
  if (!body.isAlive()) return {};
  auto const isMeant = [&](osg::ChannelDescription const& one) {
    return one.channelName == name || one.fieldName == name;
  };
  auto const found = std::ranges::find_if(declared, isMeant);
  if (found == declared.end()) return {};
  if (body->getType().findFieldDescription(found->fieldName.c_str()) == nullptr)
    return " declares a channel '" + found->channelName + "' for a field '" + found->fieldName +
           "' that it does not have";
  return body->hasChannelDescriptions() ? ""
                                        : " declares the channel '" + found->channelName +
                                              "', but its list is not read: override hasChannelDescriptions "
                                              "as well, so that it gives true";
}

/// Why an owner has no channel of that name, in words. Only where a prefix is right is it left out of the comparison.
std::string describeNoChannel(osg::AttachmentContainerPtr const& owner, Channels const& all,
                              std::string_view text) {
  osg::FieldContainerPtr const body = bodyOf(owner);
  std::string result = titleOf(body);
  std::size_t const point = text.find('.');
  std::string_view const prefix =
      point == std::string_view::npos ? std::string_view() : text.substr(0, point);
  std::string_view name = text;
  if (!prefix.empty()) {
    std::string_view const rest = text.substr(point + 1);
    if (isHolder(owner, all, prefix)) {
      name = rest;
    } else if (!matching(all, rest).empty()) {
      return result.append(" has a channel '").append(rest).append("', but is no '").append(prefix) + "'";
    }
  }
  std::string const field(name.substr(0, name.find('.')));
  bool const isMaterial = osg::dcastTo<osg::Material>(body) != nullptr;
  if (std::string const fault = isMaterial ? "" : describeDeclaration(body, field); !fault.empty())
    return result + fault;
  if ((isMaterial || body != owner) && isUnlisted(body, all, field))
    return result.append(" takes values for '").append(field) +
           "', but does not list it as a channel: list it by getChannelDescriptions, or make a curve for it "
           "by knAnimManager::createChannelCurveNode";
  std::vector<std::string> names;
  for (knOSGChannelData const& one : all) names.push_back(withSuffix(one.channelName, one.suffix));
  return result.append(" has no channel '").append(text).append("'") + nearClause(name, names);
}

/// Why a container can have no channels; empty for nodes and materials.
std::string describeNoOwner(osg::AttachmentContainerPtr const& owner) {
  if (!owner.isAlive()) return "the node or material is null or gone";
  if (osg::dcastTo<osg::Node>(owner) != nullptr || osg::dcastTo<osg::Material>(owner) != nullptr) return {};
  if (osg::dcastTo<osg::NodeCore>(owner) != nullptr)
    return titleOf(owner) + " is a core: pass the node that has this core";
  return titleOf(owner) + " is neither a node nor a material";
}

Channels keyableChannelsOf(osg::AttachmentContainerPtr const& owner) {
  Channels all;
  if (osg::NodePtr const node = osg::dcast<osg::NodePtr>(owner)) {
    knAnimManager::the()->getKeyableChannels(node, all);
  } else {
    knAnimManager::the()->getKeyableChannels(osg::dcast<osg::MaterialPtr>(owner), all);
  }
  return all;
}

Channels failed(std::string const& text) {
  knLog::error(text.c_str());
  return {};
}

}  // namespace

std::vector<knOSGChannelData> findChannels(osg::AttachmentContainerPtr const& owner,
                                           std::string_view textArgument) {
  std::string const kept(textArgument);
  std::string_view const text = kept;
  if (std::string const fault = describeNoOwner(owner); !fault.empty())
    return failed("no channel '" + kept + "': " + fault);
  Channels const all = keyableChannelsOf(owner);
  // Containers of the host's own classes were asked, and may have destroyed the owner.
  if (!owner.isAlive()) return failed("no channel '" + kept + "': its owner is gone");
  Channels found = matching(all, text);
  // Names of nodes may have points themselves.
  std::string const name = osg::nameOf(owner) + '.';
  if (found.empty() && name.size() > 1 && text.starts_with(name))
    found = matching(all, text.substr(name.size()));
  std::size_t const point = text.find('.');
  if (found.empty() && point != std::string_view::npos) {
    found = matching(all, text.substr(point + 1));
    if (!isHolder(owner, found, text.substr(0, point))) found.clear();
  }
  if (!found.empty()) return found;
  return failed(describeNoChannel(owner, all, text));
}
