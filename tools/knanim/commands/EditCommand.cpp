#include "knanim/commands/Commands.h"
#include "knanim/editing/SceneEditing.h"
#include "knanim/pictures/FilmShooting.h"
#include "knanim/pictures/PlotPicture.h"
#include "knanim/saving/SceneSaving.h"
#include "knanim/support/Console.h"
#include "knanim/support/OutputFile.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <memory>

namespace knanim {
namespace {

constexpr std::size_t kMostDetails = 12;

char const* verbName(EditVerb verb) {
  switch (verb) {
    case EditVerb::Paste:
      return "paste";
    case EditVerb::Copy:
      return "copy";
    case EditVerb::Share:
      return "share";
    case EditVerb::Cut:
      return "cut";
    case EditVerb::Unshare:
      return "unshare";
    case EditVerb::Rename:
      return "rename";
    case EditVerb::Scale:
      return "scale";
    case EditVerb::Offset:
      return "offset";
    case EditVerb::Shift:
      break;
  }
  return "shift";
}

EditResult carryOut(EditStep const& step, EditOptions const& options, SceneEditing& editing,
                    Terminal terminal) {
  switch (step.verb) {
    case EditVerb::Paste:
      return editing.paste(options.paste, terminal);
    case EditVerb::Copy:
      return editing.copy(step.text, options.paste.replace);
    case EditVerb::Share:
      return editing.share(step.text, options.paste.replace);
    case EditVerb::Cut:
      return editing.cut(step.text);
    case EditVerb::Unshare:
      return editing.unshare(step.text);
    case EditVerb::Rename:
      return editing.rename(step.text);
    case EditVerb::Scale:
      return editing.scale(step.text);
    case EditVerb::Offset:
      return editing.offset(step.text);
    case EditVerb::Shift:
      break;
  }
  return editing.shift(step.text);
}

std::optional<Failure> check(EditOptions const& options) {
  auto const countOf = [&options](EditVerb verb) {
    return std::ranges::count(options.steps, verb, &EditStep::verb);
  };
  PasteOptions const& paste = options.paste;
  if (countOf(EditVerb::Paste) > 1)
    return Failure{ExitCode::Usage,
                   "--paste may be given only once; write a scene with --out and paste again onto that"};
  bool const modifies =
      !paste.animation.empty() || !paste.map.empty() || !paste.only.empty() || paste.retarget;
  if (modifies && countOf(EditVerb::Paste) == 0)
    return Failure{ExitCode::Usage, std::string(!paste.animation.empty() ? "--source-animation"
                                                : !paste.map.empty()     ? "--map"
                                                : !paste.only.empty()    ? "--only"
                                                                         : "--retarget") +
                                        " requires --paste"};
  if (paste.replace && countOf(EditVerb::Paste) + countOf(EditVerb::Copy) + countOf(EditVerb::Share) == 0)
    return Failure{ExitCode::Usage, "--replace requires --paste, --copy or --share"};
  if (options.steps.empty())
    return Failure{ExitCode::Usage, "there is nothing to do: give a step, such as --shift 0.5"};
  if (auto failure = checkRate(options.framesPerSecond)) return failure;
  for (EditStep const& step : options.steps) {
    bool const hasAmount =
        step.verb == EditVerb::Scale || step.verb == EditVerb::Offset || step.verb == EditVerb::Shift;
    if (auto const failure = hasAmount ? SceneEditing::checkAmount(step.text) : std::nullopt)
      return Failure{failure->code, std::string(verbName(step.verb)) + ": " + failure->message};
  }
  std::vector<std::string> inputs = {options.model, paste.source, paste.map};
  for (EditStep const& step : options.steps) {
    if (step.verb == EditVerb::Rename) inputs.push_back(step.text);
  }
  if (auto failure = checkSceneOutput(options.out, inputs)) return failure;
  if (options.strip.empty()) return std::nullopt;
  if (!pictureFormat(options.strip))
    return Failure{ExitCode::Usage,
                   "the name of a picture ends in .png or .svg, not " + printable(options.strip)};
  return checkOutput(options.strip, inputs);
}

/// How much there is in a scene.
struct Amounts {
  std::size_t curves = 0;
  std::size_t keys = 0;
  std::optional<TimeSpan> span;
};

Amounts amountsOf(ImportedModel const& model) {
  return {model.curves.size(), model.keyCount(), timeSpan(model)};
}

std::string describe(std::optional<TimeSpan> const& span) {
  return span ? brief(span->begin) + " s to " + brief(span->end) + " s" : "none";
}

void print(EditReport const& report, EditVerb verb, bool all, std::FILE* output) {
  printRow(output, verbName(verb), report.line);
  std::size_t const count = all ? report.details.size() : std::min(report.details.size(), kMostDetails);
  for (std::size_t i = 0; i < count; ++i) printRow(output, "", report.details[i]);
  if (count < report.details.size())
    printRow(output, "", "... and " + grouped(report.details.size() - count) + " more, listed with --all");
}

/// What is drawn of a model in a scene.
struct Stage {
  ImportedModel const& model;
  ModelContent const& content;
  AnimatedScene const& scene;
};

std::variant<Shooting, Failure> shoot(Stage const& stage, FrameRange const& range,
                                      std::span<long long const> frames, char const* label) {
  SceneFigure const figure(stage.model, stage.content, stage.scene);
  Playback playback(range);
  auto shot = shootFilm(figure, stage.scene, range, frames, "", playback);
  if (auto* shooting = std::get_if<Shooting>(&shot)) {
    for (FilmFrame& frame : shooting->film.frames) frame.label = label;
  }
  return shot;
}

std::optional<Failure> writeFilm(FilmPicture const& film, SceneFigure const& figure,
                                 std::string const& path) {
  std::string bytes;
  std::string message;
  if (!drawFilm(film, figure, *pictureFormat(path), bytes, message))
    return Failure{ExitCode::Failed, "cannot draw the picture: " + message};
  OutputFile output(path);
  output.write(bytes);
  if (!output.commit()) return Failure{ExitCode::OutputUnwritable, output.message()};
  return std::nullopt;
}

/// All steps; the lines that tell of them are printed when all are done.
std::optional<Failure> carryOutAll(EditOptions const& options, LoadedScene& loaded, Terminal terminal) {
  SceneEditing editing(loaded);
  HeldOutput held(terminal);
  std::fprintf(held.terminal().output, "%s\n", loaded.name().c_str());
  for (EditStep const& step : options.steps) {
    EditResult const result = carryOut(step, options, editing, terminal);
    if (auto const* failure = std::get_if<Failure>(&result))
      return Failure{failure->code, std::string(verbName(step.verb)) + ": " + failure->message};
    print(std::get<EditReport>(result), step.verb, options.all, held.terminal().output);
  }
  held.release();
  return std::nullopt;
}

/// Both ends of what is played before and after.
TimeSpan joined(std::optional<TimeSpan> const& a, std::optional<TimeSpan> const& b) {
  TimeSpan const first = a.value_or(b.value_or(TimeSpan{}));
  TimeSpan const second = b.value_or(first);
  return {std::min(first.begin, second.begin), std::max(first.end, second.end)};
}

/// The scene before and after at the same moments. There is one scene at a time: the edited one ends here, and the
/// other one is made again.
std::optional<Failure> drawStrip(EditOptions const& options, std::unique_ptr<LoadedScene> loaded,
                                 ImportedModel const& former, Terminal terminal) {
  TimeSpan const span = joined(timeSpan(former), timeSpan(loaded->model()));
  auto const range = frameRange(span, options.framesPerSecond, std::nullopt, std::nullopt);
  if (auto const* failure = std::get_if<Failure>(&range)) return *failure;
  auto const& frameRange = std::get<FrameRange>(range);
  std::vector<long long> const frames = spreadFrames(frameRange, options.stripFrames);
  auto after = shoot({loaded->model(), loaded->content(), loaded->scene()}, frameRange, frames, "after");
  if (auto const* failure = std::get_if<Failure>(&after)) return *failure;
  std::string const name = loaded->name();
  ModelContent const content = loaded->content();
  loaded.reset();
  AnimatedScene const scene(former, content);
  auto before = shoot({former, content, scene}, frameRange, frames, "before");
  if (auto const* failure = std::get_if<Failure>(&before)) return *failure;

  Shooting& first = std::get<Shooting>(before);
  Shooting& second = std::get<Shooting>(after);
  FilmPicture film = std::move(first.film);
  std::move(second.film.frames.begin(), second.film.frames.end(), std::back_inserter(film.frames));
  SceneFigure const figure(former, content, scene);
  if (first.cameraName.empty() || second.cameraName.empty()) useFittedView(film, figure);
  film.title = name;
  film.subtitle = counted(frames.size(), "frame") + " before and after";
  for (EditStep const& step : options.steps)
    film.subtitle += ", " + std::string(verbName(step.verb)) + ' ' +
                     printable(std::filesystem::path(step.text).filename().string());
  if (auto failure = writeFilm(film, figure, options.strip)) return failure;
  printRow(terminal.output, "file", printable(options.strip) + ", " + counted(film.frames.size(), "frame"));
  return std::nullopt;
}

}  // namespace

ExitCode edit(EditOptions const& options, Terminal terminal) {
  if (auto const failure = check(options)) return report(*failure, terminal);
  auto opened = LoadedScene::load({options.model, options.animation}, terminal);
  if (auto const* failure = std::get_if<Failure>(&opened)) return report(*failure, terminal);
  auto loaded = std::move(std::get<std::unique_ptr<LoadedScene>>(opened));
  Amounts const before = amountsOf(loaded->model());
  ImportedModel former;
  if (!options.strip.empty()) former = loaded->model();
  if (auto const failure = carryOutAll(options, *loaded, terminal)) return report(*failure, terminal);
  Amounts const after = amountsOf(loaded->model());
  printRow(terminal.output, "curves",
           grouped(before.curves) + " before, " + grouped(after.curves) + " after");
  printRow(terminal.output, "keys", grouped(before.keys) + " before, " + grouped(after.keys) + " after");
  printRow(terminal.output, "time", describe(before.span) + " before, " + describe(after.span) + " after");
  if (!options.out.empty()) {
    if (auto const failure = saveScene(*loaded, options.out, {}, terminal)) return report(*failure, terminal);
  }
  if (options.strip.empty()) return ExitCode::Ok;
  auto const failure = drawStrip(options, std::move(loaded), former, terminal);
  return failure ? report(*failure, terminal) : ExitCode::Ok;
}

}  // namespace knanim
