#include "authoring/ChannelNames.h"

#include "diagnosis/NearNames.h"
#include "diagnosis/Refusal.h"
#include "knAnimManager.h"
#include "model/fields/FieldContainerFactory.h"
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

bool isHolder(osg::NodePtr const& node, Channels const& channels, std::string_view word) {
  if (word.empty()) return false;
  if (word == osg::nameOf(node) || isKind(node->getCore(), word)) return true;
  return std::ranges::any_of(channels, [&](knOSGChannelData const& one) {
    return isKind(osg::FieldContainerFactory::the().getContainer(one.containerId), word);
  });
}

/// Whether the core takes values for a field that is not among the channels.
bool isUnlisted(osg::FieldContainerPtr const& core, Channels const& all, std::string const& field) {
  return core.isAlive() && !field.empty() && !findRefusal(core, field, 0) &&
         std::ranges::none_of(all, [&](knOSGChannelData const& one) { return one.fieldName == field; });
}

/// Why a node has no channel of that name, in words. Only where a prefix is right is it left out of the comparison.
std::string describeNoChannel(osg::NodePtr const& node, Channels const& all, std::string_view text) {
  osg::FieldContainerPtr const core = node.isAlive() ? node->getCore() : osg::NodeCorePtr();
  std::string result = core.isAlive() ? titleOf(core) : titleOf(osg::FieldContainerPtr(node));
  std::size_t const point = text.find('.');
  std::string_view const prefix =
      point == std::string_view::npos ? std::string_view() : text.substr(0, point);
  std::string_view name = text;
  if (!prefix.empty() && node.isAlive()) {
    std::string_view const rest = text.substr(point + 1);
    if (isHolder(node, all, prefix)) {
      name = rest;
    } else if (!matching(all, rest).empty()) {
      return result.append(" has a channel '").append(rest).append("', but is no '").append(prefix) + "'";
    }
  }
  std::string const field(name.substr(0, name.find('.')));
  if (isUnlisted(core, all, field))
    return result.append(" takes values for '").append(field) +
           "', but does not list it as a channel: list it by getChannelDescriptions, or make a curve for it "
           "by "
           "knAnimManager::createCurve";
  std::vector<std::string> names;
  for (knOSGChannelData const& one : all) names.push_back(withSuffix(one.channelName, one.suffix));
  return result.append(" has no channel '").append(text).append("'") + nearClause(name, names);
}

Channels failed(std::string const& text) {
  knLog::error(text.c_str());
  return {};
}

}  // namespace

std::vector<knOSGChannelData> findChannels(osg::NodePtr const& node, std::string_view textArgument) {
  std::string const kept(textArgument);
  std::string_view const text = kept;
  Channels all;
  knAnimManager::the()->getKeyableChannels(node, all);
  // Containers of the host's own classes were asked, and may have destroyed the node.
  if (!node.isAlive()) return failed("no curve for '" + kept + "': the node is null or gone");
  Channels found = matching(all, text);
  // Names of nodes may have points themselves.
  std::string const owner = osg::nameOf(node) + '.';
  if (found.empty() && owner.size() > 1 && text.starts_with(owner))
    found = matching(all, text.substr(owner.size()));
  std::size_t const point = text.find('.');
  if (found.empty() && point != std::string_view::npos) {
    found = matching(all, text.substr(point + 1));
    if (!isHolder(node, found, text.substr(0, point))) found.clear();
  }
  if (!found.empty()) return found;
  return failed(describeNoChannel(node, all, text));
}
