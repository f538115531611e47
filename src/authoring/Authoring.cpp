#include "authoring/ChannelNames.h"
#include "curves/AutomaticTangents.h"
#include "knAnimManager.h"
#include "knAuthoring.h"
#include "manager/UniqueNames.h"
#include "model/fields/Ref.h"
#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimClip.h"
#include "model/sceneext/AnimTreeCloning.h"
#include "model/scenegraph/NodeQueries.h"
#include "model/utils/knIdTable.h"
#include "model/utils/knLog.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>

using osg::AnimAttachmentPtr;
using osg::AnimCurvePtr;
using osg::AnimNodePtr;
using osg::AttachmentContainerPtr;
using osg::NodePtr;
using osg::UInt32;

namespace {

bool fail(std::string const& text) {
  knLog::error(text.c_str());
  return false;
}

AnimCurvePtr curveOf(AttachmentContainerPtr const& owner, knOSGChannelData const& channel, bool reuse) {
  knAnimManager& manager = *knAnimManager::the();
  if (reuse) {
    AnimNodePtr const present =
        manager.findChannelCurveNode(channel, knAnimManager::getAnimAttachment(owner));
    if (present) return osg::dcast<AnimCurvePtr>(present->getCore());
  }
  osg::Ref<osg::AnimNode> made = manager.createChannelCurveNode(channel, {});
  if (!made.isAlive()) return {};
  AnimCurvePtr const curve = osg::dcast<AnimCurvePtr>(made->getCore());
  manager.addAnimation(owner, made.get());
  // Without an object to hang on, it goes.
  made.reset();
  return curve.isAlive() ? curve : AnimCurvePtr();
}

bool isFinite(std::span<float const> numbers) {
  return std::ranges::all_of(numbers, [](float number) { return std::isfinite(number); });
}

/// Adds keys in order of time as `AnimCurve::addPoint` does each, with straight tangents, but all in one pass. Returns
/// the indices of those that stay.
std::vector<UInt32> addKeys(osg::AnimCurve& curve, std::vector<osg::Pnt2f> const& points,
                            bool replaceSameTime) {
  auto const add = [&](osg::Pnt2f const& point) {
    return static_cast<UInt32>(
        curve.addPoint(point, {}, {}, osg::LinearTangent, osg::LinearTangent, replaceSameTime, true));
  };
  // One key does not move all the others.
  if (points.size() == 1) return {add(points[0])};
  auto& keys = curve.getControlPoints().getValues();
  auto const behind = std::lower_bound(keys.begin(), keys.end(), points[0].x(),
                                       [](osg::CCPnt const& key, float time) { return key.x() < time; });
  std::vector<osg::CCPnt> const later(behind, keys.end());
  keys.erase(behind, keys.end());
  std::vector<UInt32> indices;
  auto next = later.begin();
  for (std::size_t i = 0; i < points.size(); ++i) {
    float const time = points[i].x();
    bool const isReplaced = replaceSameTime && i + 1 < points.size() && points[i + 1].x() == time;
    if (isReplaced) continue;
    while (next != later.end() && (next->x() < time || (next->x() == time && !replaceSameTime)))
      keys.push_back(*next++);
    if (next != later.end() && next->x() == time) ++next;
    indices.push_back(add(points[i]));
  }
  keys.insert(keys.end(), next, later.end());
  for (UInt32 const index : indices) {
    if (index + 1 < keys.size() && keys[index + 1].inFollows()) curve.computeIntangent(index + 1, -1);
  }
  return indices;
}

/// Keys beside new ones whose vectors were made from their neighbours: they are made again from the new ones.
class MadeNeighbours {
 public:
  /// For points in order of time that are to be added.
  MadeNeighbours(CurveKeys const& keys, std::vector<osg::Pnt2f> const& points, knTangents first) {
    for (osg::Pnt2f const& point : points) {
      auto const indexOf = [&](auto const& place) { return static_cast<std::size_t>(place - keys.begin()); };
      std::size_t const same = indexOf(std::ranges::lower_bound(keys, point.x(), {}, timeOf));
      std::size_t const behind = indexOf(std::ranges::upper_bound(keys, point.x(), {}, timeOf));
      if (same > 0) add(keys, same - 1, first);
      if (behind > same) add(keys, behind - 1, first);
      if (behind < keys.size()) add(keys, behind, first);
    }
  }
  void makeAgain(CurveKeys& keys, std::vector<UInt32> const& added) const {
    for (UInt32 const index : added) {
      if (index > 0) makeAgain(keys, index - 1);
      if (index + 1 < keys.size()) makeAgain(keys, index + 1);
    }
  }

 private:
  static float timeOf(osg::CCPnt const& key) { return key.x(); }
  /// Places ascend but for those that were looked at already.
  void add(CurveKeys const& keys, std::size_t index, knTangents first) {
    if (index < _next) return;
    _next = index + 1;
    if (std::optional<knTangents> const made = findVectors(keys, index, first))
      _made.emplace_back(keys[index], *made);
  }
  void makeAgain(CurveKeys& keys, std::size_t index) const {
    auto made =
        std::ranges::lower_bound(_made, keys[index].x(), {}, [](auto const& one) { return one.first.x(); });
    for (; made != _made.end() && made->first.x() == keys[index].x(); ++made) {
      if (!osg::FieldDataTraits<osg::CCPnt>::isEqual(made->first, keys[index])) continue;
      setVectors(keys, index, made->second);
      return;
    }
  }

  std::vector<std::pair<osg::CCPnt, knTangents>> _made;  // in order of time
  std::size_t _next = 0;
};

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

bool isUsable(knClipOptions const& options, std::string const& name) {
  return std::isfinite(options.start) || fail("no clip '" + name + "' is made: its start is not finite");
}

/// A clip of the living ones of `trees`, each once.
AnimNodePtr makeClipOf(std::vector<AnimNodePtr> trees, std::string const& name, knClipOptions const options,
                       char const* whyNot) {
  constexpr float RowHeight = 50.F;
  knIdTable<bool> seen;
  std::erase_if(trees, [&](AnimNodePtr const& tree) {
    return !tree.isAlive() || !seen.insert(tree.getContainerId(), true).second;
  });
  if (trees.empty()) {
    fail("no clip '" + name + "' is made: " + whyNot);
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
  if (!clip.isAlive()) return {};
  if (!options.switchOffInScene) return clip;
  for (AnimNodePtr const& tree : trees) {
    if (!tree.isAlive()) continue;
    tree->setTravMask(0);
    announce(tree, osg::Node::TravMaskFieldMask);
  }
  return clip.isAlive() ? clip : AnimNodePtr();
}

/// The channel if a text names exactly one.
std::optional<knOSGChannelData> findChannel(AttachmentContainerPtr const& owner, std::string const& text) {
  std::vector<knOSGChannelData> const channels = findChannels(owner, text);
  if (channels.empty()) return std::nullopt;
  if (channels.size() == 1) return channels[0];
  fail("'" + text + "' of '" + osg::nameOf(owner) + "' has " + std::to_string(channels.size()) +
       " components; name one of them, as " + channels[0].channelName + "." + channels[0].suffix);
  return std::nullopt;
}

}  // namespace

AnimCurvePtr knAuthoring::makeCurve(AttachmentContainerPtr const& ownerArgument, std::string_view channel,
                                    knCurveOptions const& options) {
  AttachmentContainerPtr const owner = ownerArgument;
  bool const reuse = options.reuse;
  std::optional<knOSGChannelData> const found = findChannel(owner, std::string(channel));
  return found ? curveOf(owner, *found, reuse) : AnimCurvePtr();
}

std::vector<AnimCurvePtr> knAuthoring::makeCurves(AttachmentContainerPtr const& ownerArgument,
                                                  std::string_view channel, knCurveOptions const& options) {
  AttachmentContainerPtr const owner = ownerArgument;
  bool const reuse = options.reuse;
  std::vector<AnimCurvePtr> curves;
  for (knOSGChannelData const& one : findChannels(owner, channel))
    curves.push_back(curveOf(owner, one, reuse));
  return curves;
}

std::optional<float> knAuthoring::getValue(AttachmentContainerPtr const& ownerArgument,
                                           std::string_view channel) {
  AttachmentContainerPtr const owner = ownerArgument;
  std::optional<knOSGChannelData> const found = findChannel(owner, std::string(channel));
  if (!found) return std::nullopt;
  return knAnimManager::the()->getOSGFieldValue(*found);
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
  std::vector<osg::Pnt2f> points;
  for (std::size_t const i : order) points.emplace_back(times[i], values[i]);
  MadeNeighbours const neighbours(curve->getControlPoints().getValues(), points, options.tangents);
  std::vector<UInt32> const indices = addKeys(*curve, points, options.replaceSameTime);
  neighbours.makeAgain(curve->getControlPoints().getValues(), indices);
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

bool knAuthoring::setKey(AttachmentContainerPtr const& ownerArgument, std::string_view channelArgument,
                         float time, std::span<float const> valueArguments,
                         knKeyOptions const& optionArguments) {
  AttachmentContainerPtr const owner = ownerArgument;
  std::string const channel(channelArgument);
  std::vector<float> const values(valueArguments.begin(), valueArguments.end());
  knKeyOptions const options = optionArguments;
  std::vector<knOSGChannelData> const channels = findChannels(owner, channel);
  if (channels.empty()) return false;
  if (channels.size() != values.size())
    return fail("no key is set: '" + channel + "' of '" + osg::nameOf(owner) + "' has " +
                std::to_string(channels.size()) + " components, and there are " +
                std::to_string(values.size()) + " values");
  if (!std::isfinite(time) || !isFinite(values))
    return fail("no key is set for '" + channel + "': the time or a value is not finite");
  bool isSet = true;
  for (std::size_t i = 0; i < channels.size() && owner.isAlive(); ++i) {
    isSet =
        setKeys(curveOf(owner, channels[i], true), std::span(&time, 1), std::span(&values[i], 1), options) &&
        isSet;
  }
  return isSet;
}

bool knAuthoring::setKey(AttachmentContainerPtr const& owner, std::string_view channel, float time,
                         std::initializer_list<float> values, knKeyOptions const& options) {
  return setKey(owner, channel, time, std::span<float const>(values.begin(), values.size()), options);
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
  std::vector<NodePtr> const objects(objectArguments.begin(), objectArguments.end());
  std::string const name = nameArgument;
  knClipOptions const options = optionArguments;
  if (!isUsable(options, name)) return {};
  std::vector<AnimNodePtr> trees;
  for (NodePtr const& object : objects) {
    std::vector<AnimNodePtr> const blocks = blocksOf(object, name);
    trees.insert(trees.end(), blocks.begin(), blocks.end());
  }
  return makeClipOf(trees, name, options, "none of the objects has an animation");
}

AnimNodePtr knAuthoring::makeClipOfBlocks(std::span<AnimNodePtr const> blocks,
                                          std::string const& nameArgument, knClipOptions const& options) {
  std::string const name = nameArgument;
  if (!isUsable(options, name)) return {};
  return makeClipOf({blocks.begin(), blocks.end()}, name, options, "there is no block");
}
