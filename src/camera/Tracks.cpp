#include "camera/CameraChannels.h"
#include "camera/FirstHolders.h"
#include "camera/FlightTree.h"
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/constraint/knConstraintManager.h"
#include "model/scenedata/knUberCameraPool.h"
#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimTreeCloning.h"
#include "model/sceneext/CameraTrack.h"
#include "model/scenegraph/NodeQueries.h"
#include "model/utils/knUtils.h"

#include <algorithm>

using osg::AnimAttachmentPtr;
using osg::AnimCurvePtr;
using osg::AnimNodePtr;
using osg::NodePtr;
using osg::UberCameraPtr;

namespace {

osg::CameraTrack const* trackOf(NodePtr const& node) { return coreOf<osg::CameraTrack>(node); }

/// The durations for one viewpoint, in seconds.
struct Durations {
  float fade;
  float move;
  float pause;

  bool isMoving() const { return move > 0; }
};

Durations durationsOf(osg::CameraTrack const& track) {
  return {track.getFadeInDuration(), track.getAnimationDuration(), track.getPauseDuration()};
}

Durations durationsAt(Durations const& ofTrack, osg::UberCamera const& viewpoint) {
  if (!viewpoint.hasFlag(osg::UberCamera::TrackOverridesFlag)) return ofTrack;
  osg::Vec4f const& own = viewpoint.getTrackOverrides();
  return {own[0], own[1], own[2]};
}

/// Makes the keys of one channel of a track anew.
class TrackCurve {
 public:
  TrackCurve(AnimCurvePtr const& curve, NodePtr const& trackNode, UberCameraPtr const& camera)
      : _curve(curve), _trackNode(trackNode), _camera(camera), _isExposure(curve->getName() == "exposure") {}

  void build() {
    Durations const ofTrack = durationsOf(*trackOf(_trackNode));
    _curve->clear();
    std::vector<NodePtr> const viewpoints(_trackNode->getChildren().begin(), _trackNode->getChildren().end());
    for (std::size_t i = 0; i < viewpoints.size(); ++i) {
      UberCameraPtr const viewpoint =
          viewpoints[i].isAlive() ? osg::dcast<UberCameraPtr>(viewpoints[i]->getCore()) : UberCameraPtr();
      if (!viewpoint) continue;
      visit(viewpoints[i], viewpoint, durationsAt(ofTrack, *viewpoint), i == 0, i + 1 < viewpoints.size());
      if (!isComplete()) return;
    }
    validateCameraCurveTangents(_curve);
    announce(_curve,
             osg::AnimCurveBase::ControlPointsFieldMask | osg::AnimCurveBase::IsCameraShotCurveFieldMask);
  }

 private:
  /// Reading a channel can ask the host for its materials, and the host can destroy anything then.
  bool isComplete() const { return _curve.isAlive() && _trackNode.isAlive() && _camera.isAlive(); }
  osg::UInt32 count() const { return static_cast<osg::UInt32>(_curve->getControlPoints().size()); }
  void addKey(float time, float value) { addPlainKey(_curve, time, value, 2, 2); }
  void setValueAt(osg::UInt32 index, float value) { _curve->getControlPoints()[index].setY(value); }
  /// The segment that ends at a key holds. With too few keys the indices wrap, and curves ignore them.
  void holdUpTo(osg::UInt32 index) {
    _curve->computeIntangent(index, 0);
    _curve->computeOuttangent(index - 1, 0);
  }

  /// What the channel is at a camera. The places of aim and up targets are told in the world, plus an up vector as the
  /// camera has it in its own space: two spaces in one sum, as tracks have always stored it.
  float valueAt(NodePtr const& node, UberCameraPtr const& camera) const {
    osg::UInt32 const component = _curve->getValueIndex();
    if (_curve->getName() == "upTranslation") {
      return componentOf(camera->getFrom(osg::Camera::WorldSpace) + camera->getUp(osg::Camera::LocalSpace),
                         component);
    }
    if (_curve->getName() == "aimTranslation") {
      return componentOf(camera->getAt(osg::Camera::WorldSpace), component);
    }
    osg::FieldContainerPtr target;
    std::vector<osg::FieldContainerPtr> parents;
    knAnimEvaluator::the()->computeAim(_curve, node, target, parents);
    return knAnimManager::the()->getOSGFieldValue(_curve, target);
  }

  void visit(NodePtr const& node, UberCameraPtr const& viewpoint, Durations const& durations,
             bool isFirstChild, bool hasNextChild) {
    float const value = valueAt(node, viewpoint);
    if (!isComplete()) return;
    // The first child of the track decides, whatever it is: a track whose first child is no camera has no start.
    if (isFirstChild) begin(durations);
    if (!isComplete()) return;
    if (durations.isMoving()) moveTo(value, durations);
    if (!durations.isMoving() && durations.fade > 0) _time += durations.fade;
    addKey(_time, value);
    if (!durations.isMoving()) cutTo(value, durations);
    if (durations.pause > 0 && hasNextChild) {
      _time += durations.pause;
      addKey(_time, value);
    }
  }

  void begin(Durations const& durations) {
    bool const fades = durations.fade > 0;
    if (fades && _isExposure) {
      addKey(_time, 0);
    } else if (durations.isMoving() || fades) {
      float const start = valueAt(_trackNode->getParent(), _camera);
      if (!isComplete()) return;
      addKey(_time, start);
    }
    _curve->setIsCameraShotCurve(durations.isMoving());
  }

  void moveTo(float value, Durations const& durations) {
    if (durations.fade > 0 && _isExposure) {
      if (count() > 0) setValueAt(count() - 1, 0);
      _curve->computeIntangent(count() - 1, 0);
      _curve->computeOuttangent(count() - 2, 0);
      if (durations.move >= durations.fade) {
        // There and back in this order: the sum is that of floats.
        _time += durations.fade;
        addKey(_time, value);
        _time -= durations.fade;
      }
    }
    _time += durations.move;
  }

  void cutTo(float value, Durations const& durations) {
    if (durations.fade > 0 && (_isExposure || count() >= 2)) {
      if (count() >= 2) setValueAt(count() - 2, _isExposure ? 0 : value);
      holdUpTo(count() - 2);
    } else {
      holdUpTo(count() - 1);
    }
  }

  AnimCurvePtr _curve;
  NodePtr _trackNode;
  UberCameraPtr _camera;
  bool _isExposure;
  float _time = 0;
};

/// What is keyed beside the camera's own channels when the camera has aim and up targets that must move along.
void appendAimChannels(UberCameraPtr const& camera, std::vector<knOSGChannelData>& channels) {
  auto const constraint = knConstraintManager::findAimConstraintForTarget(camera);
  if (!constraint) return;
  static constexpr char const* shortNames[] = {"tx", "ty", "tz"};
  static constexpr char const* suffixes[] = {"X", "Y", "Z"};
  osg::UInt32 const id = camera.getContainerId();
  std::string const name = knUberCameraUtils::getName(camera);
  auto const append = [&](char const* channel) {
    for (osg::UInt32 i = 0; i < 3; ++i) {
      channels.emplace_back(id, id, 0, channel, channel, shortNames[i], suffixes[i], i, name);
    }
  };
  append("aimTranslation");
  if (constraint->hasUpVectorSources()) append("upTranslation");
}

float lengthOf(AnimNodePtr const& block) {
  osg::Pnt3f min;
  osg::Pnt3f max;
  block->getWorldVolume().getBounds(min, max);
  return max.x() - min.x();
}

bool holdsObject(NodePtr const& trackNode, osg::AnimObjectPtr const& object) {
  AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(trackNode);
  if (!attachment || !attachment->getAnimationRoot().isAlive()) return false;
  unsigned int found = 0;
  knAnimManager::the()->findAndCountR(attachment->getAnimationRoot(), object, found);
  return found > 0;
}

osg::AnimObjectPtr objectOf(AnimNodePtr const& node) {
  return node.isAlive() ? osg::dcast<osg::AnimObjectPtr>(node->getCore()) : osg::AnimObjectPtr();
}

}  // namespace

AnimNodePtr knAnimManager::createMissingCameraTrackBlockForNode(NodePtr const& trackNode) {
  if (trackOf(trackNode) == nullptr || getAnimAttachment(trackNode)) return {};
  NodePtr const node = trackNode;
  AnimAttachmentPtr const attachment = osg::AnimAttachmentBase::create();
  node->addAttachment(attachment, 0);
  announce(node, osg::AttachmentContainer::AttachmentsFieldMask);
  osg::Ref<osg::AnimNode> const block = createCameraTrackBlock(node);
  if (!block.isAlive() || !node.isAlive()) return {};
  addAnimation(node, block.get());
  return block.isAlive() && block->getParent().isAlive() ? block.get() : AnimNodePtr();
}

AnimNodePtr knAnimManager::createCameraTrackBlock(NodePtr const& trackNode) {
  if (trackOf(trackNode) == nullptr) return {};
  NodePtr const source = trackNode;
  osg::AnimBlockPtr const block = osg::AnimBlockBase::create();
  block->setIsCameraTrackBlock(true);
  announce(block, osg::AnimBlockBase::IsCameraTrackBlockFieldMask);
  AnimNodePtr const node = osg::AnimNodeBase::create();
  node->setCore(block);
  createCameraTrackAnimationCurves(node, source, {});
  announce(node, osg::Node::CoreFieldMask | osg::Node::ChildrenFieldMask);
  osg::NodeUtils::setName(node, getUniqueName(nameOf(source) + "_Block"), true);
  return node;
}

void knAnimManager::createCameraTrackAnimationCurves(AnimNodePtr const& animNode, NodePtr const& trackNode,
                                                     std::vector<std::string> const& ignoredFields) {
  FlightTree tree(animNode);
  addTrackCurves(tree, NodePtr(trackNode), std::vector(ignoredFields));
}

void addTrackCurves(FlightTree& tree, NodePtr const& trackNode,
                    std::vector<std::string> const& ignoredFields) {
  if (!tree.isAlive() || trackOf(trackNode) == nullptr) return;
  UberCameraPtr const camera = knUberCameraUtils::findParentUberCamera(trackNode);
  if (!camera) return;
  knAnimManager& manager = *knAnimManager::the();
  std::vector<knOSGChannelData> channels;
  getCameraChannelData(camera, channels);
  appendAimChannels(camera, channels);
  for (knOSGChannelData const& channel : channels) {
    if (manager.ignoreChannel(channel.fieldName) || std::ranges::count(ignoredFields, channel.fieldName) > 0)
      continue;
    osg::Ref<osg::AnimNode> const node = FlightTree::makeCurveNode(channel);
    if (!node.isAlive()) continue;
    manager.updateCameraTrackAnimationCurve(osg::dcast<AnimCurvePtr>(node->getCore()), trackNode);
    tree.add(node);
  }
  tree.announceChildren();
}

void knAnimManager::updateCameraTrackAnimationCurve(AnimCurvePtr const& curve, NodePtr const& trackNode) {
  if (!curve.isAlive() || trackOf(trackNode) == nullptr) return;
  UberCameraPtr const camera = knUberCameraUtils::findParentUberCamera(trackNode);
  if (camera) TrackCurve(curve, trackNode, camera).build();
}

void knAnimManager::updateCameraTrackBlockForNode(NodePtr const& trackNode) {
  AnimAttachmentPtr const attachment = getAnimAttachment(trackNode);
  AnimNodePtr const root = attachment ? attachment->getAnimationRoot() : AnimNodePtr();
  if (!root.isAlive() || root->getNChildren() == 0) return;
  AnimNodePtr const block = osg::dcast<AnimNodePtr>(root->getChild(0));
  if (!hasCore<osg::AnimBlock>(block)) return;
  NodePtr const track = trackNode;
  float const before = lengthOf(block);
  std::vector<NodePtr> const children(block->getChildren().begin(), block->getChildren().end());
  for (NodePtr const& child : children) {
    if (child.isAlive()) updateCameraTrackAnimationCurve(osg::dcast<AnimCurvePtr>(child->getCore()), track);
  }
  if (!block.isAlive()) return;
  // Also when either is not a number.
  if (!(before == lengthOf(block))) knUtils::call("updateClipScene", 0);
}

void knAnimManager::recreateCameraTrackBlockForNode(NodePtr const& trackNode) {
  NodePtr const track = trackNode;
  AnimNodePtr const old = getCameraTrackBlock(track);
  if (!old) {
    createMissingCameraTrackBlockForNode(track);
    return;
  }
  osg::Ref<osg::AnimNode> const block = createCameraTrackBlock(track);
  if (!block.isAlive() || !old.isAlive() || !old->getCore().isAlive()) return;
  // Replacing changes the list of who uses the core. Where an occurrence stood in time is not taken over.
  auto const& users = old->getCore()->getParents();
  std::vector<NodePtr> const occurrences(users.begin(), users.end());
  for (NodePtr const& occurrence : occurrences) {
    NodePtr const parent = occurrence.isAlive() ? occurrence->getParent() : NodePtr();
    if (!parent.isAlive() || !block.isAlive()) continue;
    osg::Ref<osg::Node> const copy = osg::cloneAnimTree(block.get(), true);
    parent->replaceChildBy(occurrence, copy.get());
    announce(parent, osg::Node::ChildrenFieldMask);
  }
}

AnimNodePtr knAnimManager::getCameraTrackBlock(NodePtr const& trackNode) {
  if (trackOf(trackNode) == nullptr) return {};
  AnimAttachmentPtr const attachment = getAnimAttachment(trackNode);
  if (!attachment) return {};
  std::vector<AnimNodePtr> animations;
  attachment->getTopLevelAnimations(animations, true);
  bool const isBlock = animations.size() == 1 && hasCore<osg::AnimBlock>(animations[0]);
  return isBlock ? animations[0] : AnimNodePtr();
}

void knAnimManager::getCameraTrackBlocksR(AnimNodePtr const& animNode, std::set<AnimNodePtr>& out) {
  osg::traverse(animNode, [&](NodePtr const& node) {
    AnimNodePtr const each = osg::dcast<AnimNodePtr>(node);
    if (!each) return osg::Action::Skip;
    auto const* const block = coreOf<osg::AnimBlock>(node);
    if (block != nullptr && block->getIsCameraTrackBlock()) out.insert(each);
    return osg::Action::Continue;
  });
}

NodePtr knAnimManager::getCameraTrackNodeWithAnimationBlock(AnimNodePtr const& block) {
  osg::AnimObjectPtr const object = objectOf(block);
  if (!object) return {};
  for (NodePtr const& node : knUberCameraPool::getCameraTrackNodes()) {
    if (holdsObject(node, object)) return node;
  }
  return {};
}

std::set<NodePtr> knAnimManager::getCameraTrackNodesWithAnimationBlocks(std::set<AnimNodePtr> const& blocks) {
  std::set<NodePtr> nodes;
  FirstHolders holders(blocks);
  if (holders.wantNothing()) return nodes;
  for (NodePtr const& node : knUberCameraPool::getCameraTrackNodes()) {
    if (holders.look(node)) nodes.insert(node);
  }
  return nodes;
}

void knAnimManager::deleteCameraTrackBlockInClips(osg::AnimBlockPtr const& block) {
  if (!block.isAlive()) return;
  std::vector<NodePtr> found;
  osg::traverse(_clipStructureRoot, [&](NodePtr const& node) {
    if (node->getCore() != block) return osg::Action::Continue;
    found.push_back(node);
    return osg::Action::Skip;
  });
  auto const remove = [](NodePtr const& node) {
    NodePtr const parent = node.isAlive() ? node->getParent() : NodePtr();
    if (!parent.isAlive()) return NodePtr();
    parent->subChild(node);
    announce(parent, osg::Node::ChildrenFieldMask);
    return parent;
  };
  for (NodePtr const& node : found) {
    NodePtr const parent = remove(node);
    // The root of the structure stays, as everything else would be lost with it.
    if (parent.isAlive() && parent->getNChildren() == 0 && parent != _clipStructureRoot) remove(parent);
  }
}
