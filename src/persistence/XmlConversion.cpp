#include "editing/CurveDataRefresh.h"
#include "editing/PasteRule.h"
#include "knAnimManager.h"
#include "model/fields/Ref.h"
#include "model/scenedata/SceneRoots.h"
#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimClip.h"
#include "model/sceneext/AnimSequence.h"
#include "model/scenegraph/Traverse.h"
#include "model/utils/knLog.h"
#include "persistence/XmlRecords.h"

#include <unordered_map>
#include <unordered_set>

using osg::AnimAttachmentPtr;
using osg::AnimCurvePtr;
using osg::AnimNodePtr;
using osg::NodePtr;

namespace {

using Data = knAnimConvertData;
using Channels = std::vector<knOSGChannelData>;

/// The rows of a clip, one for each track number.
double const kRowHeight = 50;
/// A clip can be named by many tracks, and so on downwards: a short text then stands for more objects than fit any
/// machine. No honest one comes near this many for each of its elements and of the ids that they hold.
std::size_t const kMostObjectsPerElement = 64;

std::size_t countElements(knAnimConvertTable const& records) {
  std::size_t count = records.size();
  for (auto const& [id, record] : records) count += record.children.size();
  return count;
}

/// The nodes that the field numbers of old curves point at, from one walk over a scene.
class NodesByFieldNumber {
 public:
  explicit NodesByFieldNumber(NodePtr const& root) {
    struct Step {
      NodePtr node;
      std::size_t depth;
    };
    std::vector<Step> pending{{root, 0}};
    std::vector<NodePtr> path;
    while (!pending.empty()) {
      auto const [node, depth] = pending.back();
      pending.pop_back();
      if (!node.isAlive()) continue;
      path.resize(depth);
      path.push_back(node);
      note(node, path);
      auto const& children = node->getChildren();
      for (std::size_t i = children.size(); i-- > 0;) pending.push_back({children[i], depth + 1});
    }
  }

  NodePtr find(std::uint64_t fieldNumber) const {
    auto const found = _places.find(fieldNumber);
    return found != _places.end() ? found->second.node : NodePtr();
  }

 private:
  struct Place {
    NodePtr node;
    std::size_t depth;
  };

  /// The last node in the order of the walk counts, but what stands below a node with the same number does not.
  void note(NodePtr const& node, std::vector<NodePtr> const& path) {
    AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(node);
    if (!attachment) return;
    std::size_t const depth = path.size() - 1;
    for (osg::UInt64 const number : attachment->getOldFieldNumbers()) {
      auto const [place, isNew] = _places.try_emplace(number, Place{node, depth});
      if (isNew) continue;
      Place& former = place->second;
      bool const isBelowFormer = former.depth < depth && path[former.depth] == former.node;
      if (!isBelowFormer) former = {node, depth};
    }
  }

  std::unordered_map<std::uint64_t, Place> _places;
};

void applyFlags(Data const& record, AnimNodePtr const& node) {
  node->setTravMask(record.active ? 0xFFFFFFFFU : 0U);
  node->setPostCycles(record.repeating ? -1 : 0);
  osg::BitVector changed = osg::Node::TravMaskFieldMask | osg::AnimNodeBase::PostCyclesFieldMask;
  if (record.type != Data::Sequence) {
    node->setMotionBlur(record.motionBlur);
    changed |= osg::AnimNodeBase::MotionBlurFieldMask;
  }
  announce(node, changed);
}

template <class Core>
osg::Ref<osg::AnimNode> makeNode(std::string const& name) {
  auto const core = osg::dcast<typename Core::Ptr>(Core::_type.createFieldContainer());
  core->setName(name);
  announce(core, osg::AnimObjectBase::NameFieldMask);
  AnimNodePtr const node = osg::AnimNodeBase::create();
  node->setCore(core);
  announce(node, osg::Node::CoreFieldMask);
  return node;
}

/// Tangent types as the text numbers them, and as curves do.
osg::UInt32 tangentTypeOf(Data const& point) {
  if (point.tangentType == 8) return 4;
  return point.tangentType == 4 ? 3 : point.tangentType;
}

bool isJoined(std::string const& text, std::string const& start, std::string const& rest) {
  return text.size() == start.size() + rest.size() && text.starts_with(start) && text.ends_with(rest);
}

/// Builds the trees of one text. Everything that announces may run code of the host's, so nothing is taken to be
/// alive after it.
class Conversion {
 public:
  Conversion(knAnimManager& manager, NodePtr const& root, XmlRecords const& text)
      : _manager(manager),
        _root(root),
        _text(text),
        _mostObjects(kMostObjectsPerElement * countElements(text.records)) {}

  void run() {
    CurveDataRefresh const refresh;
    if (!_text.records.empty()) {
      osg::traverse(_root, [this](NodePtr const& node) {
        return convertAnimationsOf(node) ? osg::Action::Continue : osg::Action::Skip;
      });
    }
    convertClips();
    osg::traverse(_root, [](NodePtr const& node) {
      removeEmptyAttachment(node);
      return osg::Action::Continue;
    });
  }

 private:
  Data const* find(std::uint64_t id) const {
    auto const found = _text.records.find(id);
    return found != _text.records.end() ? &found->second : nullptr;
  }

  // --- Nodes of the scene ---

  /// A node without a core ends the walk on its branch.
  bool convertAnimationsOf(NodePtr const& node) {
    if (!node->getCore().isAlive()) return false;
    AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(node);
    if (!attachment || attachment->getOldRecordIds().empty()) return true;
    std::vector<osg::UInt64> const ids(attachment->getOldRecordIds().begin(),
                                       attachment->getOldRecordIds().end());
    Channels channels;
    _manager.getKeyableChannels(node, channels);
    for (osg::UInt64 const id : ids) {
      Data const* const record = find(id);
      if (record == nullptr) continue;
      if (record->type == Data::Block) {
        osg::Ref<osg::AnimNode> const block = convertBlock(*record, node, false);
        if (block.isAlive() && attachment.isAlive()) attachment->addAnimation(block.get());
      } else if (record->type == Data::Curve) {
        convertTopLevelCurve(*record, channels, attachment);
      }
    }
    return true;
  }

  void convertTopLevelCurve(Data const& record, Channels const& channels,
                            AnimAttachmentPtr const& attachment) {
    knOSGChannelData const* channel = nullptr;
    for (knOSGChannelData const& each : channels) {
      if (isJoined(record.name, each.fieldName, each.suffix)) channel = &each;
    }
    if (channel == nullptr || !attachment.isAlive()) return;
    AnimNodePtr node = _manager.findChannelCurveNode(attachment, channel->channelName, channel->suffix);
    if (!node) node = _manager.createChannelCurveNode(*channel, attachment);
    convertCurve(record, node);
    if (node.isAlive()) applyFlags(record, node);
  }

  void convertCurve(Data const& record, AnimNodePtr const& node) {
    AnimCurvePtr const curve = node.isAlive() ? osg::dcast<AnimCurvePtr>(node->getCore()) : AnimCurvePtr();
    if (!curve) return;
    for (std::uint64_t const id : record.children) {
      Data const* const point = find(id);
      if (point == nullptr) continue;
      osg::UInt32 const type = tangentTypeOf(*point);
      curve->addPoint({point->position.x(), point->position.y()}, point->inTangent, point->outTangent, type,
                      type, false, true);
    }
    announce(curve, osg::AnimCurveBase::ControlPointsFieldMask);
  }

  // --- Blocks ---

  /// A block with a curve for every channel of the node, most of them empty. Without a node, that of the block's
  /// curves. Null where there is none.
  osg::Ref<osg::AnimNode> convertBlock(Data const& record, NodePtr node, bool fromClip) {
    if (!node) node = receiveNode(record);
    if (!node.isAlive()) return {};
    osg::Ref<osg::AnimNode> block = makeNode<osg::AnimBlock>(record.name);
    applyFlags(record, block.get());
    Channels channels;
    _manager.getKeyableChannels(node, channels);
    for (knOSGChannelData const& channel : channels) {
      osg::Ref<osg::AnimNode> const curve = convertBlockCurve(record, channel);
      if (!curve.isAlive() || !block.isAlive()) continue;
      block->addChild(curve.get());
      announce(block.get(), osg::Node::ChildrenFieldMask);
    }
    if (!block.isAlive()) return {};
    osg::NodeUtils::setName(block.get(), record.name, true);
    if (fromClip) leaveCopyOn(node, block.get());
    return block;
  }

  osg::Ref<osg::AnimNode> convertBlockCurve(Data const& block, knOSGChannelData const& channel) {
    osg::Ref<osg::AnimNode> const node = _manager.createChannelCurveNode(channel, {});
    for (std::uint64_t const id : block.children) {
      Data const* const record = find(id);
      if (record == nullptr || !isJoined(record->name, channel.fieldName, channel.suffix)) continue;
      convertCurve(*record, node.get());
      if (node.isAlive()) applyFlags(*record, node.get());
    }
    return node;
  }

  /// The clip holds the block itself. What shares its curves on the scene node is switched off.
  void leaveCopyOn(NodePtr const& node, AnimNodePtr const& block) {
    _manager.copy(block, node);
    for (AnimNodePtr const& shared : _manager.clonePasteTo(node, false, false)) {
      if (!shared.isAlive()) continue;
      shared->setTravMask(0);
      announce(shared, osg::Node::TravMaskFieldMask);
    }
  }

  /// The scene node that a block's curves point at. The last child that has a record decides, whatever the ones before
  /// it found, so there is one chain to follow down to a curve.
  NodePtr receiveNode(Data const& block) {
    std::vector<Data const*> chain;
    Data const* record = &block;
    NodePtr found;
    // What is met a second time is known, or null where the chain goes in a circle.
    while (record != nullptr && _receivers.try_emplace(record).second) {
      chain.push_back(record);
      if (record->type == Data::Curve) {
        found = nodesByFieldNumber().find(record->fieldId);
        break;
      }
      record = lastChild(*record);
    }
    if (record != nullptr && !found) found = _receivers[record];
    for (Data const* const each : chain) _receivers[each] = found;
    return found;
  }

  Data const* lastChild(Data const& record) const {
    for (std::size_t i = record.children.size(); i-- > 0;) {
      if (Data const* const child = find(record.children[i])) return child;
    }
    return nullptr;
  }

  NodesByFieldNumber const& nodesByFieldNumber() {
    if (!_nodesByFieldNumber) _nodesByFieldNumber.emplace(materialRoot());
    return *_nodesByFieldNumber;
  }

  // --- Clips ---

  /// A clip that is being built: its tracks are worked through one by one, and what a track holds is hung below the
  /// clip when all of it is there.
  struct OpenClip {
    Data const* record;
    osg::Ref<osg::AnimNode> node;
    std::size_t track = 0;   ///< place in the record's children
    std::size_t object = 0;  ///< place in the track's children
    std::vector<osg::Ref<osg::AnimNode>> objects;
  };

  void convertClips() {
    if (_text.clips.empty() || _text.records.empty()) return;
    for (auto const& [id, record] : _text.clips) {
      osg::Ref<osg::AnimNode> const clip = convertClip(record);
      AnimNodePtr const root = _manager.clipStructureRoot();
      if (!clip.isAlive() || !root.isAlive()) continue;
      root->addChild(clip.get());
      announce(root, osg::Node::ChildrenFieldMask);
    }
  }

  /// Clips can hold clips to any depth, and in texts that are damaged also themselves.
  osg::Ref<osg::AnimNode> convertClip(Data const& top) {
    std::vector<OpenClip> open;
    std::unordered_set<std::uint64_t> onPath;
    auto const begin = [&](Data const& record) {
      open.push_back({&record, makeNode<osg::AnimClip>(record.name), 0, 0, {}});
      onPath.insert(record.id);
      AnimNodePtr const node = open.back().node.get();
      applyFlags(record, node);
      if (node.isAlive()) osg::NodeUtils::setName(node, record.name, true);
    };
    begin(top);
    while (true) {
      OpenClip& clip = open.back();
      Data const* const track = currentTrack(clip);
      if (track == nullptr) {
        osg::Ref<osg::AnimNode> const finished = clip.node;
        onPath.erase(clip.record->id);
        open.pop_back();
        if (open.empty()) return finished;
        takeObject(open.back(), finished);
        continue;
      }
      Data const* const object =
          clip.object < track->children.size() ? find(track->children[clip.object]) : nullptr;
      if (clip.object >= track->children.size() || _hasWarned) {
        finishTrack(clip);
      } else if (isOverBudget() || object == nullptr) {
        ++clip.object;
      } else if (object->type == Data::Clip && !onPath.contains(object->id)) {
        begin(*object);
      } else if (object->type == Data::Sequence) {
        takeObject(clip, convertSequence(*object));
      } else if (object->type == Data::Block) {
        takeObject(clip, convertBlock(*object, {}, true));
      } else {
        ++clip.object;
      }
    }
  }

  Data const* currentTrack(OpenClip& clip) const {
    auto const& tracks = clip.record->children;
    while (clip.track < tracks.size()) {
      if (Data const* const track = find(tracks[clip.track])) return track;
      ++clip.track;
    }
    return nullptr;
  }

  /// Puts an object on its track's row.
  void takeObject(OpenClip& clip, osg::Ref<osg::AnimNode> const& object) {
    ++clip.object;
    if (!object.isAlive()) return;
    Data const* const track = currentTrack(clip);
    bool const isTrack = track != nullptr && track->type == Data::Track;
    object->moveBy(0, isTrack ? static_cast<float>(track->number * kRowHeight) : 0.F);
    announce(object.get(), osg::AnimNodeBase::OffsetFieldMask);
    clip.objects.push_back(object);
  }

  static void finishTrack(OpenClip& clip) {
    ++clip.track;
    clip.object = 0;
    for (osg::Ref<osg::AnimNode> const& object : std::exchange(clip.objects, {})) {
      if (!clip.node.isAlive() || !object.isAlive()) continue;
      clip.node->addChild(object.get());
      announce(clip.node.get(), osg::Node::ChildrenFieldMask);
    }
  }

  /// Sequences stand at a time of the clip; how long they last is the sequence's own business.
  osg::Ref<osg::AnimNode> convertSequence(Data const& record) {
    osg::Ref<osg::AnimNode> node = makeNode<osg::AnimSequence>(record.name);
    applyFlags(record, node.get());
    if (!node.isAlive()) return node;
    node->moveBy(static_cast<float>(record.begin / _manager.fps()), 0);
    announce(node.get(), osg::AnimNodeBase::OffsetFieldMask);
    if (node.isAlive()) osg::NodeUtils::setName(node.get(), record.name, true);
    return node;
  }

  bool isOverBudget() {
    if (_objects < _mostObjects) {
      ++_objects;
      return false;
    }
    if (!_hasWarned) {
      knLog::warning(
          "Converting old animations: clips name each other too often; what is too much is left out.");
    }
    _hasWarned = true;
    return true;
  }

  // --- Afterwards ---

  static void removeEmptyAttachment(NodePtr const& node) {
    AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(node);
    if (!attachment) return;
    AnimNodePtr const root = attachment->getAnimationRoot();
    if (root.isAlive() && root->getNChildren() > 0) return;
    node->subAttachment(attachment, 0);
    announce(node, osg::AttachmentContainer::AttachmentsFieldMask);
  }

  knAnimManager& _manager;
  NodePtr _root;
  XmlRecords const& _text;
  std::optional<NodesByFieldNumber> _nodesByFieldNumber;
  std::unordered_map<Data const*, NodePtr> _receivers;
  std::size_t _mostObjects;
  std::size_t _objects = 0;
  bool _hasWarned = false;
};

}  // namespace

void knAnimManager::convertXMLAnimations(NodePtr const& root, std::string const& xml) {
  if (!root.isAlive() || xml.empty()) return;
  NodePtr const node = root;
  std::optional<XmlRecords> const text = readXmlRecords(xml, static_cast<float>(fps()));
  if (!text) {
    knLog::print("ERROR converting animations from previous KELD version!\n");
    return;
  }
  if (text->hasRootElement) Conversion(*this, node, *text).run();
}

AnimNodePtr knAnimManager::findCurveInVector(
    std::string const& name, std::vector<std::pair<knOSGChannelData, AnimNodePtr>> const& list) {
  for (auto const& [channel, node] : list) {
    if (isJoined(name, channel.channelName, channel.suffix)) return node;
  }
  return {};
}
