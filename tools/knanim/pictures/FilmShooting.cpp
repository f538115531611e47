#include "knanim/pictures/FilmShooting.h"

#include "knanim/support/Interruption.h"
#include "knanim/support/Text.h"
#include "model/camera/UberCamera.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace knanim {
namespace {

constexpr int kTrailSteps = 24;
constexpr double kTrailSeconds = 0.6;

osg::NodePtr findCamera(AnimatedScene const& scene, std::string const& name) {
  for (SceneCamera const& camera : scene.cameras()) {
    if (name.empty() || camera.name == name) return camera.node;
  }
  return {};
}

/// The horizontal and vertical extent of what a camera sees, at distance 1.
struct Opening {
  double halfWidth = 1;
  double halfHeight = 1;
};

Opening openingOf(osg::NodePtr const& camera) {
  osg::Vec2f const angles = osg::dcast<osg::UberCameraPtr>(camera->getCore())->getFieldOfView();
  return {std::tan(static_cast<double>(angles.x()) / 2), std::tan(static_cast<double>(angles.y()) / 2)};
}

PictureView viewOf(osg::NodePtr const& camera) {
  osg::Matrix const world = camera->getToWorld();
  osg::Vec3f const eye(world(0, 3), world(1, 3), world(2, 3));
  osg::Vec3f const direction(-world(0, 2), -world(1, 2), -world(2, 2));
  osg::Vec3f const up(world(0, 1), world(1, 1), world(2, 1));
  return PictureView::along(eye, direction, up, 2 * std::atan(openingOf(camera).halfWidth));
}

class Shooter {
 public:
  Shooter(SceneFigure const& figure, FrameRange const& range, Playback& playback)
      : _figure(figure), _range(range), _playback(playback) {}

  /// False when interrupted.
  bool run(std::span<long long const> frames, osg::NodePtr const& camera);
  /// Whether the camera of the run saw a point in any frame.
  bool sawSomething(double aspect) const;

  FilmPicture film;

 private:
  void addTrails(FilmFrame& frame);

  SceneFigure const& _figure;
  FrameRange const& _range;
  Playback& _playback;
};

void Shooter::addTrails(FilmFrame& frame) {
  std::vector<std::size_t> const joints = _figure.ends(frame.pose);
  if (joints.empty()) return;
  frame.trails.resize(joints.size());
  double const begin = std::max(static_cast<double>(_range.first),
                                static_cast<double>(frame.frame) - kTrailSeconds * _range.framesPerSecond);
  for (int step = 0; step < kTrailSteps; ++step) {
    double const share = static_cast<double>(step) / kTrailSteps;
    _playback.show(begin + share * (static_cast<double>(frame.frame) - begin));
    Pose const pose = _figure.capture();
    for (std::size_t i = 0; i < joints.size(); ++i) frame.trails[i].push_back(pose.joints[joints[i]]);
  }
  for (std::size_t i = 0; i < joints.size(); ++i) frame.trails[i].push_back(frame.pose.joints[joints[i]]);
}

bool Shooter::run(std::span<long long const> frames, osg::NodePtr const& camera) {
  for (long long const number : frames) {
    if (InterruptionGuard::isInterrupted()) return false;
    FilmFrame& frame = film.frames.emplace_back();
    frame.frame = number;
    frame.time = _range.time(number);
    _playback.show(static_cast<double>(number));
    frame.pose = _figure.capture();
    if (camera.isAlive()) frame.view = viewOf(camera);
    addTrails(frame);
  }
  return true;
}

bool Shooter::sawSomething(double aspect) const {
  return std::any_of(film.frames.begin(), film.frames.end(), [&](FilmFrame const& frame) {
    std::vector<osg::Pnt3f> points;
    _figure.addPoints(frame.pose, points);
    return std::any_of(points.begin(), points.end(), [&](osg::Pnt3f const& point) {
      auto const seen = frame.view.see(point);
      return seen && std::abs(seen->x) <= 1 && std::abs(seen->y) <= 1 / aspect;
    });
  });
}

}  // namespace

std::vector<long long> spreadFrames(FrameRange const& range, std::size_t count) {
  std::vector<long long> frames;
  if (count == 0) return frames;
  auto const steps = static_cast<double>(std::max<std::size_t>(count - 1, 1));
  auto const length = static_cast<double>(range.last - range.first);
  for (std::size_t i = 0; i < count; ++i)
    frames.push_back(range.first + std::llround(static_cast<double>(i) / steps * length));
  frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
  return frames;
}

std::variant<Shooting, Failure> shootFilm(SceneFigure const& figure, AnimatedScene const& scene,
                                          FrameRange const& range, std::span<long long const> frames,
                                          std::string const& camera, Playback& playback) {
  osg::NodePtr const node = camera == kFittedCamera ? osg::NodePtr() : findCamera(scene, camera);
  if (!camera.empty() && camera != kFittedCamera && !node.isAlive()) {
    std::string known;
    for (SceneCamera const& each : scene.cameras()) known += " \"" + each.name + '"';
    return Failure{ExitCode::Usage, "no camera \"" + printable(camera) + "\" in this model" +
                                        (known.empty() ? "" : "; there is" + known)};
  }
  Shooter shooter(figure, range, playback);
  if (!shooter.run(frames, node)) return Failure{ExitCode::Failed, "interrupted"};

  Shooting shooting;
  bool useOwn = node.isAlive();
  if (useOwn) {
    Opening const opening = openingOf(node);
    shooter.film.panelAspect = boundedAspect(opening.halfWidth / opening.halfHeight, frames.size());
    // A camera that was asked for by its name shows what it sees, and be it nothing.
    shooting.cameraSawNothing = !shooter.sawSomething(shooter.film.panelAspect);
    useOwn = !shooting.cameraSawNothing || !camera.empty();
  }
  if (!useOwn) useFittedView(shooter.film, figure);
  char const* const name = useOwn ? osg::NodeUtils::getName(node) : nullptr;
  shooting.cameraName = name != nullptr ? name : "";
  shooting.film = std::move(shooter.film);
  return shooting;
}

}  // namespace knanim
