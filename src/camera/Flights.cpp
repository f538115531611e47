#include "camera/CameraChannels.h"
#include "camera/CameraRoot.h"
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/constraint/knConstraintManager.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/fields/Ref.h"
#include "model/math/MatrixTools.h"
#include "model/sceneext/CameraTrack.h"
#include "model/scenegraph/Group.h"
#include "model/scenegraph/NodeQueries.h"

#include <algorithm>
#include <cmath>

using osg::AnimCurvePtr;
using osg::AnimNodePtr;
using osg::Camera;
using osg::NodePtr;
using osg::Pnt3f;
using osg::UberCameraPtr;
using osg::Vec3f;

namespace {

/// Vectors whose components are all within this count as not given.
float const kNothing = 0.000001F;

template <class Tuple>
bool isGiven(Tuple const& values, osg::UInt32 size) {
  for (osg::UInt32 i = 0; i < size; ++i) {
    if (values[i] < -kNothing || values[i] > kNothing) return true;
  }
  return false;
}

/// What a curve is called: suffix and channel name by value index.
struct CurveNames {
  char const* suffix;
  char const* channel;
};

/// Makes a curve from one value to another and hangs it below `parent`.
void addFlightCurve(AnimNodePtr const& parent, std::string const& name, osg::UInt32 index,
                    CurveNames const& names, float from, float to, float duration) {
  osg::Ref<osg::AnimNode> const node =
      knAnimManager::the()->createChannelCurveNode({}, name, index, names.suffix, names.channel);
  if (!node.isAlive()) return;
  createFromToControlPoints(osg::dcast<AnimCurvePtr>(node->getCore()), from, to, duration, 2);
  if (parent.isAlive() && node.isAlive()) parent->addChild(node.get());
}

/// Which duration flights have: not 0, not negative. One that is not a number is none, either.
bool isDuration(float duration) { return duration > 0; }

void addTranslationCurves(AnimNodePtr const& animNode, std::string const& name, Vec3f const& from,
                          Vec3f const& to, float duration) {
  static constexpr CurveNames names[] = {{"X", "tx"}, {"Y", "ty"}, {"Z", "tz"}};
  if (!animNode.isAlive() || !isDuration(duration)) return;
  for (osg::UInt32 i = 0; i < 3; ++i) addFlightCurve(animNode, name, i, names[i], from[i], to[i], duration);
  announce(animNode, osg::Node::ChildrenFieldMask);
}

/// The translation that brings what a transform turns around to a place in the world.
Vec3f translationTo(Pnt3f const& world, NodePtr const& node, osg::Transform3D const& transform) {
  Pnt3f place = world;
  osg::Matrix inverse;
  NodePtr const parent = node->getParent();
  if (parent.isAlive() && parent->getToWorld().inverse(inverse)) place = inverse.multMatrixPnt(world);
  Vec3f const pivot = transform.getRotatePivot();
  return {place.x() - pivot.x(), place.y() - pivot.y(), place.z() - pivot.z()};
}

/// Where a flight ends, and what space that is told in.
struct FlightEnd {
  Pnt3f from;
  Pnt3f at;
  Vec3f up;
  Camera::CameraSpace space;
};

Pnt3f worldPoint(Pnt3f const& point, FlightEnd const& end, osg::UberCamera const& camera) {
  return end.space == Camera::WorldSpace ? point : camera.pointToWorld(point);
}

/// The up target ends at the distance that it has from the camera now, and not from where the camera will be: it keeps
/// its working distance.
Pnt3f upTargetPlace(FlightEnd const& end, osg::UberCamera const& camera, NodePtr const& upNode) {
  Vec3f up = end.space == Camera::WorldSpace ? end.up : camera.vectorToWorld(end.up);
  float const size = length(up);
  if (!(std::abs(size) < kNothing)) up = up * (1 / size);
  Pnt3f const from = worldPoint(end.from, end, camera);
  float const distance = length(osg::AimConstraint::getAimPos(upNode) - camera.getFrom(Camera::WorldSpace));
  return from + up * distance;
}

/// Keeps the targets of an aim constraint in step with a flight; a camera without one gets no such curves.
void createAimAnimationCurves(AnimNodePtr const& animNode, UberCameraPtr const& camera, FlightEnd const& end,
                              float duration) {
  if (!camera.isAlive() || !animNode.isAlive() || !isDuration(duration)) return;
  auto const constraint = knConstraintManager::findAimConstraintForTarget(camera);
  if (!constraint) return;
  NodePtr const aimNode = constraint->getAimNode();
  auto const* const aim = coreOf<osg::Transform3D>(aimNode);
  if (aim == nullptr) return;
  Vec3f const aimPlace = translationTo(worldPoint(end.at, end, *camera), aimNode, *aim);
  addTranslationCurves(animNode, "aimTranslation", aim->getTranslation(), aimPlace, duration);
  if (!camera.isAlive()) return;
  NodePtr const upNode = constraint->getUpVectorNode();
  auto const* const up = coreOf<osg::Transform3D>(upNode);
  if (up == nullptr) return;
  Vec3f const upPlace = translationTo(upTargetPlace(end, *camera, upNode), upNode, *up);
  addTranslationCurves(animNode, "upTranslation", up->getTranslation(), upPlace, duration);
}

osg::FieldContainerPtr containerOf(osg::UInt32 id) {
  auto const& store = *osg::FieldContainerFactory::the().getFieldContainerStore();
  return id < store.size() ? store[id] : osg::FieldContainerPtr();
}

float presentValue(knOSGChannelData const& channel) {
  return knAnimManager::the()->getOSGFieldValue(containerOf(channel.containerId), channel.fieldName.c_str(),
                                                static_cast<int>(channel.valueIndex));
}

/// The short way round. One correction only, as the curves of a camera turn once at most.
float shortWay(float from, float to) {
  if (!(std::abs(from - to) > 180.F)) return to;
  return to >= 0.F ? to - 360.F : to + 360.F;
}

/// The angles that make a camera which stays in place look at a point of its own space. Where the camera turns around a
/// pivot off its eye, turning moves the eye, and the direction with it: found by going there a few times.
Vec3f anglesToward(osg::UberCamera const& camera, osg::Matrix const& wanted, Pnt3f const& at) {
  osg::Matrix const frame = osg::Matrix::rotationEuler(camera.getEulerRotationOrientation());
  osg::Matrix toFrame;
  if (!frame.inverse(toFrame)) toFrame = {};
  Vec3f const pivot = camera.getRotatePivot();
  Vec3f const up = wanted.multMatrixVec({0, 1, 0});
  osg::TransformParts parts = splitTransform(wanted);
  for (int step = 0; step < 32 && isGiven(pivot, 3); ++step) {
    Vec3f const eye =
        camera.getTranslation() + pivot - osg::Matrix::rotation(parts.rotation).multMatrixVec(pivot);
    parts = splitTransform(osg::lookAt({eye.x(), eye.y(), eye.z()}, at, up));
  }
  osg::TransformParts const turned = splitTransform(toFrame * osg::Matrix::rotation(parts.rotation));
  Vec3f angles;
  osg::Transform3D::convertQuatToEuler(angles, turned.rotation, 1);
  return angles;
}

void startFlight(AnimNodePtr const& root) { knAnimEvaluator::the()->enqueue(root, true); }

}  // namespace

AnimNodePtr prepareCameraAnimationRoot(UberCameraPtr const& camera) {
  AnimNodePtr root = camera->getAnimationRoot();
  if (!root.isAlive()) {
    root = osg::AnimNodeBase::create();
    root->setCore(osg::GroupBase::create());
    announce(root, osg::Node::CoreFieldMask);
    camera->setAnimationRoot(root);
    announce(camera, osg::UberCameraBase::AnimationRootFieldMask);
  }
  knAnimManager::the()->stopCameraAnimation(camera);
  if (!root.isAlive()) return {};
  root->clearChildren();
  announce(root, osg::Node::ChildrenFieldMask);
  return root.isAlive() ? root : AnimNodePtr();
}

void createFromToControlPoints(AnimCurvePtr const& curve, float from, float to, float duration,
                               osg::UInt32 tangentType) {
  if (!curve.isAlive()) return;
  addPlainKey(curve, 0, from, tangentType, tangentType);
  addPlainKey(curve, duration, to, tangentType, tangentType);
  announce(curve, osg::AnimCurveBase::ControlPointsFieldMask);
}

void knAnimManager::stopCameraAnimation(UberCameraPtr const& camera) {
  AnimNodePtr const root = camera.isAlive() ? camera->getAnimationRoot() : AnimNodePtr();
  if (!root.isAlive()) return;
  knAnimEvaluator& evaluator = *knAnimEvaluator::the();
  if (evaluator.isPlaying(root)) evaluator.dequeue(root, false);
  // A turntable repeats without end; the next flight uses the same root.
  if (!root.isAlive() || root->getPostCycles() == 0) return;
  root->setPostCycles(0);
  announce(root, osg::AnimNodeBase::PostCyclesFieldMask);
}

AnimNodePtr knAnimManager::prepareCameraAnimation(UberCameraPtr const& camera, UberCameraPtr const& viewpoint,
                                                  float duration,
                                                  std::vector<std::string> const& ignoredFields) {
  if (!camera.isAlive()) return {};
  UberCameraPtr const flying = camera;
  UberCameraPtr const target = viewpoint;
  std::vector<std::string> const ignored = ignoredFields;
  AnimNodePtr const root = prepareCameraAnimationRoot(flying);
  std::vector<knOSGChannelData> from;
  std::vector<knOSGChannelData> to;
  getCameraChannelData(flying, from);
  getCameraChannelData(target, to);
  createViewpointAnimationCurves(root, from, to, duration, ignored);
  if (target.isAlive()) {
    FlightEnd const end{target->getFrom(Camera::LocalSpace), target->getAt(Camera::LocalSpace),
                        target->getUp(Camera::LocalSpace), Camera::LocalSpace};
    createAimAnimationCurves(root, flying, end, duration);
  }
  return root;
}

void knAnimManager::createViewpointAnimationCurves(AnimNodePtr const& animNode,
                                                   std::vector<knOSGChannelData> const& fromChannels,
                                                   std::vector<knOSGChannelData> const& toChannels,
                                                   float duration,
                                                   std::vector<std::string> const& ignoredFields) {
  if (!animNode.isAlive() || fromChannels.empty() || fromChannels.size() != toChannels.size()) return;
  if (!isDuration(duration)) return;
  AnimNodePtr const parent = animNode;
  std::vector<knOSGChannelData> const starts = fromChannels;
  std::vector<knOSGChannelData> const ends = toChannels;
  std::vector<std::string> const ignored = ignoredFields;
  for (std::size_t i = 0; i < starts.size(); ++i) {
    knOSGChannelData const& channel = starts[i];
    if (ignoreChannel(channel.fieldName) || std::ranges::count(ignored, channel.fieldName) > 0) continue;
    osg::Ref<osg::AnimNode> const node = createChannelCurveNode(channel, {});
    AnimCurvePtr const curve = node.isAlive() ? osg::dcast<AnimCurvePtr>(node->getCore()) : AnimCurvePtr();
    if (!curve) continue;
    addPlainKey(curve, 0, presentValue(channel), 2, 2);
    addPlainKey(curve, duration, presentValue(ends[i]), 2, 2);
    validateCameraCurveTangents(curve);
    announce(curve, osg::AnimCurveBase::ControlPointsFieldMask);
    if (parent.isAlive() && node.isAlive()) parent->addChild(node.get());
  }
  announce(parent, osg::Node::ChildrenFieldMask);
}

void knAnimManager::createFromAtUpCurves(AnimNodePtr const& animNode, UberCameraPtr const& camera,
                                         Pnt3f const& from, Pnt3f const& at, Vec3f const& up,
                                         float duration) {
  if (!animNode.isAlive() || !camera.isAlive() || !isDuration(duration)) return;
  static constexpr CurveNames fromNames[] = {{"X", "fx"}, {"Y", "fy"}, {"Z", "fz"}};
  static constexpr CurveNames atNames[] = {{"X", "ax"}, {"Y", "ay"}, {"Z", "az"}};
  static constexpr CurveNames upNames[] = {{"X", "ux"}, {"Y", "uy"}, {"Z", "uz"}};
  AnimNodePtr const parent = animNode;
  Pnt3f const toFrom = from;
  Pnt3f const toAt = at;
  Vec3f const toUp = up;
  Pnt3f presentFrom;
  Pnt3f presentAt;
  Vec3f presentUp;
  camera->getFromAtUp(presentFrom, presentAt, presentUp, Camera::LocalSpace);
  for (osg::UInt32 i = 0; i < 3; ++i)
    addFlightCurve(parent, "from", i, fromNames[i], presentFrom[i], toFrom[i], duration);
  for (osg::UInt32 i = 0; i < 3; ++i)
    addFlightCurve(parent, "at", i, atNames[i], presentAt[i], toAt[i], duration);
  for (osg::UInt32 i = 0; i < 3; ++i)
    addFlightCurve(parent, "up", i, upNames[i], presentUp[i], toUp[i], duration);
  announce(parent, osg::Node::ChildrenFieldMask);
}

void knAnimManager::createFrustumSidesCurves(AnimNodePtr const& animNode, UberCameraPtr const& camera,
                                             osg::Vec4f const& sides, float duration) {
  if (!animNode.isAlive() || !camera.isAlive() || !isDuration(duration)) return;
  // The names of the third and fourth are those of older releases, which files and hosts know; the value index tells
  // the four apart.
  static constexpr CurveNames names[] = {{"X", "fsx"}, {"Y", "fsy"}, {"Y", "fsy"}, {"W", "fsz"}};
  AnimNodePtr const parent = animNode;
  osg::Vec4f const to = sides;
  osg::Vec4f const present = camera->getFrustumSides();
  for (osg::UInt32 i = 0; i < 4; ++i) {
    addFlightCurve(parent, "frustumSides", i, names[i], present[i], to[i], duration);
  }
  announce(parent, osg::Node::ChildrenFieldMask);
}

void knAnimManager::createRotationCurves(AnimNodePtr const& animNode, UberCameraPtr const& camera,
                                         Vec3f rotation, float duration) {
  if (!animNode.isAlive() || !camera.isAlive() || !isDuration(duration)) return;
  static constexpr CurveNames names[] = {{"X", "rx"}, {"Y", "ry"}, {"Z", "rz"}};
  AnimNodePtr const parent = animNode;
  Vec3f const present = camera->getEulerRotation();
  for (osg::UInt32 i = 0; i < 3; ++i) {
    addFlightCurve(parent, "eulerRotation", i, names[i], present[i], shortWay(present[i], rotation[i]),
                   duration);
  }
  announce(parent, osg::Node::ChildrenFieldMask);
}

void knAnimManager::animateCamera(UberCameraPtr const& camera, UberCameraPtr const& viewpoint, float duration,
                                  std::vector<std::string> const& ignoredFields) {
  AnimNodePtr const root = prepareCameraAnimation(camera, viewpoint, duration, ignoredFields);
  startFlight(root);
}

void knAnimManager::animateCamera(UberCameraPtr const& camera, NodePtr const& trackNode,
                                  std::vector<std::string> const& ignoredFields) {
  if (!camera.isAlive() || !trackNode.isAlive() || trackNode->getNChildren() == 0) return;
  if (!hasCore<osg::CameraTrack>(trackNode)) return;
  NodePtr const track = trackNode;
  std::vector<std::string> const ignored = ignoredFields;
  AnimNodePtr const root = prepareCameraAnimationRoot(camera);
  createCameraTrackAnimationCurves(root, track, ignored);
  startFlight(root);
}

void knAnimManager::animateCamera(UberCameraPtr const& camera,
                                  osg::TransformationMatrix<osg::Real32> const& matrix,
                                  osg::Vec4f const& frustumSides, Vec3f const& up, float duration) {
  if (!camera.isAlive()) return;
  UberCameraPtr const flying = camera;
  osg::Vec4f const sides = frustumSides;
  osg::Matrix const place = flying->matrixToLocal(matrix);
  FlightEnd end;
  end.space = Camera::LocalSpace;
  end.from = {place(0, 3), place(1, 3), place(2, 3)};
  end.at = place.multMatrixPnt({0, 0, -flying->getAtDistance()});
  end.up = isGiven(up, 3) ? flying->vectorToLocal(up) : place.multMatrixVec({0, 1, 0});
  AnimNodePtr const root = prepareCameraAnimationRoot(flying);
  createFromAtUpCurves(root, flying, end.from, end.at, end.up, duration);
  createAimAnimationCurves(root, flying, end, duration);
  if (isGiven(sides, 4)) createFrustumSidesCurves(root, flying, sides, duration);
  startFlight(root);
}

void knAnimManager::animateCamera(UberCameraPtr const& camera, Pnt3f const& at, Vec3f const& up,
                                  float duration) {
  if (!camera.isAlive()) return;
  UberCameraPtr const flying = camera;
  FlightEnd end;
  end.space = Camera::WorldSpace;
  flying->getFromAtUp(end.from, end.at, end.up, Camera::WorldSpace);
  end.at = at;
  if (isGiven(up, 3)) end.up = up;
  osg::Matrix const wanted = flying->matrixToLocal(osg::lookAt(end.from, end.at, end.up));
  Vec3f const angles = anglesToward(*flying, wanted, flying->pointToLocal(end.at));
  AnimNodePtr const root = prepareCameraAnimationRoot(flying);
  createRotationCurves(root, flying, angles, duration);
  createAimAnimationCurves(root, flying, end, duration);
  startFlight(root);
}

void knAnimManager::animateCamera(UberCameraPtr const& camera, Pnt3f const& from, Pnt3f const& at,
                                  Vec3f const& up, float fov, float roll, float duration) {
  if (!camera.isAlive()) return;
  UberCameraPtr const flying = camera;
  FlightEnd const end{from, at, up, Camera::LocalSpace};
  AnimNodePtr const root = prepareCameraAnimationRoot(flying);
  createFromAtUpCurves(root, flying, end.from, end.at, end.up, duration);
  createAimAnimationCurves(root, flying, end, duration);
  if (!flying.isAlive()) return;
  float const presentFov = flying->getFov();
  float const presentRoll = flying->getRoll();
  // Unlike the others, these two are made whatever the duration is.
  addFlightCurve(root, "fov", 0, {"", "fov"}, presentFov, fov, duration);
  addFlightCurve(root, "roll", 0, {"", "roll"}, presentRoll, roll, duration);
  announce(root, osg::Node::ChildrenFieldMask);
  startFlight(root);
}
