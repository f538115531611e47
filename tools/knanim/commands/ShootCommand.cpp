#include "knanim/commands/Commands.h"
#include "knanim/commands/ShootReport.h"
#include "knanim/pictures/CameraPlan.h"
#include "knanim/pictures/FilmShooting.h"
#include "knanim/pictures/PlotPicture.h"
#include "knanim/scene/LoadedScene.h"
#include "knanim/scene/ViewpointChoice.h"
#include "knanim/support/Console.h"
#include "knanim/support/FilmEncoder.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/OutputFile.h"
#include "knanim/support/ProgressBar.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>

namespace knanim {
namespace {

constexpr int kPosesOfStage = 12;
constexpr double kMostFrames = 100'000;

Failure usage(std::string message) { return {ExitCode::Usage, std::move(message)}; }

/// Width and height of the frames in pixels, as 640x360.
std::optional<std::array<std::size_t, 2>> readSize(std::string_view text) {
  std::array<std::size_t, 2> size{};
  char const* const end = text.data() + text.size();
  auto const width = std::from_chars(text.data(), end, size[0]);
  if (width.ec != std::errc() || width.ptr == end || *width.ptr != 'x') return std::nullopt;
  auto const height = std::from_chars(width.ptr + 1, end, size[1]);
  bool const isGood = height.ec == std::errc() && height.ptr == end;
  for (std::size_t const side : size) {
    if (!isGood || side < 16 || side > 4096 || side % 2 != 0) return std::nullopt;
  }
  return size;
}

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
      return usage(std::string(name) + " has to be finite and " + (mayBeZero ? "not negative" : "above 0"));
  }
  if (options.fov && !(*options.fov > 0 && *options.fov < 180))
    return usage("--fov has to be between 0 and 180 degrees");
  return std::nullopt;
}

std::optional<Failure> checkOutputs(ShootOptions const& options) {
  for (std::string const& picture : {options.strip, options.plan}) {
    if (!picture.empty() && !pictureFormat(picture))
      return usage("the name of a picture ends in .png or .svg, unlike " + printable(picture));
  }
  std::vector<std::string> const outputs = {options.strip, options.plan, options.film};
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    std::error_code error;
    if (!outputs[i].empty() && std::filesystem::equivalent(outputs[i], options.model, error))
      return usage("the output would replace the model " + printable(options.model));
    for (std::size_t j = i + 1; j < outputs.size(); ++j) {
      if (!outputs[i].empty() && outputs[i] == outputs[j])
        return usage("two outputs would be the same file " + printable(outputs[i]));
    }
  }
  if (!options.film.empty() && !FilmEncoder::isInstalled())
    return Failure{ExitCode::OutputUnwritable,
                   "a film needs the program ffmpeg, which is not installed; "
                   "--frames writes the pictures one by one"};
  return std::nullopt;
}

/// Shoots one move: frame by frame, as a host does, and draws what is asked for.
class Shoot {
 public:
  Shoot(ShootOptions const& options, LoadedScene const& loaded, std::array<std::size_t, 2> size)
      : _options(options),
        _loaded(loaded),
        _figure(loaded.model(), loaded.content(), loaded.scene()),
        _size(size),
        _aspect(static_cast<double>(size[0]) / static_cast<double>(size[1])) {}

  std::optional<Failure> run(Terminal terminal);

 private:
  void lookAround();
  MoveSettings settings() const;
  std::optional<Failure> shoot(CameraMove& move, Terminal terminal);
  FilmFrame capture(CameraMove& move, CameraMoment const& moment, long long number);
  std::optional<Failure> drawFrame(FilmFrame const& frame, FilmEncoder* film);
  std::optional<Failure> drawStrip();
  std::optional<Failure> drawPlan(CameraMove const& move);
  std::optional<Failure> write(std::string const& path, std::string const& bytes, std::string const& what);
  std::string describe() const;

  ShootOptions const& _options;
  LoadedScene const& _loaded;
  SceneFigure _figure;
  std::array<std::size_t, 2> _size;
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
  settings.near = _options.near ? static_cast<float>(*_options.near) : std::min(0.1F, 0.005F * size);
  settings.far = _options.far ? static_cast<float>(*_options.far) : std::max(1e4F, 100 * size);
  settings.shutterSpeed = static_cast<float>(1 / _options.shutter);
  return settings;
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

std::optional<Failure> Shoot::drawFrame(FilmFrame const& frame, FilmEncoder* film) {
  double const width = static_cast<double>(_size[0]) / 2;
  double const height = static_cast<double>(_size[1]) / 2;
  Canvas canvas(PictureFormat::Png, width, height);
  drawFilmPanel(frame, _figure, *_stage, {0, 0, width, height}, canvas);
  if (film != nullptr && !film->add(canvas.pixels()))
    return Failure{ExitCode::OutputUnwritable, film->message()};
  if (_options.frames.empty()) return std::nullopt;
  std::string number = std::to_string(frame.frame);
  number.insert(0, number.size() < 5 ? 5 - number.size() : 0, '0');
  std::string bytes;
  std::string message;
  if (!canvas.finish(bytes, message)) return Failure{ExitCode::Failed, "cannot draw a frame: " + message};
  OutputFile output((std::filesystem::path(_options.frames) / ("frame-" + number + ".png")).string());
  output.write(bytes);
  if (!output.commit()) return Failure{ExitCode::OutputUnwritable, output.message()};
  return std::nullopt;
}

std::optional<Failure> Shoot::shoot(CameraMove& move, Terminal terminal) {
  double const last = std::floor(move.duration() * _options.framesPerSecond + 1e-6);
  if (!(last < kMostFrames)) return usage("the move has more than 100 000 frames; --fps makes fewer");
  FrameRange const range{_options.framesPerSecond, 0, static_cast<long long>(last)};
  std::vector<long long> const ofStrip = spreadFrames(range, _options.stripFrames);
  bool const drawsAll = !_options.frames.empty() || !_options.film.empty();
  std::optional<FilmEncoder> film;
  if (!_options.film.empty()) film.emplace(_options.film, _size[0], _size[1], _options.framesPerSecond);
  if (!_options.frames.empty()) {
    std::error_code error;
    std::filesystem::create_directories(_options.frames, error);
    if (error) return Failure{ExitCode::OutputUnwritable, "cannot make the folder: " + error.message()};
  }
  ProgressBar progress(terminal.errors, "shooting", range.count());
  for (long long number = 0; number <= range.last; ++number) {
    if (InterruptionGuard::isInterrupted()) return Failure{ExitCode::Failed, "interrupted"};
    move.showAt(range.time(number));
    CameraMoment const moment = momentOf(move.camera(), range.time(number), _aspect);
    _way.push_back(moment);
    bool const isOfStrip = std::ranges::count(ofStrip, number) > 0;
    if (isOfStrip) _shown.push_back(moment);
    if (isOfStrip || drawsAll) {
      FilmFrame frame = capture(move, moment, number);
      if (drawsAll) {
        if (auto failure = drawFrame(frame, film ? &*film : nullptr)) return failure;
      }
      if (isOfStrip) _strip.frames.push_back(std::move(frame));
    }
    progress.update(static_cast<std::uint64_t>(number + 1));
  }
  if (film && !film->commit()) return Failure{ExitCode::OutputUnwritable, film->message()};
  if (film) _record.files.push_back(printable(_options.film) + ", " + counted(range.count(), "frame"));
  if (!_options.frames.empty())
    _record.files.push_back(printable(_options.frames) + ", " + counted(range.count(), "picture"));
  return std::nullopt;
}

std::optional<Failure> Shoot::write(std::string const& path, std::string const& bytes,
                                    std::string const& what) {
  OutputFile output(path);
  output.write(bytes);
  if (!output.commit()) return Failure{ExitCode::OutputUnwritable, output.message()};
  _record.files.push_back(printable(path) + ", " + what);
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
  auto chosen = chooseViewpoints(_options, _loaded.scene(), _room);
  if (auto* failure = std::get_if<Failure>(&chosen)) return std::move(*failure);
  CameraMove move(std::move(std::get<std::vector<Viewpoint>>(chosen)), settings());
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
  if (auto const failure = checkOutputs(options)) return report(*failure, terminal);
  auto const size = readSize(options.size);
  if (!size)
    return report(usage("no size: \"" + printable(options.size) +
                        "\"; a size is WIDTHxHEIGHT, even numbers of pixels from 16 to 4096"),
                  terminal);
  SceneOptions scene{.model = options.model, .animation = options.animation};
  auto const loaded = LoadedScene::load(scene, terminal);
  if (auto const* failure = std::get_if<Failure>(&loaded)) return report(*failure, terminal);
  Shoot shoot(options, *std::get<std::unique_ptr<LoadedScene>>(loaded), *size);
  if (auto const failure = shoot.run(terminal)) return report(*failure, terminal);
  return ExitCode::Ok;
}

}  // namespace knanim
