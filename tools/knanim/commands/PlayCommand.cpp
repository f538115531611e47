#include "knanim/commands/Commands.h"
#include "knanim/commands/PlaySession.h"
#include "knanim/pictures/ChannelPlot.h"
#include "knanim/pictures/StillPicture.h"
#include "knanim/playing/SkinBaking.h"
#include "knanim/scene/AnimatedScene.h"
#include "knanim/scene/LoadedScene.h"
#include "knanim/support/Console.h"
#include "knanim/support/CsvTable.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/JsonText.h"
#include "knanim/support/ProgressBar.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <filesystem>

namespace knanim {
namespace {

void writeHeader(CsvTable& table, PlaySession const& session) {
  table.add("frame").add("time");
  for (std::size_t const column : session.columns)
    table.add(session.model.curveName(session.model.curves[column]));
  table.endRow();
}

/// What the scene's fields hold now. False when it cannot be written.
bool writeRow(CsvTable& table, PlaySession const& session, AnimatedScene const& scene) {
  for (std::size_t const column : session.columns) table.add(scene.curves()[column].fieldValue());
  return table.endRow();
}

/// Plays all frames, and writes what the scene's fields then hold into `output` when there is one.
std::optional<Failure> playFrames(PlaySession const& session, AnimatedScene const& scene, Playback& playback,
                                  OutputFile* output, Terminal terminal) {
  std::optional<CsvTable> table;
  if (output != nullptr) writeHeader(table.emplace(*output), session);
  FrameRange const& frames = session.frames;
  ProgressBar progress(terminal.errors, "playing", frames.count());
  for (long long frame = frames.first; frame <= frames.last; ++frame) {
    playback.play(frame);
    if (table) {
      table->add(frame).add(frames.time(frame));
      if (!writeRow(*table, session, scene)) return Failure{ExitCode::OutputUnwritable, output->message()};
    }
    if (InterruptionGuard::isInterrupted()) return Failure{ExitCode::Failed, "interrupted"};
    progress.update(static_cast<std::uint64_t>(frame - frames.first + 1));
  }
  return std::nullopt;
}

/// Plays on a clock, with a row in the table for every frame that is shown.
std::optional<Failure> playOnClock(PlaySession& session, AnimatedScene const& scene, Playback& playback,
                                   OutputFile* output, Terminal terminal) {
  RunPlan const& plan = *session.plan;
  std::optional<CsvTable> table;
  if (output != nullptr) writeHeader(table.emplace(*output), session);
  auto const milliseconds = [](double seconds) {
    return static_cast<std::uint64_t>(std::min(seconds * 1000, 1e15));
  };
  ProgressBar progress(terminal.errors, "playing", milliseconds(plan.duration()));
  auto const frameShown = [&](double frame, double seconds) {
    progress.update(milliseconds(seconds));
    if (!table) return true;
    table->add(frame).add(frame / plan.frames.framesPerSecond);
    return writeRow(*table, session, scene);
  };
  SimulatedClock simulated;
  MonotonicClock monotonic;
  HostClock* clock = &simulated;
  if (session.options.clock.realtime) clock = &monotonic;
  session.run = runOnClock(plan, *clock, playback, frameShown);
  if (session.run.end == RunEnd::Interrupted) return Failure{ExitCode::Failed, "interrupted"};
  if (session.run.end == RunEnd::Refused) return Failure{ExitCode::OutputUnwritable, output->message()};
  return std::nullopt;
}

std::optional<Failure> playInto(PlaySession& session, AnimatedScene const& scene, Playback& playback,
                                OutputFile* output, Terminal terminal) {
  return session.plan ? playOnClock(session, scene, playback, output, terminal)
                      : playFrames(session, scene, playback, output, terminal);
}

std::optional<Failure> playAll(PlaySession& session, AnimatedScene const& scene, Playback& playback,
                               Terminal terminal) {
  std::string const& csv = session.options.csv;
  if (csv.empty()) return playInto(session, scene, playback, nullptr, terminal);
  OutputFile output(csv);
  if (!output.isGood()) return Failure{ExitCode::OutputUnwritable, output.message()};
  if (auto failure = playInto(session, scene, playback, &output, terminal)) return failure;
  if (!output.commit()) return Failure{ExitCode::OutputUnwritable, output.message()};
  session.written.push_back({csv, counted(playback.record().frames + 1, "row") + " of " +
                                      counted(session.columns.size() + 2, "column")});
  return std::nullopt;
}

std::optional<Failure> plotCurves(PlaySession& session, AnimatedScene const& scene, Terminal terminal) {
  std::string const& path = session.options.plot;
  if (path.empty()) return std::nullopt;
  std::size_t omitted = 0;
  std::string const title = printable(std::filesystem::path(session.options.model).filename().string());
  PlotPicture const picture =
      plotChannels(session.model, scene, session.chosen, session.frames, title, &omitted);
  if (omitted != 0) {
    warn(counted(omitted, "curve") + " of " + grouped(session.chosen.size()) +
             " have no room in the picture; --channel chooses others",
         terminal);
  }
  std::string bytes;
  std::string message;
  if (!drawPlot(picture, *pictureFormat(path), bytes, message))
    return Failure{ExitCode::Failed, "cannot draw the picture: " + message};
  return writeOutput(session, path, bytes, counted(session.chosen.size() - omitted, "curve"));
}

/// The image of a model that nothing moves.
ExitCode drawWithoutAnimation(PlayOptions const& options, Terminal terminal) {
  auto const loaded = LoadedScene::load({.model = options.model, .animation = ""}, terminal);
  if (auto const* failure = std::get_if<Failure>(&loaded)) return report(*failure, terminal);
  LoadedScene const& scene = *std::get<std::unique_ptr<LoadedScene>>(loaded);
  if (auto const failure = drawStill(scene, options.image, options.camera, "without animation", terminal))
    return report(*failure, terminal);
  if (options.json) {
    JsonText json;
    json.beginObject().add("model", options.model).name("files").beginList();
    json.beginObject().add("path", options.image).add("what", "the model").endObject();
    json.endList().endObject().print(terminal.output);
    return ExitCode::Ok;
  }
  std::fprintf(terminal.output, "%s\n", scene.title().c_str());
  printRow(terminal.output, "animation", "none, so nothing is played");
  printFiles(terminal.output, {{options.image, "the model"}});
  return ExitCode::Ok;
}

}  // namespace

std::optional<Failure> writeOutput(PlaySession& session, std::string const& path, std::string const& bytes,
                                   std::string const& what) {
  OutputFile output(path);
  output.write(bytes);
  if (!output.commit()) return Failure{ExitCode::OutputUnwritable, output.message()};
  session.written.push_back({path, what});
  return std::nullopt;
}

ExitCode play(PlayOptions const& options, Terminal terminal) {
  auto prepared = preparePlay(options, terminal);
  if (auto const* failure = std::get_if<Failure>(&prepared)) {
    if (failure->code != ExitCode::NoAnimation) return report(*failure, terminal);
    if (wantsOnlyImage(options)) return drawWithoutAnimation(options, terminal);
    return report(
        {failure->code, failure->message + "; --image without other outputs draws the model as it is"},
        terminal);
  }
  PlaySession& session = std::get<PlaySession>(prepared);

  AnimatedScene scene(session.model, session.content);
  Playback playback(session.frames);
  std::FILE* const output = isStandardOutput(options.csv) ? terminal.errors : terminal.output;
  std::optional<Failure> failure;
  if (options.bakeSkins)
    failure = bakeSkins(session.model, session.content, scene, session.frames, playback, terminal);
  session.shapes = scene.countShapes();
  if (!failure) failure = playAll(session, scene, playback, terminal);
  session.playback = playback.record();
  if (!failure) failure = plotCurves(session, scene, terminal);
  if (!failure) failure = drawFilms(session, scene, playback, terminal);
  ClipReport clips;
  if (!failure && options.clips) failure = showClips(session, scene, clips, terminal);
  // Who ends a run by hand wants to know how it went.
  bool const isCutShort = failure && session.run.end == RunEnd::Interrupted;
  if (!failure || isCutShort) {
    auto* const print = options.json ? &printPlayJson : &printPlayReport;
    print(session, options.clips && !failure ? &clips : nullptr, output);
  }
  return failure ? report(*failure, terminal) : ExitCode::Ok;
}

}  // namespace knanim
