#include "knanim/AnimatedScene.h"
#include "knanim/ChannelChoice.h"
#include "knanim/ChannelPlot.h"
#include "knanim/Console.h"
#include "knanim/CsvTable.h"
#include "knanim/FrameRange.h"
#include "knanim/Interruption.h"
#include "knanim/ProgressBar.h"
#include "knanim/Text.h"

#include <algorithm>
#include <chrono>
#include <filesystem>

namespace knanim {
namespace {

/// Whether two paths lead to one regular file.
bool isSameFile(std::string const& a, std::string const& b) {
  std::error_code error;
  return std::filesystem::equivalent(a, b, error) && std::filesystem::is_regular_file(a, error);
}

std::optional<Failure> checkOutputs(PlayOptions const& options) {
  if (!options.plot.empty() && !pictureFormat(options.plot)) {
    return Failure{ExitCode::Usage,
                   "the name of a picture ends in .png or .svg, unlike " + printable(options.plot)};
  }
  for (std::string const& output : {options.csv, options.plot}) {
    if (!output.empty() && isSameFile(output, options.model)) {
      return Failure{ExitCode::Usage, "the output would replace the model " + printable(options.model)};
    }
  }
  if (!options.csv.empty() && (options.csv == options.plot || isSameFile(options.csv, options.plot))) {
    return Failure{ExitCode::Usage, "table and picture would be the same file " + printable(options.csv)};
  }
  return std::nullopt;
}

std::variant<std::vector<std::size_t>, Failure> channelsToPlot(PlayOptions const& options,
                                                               ImportedModel const& model) {
  if (options.plot.empty()) return std::vector<std::size_t>{};
  if (options.channels.empty()) return mostMovingChannels(model);
  ChosenChannels chosen = chooseChannels(model, options.channels);
  if (chosen.unmatched.empty()) return std::move(chosen.curves);
  return Failure{ExitCode::Usage, "no channel fits \"" + printable(chosen.unmatched[0]) +
                                      "\"; the channels have names like " + model.curveName(model.curves[0])};
}

/// What playing needs, once all of it is known to be possible.
struct Session {
  ImportedModel model;
  FrameRange frames;
  std::vector<std::size_t> plotted;
  std::vector<std::string> written;  ///< what was written, for the report
  double secondsEvaluating = 0;
};

std::variant<Session, Failure> prepare(PlayOptions const& options, Terminal terminal) {
  if (auto failure = checkOutputs(options)) return *failure;
  auto opened = ModelFile::open(options.model);
  if (auto* failure = std::get_if<Failure>(&opened)) return std::move(*failure);
  auto& file = std::get<ModelFile>(opened);
  auto const animation = file.findAnimation(options.animation);
  if (auto const* failure = std::get_if<Failure>(&animation)) return *failure;
  auto loaded = file.load(std::get<std::size_t>(animation));
  if (auto* failure = std::get_if<Failure>(&loaded)) return std::move(*failure);

  Session session;
  session.model = std::move(std::get<ImportedModel>(loaded));
  warn(session.model.warnings, terminal);
  auto const frames = frameRange(*timeSpan(session.model), options.framesPerSecond, options.from, options.to);
  if (auto const* failure = std::get_if<Failure>(&frames)) return *failure;
  session.frames = std::get<FrameRange>(frames);
  auto plotted = channelsToPlot(options, session.model);
  if (auto* failure = std::get_if<Failure>(&plotted)) return std::move(*failure);
  session.plotted = std::move(std::get<std::vector<std::size_t>>(plotted));
  return session;
}

void writeHeader(CsvTable& table, ImportedModel const& model) {
  table.add("frame").add("time");
  for (ImportedCurve const& curve : model.curves) table.add(model.curveName(curve));
  table.endRow();
}

/// Evaluates all frames, and writes them into `output` when there is one.
std::optional<Failure> evaluateFrames(Session& session, AnimatedScene const& scene, OutputFile* output,
                                      Terminal terminal) {
  using Clock = std::chrono::steady_clock;
  CurveReader reader(scene);
  std::optional<CsvTable> table;
  if (output != nullptr) writeHeader(table.emplace(*output), session.model);

  ProgressBar progress(terminal.errors, "evaluating", session.frames.count());
  Clock::duration spent{};
  for (long long frame = session.frames.first; frame <= session.frames.last; ++frame) {
    double const time = session.frames.time(frame);
    auto const begin = Clock::now();
    reader.evaluate(time);
    spent += Clock::now() - begin;
    if (table) {
      table->add(frame).add(time);
      for (std::size_t i = 0; i < reader.size(); ++i) table->add(reader.value(i));
      if (!table->endRow()) return Failure{ExitCode::OutputUnwritable, output->message()};
    }
    if (InterruptionGuard::isInterrupted()) return Failure{ExitCode::Failed, "interrupted"};
    progress.update(static_cast<std::uint64_t>(frame - session.frames.first + 1));
  }
  session.secondsEvaluating = std::chrono::duration<double>(spent).count();
  return std::nullopt;
}

std::optional<Failure> playFrames(Session& session, AnimatedScene const& scene, std::string const& csv,
                                  Terminal terminal) {
  if (csv.empty()) return evaluateFrames(session, scene, nullptr, terminal);
  OutputFile output(csv);
  if (!output.isGood()) return Failure{ExitCode::OutputUnwritable, output.message()};
  if (auto failure = evaluateFrames(session, scene, &output, terminal)) return failure;
  if (!output.commit()) return Failure{ExitCode::OutputUnwritable, output.message()};
  session.written.push_back(printable(csv) + ", " + counted(session.frames.count() + 1, "row") + " of " +
                            counted(session.model.curves.size() + 2, "column"));
  return std::nullopt;
}

std::optional<Failure> drawPicture(Session& session, AnimatedScene const& scene, PlayOptions const& options,
                                   Terminal terminal) {
  std::size_t omitted = 0;
  std::string const title = printable(std::filesystem::path(options.model).filename().string());
  PlotPicture const picture =
      plotChannels(session.model, scene, session.plotted, session.frames, title, &omitted);
  if (omitted != 0) {
    warn(counted(omitted, "curve") + " of " + grouped(session.plotted.size()) +
             " have no room in the picture; --channel chooses others",
         terminal);
  }
  std::string bytes;
  std::string message;
  if (!drawPlot(picture, *pictureFormat(options.plot), bytes, message)) {
    return Failure{ExitCode::Failed, "cannot draw the picture: " + message};
  }
  OutputFile output(options.plot);
  output.write(bytes);
  if (!output.commit()) return Failure{ExitCode::OutputUnwritable, output.message()};
  session.written.push_back(printable(options.plot) + ", " +
                            counted(session.plotted.size() - omitted, "curve"));
  return std::nullopt;
}

void printReport(Session const& session, PlayOptions const& options, std::FILE* output) {
  ImportedModel const& model = session.model;
  AnimationSummary const& animation = model.summary.animations[model.animation];
  std::size_t animated = 0;
  for (std::size_t i = 0; i < model.curves.size(); ++i) {
    animated += i == 0 || model.curves[i].node != model.curves[i - 1].node ? 1U : 0U;
  }
  TimeSpan const span = *timeSpan(model);
  FrameRange const& frames = session.frames;
  double const evaluations = static_cast<double>(frames.count()) * static_cast<double>(model.curves.size());

  std::fprintf(output, "%s\n", printable(options.model).c_str());
  printRow(output, "animation",
           std::to_string(model.animation + 1) + " of " + std::to_string(model.summary.animations.size()) +
               ", \"" + animation.name + '"');
  printRow(output, "nodes", grouped(animated) + " animated of " + grouped(model.nodes.size()));
  printRow(output, "curves", counted(model.curves.size(), "curve") + ", " + counted(model.keyCount(), "key"));
  printRow(output, "time", brief(span.begin, 6) + " s to " + brief(span.end, 6) + " s");
  printRow(output, "frames",
           std::to_string(frames.first) + " to " + std::to_string(frames.last) + ", " +
               brief(frames.framesPerSecond) + " per second");
  printRow(output, "evaluated",
           grouped(static_cast<std::uint64_t>(evaluations)) + " values in " +
               brief(session.secondsEvaluating, 3) + " s, " +
               grouped(static_cast<std::uint64_t>(evaluations / std::max(session.secondsEvaluating, 1e-9))) +
               " per second");
  for (std::string const& file : session.written) printRow(output, "wrote", file);
}

}  // namespace

ExitCode play(PlayOptions const& options, Terminal terminal) {
  auto prepared = prepare(options, terminal);
  if (auto const* failure = std::get_if<Failure>(&prepared)) return report(*failure, terminal);
  Session& session = std::get<Session>(prepared);

  InterruptionGuard const guard;
  AnimatedScene const scene(session.model);
  if (auto const failure = playFrames(session, scene, options.csv, terminal))
    return report(*failure, terminal);
  if (!options.plot.empty()) {
    if (auto const failure = drawPicture(session, scene, options, terminal))
      return report(*failure, terminal);
  }
  printReport(session, options, isStandardOutput(options.csv) ? terminal.errors : terminal.output);
  return ExitCode::Ok;
}

}  // namespace knanim
