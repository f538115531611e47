#include "knanim/pictures/FilmShooting.h"

#include "knanim/scene/ViewpointChoice.h"
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
constexpr std::size_t kFramesOfSurvey = 48;

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

  /// Plays to a frame, and looks at it through a camera, if there is one.
  FilmFrame shoot(long long number, osg::NodePtr const& camera);
  /// False when interrupted.
  bool run(std::span<long long const> frames, osg::NodePtr const& camera);
  /// The part of the figure's points that the camera of the run shows, in the frame with the least of them.
  double leastShown(double aspect) const;

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

FilmFrame Shooter::shoot(long long number, osg::NodePtr const& camera) {
  FilmFrame frame;
  frame.frame = number;
  frame.time = _range.time(number);
  _playback.show(static_cast<double>(number));
  frame.pose = _figure.capture();
  if (camera.isAlive()) frame.view = viewOf(camera);
  addTrails(frame);
  return frame;
}

bool Shooter::run(std::span<long long const> frames, osg::NodePtr const& camera) {
  for (long long const number : frames) {
    if (InterruptionGuard::isInterrupted()) return false;
    film.frames.push_back(shoot(number, camera));
  }
  return true;
}

double Shooter::leastShown(double aspect) const {
  double least = 1;
  for (FilmFrame const& frame : film.frames) {
    std::vector<osg::Pnt3f> points;
    _figure.addPoints(frame.pose, points);
    auto const shown = std::count_if(points.begin(), points.end(), [&](osg::Pnt3f const& point) {
      auto const seen = frame.view.see(point);
      return seen && std::abs(seen->x) <= 1 && std::abs(seen->y) <= 1 / aspect;
    });
    if (!points.empty())
      least = std::min(least, static_cast<double>(shown) / static_cast<double>(points.size()));
  }
  return least;
}

/// The camera that a name stands for; null for the fitted one.
std::variant<osg::NodePtr, Failure> chooseCamera(AnimatedScene const& scene, std::string const& name) {
  if (name == kFittedCamera) return osg::NodePtr();
  osg::NodePtr const node = findCamera(scene, name);
  if (name.empty() || node.isAlive()) return node;
  return Failure{ExitCode::Usage, noCamera(name, scene.cameras())};
}

/// Decides whether a film is seen by the camera that shot it, and gives all of it the fitted view if not. A camera that
/// was asked for by its name shows what it sees, and be it nothing. False for the fitted view.
bool decideView(Shooter& shooter, SceneFigure const& figure, osg::NodePtr const& camera, bool isWanted,
                std::optional<double> aspect, Shooting& shooting) {
  bool useOwn = camera.isAlive();
  if (useOwn) {
    char const* const given = osg::NodeUtils::getName(camera);
    std::string const name = printable(given != nullptr ? given : "");
    Opening const opening = openingOf(camera);
    shooter.film.panelAspect =
        aspect.value_or(boundedAspect(opening.halfWidth / opening.halfHeight, shooter.film.frames.size()));
    double const shown = shooter.leastShown(shooter.film.panelAspect);
    useOwn = isWanted || shown >= kLeastShown;
    if (shown == 0 && isWanted)
      shooting.warning = "the camera \"" + name + "\" sees nothing of the model";
    else if (!useOwn)
      shooting.warning = "the model's first camera " +
                         std::string(shown == 0 ? "sees nothing of the figure" : "crops the figure") +
                         ", so the view is from the side (--camera \"" + name + "\" uses that camera anyway)";
    shooting.cameraName = useOwn ? name : "";
  }
  if (!useOwn) useFittedView(shooter.film, figure, aspect);
  if (figure.hasLostFaces())
    shooting.warning = "no face of the model can be drawn: its vertices are not finite, or missing";
  return useOwn;
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
  auto const node = chooseCamera(scene, camera);
  if (auto const* failure = std::get_if<Failure>(&node)) return *failure;
  Shooter shooter(figure, range, playback);
  if (!shooter.run(frames, std::get<osg::NodePtr>(node))) return Failure{ExitCode::Failed, "interrupted"};
  Shooting shooting;
  decideView(shooter, figure, std::get<osg::NodePtr>(node), !camera.empty(), {}, shooting);
  shooting.film = std::move(shooter.film);
  return shooting;
}

std::variant<Shooting, Failure> shootAllFrames(SceneFigure const& figure, AnimatedScene const& scene,
                                               FrameRange const& range, std::string const& camera,
                                               double aspect, Playback& playback,
                                               FrameReceiver const& receive) {
  auto const chosen = chooseCamera(scene, camera);
  if (auto const* failure = std::get_if<Failure>(&chosen)) return *failure;
  osg::NodePtr const node = std::get<osg::NodePtr>(chosen);
  // Some of the frames tell where all of them play.
  Shooter shooter(figure, range, playback);
  if (!shooter.run(spreadFrames(range, kFramesOfSurvey), node))
    return Failure{ExitCode::Failed, "interrupted"};
  Shooting shooting;
  bool const useOwn = decideView(shooter, figure, node, !camera.empty(), aspect, shooting);
  PictureView const fitted = shooter.film.frames.front().view;
  FilmStage const stage(shooter.film.frames, figure);
  shooter.film.frames.clear();
  for (long long number = range.first; number <= range.last; ++number) {
    if (InterruptionGuard::isInterrupted()) return Failure{ExitCode::Failed, "interrupted"};
    FilmFrame frame = shooter.shoot(number, node);
    if (!useOwn) frame.view = fitted;
    if (auto failure = receive(frame, stage)) return std::move(*failure);
  }
  return shooting;
}

}  // namespace knanim
