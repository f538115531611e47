#include "knanim/commands/PlaySession.h"
#include "knanim/pictures/PlotPicture.h"
#include "knanim/scene/ChannelChoice.h"
#include "knanim/support/Console.h"
#include "knanim/support/OutputFile.h"
#include "knanim/support/Text.h"

#include <array>
#include <filesystem>
#include <numeric>

namespace knanim {
namespace {

std::optional<Failure> checkOutputs(PlayOptions const& options) {
  std::array<std::string const*, 4> const pictures = {&options.plot, &options.strip, &options.image,
                                                      &options.clipsPlot};
  for (std::string const* picture : pictures) {
    if (!picture->empty() && !pictureFormat(*picture)) {
      return Failure{ExitCode::Usage,
                     "the name of a picture ends in .png or .svg, not " + printable(*picture)};
    }
  }
  std::vector<std::string const*> outputs = {&options.csv, &options.film};
  outputs.insert(outputs.end(), pictures.begin(), pictures.end());
  for (std::string const* output : outputs) {
    if (auto failure = checkOutput(*output, {&options.model, 1})) return failure;
  }
  if (auto failure = checkFrameFolder(options.frames)) return failure;
  return checkFilm(options.film, options.framesPerSecond);
}

/// Options that mean nothing by themselves.
std::optional<Failure> checkCompanions(PlayOptions const& options) {
  if (options.json && isStandardOutput(options.csv))
    return Failure{ExitCode::Usage, "--json and --csv - would both print to standard output"};
  if (!options.channels.empty() && options.csv.empty() && options.plot.empty() && !options.clips)
    return Failure{ExitCode::Usage, "--channel requires --csv, --plot or --clips"};
  bool const isDrawn = !options.strip.empty() || !options.image.empty() || !options.frames.empty();
  if (!options.camera.empty() && options.film.empty() && !isDrawn)
    return Failure{ExitCode::Usage, "--camera requires --strip, --image, --frames or --film"};
  if (options.size != PlayOptions().size && options.film.empty() && options.frames.empty())
    return Failure{ExitCode::Usage, "--size requires --frames or --film"};
  if (options.clock.isAnyGiven() && !(options.film.empty() && options.frames.empty()))
    return Failure{ExitCode::Usage,
                   "--film and --frames draw each frame once, in order, and cannot be combined with options "
                   "of the clock"};
  return std::nullopt;
}

/// The curves that were asked for; none where the options name no channel.
std::variant<std::vector<std::size_t>, Failure> wantedCurves(PlayOptions const& options,
                                                             ImportedModel const& model) {
  if (options.channels.empty()) return std::vector<std::size_t>{};
  ChosenChannels chosen = chooseChannels(model, options.channels);
  if (chosen.unmatched.empty()) return std::move(chosen.curves);
  return Failure{ExitCode::Usage, noChannel(model, chosen.unmatched[0])};
}

/// Which curves are plotted or looked at in clips, and which are in the table.
std::optional<Failure> chooseCurves(PlaySession& session) {
  PlayOptions const& options = session.options;
  ImportedModel const& model = session.model;
  bool const isPlotted = !options.plot.empty() || options.clips;
  if (isPlotted && model.curves.empty())
    return Failure{ExitCode::Usage,
                   "the animation has only morph targets: there are no channels for --plot or --clips"};
  auto wanted = wantedCurves(options, model);
  if (auto* failure = std::get_if<Failure>(&wanted)) return std::move(*failure);
  session.columns = std::move(std::get<std::vector<std::size_t>>(wanted));
  if (isPlotted) session.chosen = options.channels.empty() ? mostMovingChannels(model) : session.columns;
  if (options.channels.empty()) {
    session.columns.resize(model.curves.size());
    std::iota(session.columns.begin(), session.columns.end(), std::size_t{0});
  }
  return std::nullopt;
}

std::optional<Failure> checkFrame(PlayOptions const& options, FrameRange const& frames) {
  if (!options.frame || (*options.frame >= frames.first && *options.frame <= frames.last))
    return std::nullopt;
  return Failure{ExitCode::Usage, "frame " + std::to_string(*options.frame) +
                                      " is out of range: the frames are " + std::to_string(frames.first) +
                                      " to " + std::to_string(frames.last)};
}

}  // namespace

bool wantsOnlyImage(PlayOptions const& options) {
  bool const wantsTime = options.from || options.to || options.frame || options.clock.isAnyGiven();
  bool const wantsMore = !options.csv.empty() || !options.plot.empty() || !options.strip.empty() ||
                         !options.film.empty() || !options.frames.empty() || options.clips ||
                         options.bakeSkins || !options.animation.empty();
  return !options.image.empty() && !wantsTime && !wantsMore;
}

std::variant<PlaySession, Failure> preparePlay(PlayOptions const& options, Terminal terminal) {
  if (auto failure = checkOutputs(options)) return std::move(*failure);
  if (auto failure = checkCompanions(options)) return std::move(*failure);
  auto const size = readFilmSize(options.size);
  if (auto const* failure = std::get_if<Failure>(&size)) return *failure;
  if (auto failure = checkRate(options.framesPerSecond)) return std::move(*failure);
  if (auto failure = checkClock(options.clock)) return std::move(*failure);
  auto opened = ModelFile::open(options.model);
  if (auto* failure = std::get_if<Failure>(&opened)) return std::move(*failure);
  auto& file = std::get<ModelFile>(opened);
  auto loaded = file.loadChosen(options.animation);
  if (auto* failure = std::get_if<Failure>(&loaded)) {
    // The picture of the model as it stands opens the file once more, and prints them then.
    bool const isPrintedLater = failure->code == ExitCode::NoAnimation && wantsOnlyImage(options);
    if (!isPrintedLater) warn(file.model().warnings, terminal);
    return std::move(*failure);
  }
  auto& model = std::get<ImportedModel>(loaded);
  warn(model.warnings, terminal);
  model.tangents = options.tangents;
  auto const frames = frameRange(*timeSpan(model), options.framesPerSecond, options.from, options.to);
  if (auto const* failure = std::get_if<Failure>(&frames)) return *failure;
  if (auto failure = checkFrame(options, std::get<FrameRange>(frames))) return std::move(*failure);
  std::optional<RunPlan> plan;
  if (options.clock.isAnyGiven()) {
    auto planned = planRun(options.clock, std::get<FrameRange>(frames));
    if (auto* failure = std::get_if<Failure>(&planned)) return std::move(*failure);
    plan = std::get<RunPlan>(planned);
  }
  auto content = file.loadContent();
  if (auto* failure = std::get_if<Failure>(&content)) return std::move(*failure);
  PlaySession session{.options = options,
                      .file = std::move(file),
                      .model = std::move(model),
                      .content = std::move(std::get<ModelContent>(content)),
                      .frames = std::get<FrameRange>(frames),
                      .plan = plan};
  session.film = {options.frames, options.film, std::get<std::array<std::size_t, 2>>(size),
                  options.framesPerSecond};
  if (auto failure = chooseCurves(session)) return std::move(*failure);
  if (!options.csv.empty() && session.columns.empty())
    warn("the animation has only morph targets: the table has no channels", terminal);
  return session;
}

}  // namespace knanim
