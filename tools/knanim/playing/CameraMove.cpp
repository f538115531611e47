#include "knanim/playing/CameraMove.h"

#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "knDiagnosis.h"
#include "knanim/scene/AnimationTrees.h"
#include "model/constraint/knConstraintManager.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/sceneext/AnimClip.h"
#include "model/sceneext/AnimShot.h"
#include "model/sceneext/CameraTrack.h"
#include "model/scenegraph/Group.h"

namespace knanim {
namespace {

osg::NodePtr addNode(osg::NodeCorePtr const& core, osg::NodePtr const& parent, std::string const& name) {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(core);
  osg::NodeUtils::setName(node, name, true);
  parent->addChild(node);
  return node;
}

template <class Use>
void forEachCurve(osg::NodePtr const& tree, Use use) {
  osg::traverse(tree, [&](osg::NodePtr const& node) {
    if (auto const* const curve = osg::dcastTo<osg::AnimCurve>(node->getCore())) use(*curve);
    return osg::Action::Continue;
  });
}

}  // namespace

CameraMove::CameraMove(std::vector<Viewpoint> viewpoints, MoveSettings const& settings)
    : _viewpoints(std::move(viewpoints)),
      _settings(settings),
      _root(knSceneDataManager::getSceneData(0)->getRoot()),
      _camera(osg::UberCameraBase::create()) {
  _clock.set(0);
  _node = addNode(_camera, _root, "film camera");
  setUp(_camera, _viewpoints.front());
  switch (settings.kind) {
    case MoveKind::Track:
      makeTrack();
      break;
    case MoveKind::Shot:
      makeShots();
      break;
    case MoveKind::Flight:
      _stands = addNode(osg::GroupBase::create(), _root, "viewpoints");
      for (std::size_t i = 1; i < _viewpoints.size(); ++i) {
        osg::NodePtr const node = addViewpoint(_viewpoints[i], _stands);
        _targets.push_back(osg::dcast<osg::UberCameraPtr>(node->getCore()));
      }
      break;
    case MoveKind::Turntable:
      _camera->setTurntableAnimationDuration(static_cast<float>(settings.seconds));
      // A turn that is played over and over has no place to be slow at.
      if (settings.even) _camera->setFlags(_camera->getFlags() | osg::UberCamera::TurntableLoopFlag);
      break;
  }
}

CameraMove::~CameraMove() {
  knAnimManager::the()->stopCameraAnimation(_camera);
  knAnimManager::the()->clearClipStructure();
  if (_stands.isAlive() && _stands->getParent().isAlive()) _stands->getParent()->subChild(_stands);
  if (_root.isAlive()) _root->subChild(_node);
}

void CameraMove::setUp(osg::UberCameraPtr const& camera, Viewpoint const& viewpoint) const {
  camera->setViewByFromAtUp(viewpoint.from, viewpoint.at, viewpoint.up);
  camera->setFov(viewpoint.fov);
  camera->setNear(_settings.near);
  camera->setFar(_settings.far);
  camera->setShutterSpeed(_settings.shutterSpeed);
  camera->setMotionBlur(true);
  camera->getTonemappingSettings()->setExposure(viewpoint.exposure);
  osg::announce(camera, osg::BitVector::all());
}

osg::NodePtr CameraMove::addViewpoint(Viewpoint const& viewpoint, osg::NodePtr const& parent) const {
  osg::UberCameraPtr const camera = osg::UberCameraBase::create();
  setUp(camera, viewpoint);
  return addNode(camera, parent, viewpoint.name);
}

/// Tracks take no part in the evaluation of a scene: their blocks are evaluated by themselves, or play in clips. The track
/// begins with what the camera is, so that the first viewpoint is no stop of it.
void CameraMove::makeTrack() {
  osg::CameraTrackPtr const track = osg::CameraTrackBase::create();
  track->setAnimationDuration(static_cast<float>(_settings.seconds));
  track->setPauseDuration(static_cast<float>(_settings.pause));
  track->setFadeInDuration(static_cast<float>(_settings.fade));
  _stands = addNode(track, _node, "track");
  for (std::size_t i = 1; i < _viewpoints.size(); ++i) addViewpoint(_viewpoints[i], _stands);
  _tree = knAnimManager::the()->createMissingCameraTrackBlockForNode(_stands);
}

/// One shot after the other in a clip. The camera has clones of them, which tell whose curves these are; where two of
/// them write to one camera, only a clip decides by time, so that the clones do not play themselves.
void CameraMove::makeShots() {
  knAnimManager& manager = *knAnimManager::the();
  _tree = makeTree(osg::AnimClipBase::create(), "shots");
  for (std::size_t i = 0; i + 1 < _viewpoints.size(); ++i) {
    osg::AnimShotPtr const shot = osg::AnimShotBase::create();
    Viewpoint const& start = _viewpoints[i];
    Viewpoint const& end = _viewpoints[i + 1];
    shot->setStartFrom(start.from);
    shot->setStartAt(start.at);
    shot->setStartUp(start.up);
    shot->setEndFrom(end.from);
    shot->setEndAt(end.at);
    shot->setEndUp(end.up);
    shot->setShotType(1);
    shot->setShotDuration(static_cast<float>(_settings.seconds));
    shot->setTransitionType(_settings.fade > 0 ? 2 : 0);
    shot->setTransitionDuration(static_cast<float>(_settings.fade));
    shot->setInterpolation(3);
    _tree->addChild(makeTree(shot, start.name));
  }
  manager.addToClipStructure(_tree);
  manager.convertShotToCurvesR(_tree, _node);
  float begin = 0;
  for (osg::NodePtr const& node : _tree->getChildren()) {
    osg::dcast<osg::AnimNodePtr>(node)->setOffset({begin, 0});
    begin += static_cast<float>(_settings.seconds + _settings.pause);
  }
  manager.setTreeActive(knAnimManager::getAnimAttachment(_node)->getAnimationRoot(), false);
}

double CameraMove::duration() const { return arrivals().back(); }

std::vector<double> CameraMove::arrivals() const {
  if (_settings.kind == MoveKind::Turntable) return {0, _settings.seconds};
  std::vector<double> times{0};
  for (std::size_t i = 1; i < _viewpoints.size(); ++i)
    times.push_back(static_cast<double>(i) * (_settings.seconds + _settings.pause) - _settings.pause);
  return times;
}

std::size_t CameraMove::curveCount() const {
  std::size_t count = 0;
  forEachCurve(_tree, [&](osg::AnimCurve const&) { ++count; });
  return count;
}

std::size_t CameraMove::keyCount() const {
  std::size_t count = 0;
  forEachCurve(_tree, [&](osg::AnimCurve const& curve) { count += curve.getControlPoints().size(); });
  return count;
}

/// Each flight begins when it is due, and not with the pass that notices. Its tree is placed on the timeline by its
/// offset, so that a moment of the timeline is one of the tree.
void CameraMove::startDueFlights(double time) {
  knAnimManager& manager = *knAnimManager::the();
  bool const isTurntable = _settings.kind == MoveKind::Turntable;
  std::size_t const count = isTurntable ? 1 : _targets.size();
  for (; _started < count; ++_started) {
    double const begin = static_cast<double>(_started) * (_settings.seconds + _settings.pause);
    if (begin > time) return;
    _clock.set(begin);
    knAnimEvaluator::the()->loop();
    if (isTurntable) {
      manager.animateCameraTurntable(_camera);
    } else {
      manager.animateCamera(_camera, _targets[_started], static_cast<float>(_settings.seconds), {});
    }
    _tree = _camera->getAnimationRoot();
    _tree->setOffset({static_cast<float>(begin), 0});
  }
}

/// A shot begins with what the camera is at that moment.
void CameraMove::startDueShots(double time) {
  auto const& shots = _tree->getChildren();
  for (; _started < shots.size(); ++_started) {
    double const begin = static_cast<double>(_started) * (_settings.seconds + _settings.pause);
    if (begin > time) return;
    // Not what the last frame showed, but where the shot before came to its end.
    if (_started > 0) evaluate(osg::dcast<osg::AnimNodePtr>(shots[_started - 1]), begin);
    knAnimManager::the()->updateCameraShotCurves(osg::dcast<osg::AnimNodePtr>(shots[_started]));
  }
}

/// The library makes curves for all that a camera can have, so that some move nothing of this one.
void CameraMove::evaluate(osg::AnimNodePtr const& tree, double time) {
  if (!tree.isAlive()) return;
  knDiagnosis::setWarnings(false);
  knAnimEvaluator::the()->evaluateObject(tree, static_cast<float>(time), false, true, true);
  knDiagnosis::setWarnings(true);
}

void CameraMove::showAt(double time) {
  _time = time;
  if (_settings.kind == MoveKind::Flight || _settings.kind == MoveKind::Turntable) startDueFlights(time);
  _clock.set(time);
  knAnimManager::the()->setCurrentTime(time, true, false);
  if (_settings.kind == MoveKind::Shot) startDueShots(time);
  if (_settings.kind == MoveKind::Track || _settings.kind == MoveKind::Shot) evaluate(_tree, time);
  knAnimEvaluator::the()->loop();
  knConstraintManager::evaluateConstraints();
}

/// The library's samples are those of the scene; the trees beside it follow by the same time.
void CameraMove::showSample(float sample) {
  knAnimManager::the()->applyMotionBlur(_camera, sample);
  evaluate(_tree, _time + static_cast<double>(sample / _settings.shutterSpeed));
  knConstraintManager::evaluateConstraints();
}

void CameraMove::endSamples() {
  knAnimManager::the()->resetMotionBlur();
  evaluate(_tree, _time);
  knConstraintManager::evaluateConstraints();
}

}  // namespace knanim
