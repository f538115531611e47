#include "knanim/commands/Commands.h"
#include "knanim/commands/ShootReport.h"
#include "knanim/pictures/CameraPlan.h"
#include "knanim/pictures/FilmRoll.h"
#include "knanim/pictures/FilmShooting.h"
#include "knanim/pictures/PlotPicture.h"
#include "knanim/scene/LoadedScene.h"
#include "knanim/scene/ViewpointChoice.h"
#include "knanim/support/Console.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/OutputFile.h"
#include "knanim/support/ProgressBar.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <numbers>
#include <span>

namespace knanim {
namespace {

constexpr int kPosesOfStage = 12;
constexpr int kPosesOfWay = 24;
constexpr double kWidestView = 100;  ///< in degrees, what can be advised
constexpr double kMostFrames = 100'000;

Failure usage(std::string message) { return {ExitCode::Usage, std::move(message)}; }

MoveKind kindOf(std::string const& name) {
  if (name == "flight") return MoveKind::Flight;
  if (name == "shot") return MoveKind::Shot;
  return name == "turntable" ? MoveKind::Turntable : MoveKind::Track;
}

std::optional<Failure> checkNumbers(ShootOptions const& options) {
  struct {
    char const* name;
    double value;
    bool mayBeZero;
  } const numbers[] = {{"--seconds", options.seconds, false},    {"--pause", options.pause, true},
                       {"--fade", options.fade, true},           {"--fps", options.framesPerSecond, false},
                       {"--shutter", options.shutter, false},    {"--near", options.near.value_or(1), false},
                       {"--far", options.far.value_or(1), false}};
  for (auto const& [name, value, mayBeZero] : numbers) {
    if (!std::isfinite(value) || value < 0 || (value == 0 && !mayBeZero))
      return usage(std::string(name) + " must be finite and " + (mayBeZero ? "not negative" : "above 0"));
  }
  if (options.fov && !(*options.fov > 0 && *options.fov < 180))
    return usage("--fov must be between 0 and 180 degrees");
  return std::nullopt;
}

std::optional<Failure> checkOutputs(ShootOptions const& options) {
  for (std::string const& picture : {options.strip, options.plan}) {
    if (!picture.empty() && !pictureFormat(picture))
      return usage("the name of a picture ends in .png or .svg, not " + printable(picture));
  }
  for (std::string const& output : {options.strip, options.plan, options.film}) {
    if (auto failure = checkOutput(output, {&options.model, 1})) return failure;
  }
  if (auto failure = checkFrameFolder(options.frames)) return failure;
  return checkFilm(options.film, options.framesPerSecond);
}

/// Options that mean nothing by themselves.
std::optional<Failure> checkCompanions(ShootOptions const& options) {
  ShootOptions const usual;
  bool const isFilmed = !options.film.empty() || !options.frames.empty();
  if (options.size != usual.size && !isFilmed) return usage("--size requires --frames or --film");
  if (options.stripFrames != usual.stripFrames && options.strip.empty() && options.plan.empty())
    return usage("--strip-frames requires --strip or --plan");
  if (options.motionBlur > 1 && !isFilmed && options.strip.empty())
    return usage("--motion-blur requires --strip, --frames or --film");
  if (options.shutter != usual.shutter && options.motionBlur < 2)
    return usage("--shutter requires --motion-blur, of 2 samples at least");
  if (options.even && options.move != "turntable") return usage("--even requires --move turntable");
  if (options.pause > 0 && options.move == "turntable")
    return usage("--pause cannot be combined with --move turntable");
  return std::nullopt;
}

/// What a camera shows of the figure on its way.
struct WayView {
  double least = 1;  ///< the part of the points in the worst frame
  double most = 0;   ///< and in the best one
  double fov = 0;    ///< vertically, in degrees: shows all of it in all frames; 180 when nothing does

  void add(CameraMoment const& moment, double aspect, std::span<osg::Pnt3f const> points);
};

void WayView::add(CameraMoment const& moment, double aspect, std::span<osg::Pnt3f const> points) {
  if (points.empty()) {
    most = 1;
    return;
  }
  PictureView const view = moment.view(aspect);
  std::size_t shown = 0;
  double reach = 0;  // in halves of the picture
  for (osg::Pnt3f const& point : points) {
    auto const seen = view.see(point);
    double const away = seen ? std::max(std::abs(seen->x), std::abs(seen->y) * aspect) : INFINITY;
    shown += away <= 1 ? 1U : 0U;
    reach = std::max(reach, away);
  }
  double const part = static_cast<double>(shown) / static_cast<double>(points.size());
  least = std::min(least, part);
  most = std::max(most, part);
  double const half = std::atan(reach * static_cast<double>(moment.edges[3]));
  fov = std::max(fov, 2 * half * 180 / std::numbers::pi);
}

/// Shoots one move: frame by frame, as a host does, and draws what is asked for.
class Shoot {
 public:
  Shoot(ShootOptions const& options, LoadedScene const& loaded, std::array<std::size_t, 2> size)
      : _options(options),
        _loaded(loaded),
        _figure(loaded.model(), loaded.content(), loaded.scene()),
        _targets{options.frames, options.film, size, options.framesPerSecond},
        _aspect(_targets.aspect()) {}

  std::optional<Failure> run(Terminal terminal);

 private:
  void lookAround();
  void warnOfSeam(Terminal terminal) const;
  WayView lookAhead(std::vector<Viewpoint> const& viewpoints, MoveSettings const& moving) const;
  std::variant<std::vector<Viewpoint>, Failure> decideViewpoints(MoveSettings const& moving,
                                                                 Terminal terminal) const;
  MoveSettings settings() const;
  std::optional<Failure> shoot(CameraMove& move, Terminal terminal);
  FilmFrame capture(CameraMove& move, CameraMoment const& moment, long long number);
  std::optional<Failure> drawStrip();
  std::optional<Failure> drawPlan(CameraMove const& move);
  std::optional<Failure> write(std::string const& path, std::string const& bytes, std::string const& what);
  std::string describe() const;

  ShootOptions const& _options;
  LoadedScene const& _loaded;
  SceneFigure _figure;
  FilmTargets _targets;
  double _aspect;
  std::optional<FilmStage> _stage;
  FigureRoom _room;
  std::vector<CameraMoment> _way;
  std::vector<CameraMoment> _shown;
  FilmPicture _strip;
  ShootRecord _record;
};

/// Where the figure gets to while the camera moves: decides about the ground and about viewpoints that are not given.
void Shoot::lookAround() {
  std::vector<FilmFrame> frames;
  osg::BoxVolume box;
  for (int i = 0; i < kPosesOfStage; ++i) {
    knAnimManager::the()->setCurrentTime(_options.seconds * i / (kPosesOfStage - 1), true, false);
    FilmFrame& frame = frames.emplace_back();
    frame.pose = _figure.capture();
    std::vector<osg::Pnt3f> points;
    _figure.addPoints(frame.pose, points);
    for (osg::Pnt3f const& point : points) box.extendBy(point);
  }
  knAnimManager::the()->setCurrentTime(0, true, false);
  box.getBounds(_room.low, _room.high);
  _stage.emplace(frames, _figure);
  // Cameras go around: there is ground to stand on wherever they may be.
  _stage->radius *= 2.2F;
  _stage->gridStep *= 2;
}

MoveSettings Shoot::settings() const {
  MoveSettings settings;
  float const size = std::max(_room.size(), 1e-3F);
  settings.kind = kindOf(_options.move);
  settings.seconds = _options.seconds;
  settings.pause = settings.kind == MoveKind::Turntable ? 0 : _options.pause;
  settings.fade = _options.fade;
  settings.even = _options.even;
  settings.near = _options.near ? static_cast<float>(*_options.near) : std::min(0.1F, 0.005F * size);
  settings.far = _options.far ? static_cast<float>(*_options.far) : std::max(1e4F, 100 * size);
  settings.shutterSpeed = static_cast<float>(1 / _options.shutter);
  return settings;
}

WayView Shoot::lookAhead(std::vector<Viewpoint> const& viewpoints, MoveSettings const& moving) const {
  CameraMove move(viewpoints, moving);
  WayView seen;
  for (int i = 0; i < kPosesOfWay; ++i) {
    double const time = move.duration() * i / (kPosesOfWay - 1);
    move.showAt(time);
    std::vector<osg::Pnt3f> points;
    _figure.addPoints(_figure.capture(), points);
    seen.add(momentOf(move.camera(), time, _aspect), _aspect, points);
  }
  return seen;
}

/// A camera of the model was set up for one side of the figure. A turntable that was not told to begin there begins
/// elsewhere if the figure is not seen whole on the way.
std::variant<std::vector<Viewpoint>, Failure> Shoot::decideViewpoints(MoveSettings const& moving,
                                                                      Terminal terminal) const {
  auto chosen = chooseViewpoints(_options, _loaded.scene(), _room);
  auto const* const viewpoints = std::get_if<std::vector<Viewpoint>>(&chosen);
  bool const isNamed = !_options.cameras.empty() || !_options.views.empty();
  bool const isCut = _options.near || _options.far;
  if (viewpoints == nullptr || isCut || (!isNamed && !viewpoints->front().isOfModel)) return chosen;
  WayView const seen = lookAhead(*viewpoints, moving);
  bool const turns = moving.kind == MoveKind::Turntable;
  std::string const name = printable(viewpoints->front().name);
  bool const isCropped = seen.least < kLeastShown && viewpoints->front().isOfModel && (turns || !isNamed);
  if (!isCropped && seen.most > 0) return chosen;
  if (turns && !isNamed) {
    warn("the model's first camera " + std::string(seen.most > 0 ? "crops" : "sees nothing of") +
             " the figure on its way around, so the turn begins at a place from which all of it is seen "
             "(--camera \"" +
             name + "\" uses that camera anyway)",
         terminal);
    return chooseViewpoints(_options, _loaded.scene(), _room, false);
  }
  std::string const advice = seen.fov < kWidestView
                                 ? "--fov " + brief(std::ceil(seen.fov)) + " shows all of it"
                                 : "--view gives the camera another place";
  warn((seen.most > 0 ? "the camera crops the figure on its way; "
                      : "the camera sees nothing of the figure; ") +
           advice,
       terminal);
  return chosen;
}

/// The last frame of an even turn is followed by the first one again, at the same distance only in a whole number of them.
void Shoot::warnOfSeam(Terminal terminal) const {
  double const frames = _options.seconds * _options.framesPerSecond;
  double const whole = std::max(1.0, std::round(frames));
  if (std::abs(frames - whole) < 1e-6 * whole) return;
  warn("a turn takes " + brief(frames) +
           " frames: where a film begins anew, the step is smaller (--seconds " +
           brief(whole / _options.framesPerSecond, 9) + " makes it " +
           grouped(static_cast<std::uint64_t>(whole)) + ')',
       terminal);
}

FilmFrame Shoot::capture(CameraMove& move, CameraMoment const& moment, long long number) {
  FilmFrame frame;
  frame.frame = number;
  frame.time = moment.time;
  frame.pose = _figure.capture();
  frame.view = moment.view(_aspect);
  frame.exposure = moment.exposure;
  if (_options.motionBlur < 2) return frame;
  for (int i = 1; i < _options.motionBlur; ++i) {
    move.showSample(static_cast<float>(i) / static_cast<float>(_options.motionBlur));
    CameraMoment const sample = momentOf(move.camera(), moment.time, _aspect);
    FilmFrame& blended = frame.blend.emplace_back();
    blended.pose = _figure.capture();
    blended.view = sample.view(_aspect);
    blended.exposure = sample.exposure;
  }
  move.endSamples();
  return frame;
}

std::optional<Failure> Shoot::shoot(CameraMove& move, Terminal terminal) {
  double const last = std::floor(move.duration() * _options.framesPerSecond + 1e-6);
  if (!(last < kMostFrames)) return usage("the move has more than 100 000 frames; use a lower --fps");
  if (_options.even) warnOfSeam(terminal);
  FrameRange range{_options.framesPerSecond, 0, static_cast<long long>(last)};
  // Once around, the camera is where it began: a film that repeats shows that view once.
  bool const comesBack = _options.move == "turntable" && range.last > 0;
  if (comesBack && range.time(range.last) > move.duration() - 1e-6) --range.last;
  std::vector<long long> const ofStrip = spreadFrames(range, _options.stripFrames);
  FilmRoll roll(_targets, range.count());
  ProgressBar progress(terminal.errors, "shooting", range.count());
  for (long long number = 0; number <= range.last; ++number) {
    if (InterruptionGuard::isInterrupted()) return Failure{ExitCode::Failed, "interrupted"};
    move.showAt(range.time(number));
    CameraMoment const moment = momentOf(move.camera(), range.time(number), _aspect);
    _way.push_back(moment);
    bool const isOfStrip = std::ranges::count(ofStrip, number) > 0;
    if (isOfStrip) _shown.push_back(moment);
    if (isOfStrip || !_targets.isEmpty()) {
      FilmFrame frame = capture(move, moment, number);
      if (!_targets.isEmpty()) {
        if (auto failure = roll.add(frame, _figure, *_stage)) return failure;
      }
      if (isOfStrip) _strip.frames.push_back(std::move(frame));
    }
    progress.update(static_cast<std::uint64_t>(number + 1));
  }
  return _targets.isEmpty() ? std::nullopt : roll.commit(_record.files);
}

std::optional<Failure> Shoot::write(std::string const& path, std::string const& bytes,
                                    std::string const& what) {
  OutputFile output(path);
  output.write(bytes);
  if (!output.commit()) return Failure{ExitCode::OutputUnwritable, output.message()};
  _record.files.push_back({path, what});
  return std::nullopt;
}

std::string Shoot::describe() const {
  std::string text = describeMove(_options, _record.viewpoints.size());
  if (_options.motionBlur > 1)
    text += "; each frame is the mean of " + std::to_string(_options.motionBlur) + " samples";
  return text;
}

std::optional<Failure> Shoot::drawStrip() {
  if (_options.strip.empty()) return std::nullopt;
  _strip.title = printable(std::filesystem::path(_options.model).filename().string());
  _strip.subtitle = describe();
  _strip.panelAspect = _aspect;
  std::string bytes;
  std::string message;
  if (!drawFilm(_strip, _figure, *pictureFormat(_options.strip), bytes, message, &*_stage))
    return Failure{ExitCode::Failed, "cannot draw the picture: " + message};
  return write(_options.strip, bytes, counted(_strip.frames.size(), "frame"));
}

std::optional<Failure> Shoot::drawPlan(CameraMove const& move) {
  if (_options.plan.empty()) return std::nullopt;
  CameraPlan plan{printable(std::filesystem::path(_options.model).filename().string()),
                  describe(),
                  {},
                  _way,
                  _shown,
                  move.viewpoints()};
  if (!_strip.frames.empty()) plan.frame.pose = _strip.frames.front().pose;
  std::string bytes;
  std::string message;
  if (!drawCameraPlan(std::move(plan), _figure, *pictureFormat(_options.plan), bytes, message))
    return Failure{ExitCode::Failed, "cannot draw the picture: " + message};
  return write(_options.plan, bytes, "from above");
}

std::optional<Failure> Shoot::run(Terminal terminal) {
  lookAround();
  MoveSettings const moving = settings();
  if (!(moving.near < moving.far))
    return usage("--near must be below --far, which is " + brief(static_cast<double>(moving.far)));
  auto chosen = decideViewpoints(moving, terminal);
  if (auto* failure = std::get_if<Failure>(&chosen)) return std::move(*failure);
  CameraMove move(std::move(std::get<std::vector<Viewpoint>>(chosen)), moving);
  _record.viewpoints = move.viewpoints();
  _record.arrivals = move.arrivals();
  if (auto failure = shoot(move, terminal)) return failure;
  _record.curves = move.curveCount();
  _record.keys = move.keyCount();
  if (auto failure = drawStrip()) return failure;
  if (auto failure = drawPlan(move)) return failure;
  printShootReport(_options, _record, _way, _loaded.title(), terminal.output);
  return std::nullopt;
}

}  // namespace

ExitCode shoot(ShootOptions const& options, Terminal terminal) {
  if (auto const failure = checkNumbers(options)) return report(*failure, terminal);
  if (auto const failure = checkCompanions(options)) return report(*failure, terminal);
  if (auto const failure = checkOutputs(options)) return report(*failure, terminal);
  auto const size = readFilmSize(options.size);
  if (auto const* failure = std::get_if<Failure>(&size)) return report(*failure, terminal);
  SceneOptions scene{.model = options.model, .animation = options.animation};
  auto const loaded = LoadedScene::load(scene, terminal);
  if (auto const* failure = std::get_if<Failure>(&loaded)) return report(*failure, terminal);
  Shoot shoot(options, *std::get<std::unique_ptr<LoadedScene>>(loaded),
              std::get<std::array<std::size_t, 2>>(size));
  if (auto const failure = shoot.run(terminal)) return report(*failure, terminal);
  return ExitCode::Ok;
}

}  // namespace knanim
