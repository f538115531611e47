#include "manager/Creation.h"

#include "diagnosis/Faults.h"
#include "diagnosis/MotionWarnings.h"
#include "knAnimManager.h"
#include "manager/NamesToFind.h"
#include "manager/UniqueNames.h"
#include "model/sceneext/AnimBlock.h"
#include "model/scenegraph/NodeQueries.h"

#include <algorithm>
#include <sstream>
#include <unordered_set>

using osg::AnimAttachmentPtr;
using osg::AnimBlockPtr;
using osg::AnimCurvePtr;
using osg::AnimNodePtr;
using osg::NodePtr;

namespace {

AnimNodePtr makeNode(osg::NodeCorePtr const& core, std::string const& name) {
  AnimNodePtr const node = osg::AnimNodeBase::create();
  node->setCore(core);
  announce(node, osg::Node::CoreFieldMask);
  osg::NodeUtils::setName(node, name, true);
  return node;
}

AnimNodePtr makeBlockNode(std::string const& blockName, std::string const& nodeName) {
  AnimBlockPtr const block = osg::AnimBlockBase::create();
  block->setName(blockName);
  announce(block, osg::AnimObjectBase::NameFieldMask);
  return makeNode(block, nodeName);
}

/// The host hears of the fault and may do anything: this comes last.
void tellSuffix(AnimCurvePtr const& curve, std::string const& nodeName, std::string const& text) {
  if (!text.empty())
    MotionWarnings::tellFault(curve, knStillness::OtherComponent, "curve '" + nodeName + "'" + text);
}

/// All at once, as a list of many that is emptied one by one moves all that is left each time.
void addChildren(AnimNodePtr const& block, std::vector<AnimNodePtr> const& nodes) {
  if (!block.isAlive()) return;
  osg::UInt32 const before = block->getNChildren();
  block->addChildren(std::vector<NodePtr>(nodes.begin(), nodes.end()));
  osg::UInt32 const added = block->getNChildren() - before;
  for (osg::UInt32 i = 0; i < added; ++i) announce(block, osg::Node::ChildrenFieldMask);
}

/// Adds a new block to an attachment. Null, with the block gone, where the host has destroyed the attachment.
AnimNodePtr addOrDrop(AnimNodePtr const& block, AnimAttachmentPtr const& attachment) {
  if (attachment.isAlive()) {
    attachment->addAnimation(block);
  } else {
    block.subRef();
  }
  return block.isAlive() ? block : AnimNodePtr();
}

/// The top-level curve nodes of an attachment.
std::vector<AnimNodePtr> curveNodesOf(AnimAttachmentPtr const& attachment) {
  std::vector<AnimNodePtr> nodes;
  knAnimManager::the()->getChannelCurveNodes(attachment, nodes);
  return nodes;
}

}  // namespace

AnimAttachmentPtr findOrCreateAttachment(osg::AttachmentContainerPtr const& containerArgument) {
  // The argument may stand in a list that handlers change.
  osg::AttachmentContainerPtr const container = containerArgument;
  if (!container.isAlive()) return {};
  if (AnimAttachmentPtr const present = knAnimManager::getAnimAttachment(container)) return present;
  AnimAttachmentPtr const attachment = osg::AnimAttachmentBase::create();
  container->addAttachment(attachment, 0);
  announce(container, osg::AttachmentContainer::AttachmentsFieldMask);
  return attachment.isAlive() ? attachment : AnimAttachmentPtr();
}

AnimNodePtr makeChannelCurveNode(std::string const& name, osg::UInt32 valueIndex, std::string const& suffix,
                                 std::string const& channelName) {
  if (name.empty()) return {};
  std::string const& title = channelName.empty() ? name : channelName;
  std::string const nodeName = suffix.empty() ? title : title + "." + suffix;
  AnimCurvePtr const curve = osg::AnimCurveBase::create();
  curve->setName(name);
  curve->setChannelName(title);
  curve->setSuffix(suffix);
  curve->setValueIndex(valueIndex);
  curve->setColor(knAnimManager::the()->getDefaultColor(suffix));
  announce(curve, osg::BitVector::all());
  return makeNode(curve, nodeName);
}

// --- Animations of a container ------------------------------------------------------------------------------------

// Arguments are copied where they may stand in what the host's code drops meanwhile.

void knAnimManager::addAnimation(osg::AttachmentContainerPtr const& container,
                                 AnimNodePtr const& animationArgument) {
  AnimNodePtr const animation = animationArgument;
  if (!container.isAlive() || !animation.isAlive()) {
    MotionWarnings::tellMistake(
        MotionWarnings::Mistake::NoTreeToAdd,
        "no animation is added: it, or the object that is to have it, is null or gone");
    return;
  }
  AnimAttachmentPtr const attachment = findOrCreateAttachment(container);
  if (!attachment) return;
  MotionWarnings::noteNewTree(animation);
  attachment->addAnimation(animation);
}

void knAnimManager::subAnimation(osg::AttachmentContainerPtr const& container, AnimNodePtr const& animation) {
  AnimAttachmentPtr const attachment = getAnimAttachment(container);
  if (attachment && animation.isAlive()) attachment->subAnimation(animation);
}

// --- Curves -------------------------------------------------------------------------------------------------------

AnimCurvePtr knAnimManager::findChannelCurve(std::string const& name, std::string const& suffix,
                                             AnimAttachmentPtr const& attachment) {
  if (name.empty() || !attachment.isAlive()) return {};
  std::vector<AnimNodePtr> animations;
  attachment->getTopLevelAnimations(animations, true);
  for (AnimNodePtr const& animation : animations) {
    auto const* const curve = coreOf<osg::AnimCurve>(animation);
    if (curve != nullptr && curve->getName() == name && curve->getSuffix() == suffix)
      return AnimCurvePtr(curve);
  }
  return {};
}

AnimNodePtr knAnimManager::findChannelCurveNode(AnimAttachmentPtr const& attachment,
                                                std::string const& channelName, std::string const& suffix) {
  if (channelName.empty() || !attachment.isAlive()) return {};
  std::vector<AnimNodePtr> nodes;
  attachment->getTopLevelCurveNodes(nodes);
  for (AnimNodePtr const& node : nodes) {
    auto const* const curve = coreOf<osg::AnimCurve>(node);
    if (curve != nullptr && curve->getChannelName() == channelName && curve->getSuffix() == suffix)
      return node;
  }
  return {};
}

AnimNodePtr knAnimManager::findChannelCurveNode(knOSGChannelData const& channel,
                                                AnimAttachmentPtr const& attachment) {
  if (channel.isEmpty()) return {};
  return findChannelCurveNode(attachment, channel.channelName, channel.suffix);
}

AnimNodePtr knAnimManager::createChannelCurveNode(knOSGChannelData const& channel,
                                                  AnimAttachmentPtr const& attachment) {
  if (channel.isEmpty()) return {};
  return createChannelCurveNode(attachment, channel.fieldName, channel.valueIndex, channel.suffix,
                                channel.channelName);
}

AnimNodePtr knAnimManager::createChannelCurveNode(AnimAttachmentPtr const& attachment,
                                                  std::string const& name, unsigned int valueIndex,
                                                  std::string const& suffix, std::string channelName) {
  AnimNodePtr const node = makeChannelCurveNode(name, valueIndex, suffix, channelName);
  if (!node.isAlive()) return {};
  AnimCurvePtr const curve = osg::dcast<AnimCurvePtr>(node->getCore());
  std::string const contradiction = describeSuffix(*curve);
  std::string const nodeName = contradiction.empty() ? "" : nameOf(node);
  if (attachment.isAlive()) {
    MotionWarnings::noteNewTree(node);
    attachment->addAnimation(node);
  }
  tellSuffix(curve, nodeName, contradiction);
  return node;
}

std::pair<AnimNodePtr, AnimCurvePtr> knAnimManager::createCurve(std::string const& name,
                                                                std::string const& suffix) {
  if (name.empty()) return {};
  AnimCurvePtr const curve = osg::AnimCurveBase::create();
  curve->setName(name);
  curve->setChannelName(name + suffix);
  curve->setSuffix(suffix);
  curve->setValueIndex(getValueIndexFromSuffix(suffix));
  curve->setColor(getDefaultColor(suffix));
  std::string const contradiction = describeSourceSuffix(*curve);
  std::string const nodeName = name + "." + suffix;
  announce(curve, osg::BitVector::all());
  AnimNodePtr const node = makeNode(curve, nodeName);
  tellSuffix(curve, nodeName, contradiction);
  return {node, curve};
}

void knAnimManager::getChannelCurveNodes(AnimAttachmentPtr const& attachment, std::vector<AnimNodePtr>& out) {
  if (!attachment.isAlive()) return;
  std::vector<AnimNodePtr> animations;
  attachment->getTopLevelAnimations(animations, true);
  std::copy_if(animations.begin(), animations.end(), std::back_inserter(out), [](AnimNodePtr const& node) {
    osg::FieldContainerType const* const core = node->getCore().findType();
    return core != nullptr && core->getGroupId() == osg::AnimCurveBase::_type.getGroupId();
  });
}

void knAnimManager::getChannelCurveNodes(NodePtr const& node, std::vector<AnimNodePtr>& out) {
  getChannelCurveNodes(getAnimAttachment(node), out);
  if (!node.isAlive()) return;
  auto const* const group = osg::dcastTo<osg::MaterialGroup>(node->getCore());
  if (group != nullptr) getChannelCurveNodes(getAnimAttachment(group->getMaterial()), out);
}

// --- Blocks -------------------------------------------------------------------------------------------------------

AnimNodePtr knAnimManager::createBlock(AnimAttachmentPtr const& attachmentArgument, std::string const& name) {
  AnimAttachmentPtr const attachment = attachmentArgument;
  if (!attachment.isAlive()) return {};
  std::vector<AnimNodePtr> const nodes = curveNodesOf(attachment);
  auto const hasKeys = [](AnimNodePtr const& node) {
    auto const* const curve = coreOf<osg::AnimCurve>(node);
    return curve != nullptr && !curve->isEmpty();
  };
  if (std::none_of(nodes.begin(), nodes.end(), hasKeys)) return {};
  std::string const unique = getUniqueName(name + "_Block");
  if (!attachment.isAlive()) return {};
  AnimNodePtr const block = makeBlockNode(unique, unique);
  addChildren(block, nodes);
  return addOrDrop(block, attachment);
}

void knAnimManager::createBlock(NodePtr const& node, std::string const& name) {
  AnimAttachmentPtr const attachment = getAnimAttachment(node);
  if (!attachment || !node->getCore().isAlive()) return;
  std::vector<AnimNodePtr> const nodes = curveNodesOf(attachment);
  if (nodes.empty()) return;
  AnimNodePtr const block = makeBlockNode(name, name);
  addChildren(block, nodes);
  if (!addOrDrop(block, attachment) || !attachment.isAlive()) return;
  attachment->setInitialized(false);
  announce(attachment, osg::AnimAttachmentBase::InitializedFieldMask);
}

void knAnimManager::importBlock(NodePtr const& nodeArgument, std::vector<AnimCurvePtr> const& curveArguments,
                                std::string const& nameArgument) {
  NodePtr const node = nodeArgument;
  std::vector<AnimCurvePtr> const curves = curveArguments;
  std::string const name = nameArgument;
  auto const isAlive = [](AnimCurvePtr const& curve) { return curve.isAlive(); };
  if (!node.isAlive() || std::none_of(curves.begin(), curves.end(), isAlive)) return;
  std::string const unique = getUniqueName(name);
  if (!node.isAlive()) return;
  AnimNodePtr const block = makeBlockNode(name, unique);
  for (AnimCurvePtr const& curve : curves) {
    if (!curve.isAlive()) continue;
    addChildren(block, {makeNode(curve, curve->getChannelName() + curve->getSuffix())});
  }
  addOrDrop(block, findOrCreateAttachment(node));
}

// --- Names --------------------------------------------------------------------------------------------------------

std::string knAnimManager::getUniqueName(std::string const& name) { return UniqueNames().make(name); }

/// Neither the counter's text nor the candidate is begun anew: "copy", "copy2", "copy223". Saved scenes are full of
/// names made like that.
std::string knAnimManager::createCopyNameFrom(std::string const& name) {
  if (name.empty()) return {};
  std::string candidate = name + " copy";
  if (!find(candidate)) return candidate;
  std::unordered_set<std::string> const taken = collectNamesToFind();
  std::ostringstream numbers;
  for (int count = 2; taken.contains(candidate); ++count) {
    numbers << count;
    candidate += numbers.str();
  }
  return candidate;
}

bool knAnimManager::rename(NodePtr const& nodeArgument, char const* nameArgument) {
  NodePtr const node = nodeArgument;
  if (!node.isAlive() || nameArgument == nullptr) return false;
  std::string const name = nameArgument;
  return !find(name) && osg::NodeUtils::setName(node, name, true);
}

// --- Trees --------------------------------------------------------------------------------------------------------

void knAnimManager::setTreeActive(NodePtr const& root, bool active) {
  osg::traverse(root, [active](NodePtr const& node) {
    node->setTravMask(active ? 0xFFFFFFFFU : 0U);
    announce(node, osg::Node::TravMaskFieldMask);
    return osg::Action::Continue;
  });
}

bool knAnimManager::isAnimationRoot(AnimNodePtr const& animation) {
  return animation.isAlive() && !animation->getParent().isAlive();
}

AnimNodePtr knAnimManager::getAnimationRoot(AnimNodePtr const& animation) {
  NodePtr node = animation;
  if (!node.isAlive()) return {};
  while (node->getParent().isAlive()) node = node->getParent();
  return osg::dcast<AnimNodePtr>(node);
}
