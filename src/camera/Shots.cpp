#include "camera/CameraChannels.h"
#include "camera/FirstHolders.h"
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/fields/Ref.h"
#include "model/scenedata/knUberCameraPool.h"
#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimShot.h"
#include "model/sceneext/AnimTreeCloning.h"
#include "model/scenegraph/NodeQueries.h"
#include "model/utils/knLog.h"

#include <map>

using osg::AnimCurvePtr;
using osg::AnimNodePtr;
using osg::AnimShotPtr;
using osg::NodePtr;
using osg::UberCameraPtr;

namespace {

char const* const kSuffixes[] = {"X", "Y", "Z"};
/// Where a shot without a flight begins: a key before it holds a place for the camera's own value.
float const kStartOfShot = 0.0001F;

struct View {
  osg::Pnt3f from;
  osg::Pnt3f at;
  osg::Vec3f up;
};

struct TangentTypes {
  osg::UInt32 in;
  osg::UInt32 out;
};

TangentTypes tangentTypesOf(osg::AnimShot const& shot) {
  osg::UInt32 const plain = shot.getTransitionType() != 0 || shot.getShotType() == 1 ? 1 : 0;
  switch (shot.getInterpolation()) {
    case 1:
      return {2, plain};
    case 2:
      return {plain, 2};
    case 3:
      return {2, 2};
    default:
      return {plain, plain};
  }
}

/// The curves of a shot: those that are there already by channel name, and new ones.
class ShotCurves {
 public:
  explicit ShotCurves(AnimNodePtr const& shotNode) : _shotNode(shotNode) {
    for (NodePtr const& child : shotNode->getChildren()) {
      AnimCurvePtr const curve =
          child.isAlive() ? osg::dcast<AnimCurvePtr>(child->getCore()) : AnimCurvePtr();
      // Of several curves of one channel the first counts.
      if (curve) _curves.try_emplace(curve->getChannelName(), curve);
    }
  }

  /// A channel's curve without keys. Null when there can be none.
  AnimCurvePtr begin(std::string const& name, std::string const& suffix) {
    AnimCurvePtr curve;
    auto const present = _curves.find(name + suffix);
    if (present != _curves.end()) {
      curve = present->second;
    } else {
      auto const made = knAnimManager::the()->createCurve(name, suffix);
      curve = made.second;
      osg::Ref<osg::AnimNode> const held = made.first;
      if (held.isAlive() && _shotNode.isAlive()) _shotNode->addChild(made.first);
    }
    if (!curve.isAlive()) return {};
    curve->clear();
    return curve;
  }

 private:
  AnimNodePtr _shotNode;
  std::map<std::string, AnimCurvePtr> _curves;
};

/// Everything that the keys of one shot are made from.
struct ShotPlan {
  View present;  ///< the camera's own; of interest for a flight alone
  View start;
  View end;
  float startTime = 0;
  float endTime = 0;
  bool isFlight = false;
  bool isMoving = false;
  TangentTypes types{};
};

ShotPlan planOf(osg::AnimShot const& shot, UberCameraPtr const& camera) {
  ShotPlan plan;
  plan.start = {shot.getStartFrom(), shot.getStartAt(), shot.getStartUp()};
  plan.end = {shot.getEndFrom(), shot.getEndAt(), shot.getEndUp()};
  plan.endTime = shot.getShotDuration();
  plan.isFlight = shot.getTransitionType() == 1;
  plan.isMoving = shot.getShotType() == 1;
  plan.types = tangentTypesOf(shot);
  if (plan.isFlight) {
    plan.startTime = shot.getTransitionDuration();
    plan.endTime += shot.getTransitionDuration();
    camera->getFromAtUp(plan.present.from, plan.present.at, plan.present.up, osg::Camera::LocalSpace);
  }
  return plan;
}

/// Without a flight the first key is a placeholder at 0 that updateCameraShotCurves gives the camera's value: the step
/// right after it makes the shot begin where it should.
void addKeys(AnimCurvePtr const& curve, ShotPlan const& plan, float present, float start, float end) {
  auto const [in, out] = plan.types;
  if (plan.isFlight) {
    addPlainKey(curve, 0, present, in, out);
    addPlainKey(curve, plan.startTime, start, in, out);
  } else {
    addPlainKey(curve, plan.startTime, present, in, out);
    addPlainKey(curve, plan.startTime + kStartOfShot, start, in, out);
  }
  if (plan.isMoving) addPlainKey(curve, plan.endTime, end, in, out);
}

template <class Triple>
void buildVectorCurves(ShotCurves& curves, ShotPlan const& plan, char const* name, Triple const& present,
                       Triple const& start, Triple const& end) {
  for (osg::UInt32 i = 0; i < 3; ++i) {
    AnimCurvePtr const curve = curves.begin(name, kSuffixes[i]);
    if (!curve) continue;
    addKeys(curve, plan, present[i], start[i], end[i]);
    curve->setIsCameraShotCurve(true);
    announce(curve,
             osg::AnimCurveBase::ControlPointsFieldMask | osg::AnimCurveBase::IsCameraShotCurveFieldMask);
  }
}

/// Dips to black at once and comes back within the transition. The keys are sorted by time, as all are: without a
/// duration the third stands second. The curve is not marked as a shot's: its first key stays as it was built.
void buildFadeCurve(ShotCurves& curves, float exposure, float duration, TangentTypes types) {
  AnimCurvePtr const curve = curves.begin("exposure", "");
  if (!curve) return;
  addPlainKey(curve, 0, exposure, types.in, 0);
  addPlainKey(curve, kStartOfShot, 0, 0, types.out);
  addPlainKey(curve, duration, exposure, types.in, types.out);
  announce(curve, osg::AnimCurveBase::ControlPointsFieldMask);
}

void updateFirstKey(AnimCurvePtr const& curve, NodePtr const& cameraNode) {
  if (!curve->getIsCameraShotCurve() || curve->getControlPoints().size() < 2) return;
  osg::FieldContainerPtr target;
  std::vector<osg::FieldContainerPtr> parents;
  knAnimEvaluator::the()->computeAim(curve, cameraNode, target, parents);
  // Reading can run code of the host's, after which the curve need not have that key any more, nor live.
  float const present =
      target && curve.isAlive() ? knAnimManager::the()->getOSGFieldValue(curve, target) : 0.F;
  if (!curve.isAlive()) return;
  if (target && !curve->isEmpty()) curve->getControlPoints()[0].setY(present);
  curve->computeIntangent(0, -1);
  curve->computeOuttangent(0, -1);
  curve->computeIntangent(1, -1);
  announce(curve, osg::AnimCurveBase::ControlPointsFieldMask);
}

}  // namespace

void knAnimManager::convertShotToCurvesR(AnimNodePtr const& animNode, NodePtr const& cameraNode) {
  if (!animNode.isAlive() || !cameraNode.isAlive() || !cameraNode->getCore().isAlive()) return;
  NodePtr const owner = cameraNode;
  UberCameraPtr const camera = osg::dcast<UberCameraPtr>(owner->getCore());
  if (!camera) {
    knLog::error("Error converting camera shots to curves. Parent core is not a camera!");
    return;
  }
  osg::traverse(animNode, [&](NodePtr const& node) {
    AnimNodePtr const shotNode = osg::dcast<AnimNodePtr>(node);
    if (!shotNode) return osg::Action::Skip;
    // A shot that has its curves already is left as it is.
    if (!hasCore<osg::AnimShot>(shotNode) || shotNode->getNChildren() > 0) return osg::Action::Continue;
    createAnimationCurvesForShotNode(shotNode, camera);
    if (!shotNode.isAlive()) return osg::Action::Skip;
    osg::Ref<osg::AnimNode> const clone = osg::dcast<AnimNodePtr>(osg::cloneAnimTree(shotNode, true));
    if (owner.isAlive()) addAnimation(owner, clone.get());
    if (!shotNode.isAlive()) return osg::Action::Skip;
    // The shot moves, and not its clone: the clone plays where the shot stood. Meant so, and hosts rely on it.
    shotNode->pushOffsetDelta(shotNode->getOffset().x(), 0);
    announce(shotNode, osg::AnimNodeBase::OffsetFieldMask);
    return osg::Action::Continue;
  });
}

void knAnimManager::createAnimationCurvesForShotNode(AnimNodePtr const& shotNode,
                                                     UberCameraPtr const& camera) {
  if (!camera.isAlive() || !shotNode.isAlive()) return;
  AnimShotPtr const shot = osg::dcast<AnimShotPtr>(shotNode->getCore());
  if (!shot) return;
  AnimNodePtr const node = shotNode;
  osg::TonemappingSettingsPtr const tonemapping = camera->getTonemappingSettings();
  float const exposure = tonemapping.isAlive() ? tonemapping->getExposure() : 1.F;
  bool const fades = shot->getTransitionType() == 2;
  float const transition = shot->getTransitionDuration();
  ShotPlan const plan = planOf(*shot, camera);

  ShotCurves curves(node);
  buildVectorCurves(curves, plan, "from", plan.present.from, plan.start.from, plan.end.from);
  buildVectorCurves(curves, plan, "at", plan.present.at, plan.start.at, plan.end.at);
  buildVectorCurves(curves, plan, "up", plan.present.up, plan.start.up, plan.end.up);
  if (fades) buildFadeCurve(curves, exposure, transition, plan.types);
  announce(node, osg::Node::ChildrenFieldMask);
}

void knAnimManager::updateCameraShotCurves(AnimNodePtr const& root) {
  if (!root.isAlive()) return;
  std::set<AnimNodePtr> blocks;
  std::set<AnimNodePtr> shots;
  getCameraTrackBlocksR(root, blocks);
  AnimNodePtr const held = root;
  // The owners of all of them first: a search for each would walk over the scene each time.
  FirstHolders tracks(blocks);
  if (!tracks.wantNothing()) {
    for (NodePtr const& node : knUberCameraPool::getCameraTrackNodes()) tracks.look(node);
  }
  for (AnimNodePtr const& block : blocks) {
    NodePtr const trackNode = tracks.of(block);
    if (trackNode.isAlive()) updateCameraShotCurvesR(block, trackNode->getParent());
  }
  getCameraShotsR(held, shots);
  FirstHolders cameras(shots);
  if (cameras.wantNothing()) return;
  for (UberCameraPtr const& camera : knUberCameraPool::getContentPtrs(true, true)) {
    for (NodePtr const& node : camera->getParents()) cameras.look(node);
  }
  for (AnimNodePtr const& shot : shots) {
    NodePtr const cameraNode = cameras.of(shot);
    if (cameraNode.isAlive()) updateCameraShotCurvesR(shot, cameraNode);
  }
}

void knAnimManager::updateCameraShotCurvesR(AnimNodePtr const& animNode, NodePtr const& cameraNode) {
  if (!animNode.isAlive() || !cameraNode.isAlive()) return;
  NodePtr const owner = cameraNode;
  osg::traverse(animNode, [&](NodePtr const& node) {
    if (!osg::dcast<AnimNodePtr>(node)) return osg::Action::Skip;
    AnimCurvePtr const curve = osg::dcast<AnimCurvePtr>(node->getCore());
    if (curve) updateFirstKey(curve, owner);
    return osg::Action::Continue;
  });
}

void knAnimManager::getCameraShotsR(AnimNodePtr const& animNode, std::set<AnimNodePtr>& out) {
  osg::traverse(animNode, [&](NodePtr const& node) {
    AnimNodePtr const each = osg::dcast<AnimNodePtr>(node);
    if (!each) return osg::Action::Skip;
    if (hasCore<osg::AnimShot>(each)) out.insert(each);
    return osg::Action::Continue;
  });
}

NodePtr knAnimManager::getCameraNodeWithAnimationShot(AnimNodePtr const& shotNode) {
  osg::AnimObjectPtr const object =
      shotNode.isAlive() ? osg::dcast<osg::AnimObjectPtr>(shotNode->getCore()) : osg::AnimObjectPtr();
  if (!object) return {};
  for (UberCameraPtr const& camera : knUberCameraPool::getContentPtrs(true, true)) {
    for (NodePtr const& node : camera->getParents()) {
      osg::AnimAttachmentPtr const attachment = getAnimAttachment(node);
      unsigned int count = 0;
      if (attachment) findAndCountR(attachment->getAnimationRoot(), object, count);
      if (count > 0) return node;
    }
  }
  return {};
}
