#include "knanim/commands/PlaySession.h"
#include "knanim/pictures/FilmShooting.h"
#include "knanim/pictures/PlotPicture.h"
#include "knanim/support/Console.h"
#include "knanim/support/ProgressBar.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <filesystem>

namespace knanim {
namespace {

std::string describe(PlaySession const& session, Shooting const& shooting, SceneFigure const& figure) {
  AnimationSummary const& animation = session.model.summary.animations[session.model.animation];
  std::string text = animation.name.empty() ? "" : "\xE2\x80\x9C" + animation.name + "\xE2\x80\x9D, ";
  text += counted(shooting.film.frames.size(), "frame") + " of " + grouped(session.frames.count()) + " at " +
          brief(session.frames.framesPerSecond) + " per second";
  if (!shooting.cameraName.empty())
    text += ", seen from camera \xE2\x80\x9C" + shooting.cameraName + "\xE2\x80\x9D";
  for (FilmFrame const& frame : shooting.film.frames) {
    if (frame.trails.empty()) continue;
    text += "; thin lines are the paths of hands, feet and other ends in the last 0.6 s";
    break;
  }
  bool const hasSides = std::any_of(figure.sticks().begin(), figure.sticks().end(),
                                    [](Stick const& stick) { return stick.side != Side::Middle; });
  return hasSides ? text + "; left is blue, right is orange" : text;
}

std::optional<Failure> drawOne(PlaySession& session, AnimatedScene const& scene, Playback& playback,
                               std::span<long long const> frames, std::string const& path,
                               Terminal terminal) {
  SceneFigure const figure(session.model, session.content, scene);
  auto shot = shootFilm(figure, scene, session.frames, frames, session.options.camera, playback);
  if (auto const* failure = std::get_if<Failure>(&shot)) return *failure;
  Shooting& shooting = std::get<Shooting>(shot);
  if (!shooting.warning.empty()) warn(shooting.warning, terminal);
  shooting.film.title = printable(std::filesystem::path(session.options.model).filename().string());
  shooting.film.subtitle = describe(session, shooting, figure);
  std::string bytes;
  std::string message;
  if (!drawFilm(shooting.film, figure, *pictureFormat(path), bytes, message))
    return Failure{ExitCode::Failed, "cannot draw the picture: " + message};
  std::string const what =
      frames.size() == 1 ? "frame " + std::to_string(frames[0]) : counted(frames.size(), "frame");
  return writeOutput(session, path, bytes, what);
}

std::optional<Failure> drawAllFrames(PlaySession& session, AnimatedScene const& scene, Playback& playback,
                                     Terminal terminal) {
  SceneFigure const figure(session.model, session.content, scene);
  FilmRoll roll(session.film, session.frames.count());
  ProgressBar progress(terminal.errors, "drawing", session.frames.count());
  auto const draw = [&](FilmFrame const& frame, FilmStage const& stage) {
    auto failure = roll.add(frame, figure, stage);
    progress.update(static_cast<std::uint64_t>(frame.frame - session.frames.first + 1));
    return failure;
  };
  auto const shot = shootAllFrames(figure, scene, session.frames, session.options.camera,
                                   session.film.aspect(), playback, draw);
  if (auto const* failure = std::get_if<Failure>(&shot)) return *failure;
  auto const& warning = std::get<Shooting>(shot).warning;
  if (!warning.empty()) warn(warning, terminal);
  return roll.commit(session.written);
}

}  // namespace

std::optional<Failure> drawFilms(PlaySession& session, AnimatedScene const& scene, Playback& playback,
                                 Terminal terminal) {
  PlayOptions const& options = session.options;
  if (!options.strip.empty()) {
    std::vector<long long> const frames = spreadFrames(session.frames, options.stripFrames);
    if (auto failure = drawOne(session, scene, playback, frames, options.strip, terminal)) return failure;
  }
  if (!options.image.empty()) {
    long long const frame = options.frame.value_or(session.frames.first);
    if (auto failure = drawOne(session, scene, playback, {&frame, 1}, options.image, terminal))
      return failure;
  }
  return session.film.isEmpty() ? std::nullopt : drawAllFrames(session, scene, playback, terminal);
}

}  // namespace knanim
