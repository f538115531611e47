#include "knanim/commands/Commands.h"
#include "knanim/commands/QueueReport.h"
#include "knanim/pictures/PlotPicture.h"
#include "knanim/pictures/QueueFilm.h"
#include "knanim/support/Console.h"
#include "knanim/support/OutputFile.h"
#include "knanim/support/Text.h"

#include <charconv>
#include <cmath>
#include <filesystem>
#include <memory>

namespace knanim {
namespace {

constexpr double kMostPasses = 10'000'000;

Failure usage(std::string const& message) { return {ExitCode::Usage, message}; }

/// A finite number that is all of the text.
std::optional<double> readNumber(std::string_view text) {
  double value = 0;
  auto const read = std::from_chars(text.data(), text.data() + text.size(), value);
  if (read.ec != std::errc() || read.ptr != text.data() + text.size() || !std::isfinite(value))
    return std::nullopt;
  return value;
}

/// Two numbers with a colon between them.
std::optional<std::pair<double, double>> readPair(std::string_view text) {
  std::size_t const colon = text.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  auto const first = readNumber(text.substr(0, colon));
  auto const second = readNumber(text.substr(colon + 1));
  if (!first || !second) return std::nullopt;
  return std::pair(*first, *second);
}

std::optional<QueuePause> readPause(std::string_view text, std::size_t modelCount) {
  QueuePause pause;
  std::size_t const at = text.find('@');
  if (at != std::string_view::npos) {
    auto const number = readNumber(text.substr(0, at));
    if (!number || *number < 1 || *number > static_cast<double>(modelCount) || std::floor(*number) != *number)
      return std::nullopt;
    pause.model = static_cast<std::size_t>(*number);
    text.remove_prefix(at + 1);
  }
  auto const pair = readPair(text);
  if (!pair || pair->first < 0 || pair->second <= 0) return std::nullopt;
  pause.time = {pair->first, pair->first + pair->second};
  return pause;
}

std::variant<QueueSettings, Failure> readSettings(QueueOptions const& options) {
  QueueSettings settings{options.stagger, options.rate,      {}, options.cycles, std::nullopt,
                         options.seconds, options.resetAtEnd};
  if (!std::isfinite(options.stagger) || options.stagger < 0)
    return usage("--stagger must be finite and not negative");
  if (!std::isfinite(options.rate) || options.rate <= 0) return usage("--rate must be finite and above 0");
  if (options.seconds && (!std::isfinite(*options.seconds) || *options.seconds <= 0))
    return usage("--seconds must be finite and above 0");
  if (options.cycles == -1 && !options.seconds)
    return usage("--cycles -1 repeats for ever: give the length of the run with --seconds");
  for (std::string const& text : options.pauses) {
    auto const pause = readPause(text, options.models.size());
    if (!pause)
      return usage(
          "bad pause \"" + printable(text) +
          "\": a pause is TIME:SECONDS for all models, or NUMBER@TIME:SECONDS for one of them, 1 to " +
          std::to_string(options.models.size()));
    settings.pauses.push_back(*pause);
  }
  if (options.range.empty()) return settings;
  auto const range = readPair(options.range);
  if (!range || range->first >= range->second)
    return usage("bad range \"" + printable(options.range) + "\": a range is BEGIN:END in seconds" +
                 (range ? ", and begins before it ends" : ""));
  settings.range = TimeSpan{range->first, range->second};
  return settings;
}

std::optional<Failure> checkStrip(QueueOptions const& options) {
  if (options.strip.empty()) return std::nullopt;
  if (!pictureFormat(options.strip))
    return usage("the name of a picture ends in .png or .svg, not " + printable(options.strip));
  return checkOutput(options.strip, options.models);
}

std::optional<Failure> writeStrip(QueueFilm& film, std::string const& path, Terminal terminal) {
  for (std::string const& name : film.unseen())
    warn(name + " is not in the strip: it has no meshes, while others have", terminal);
  std::string bytes;
  std::string message;
  if (!film.draw(*pictureFormat(path), bytes, message))
    return Failure{ExitCode::Failed, "cannot draw the picture: " + message};
  OutputFile output(path);
  output.write(bytes);
  if (!output.commit()) return Failure{ExitCode::OutputUnwritable, output.message()};
  return std::nullopt;
}

std::unique_ptr<HostClock> makeClock(bool realtime) {
  if (realtime) return std::make_unique<MonotonicClock>();
  return std::make_unique<SimulatedClock>();
}

void warnOfUnmetPauses(QueueRun const& run, Terminal terminal) {
  for (QueuePause const& pause : run.unmetPauses()) {
    std::string const who =
        pause.model ? "model " + std::to_string(*pause.model) + " was not playing" : "no model was playing";
    warn("the pause at " + brief(pause.time.begin, 6) + " s had no effect: " + who, terminal);
  }
}

ExitCode run(QueueOptions const& options, QueueModels const& models, QueueSettings const& settings,
             Terminal terminal) {
  AnimatedScene const scene(models.model, models.content, models.adopted());
  QueueRun run(models, scene, settings);
  double const end = run.plannedEnd();
  if (end * settings.rate > kMostPasses)
    return report(usage("the run would take more than ten million passes"), terminal);
  std::optional<QueueFilm> film;
  if (!options.strip.empty()) film.emplace(models, scene, end, options.stripFrames);

  auto const clock = makeClock(options.realtime);
  auto const tell = [&](QueueEvent const& event) {
    std::fprintf(terminal.output, "%s\n", describe(event, models).c_str());
    if (options.realtime) std::fflush(terminal.output);
  };
  auto const look = [&](double time) {
    if (!film) return;
    std::vector<bool> begun;
    for (QueueTrack const& track : run.record().tracks) begun.push_back(track.playing.has_value());
    film->see(run.record().passes - 1, time, begun);
  };
  if (auto const failure = run.play(*clock, tell, look)) return report(*failure, terminal);
  printQueueReport(run.record(), models, settings, terminal.output);
  std::fflush(terminal.output);
  warnOfUnmetPauses(run, terminal);
  if (!film) return ExitCode::Ok;
  if (auto const failure = writeStrip(*film, options.strip, terminal)) return report(*failure, terminal);
  printRow(terminal.output, "file", printable(options.strip) + ", " + counted(film->frameCount(), "moment"));
  return ExitCode::Ok;
}

}  // namespace

ExitCode queue(QueueOptions const& options, Terminal terminal) {
  auto const settings = readSettings(options);
  if (auto const* failure = std::get_if<Failure>(&settings)) return report(*failure, terminal);
  if (auto const failure = checkStrip(options)) return report(*failure, terminal);
  auto const models = loadQueueModels(options.models, terminal);
  if (auto const* failure = std::get_if<Failure>(&models)) return report(*failure, terminal);
  return run(options, std::get<QueueModels>(models), std::get<QueueSettings>(settings), terminal);
}

}  // namespace knanim
