#include "authoring/ChannelNames.h"
#include "knAnimManager.h"
#include "knAuthoring.h"
#include "manager/UniqueNames.h"
#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimClip.h"
#include "model/sceneext/AnimTreeCloning.h"
#include "model/scenegraph/NodeQueries.h"
#include "model/utils/knLog.h"

#include <algorithm>
#include <cmath>
#include <numeric>

using osg::AnimAttachmentPtr;
using osg::AnimCurvePtr;
using osg::AnimNodePtr;
using osg::NodePtr;
using osg::UInt32;

namespace {

bool fail(std::string const& text) {
  knLog::error(text.c_str());
  return false;
}

AnimCurvePtr curveOf(NodePtr const& node, knOSGChannelData const& channel, bool reuse) {
  knAnimManager& manager = *knAnimManager::the();
  if (reuse) {
    AnimNodePtr const present = manager.findChannelCurveNode(channel, knAnimManager::getAnimAttachment(node));
    if (present) return osg::dcast<AnimCurvePtr>(present->getCore());
  }
  AnimNodePtr const made = manager.createChannelCurveNode(channel, {});
  if (!made.isAlive()) return {};
  AnimCurvePtr const curve = osg::dcast<AnimCurvePtr>(made->getCore());
  manager.addAnimation(node, made);
  return curve.isAlive() ? curve : AnimCurvePtr();
}

bool isFinite(std::span<float const> numbers) {
  return std::ranges::all_of(numbers, [](float number) { return std::isfinite(number); });
}

/// The blocks of an object, and its other top-level animations but curves, which are put into a block first.
std::vector<AnimNodePtr> blocksOf(NodePtr const& object, std::string const& name) {
  AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(object);
  if (!attachment) return {};
  knAnimManager::the()->createBlock(attachment, name);
  std::vector<AnimNodePtr> animations;
  if (attachment.isAlive()) attachment->getTopLevelAnimations(animations, true);
  std::erase_if(animations, [](AnimNodePtr const& node) { return osg::hasCore<osg::AnimCurve>(node); });
  return animations;
}

AnimNodePtr makeClipNode(std::string const& name) {
  osg::AnimClipPtr const clip = osg::AnimClipBase::create();
  clip->setName(name);
  announce(clip, osg::AnimObjectBase::NameFieldMask);
  AnimNodePtr const node = osg::AnimNodeBase::create();
  node->setCore(clip);
  announce(node, osg::Node::CoreFieldMask);
  osg::NodeUtils::setName(node, name, true);
  return node;
}

/// A tree that shares what `tree` holds, active and on a row of the clip.
AnimNodePtr makeShare(AnimNodePtr const& tree, float row) {
  AnimNodePtr const share = osg::dcast<AnimNodePtr>(osg::cloneAnimTree(tree, true));
  if (!share) return {};
  share->setTravMask(0xFFFFFFFFU);
  share->setOffset({share->getOffset().x(), row});
  return share;
}

}  // namespace

AnimCurvePtr knAuthoring::makeCurve(NodePtr const& nodeArgument, std::string_view channel,
                                    knCurveOptions const& options) {
  NodePtr const node = nodeArgument;
  std::vector<knOSGChannelData> const channels = findChannels(node, channel);
  if (channels.empty()) return {};
  if (channels.size() > 1) {
    fail("'" + std::string(channel) + "' of '" + osg::nameOf(node) + "' has " +
         std::to_string(channels.size()) + " components; name one of them, as " + channels[0].channelName +
         "." + channels[0].suffix);
    return {};
  }
  return curveOf(node, channels[0], options.reuse);
}

std::vector<AnimCurvePtr> knAuthoring::makeCurves(NodePtr const& nodeArgument, std::string_view channel,
                                                  knCurveOptions const& options) {
  NodePtr const node = nodeArgument;
  bool const reuse = options.reuse;
  std::vector<AnimCurvePtr> curves;
  for (knOSGChannelData const& one : findChannels(node, channel)) curves.push_back(curveOf(node, one, reuse));
  return curves;
}

bool knAuthoring::setKeys(AnimCurvePtr const& curveArgument, std::span<float const> times,
                          std::span<float const> values, knKeyOptions const& options) {
  AnimCurvePtr const curve = curveArgument;
  if (!curve.isAlive()) return fail("no keys are set: the curve is null or gone");
  if (times.size() != values.size() || times.empty())
    return fail("no keys are set: " + std::to_string(times.size()) + " times and " +
                std::to_string(values.size()) + " values");
  if (!isFinite(times) || !isFinite(values)) return fail("no keys are set: a time or value is not finite");
  std::vector<std::size_t> order(times.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::stable_sort(order, {}, [&](std::size_t i) { return times[i]; });

  if (options.replaceAll) curve->clear();
  for (std::size_t const i : order) {
    curve->addPoint({times[i], values[i]}, {}, {}, osg::LinearTangent, osg::LinearTangent,
                    options.replaceSameTime, true);
  }
  // Among equal times the new keys come last.
  std::vector<UInt32> indices;
  auto const& keys = std::as_const(*curve).getControlPoints();
  for (std::size_t key = keys.size(), left = order.size(); key-- > 0 && left > 0;) {
    if (keys[key].x() != times[order[left - 1]]) continue;
    indices.push_back(static_cast<UInt32>(key));
    --left;
    while (options.replaceSameTime && left > 0 && times[order[left - 1]] == keys[key].x()) --left;
  }
  return knCurves::setTangents(curve, options.tangents, indices);
}

bool knAuthoring::setKeys(AnimCurvePtr const& curve, std::initializer_list<osg::Pnt2f> keys,
                          knKeyOptions const& options) {
  std::vector<float> times;
  std::vector<float> values;
  for (osg::Pnt2f const& key : keys) {
    times.push_back(key.x());
    values.push_back(key.y());
  }
  return setKeys(curve, times, values, options);
}

bool knAuthoring::setKey(NodePtr const& nodeArgument, std::string_view channelArgument, float time,
                         std::span<float const> valueArguments, knKeyOptions const& optionArguments) {
  NodePtr const node = nodeArgument;
  std::string const channel(channelArgument);
  std::vector<float> const values(valueArguments.begin(), valueArguments.end());
  knKeyOptions const options = optionArguments;
  std::vector<knOSGChannelData> const channels = findChannels(node, channel);
  if (channels.empty()) return false;
  if (channels.size() != values.size())
    return fail("no key is set: '" + channel + "' of '" + osg::nameOf(node) + "' has " +
                std::to_string(channels.size()) + " components, and there are " +
                std::to_string(values.size()) + " values");
  if (!std::isfinite(time) || !isFinite(values))
    return fail("no key is set for '" + channel + "': the time or a value is not finite");
  bool isSet = true;
  for (std::size_t i = 0; i < channels.size() && node.isAlive(); ++i) {
    isSet =
        setKeys(curveOf(node, channels[i], true), std::span(&time, 1), std::span(&values[i], 1), options) &&
        isSet;
  }
  return isSet;
}

bool knAuthoring::setKey(NodePtr const& node, std::string_view channel, float time,
                         std::initializer_list<float> values, knKeyOptions const& options) {
  return setKey(node, channel, time, std::span<float const>(values.begin(), values.size()), options);
}

std::vector<AnimNodePtr> knAuthoring::makeBlocks(std::span<NodePtr const> objectArguments,
                                                 std::string const& nameArgument) {
  std::vector<NodePtr> const objects(objectArguments.begin(), objectArguments.end());
  std::string const name = nameArgument;
  std::vector<AnimNodePtr> blocks;
  for (NodePtr const& object : objects) {
    AnimNodePtr const block =
        knAnimManager::the()->createBlock(knAnimManager::getAnimAttachment(object), name);
    if (block) blocks.push_back(block);
  }
  if (blocks.empty()) fail("no block '" + name + "' is made: none of the objects has a curve with keys");
  return blocks;
}

AnimNodePtr knAuthoring::makeClip(std::span<NodePtr const> objectArguments, std::string const& nameArgument,
                                  knClipOptions const& optionArguments) {
  constexpr float RowHeight = 50.F;
  std::vector<NodePtr> const objects(objectArguments.begin(), objectArguments.end());
  std::string const name = nameArgument;
  knClipOptions const options = optionArguments;
  std::vector<AnimNodePtr> trees;
  for (NodePtr const& object : objects) {
    for (AnimNodePtr const& tree : blocksOf(object, name)) {
      if (std::ranges::find(trees, tree) == trees.end()) trees.push_back(tree);
    }
  }
  std::erase_if(trees, [](AnimNodePtr const& tree) { return !tree.isAlive(); });
  if (trees.empty() || !std::isfinite(options.start)) {
    fail("no clip '" + name + "' is made: " +
         (trees.empty() ? "none of the objects has an animation" : "its start is not finite"));
    return {};
  }
  AnimNodePtr const clip = makeClipNode(UniqueNames().make(name));
  clip->setOffset({options.start, 0.F});
  float row = 0.F;
  for (AnimNodePtr const& tree : trees) {
    AnimNodePtr const share = tree.isAlive() ? makeShare(tree, row) : AnimNodePtr();
    if (!share || !clip.isAlive()) continue;
    clip->addChild(share);
    row += RowHeight;
  }
  announce(clip, osg::Node::ChildrenFieldMask);
  if (clip.isAlive()) knAnimManager::the()->addToClipStructure(clip);
  if (!options.switchOffInScene) return clip;
  for (AnimNodePtr const& tree : trees) {
    if (!tree.isAlive()) continue;
    tree->setTravMask(0);
    announce(tree, osg::Node::TravMaskFieldMask);
  }
  return clip.isAlive() ? clip : AnimNodePtr();
}
