#include "manager/NamesToFind.h"

#include "evaluation/SceneMaterials.h"
#include "evaluation/TreeWalk.h"
#include "knAnimManager.h"
#include "model/geometry/Geometry.h"
#include "model/scenedata/SceneRoots.h"
#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimClip.h"
#include "model/sceneext/CameraTrack.h"
#include "model/sceneext/TagAttachment.h"
#include "model/sceneext/VertexAnimCurves.h"
#include "model/scenegraph/NameRegister.h"
#include "model/scenegraph/NodeQueries.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <unordered_set>

using osg::Action;
using osg::AnimAttachmentPtr;
using osg::AnimNodePtr;
using osg::NodePtr;

osg::UInt64 knAnimManager::_curvesStats = 0;
osg::UInt64 knAnimManager::_cpsStats = 0;

namespace {

struct Bounds {
  float start;
  float end;
};

Bounds boundsOf(AnimNodePtr const& animation) {
  osg::BoxVolume volume;
  if (animation.isAlive()) animation->getAnimVolume(volume);
  osg::Pnt3f min;
  osg::Pnt3f max;
  volume.getBounds(min, max);
  return {min.x(), max.x()};
}

/// Cut off towards zero. What fits no int, NaN included, gives the lowest one.
int toInt(double value) {
  if (!(value > -2147483649.0 && value < 2147483648.0)) return std::numeric_limits<int>::min();
  return static_cast<int>(value);
}

bool isNamed(osg::AttachmentContainerPtr const& container, std::string_view name) {
  char const* const present = osg::NodeUtils::getName(container);
  return present != nullptr && present == name;
}

osg::MField<std::string> tagsOf(osg::AttachmentContainerPtr const& container) {
  auto const* const tags = osg::dcastTo<osg::TagAttachment>(
      container->findAttachment(osg::TagAttachmentBase::_type.getGroupId(), 0));
  return tags != nullptr ? tags->getTags() : osg::MField<std::string>();
}

bool hasKeys(osg::AnimCurvePtr const& curve) { return curve.isAlive() && !curve->isEmpty(); }

bool hasKeys(NodePtr const& node) {
  if (auto const* const curve = coreOf<osg::AnimCurve>(node)) return !curve->isEmpty();
  auto const* const vertices = coreOf<osg::VertexAnimCurves>(node);
  if (vertices == nullptr) return false;
  auto const isKeyed = [](osg::AnimCurvePtr const& curve) { return hasKeys(curve); };
  return std::ranges::any_of(vertices->getPositionCurves(), isKeyed) ||
         std::ranges::any_of(vertices->getNormalCurves(), isKeyed);
}

/// Whether getAnimCurves would give any curve with keys. It ends with the first and leaves the shared lists alone.
bool haveCurves(std::vector<AnimNodePtr> const& animations) {
  return std::ranges::any_of(animations, [](AnimNodePtr const& animation) {
    return osg::traverse(animation, [](NodePtr const& node) {
             auto const* const animNode = osg::dcastTo<osg::AnimNode>(node);
             bool const isLeftOut =
                 knAnimManager::_motionBlurCurves && animNode && !animNode->getMotionBlur();
             if (isLeftOut && node->getCore().isAlive()) return Action::Skip;
             return hasKeys(node) ? Action::Quit : Action::Continue;
           }) == Action::Quit;
  });
}

/// Calls `visit(NodePtr const&)` for each node of a tree that has a core, and of the animation trees that hang on its
/// nodes: a node, then its animations, then its children. Below a node without core nothing is visited. Scene nodes
/// without animation in their subtrees are passed over.
template <class Visit>
void forEachNodeAndAnimation(NodePtr const& root, Visit visit) {
  struct Pending {
    NodePtr node;
    bool isAnimation;
    bool isLeft = false;  ///< all of an animation tree was visited
  };
  std::vector<Pending> pending{{root, osg::dcastTo<osg::AnimNode>(root) != nullptr}};
  // An animation tree that holds itself through an attachment is visited once on the way down.
  std::unordered_set<NodePtr> entered;
  while (!pending.empty()) {
    Pending const at = pending.back();
    pending.pop_back();
    if (at.isLeft) entered.erase(at.node);
    if (at.isLeft || !at.node.isAlive() || !at.node->getCore().isAlive()) continue;
    visit(at.node);
    auto const push = [&](NodePtr const& child) { pending.push_back({child, at.isAnimation}); };
    if (at.isAnimation) {
      auto const& children = at.node->getChildren();
      for (std::size_t i = children.size(); i-- > 0;) push(children[i]);
    } else {
      forEachAnimatedChildBackwards(*at.node, push);
    }
    AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(at.node);
    NodePtr const animations = attachment ? NodePtr(attachment->getAnimationRoot()) : NodePtr();
    if (!animations || !entered.insert(animations).second) continue;
    pending.push_back({animations, true, true});
    pending.push_back({animations, true});
  }
}

template <class Visit>
void forEachNodeOfScene(Visit visit) {
  NodePtr const root = materialRoot();
  forEachNodeAndAnimation(root, visit);
  for (osg::MaterialPtr const& material : findAllMaterials(root)) {
    AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(material);
    if (attachment) forEachNodeAndAnimation(attachment->getAnimationRoot(), visit);
  }
}

template <class Visit>
void forEachBlock(bool includeHidden, Visit visit) {
  if (!materialRoot().isAlive()) return;
  forEachNodeOfScene([&](NodePtr const& node) {
    auto const* const animNode = osg::dcastTo<osg::AnimNode>(node);
    if (animNode == nullptr || !hasCore<osg::AnimBlock>(node)) return;
    if (includeHidden || !animNode->getHidden()) visit(node);
  });
}

}  // namespace

// --- Extent and contents ------------------------------------------------------------------------------------------

void knAnimManager::getBounds(AnimNodePtr const& animation, float& start, float& end) {
  Bounds const bounds = boundsOf(animation);
  start = bounds.start;
  end = bounds.end;
}

void knAnimManager::getFrameBounds(AnimNodePtr const& animation, int& start, int& end) {
  Bounds const bounds = boundsOf(animation);
  start = toInt(static_cast<double>(bounds.start) * fps());
  end = getLastRenderFrame(static_cast<double>(bounds.end) * fps());
}

int knAnimManager::getLastRenderFrame(double frame) {
  return toInt(std::fmod(frame, 1.0) >= 0.001 ? std::ceil(frame) : std::floor(frame));
}

knAnimInfo knAnimManager::getInfo(AnimNodePtr const& animation) {
  knAnimInfo info;
  if (!animation.isAlive()) return info;
  info.scale = info.accumulatedScale = 1.F;
  if (auto const* const object = osg::dcastTo<osg::AnimObject>(animation->getCore())) {
    info.scale = object->getScale();
    info.accumulatedScale = object->getAccumulatedScale();
    info.offset = object->getOffset();
    info.accumulatedOffset = object->getAccumulatedOffset();
  }
  getBounds(animation, info.start, info.end);
  _curvesStats = 0;
  _cpsStats = 0;
  osg::traverse(animation, collectAnimInfo);
  info.curves = _curvesStats;
  info.controlPoints = _cpsStats;
  info.values = 3 * _cpsStats;
  return info;
}

Action::ResultE knAnimManager::collectAnimInfo(NodePtr const& node) {
  if (!node.isAlive() || !node->getCore().isAlive()) return Action::Continue;
  auto const countPoints = [](osg::AnimCurvePtr const& curve) {
    if (curve.isAlive()) _cpsStats += curve->getControlPoints().size();
  };
  if (osg::AnimCurvePtr const curve = osg::dcast<osg::AnimCurvePtr>(node->getCore())) {
    ++_curvesStats;
    countPoints(curve);
  } else if (auto const* const vertices = osg::dcastTo<osg::VertexAnimCurves>(node->getCore())) {
    _curvesStats += vertices->getPositionCurves().size() + vertices->getNormalCurves().size();
    for (auto const& one : vertices->getPositionCurves()) countPoints(one);
    for (auto const& one : vertices->getNormalCurves()) countPoints(one);
  }
  return Action::Continue;
}

// --- By name ------------------------------------------------------------------------------------------------------

AnimNodePtr knAnimManager::find(std::string const& argument) {
  // A copy: it may stand in what the host drops when it is asked for materials.
  std::string const name = argument;
  // A name that no animation node has costs no walk.
  if (name.empty() || !osg::NameRegister::the().contains(name)) return {};
  if (AnimNodePtr const clip = findClip(name)) return clip;
  if (AnimNodePtr const block = findMaterialBlock(name)) return block;
  return findBlockR(materialRoot(), name);
}

std::unordered_set<std::string> collectNamesToFind() {
  std::unordered_set<std::string> names;
  auto const insertBlocks = [&](osg::AttachmentContainerPtr const& container) {
    AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(container);
    std::vector<AnimNodePtr> blocks;
    if (attachment) attachment->getTopLevelBlockNodes(blocks);
    for (AnimNodePtr const& block : blocks) names.insert(nameOf(block));
  };
  forEachNode(knAnimManager::the()->clipStructureRoot(), [&](NodePtr const& node) {
    if (hasCore<osg::AnimClip>(node)) names.insert(nameOf(node));
    return node->getCore().isAlive();
  });
  for (osg::MaterialPtr const& material : findAllMaterials(materialRoot())) insertBlocks(material);
  forEachAnimatedNode(materialRoot(), [&](NodePtr const& node) {
    insertBlocks(node);
    return true;
  });
  return names;
}

AnimNodePtr knAnimManager::findClip(std::string const& name) { return findClipR(_clipStructureRoot, name); }

AnimNodePtr knAnimManager::findClipR(NodePtr const& root, std::string const& name) {
  AnimNodePtr found;
  if (name.empty()) return {};
  forEachNode(root, [&](NodePtr const& node) {
    if (found || !node->getCore().isAlive()) return false;
    if (!hasCore<osg::AnimClip>(node) || !isNamed(node, name)) return true;
    // A clip on a node of another kind cannot be given: it leaves out what is below it, and nothing else.
    found = osg::dcast<AnimNodePtr>(node);
    return false;
  });
  return found;
}

AnimNodePtr knAnimManager::findBlock(osg::AttachmentContainerPtr const& container, std::string const& name) {
  AnimAttachmentPtr const attachment = getAnimAttachment(container);
  if (!attachment || name.empty()) return {};
  std::vector<AnimNodePtr> animations;
  attachment->getTopLevelAnimations(animations, true);
  for (AnimNodePtr const& animation : animations) {
    if (hasCore<osg::AnimBlock>(animation) && isNamed(animation, name)) return animation;
  }
  return {};
}

AnimNodePtr knAnimManager::findBlockR(NodePtr const& root, std::string const& name) {
  AnimNodePtr found;
  forEachAnimatedNode(root, [&](NodePtr const& node) {
    if (!found) found = findBlock(node, name);
    return !found;
  });
  return found;
}

AnimNodePtr knAnimManager::findMaterialBlock(std::string const& argument) {
  std::string const name = argument;
  for (osg::MaterialPtr const& material : findAllMaterials(materialRoot())) {
    if (AnimNodePtr const block = findBlock(material, name)) return block;
  }
  return {};
}

// --- Who has animations -------------------------------------------------------------------------------------------

bool knAnimManager::hasAnimations(osg::AttachmentContainerPtr const& container) {
  AnimAttachmentPtr const attachment = getAnimAttachment(container);
  return attachment && attachment->hasAnimations();
}

bool knAnimManager::hasVertexAnimation(NodePtr const& node) {
  AnimAttachmentPtr const attachment = getAnimAttachment(node);
  return attachment && hasCore<osg::Geometry>(node) && attachment->hasVertexAnimation();
}

void knAnimManager::getMaterialsWithAnimation(std::vector<knAnimNodeData>& out) {
  for (osg::MaterialPtr const& material : findAllMaterials(materialRoot())) {
    AnimAttachmentPtr const attachment = getAnimAttachment(material);
    if (!attachment) continue;
    knAnimNodeData data;
    attachment->getTopLevelAnimations(data.animations, true);
    if (!haveCurves(data.animations)) continue;
    data.material = material;
    data.tags = tagsOf(material);
    out.push_back(std::move(data));
  }
}

void knAnimManager::getNodesWithAnimation(NodePtr const& root, std::vector<knAnimNodeData>& out) {
  if (!root.isAlive()) return;
  _nodesWithAnimation.clear();
  forEachAnimatedNode(
      root, [](NodePtr const& node) { return collectNodesWithAnimation(node) == Action::Continue; });
  out.insert(out.end(), _nodesWithAnimation.begin(), _nodesWithAnimation.end());
}

Action::ResultE knAnimManager::collectNodesWithAnimation(NodePtr const& node) {
  if (!node.isAlive() || !node->getCore().isAlive()) return Action::Continue;
  if (hasCore<osg::CameraTrack>(node)) return Action::Skip;
  AnimAttachmentPtr const attachment = getAnimAttachment(node);
  if (!attachment) return Action::Continue;
  knAnimNodeData data;
  attachment->getTopLevelAnimations(data.animations, false);
  if (!haveCurves(data.animations)) {
    knDynBlockArray<AnimNodePtr> caches(128);
    std::set<unsigned int> visited;
    for (AnimNodePtr const& animation : data.animations)
      the()->gatherShapeCachesR(animation, caches, visited);
    if (caches.size() == 0) return Action::Continue;
  }
  data.node = node;
  data.tags = tagsOf(node);
  _nodesWithAnimation.push_back(std::move(data));
  return Action::Continue;
}

// --- Lists --------------------------------------------------------------------------------------------------------

void knAnimManager::getBlockAndClipNames(std::set<std::string>& names) {
  auto const insert = [&](NodePtr const& node) {
    if (hasCore<osg::AnimBlock>(node) || hasCore<osg::AnimClip>(node)) names.insert(nameOf(node));
  };
  forEachNodeOfScene(insert);
  forEachNodeAndAnimation(_clipStructureRoot, insert);
}

std::vector<std::string> knAnimManager::pyGetBlocks(bool includeHidden) {
  std::vector<std::string> names;
  forEachBlock(includeHidden, [&](NodePtr const& node) { names.push_back(nameOf(node)); });
  return names;
}

std::vector<NodePtr> knAnimManager::getBlockNodes(bool includeHidden) {
  std::vector<NodePtr> nodes;
  forEachBlock(includeHidden, [&](NodePtr const& node) { nodes.push_back(node); });
  return nodes;
}

std::vector<std::string> knAnimManager::pyGetClips() {
  std::vector<std::string> names;
  for (NodePtr const& clip : getClipNodes()) {
    if (std::string name = nameOf(clip); !name.empty()) names.push_back(std::move(name));
  }
  return names;
}

std::vector<NodePtr> knAnimManager::getClipNodes() {
  std::vector<NodePtr> nodes;
  NodePtr const root = the()->_clipStructureRoot;
  if (!root.isAlive()) return nodes;
  for (NodePtr const& child : root->getChildren()) {
    if (child.isAlive()) nodes.push_back(child);
  }
  return nodes;
}
