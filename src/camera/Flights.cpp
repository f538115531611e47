#include "camera/CameraChannels.h"
#include "camera/FlightTree.h"
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/constraint/knConstraintManager.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/math/MatrixTools.h"
#include "model/sceneext/CameraTrack.h"
#include "model/scenegraph/Group.h"
#include "model/scenegraph/NodeQueries.h"

#include <algorithm>
#include <array>
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

/// Makes a curve from one value to another and hangs it into a tree.
void addFlightCurve(FlightTree& tree, std::string const& name, osg::UInt32 index, CurveNames const& names,
                    float from, float to, float duration) {
  osg::Ref<osg::AnimNode> const node = FlightTree::makeCurveNode(name, index, names.suffix, names.channel);
  if (!node.isAlive()) return;
  createFromToControlPoints(osg::dcast<AnimCurvePtr>(node->getCore()), from, to, duration, 2);
  tree.add(node);
}

/// Which duration flights have: not 0, not negative. One that is not a number is none, either.
bool isDuration(float duration) { return duration > 0; }

/// The places are values: where they were read may be gone when the tree has told the host of its first curve.
void addTranslationCurves(FlightTree& tree, std::string const& name, Vec3f const from, Vec3f const to,
                          float duration) {
  static constexpr CurveNames names[] = {{"X", "tx"}, {"Y", "ty"}, {"Z", "tz"}};
  if (!tree.isAlive() || !isDuration(duration)) return;
  for (osg::UInt32 i = 0; i < 3; ++i) addFlightCurve(tree, name, i, names[i], from[i], to[i], duration);
  tree.announceChildren();
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
void addAimCurves(FlightTree& tree, UberCameraPtr const& camera, FlightEnd const& end, float duration) {
  if (!camera.isAlive() || !tree.isAlive() || !isDuration(duration)) return;
  auto const constraint = knConstraintManager::findAimConstraintForTarget(camera);
  if (!constraint) return;
  NodePtr const aimNode = constraint->getAimNode();
  auto const* const aim = coreOf<osg::Transform3D>(aimNode);
  if (aim == nullptr) return;
  Vec3f const aimPlace = translationTo(worldPoint(end.at, end, *camera), aimNode, *aim);
  addTranslationCurves(tree, "aimTranslation", aim->getTranslation(), aimPlace, duration);
  if (!camera.isAlive()) return;
  NodePtr const upNode = constraint->getUpVectorNode();
  auto const* const up = coreOf<osg::Transform3D>(upNode);
  if (up == nullptr) return;
  Vec3f const upPlace = translationTo(upTargetPlace(end, *camera, upNode), upNode, *up);
  addTranslationCurves(tree, "upTranslation", up->getTranslation(), upPlace, duration);
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

/// Axes at right angles to each other: the first one, and the second as near to `beside` as can be.
std::array<Vec3f, 3> axesOf(Vec3f const& along, Vec3f const& beside) {
  Vec3f const first = along * (1 / length(along));
  Vec3f second = beside - first * dot(first, beside);
  if (!(length(second) > kNothing)) {
    Vec3f const other = std::abs(first.x()) < 0.6F ? Vec3f(1, 0, 0) : Vec3f(0, 1, 0);
    second = other - first * dot(first, other);
  }
  second = second * (1 / length(second));
  return {first, second, cross(first, second)};
}

/// The rotation that takes the axes `own` to the axes `wanted`.
osg::Matrix rotationBetween(std::array<Vec3f, 3> const& own, std::array<Vec3f, 3> const& wanted) {
  osg::Matrix result;
  for (osg::UInt32 row = 0; row < 3; ++row) {
    for (osg::UInt32 column = 0; column < 3; ++column) {
      result(row, column) = 0;
      for (std::size_t i = 0; i < 3; ++i) result(row, column) += wanted[i][row] * own[i][column];
    }
  }
  return result;
}

/// The rotation around a pivot off the eye that makes a camera look at what is `way` away from the pivot. Turning moves
/// the eye, so that the distance to look over is the larger root of a quadratic equation. `unturned` decides where
/// nothing else does: the point is nearer than the eye can get out of the way, or the up vector runs along `way`.
osg::Matrix turnAroundPivot(Vec3f const& pivot, Vec3f const& way, Vec3f const& up,
                            osg::Matrix const& unturned) {
  float const distance = std::sqrt(pivot.z() * pivot.z() + dot(way, way) - dot(pivot, pivot)) - pivot.z();
  if (!(distance > 0) || !(length(way) > 0)) return unturned;
  Vec3f const sight = -pivot - Vec3f(0, 0, distance);
  auto const own = axesOf(sight, {1, 0, 0});
  Vec3f const upright = length(up) > 0 ? up * (1 / length(up)) : Vec3f();
  Vec3f ahead = way - upright * dot(upright, way);
  float const size = length(ahead);
  if (!(size > kNothing * length(way)) || upright == Vec3f()) {
    return rotationBetween(own, axesOf(way, unturned.multMatrixVec({1, 0, 0})));
  }
  ahead = ahead * (1 / size);
  // The camera's right is upright to the up vector, and leans on the way as it leans on the sight: two do.
  float const cosine = std::clamp(sight.x() / size, -1.F, 1.F);
  Vec3f const aside = cross(ahead, upright) * std::sqrt(1 - cosine * cosine);
  osg::Matrix const first = rotationBetween(own, axesOf(way, ahead * cosine + aside));
  osg::Matrix const second = rotationBetween(own, axesOf(way, ahead * cosine - aside));
  auto const lean = [&](osg::Matrix const& turn) { return dot(turn.multMatrixVec({0, 1, 0}), upright); };
  return lean(first) >= lean(second) ? first : second;
}

/// The angles that make a camera which stays in place look at a point of its own space, with that up vector.
Vec3f anglesToward(osg::UberCamera const& camera, Pnt3f const& at, Vec3f const& up) {
  Vec3f const pivot = camera.getRotatePivot();
  osg::Matrix turn = osg::lookAt(camera.getFrom(Camera::LocalSpace), at, up);
  if (isGiven(pivot, 3)) {
    Vec3f const place = camera.getTranslation() + pivot;
    turn = turnAroundPivot(pivot, Vec3f(at.x(), at.y(), at.z()) - place, up, turn);
  }
  osg::Matrix toFrame;
  if (!osg::Matrix::rotationEuler(camera.getEulerRotationOrientation()).inverse(toFrame)) toFrame = {};
  Vec3f angles;
  osg::Transform3D::convertQuatToEuler(angles, osg::splitTransform(toFrame * turn).rotation, 1);
  return angles;
}

/// Channels are paired by their places. A value is read before its curve is made: reading can run code of the host's.
void addViewpointCurves(FlightTree& tree, std::vector<knOSGChannelData> const& starts,
                        std::vector<knOSGChannelData> const& ends, float duration,
                        std::vector<std::string> const& ignored) {
  if (!tree.isAlive() || starts.empty() || starts.size() != ends.size() || !isDuration(duration)) return;
  knAnimManager const& manager = *knAnimManager::the();
  for (std::size_t i = 0; i < starts.size(); ++i) {
    knOSGChannelData const& channel = starts[i];
    if (manager.ignoreChannel(channel.fieldName) || std::ranges::count(ignored, channel.fieldName) > 0)
      continue;
    float const start = presentValue(channel);
    float const end = presentValue(ends[i]);
    osg::Ref<osg::AnimNode> const node = FlightTree::makeCurveNode(channel);
    AnimCurvePtr const curve = node.isAlive() ? osg::dcast<AnimCurvePtr>(node->getCore()) : AnimCurvePtr();
    if (!curve) continue;
    curve->getControlPoints().reserve(2);
    addPlainKey(curve, 0, start, 2, 2);
    addPlainKey(curve, duration, end, 2, 2);
    validateCameraCurveTangents(curve);
    announce(curve, osg::AnimCurveBase::ControlPointsFieldMask);
    tree.add(node);
  }
  tree.announceChildren();
}

void addFromAtUpCurves(FlightTree& tree, UberCameraPtr const& camera, FlightEnd const& end, float duration) {
  if (!tree.isAlive() || !camera.isAlive() || !isDuration(duration)) return;
  static constexpr CurveNames fromNames[] = {{"X", "fx"}, {"Y", "fy"}, {"Z", "fz"}};
  static constexpr CurveNames atNames[] = {{"X", "ax"}, {"Y", "ay"}, {"Z", "az"}};
  static constexpr CurveNames upNames[] = {{"X", "ux"}, {"Y", "uy"}, {"Z", "uz"}};
  Pnt3f from;
  Pnt3f at;
  Vec3f up;
  camera->getFromAtUp(from, at, up, Camera::LocalSpace);
  for (osg::UInt32 i = 0; i < 3; ++i)
    addFlightCurve(tree, "from", i, fromNames[i], from[i], end.from[i], duration);
  for (osg::UInt32 i = 0; i < 3; ++i) addFlightCurve(tree, "at", i, atNames[i], at[i], end.at[i], duration);
  for (osg::UInt32 i = 0; i < 3; ++i) addFlightCurve(tree, "up", i, upNames[i], up[i], end.up[i], duration);
  tree.announceChildren();
}

void addFrustumSidesCurves(FlightTree& tree, UberCameraPtr const& camera, osg::Vec4f const& sides,
                           float duration) {
  if (!tree.isAlive() || !camera.isAlive() || !isDuration(duration)) return;
  // The names of the third and fourth are those of older releases, which files and hosts know; the value index tells
  // the four apart.
  static constexpr CurveNames names[] = {{"X", "fsx"}, {"Y", "fsy"}, {"Y", "fsy"}, {"W", "fsz"}};
  osg::Vec4f const present = camera->getFrustumSides();
  for (osg::UInt32 i = 0; i < 4; ++i)
    addFlightCurve(tree, "frustumSides", i, names[i], present[i], sides[i], duration);
  tree.announceChildren();
}

void addRotationCurves(FlightTree& tree, UberCameraPtr const& camera, Vec3f const& rotation, float duration) {
  if (!tree.isAlive() || !camera.isAlive() || !isDuration(duration)) return;
  static constexpr CurveNames names[] = {{"X", "rx"}, {"Y", "ry"}, {"Z", "rz"}};
  Vec3f const present = camera->getEulerRotation();
  for (osg::UInt32 i = 0; i < 3; ++i) {
    addFlightCurve(tree, "eulerRotation", i, names[i], present[i], shortWay(present[i], rotation[i]),
                   duration);
  }
  tree.announceChildren();
}

FlightTree prepareFlight(UberCameraPtr const& camera, UberCameraPtr const& target, float duration,
                         std::vector<std::string> const& ignored) {
  FlightTree tree = FlightTree::prepare(camera);
  std::vector<knOSGChannelData> from;
  std::vector<knOSGChannelData> to;
  getCameraChannelData(camera, from);
  getCameraChannelData(target, to);
  addViewpointCurves(tree, from, to, duration, ignored);
  if (!target.isAlive()) return tree;
  FlightEnd const end{target->getFrom(Camera::LocalSpace), target->getAt(Camera::LocalSpace),
                      target->getUp(Camera::LocalSpace), Camera::LocalSpace};
  addAimCurves(tree, camera, end, duration);
  return tree;
}
}  // namespace

void createFromToControlPoints(AnimCurvePtr const& curve, float from, float to, float duration,
                               osg::UInt32 tangentType) {
  if (!curve.isAlive()) return;
  curve->getControlPoints().reserve(curve->getControlPoints().size() + 2);
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
  return prepareFlight(UberCameraPtr(camera), UberCameraPtr(viewpoint), duration, std::vector(ignoredFields))
      .root();
}

void knAnimManager::createViewpointAnimationCurves(AnimNodePtr const& animNode,
                                                   std::vector<knOSGChannelData> const& fromChannels,
                                                   std::vector<knOSGChannelData> const& toChannels,
                                                   float duration,
                                                   std::vector<std::string> const& ignoredFields) {
  FlightTree tree(animNode);
  addViewpointCurves(tree, std::vector(fromChannels), std::vector(toChannels), duration,
                     std::vector(ignoredFields));
}

void knAnimManager::createFromAtUpCurves(AnimNodePtr const& animNode, UberCameraPtr const& camera,
                                         Pnt3f const& from, Pnt3f const& at, Vec3f const& up,
                                         float duration) {
  FlightTree tree(animNode);
  addFromAtUpCurves(tree, UberCameraPtr(camera), {from, at, up, Camera::LocalSpace}, duration);
}

void knAnimManager::createFrustumSidesCurves(AnimNodePtr const& animNode, UberCameraPtr const& camera,
                                             osg::Vec4f const& sides, float duration) {
  FlightTree tree(animNode);
  addFrustumSidesCurves(tree, UberCameraPtr(camera), osg::Vec4f(sides), duration);
}

void knAnimManager::createRotationCurves(AnimNodePtr const& animNode, UberCameraPtr const& camera,
                                         Vec3f rotation, float duration) {
  FlightTree tree(animNode);
  addRotationCurves(tree, UberCameraPtr(camera), rotation, duration);
}

void knAnimManager::animateCamera(UberCameraPtr const& camera, UberCameraPtr const& viewpoint, float duration,
                                  std::vector<std::string> const& ignoredFields) {
  if (!camera.isAlive()) return;
  prepareFlight(UberCameraPtr(camera), UberCameraPtr(viewpoint), duration, std::vector(ignoredFields))
      .start();
}

void knAnimManager::animateCamera(UberCameraPtr const& camera, NodePtr const& trackNode,
                                  std::vector<std::string> const& ignoredFields) {
  if (!camera.isAlive() || !trackNode.isAlive() || trackNode->getNChildren() == 0) return;
  if (!hasCore<osg::CameraTrack>(trackNode)) return;
  UberCameraPtr const flying = camera;
  NodePtr const track = trackNode;
  std::vector<std::string> const ignored = ignoredFields;
  FlightTree tree = FlightTree::prepare(flying);
  addTrackCurves(tree, track, ignored);
  tree.start();
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
  FlightTree tree = FlightTree::prepare(flying);
  addFromAtUpCurves(tree, flying, end, duration);
  addAimCurves(tree, flying, end, duration);
  if (isGiven(sides, 4)) addFrustumSidesCurves(tree, flying, sides, duration);
  tree.start();
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
  // Told in the camera's own space: parents that stretch or mirror turn right angles of the world into others.
  Vec3f const angles = anglesToward(*flying, flying->pointToLocal(end.at), flying->vectorToLocal(end.up));
  FlightTree tree = FlightTree::prepare(flying);
  addRotationCurves(tree, flying, angles, duration);
  addAimCurves(tree, flying, end, duration);
  tree.start();
}

void knAnimManager::animateCamera(UberCameraPtr const& camera, Pnt3f const& from, Pnt3f const& at,
                                  Vec3f const& up, float fov, float roll, float duration) {
  if (!camera.isAlive()) return;
  UberCameraPtr const flying = camera;
  FlightEnd const end{from, at, up, Camera::LocalSpace};
  FlightTree tree = FlightTree::prepare(flying);
  addFromAtUpCurves(tree, flying, end, duration);
  addAimCurves(tree, flying, end, duration);
  if (!flying.isAlive()) return;
  float const presentFov = flying->getFov();
  float const presentRoll = flying->getRoll();
  // Unlike the others, these two are made whatever the duration is.
  addFlightCurve(tree, "fov", 0, {"", "fov"}, presentFov, fov, duration);
  addFlightCurve(tree, "roll", 0, {"", "roll"}, presentRoll, roll, duration);
  tree.announceChildren();
  tree.start();
}
