#include "knanim/scene/BlockSwitch.h"

#include "knAnimManager.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <unordered_map>

namespace knanim {
namespace {

template <typename Visit>
void forEachBlock(std::span<osg::NodePtr const> nodes, Visit const& visit) {
  for (osg::NodePtr const& node : nodes) {
    osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(node);
    if (!attachment.isAlive()) continue;
    std::vector<osg::AnimNodePtr> blocks;
    attachment->getTopLevelBlockNodes(blocks);
    for (osg::AnimNodePtr const& block : blocks) {
      char const* const name = osg::NodeUtils::getName(block);
      visit(block, printable(name != nullptr ? name : ""));
    }
  }
}

void setMask(osg::AnimNodePtr const& node, osg::UInt32 mask) {
  node->setTravMask(mask);
  osg::announce(node, osg::Node::TravMaskFieldMask);
}

}  // namespace

std::vector<BlockName> blockNames(std::span<osg::NodePtr const> nodes) {
  std::vector<BlockName> names;
  std::unordered_map<std::string, std::size_t> places;
  forEachBlock(nodes, [&](osg::AnimNodePtr const& block, std::string const& name) {
    auto const [place, isNew] = places.try_emplace(name, names.size());
    if (isNew) names.push_back({name, false});
    names[place->second].isActive = names[place->second].isActive || block->isActive();
  });
  return names;
}

std::vector<FormerMask> switchTo(std::string const& name, std::span<osg::NodePtr const> nodes) {
  bool isOn = false;
  forEachBlock(nodes, [&](osg::AnimNodePtr const& block, std::string const& own) {
    isOn = isOn || (own == name && block->isActive());
  });
  std::vector<FormerMask> former;
  forEachBlock(nodes, [&](osg::AnimNodePtr const& block, std::string const& own) {
    bool const isChosen = own == name;
    if (block->isActive() == isChosen || (isChosen && isOn)) return;
    former.push_back({block, block->getTravMask()});
    setMask(block, isChosen ? 0xFFFFFFFFU : 0U);
  });
  return former;
}

void switchBack(std::span<FormerMask const> former) {
  for (FormerMask const& each : former) {
    if (each.node.isAlive()) setMask(each.node, each.mask);
  }
}

}  // namespace knanim
