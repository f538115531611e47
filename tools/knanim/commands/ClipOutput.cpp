#include "knanim/commands/PlaySession.h"
#include "knanim/pictures/ClipsPicture.h"
#include "knanim/pictures/PlotPicture.h"
#include "knanim/support/Console.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace knanim {
namespace {

constexpr std::size_t kSamplesOfPicture = 900;

/// The animations of the model, the played one first. The scene gets what it does not have of them.
std::vector<ClipSource> collectSources(PlaySession const& session, AnimatedScene& scene, Terminal terminal) {
  std::span<SceneCurve const> const played = scene.curves();
  auto const& animations = session.model.summary.animations;
  std::vector<ClipSource> sources;
  sources.push_back({animations[session.model.animation].name, {played.begin(), played.end()}});
  for (std::size_t i = 0; i < animations.size(); ++i) {
    if (i == session.model.animation || animations[i].keys.total() == 0) continue;
    auto loaded = session.file.load(i);
    if (auto const* failure = std::get_if<Failure>(&loaded)) {
      warn("animation \"" + animations[i].name + "\" is left out of the clips: " + failure->message,
           terminal);
      continue;
    }
    std::get<ImportedModel>(loaded).tangents = session.model.tangents;
    sources.push_back({animations[i].name, scene.addAnimation(std::get<ImportedModel>(loaded))});
  }
  return sources;
}

/// How much the clip that moves a channel least moves it; negative when some clip does not know the channel.
double leastTravel(ClipArrangement const& arrangement, SceneCurve const& channel) {
  double least = INFINITY;
  for (PlacedClip const& clip : arrangement.clips()) {
    SceneCurve const* const curve = clip.find(channel);
    if (curve == nullptr) return -1;
    auto const& keys = curve->curve->getControlPoints();
    auto const [low, high] = std::minmax_element(
        keys.begin(), keys.end(), [](osg::CCPnt const& a, osg::CCPnt const& b) { return a.y() < b.y(); });
    least = std::min(least, static_cast<double>(high->y()) - static_cast<double>(low->y()));
  }
  return least;
}

/// The index of the curve whose channel is looked at: the one that was asked for, or the one that all clips move
/// most.
std::size_t chooseChannel(PlaySession const& session, AnimatedScene const& scene,
                          ClipArrangement const& arrangement) {
  if (!session.options.channels.empty()) return session.chosen.front();
  std::size_t best = session.chosen.front();
  double most = -1;
  for (std::size_t i = 0; i < scene.curves().size(); ++i) {
    double const travel = leastTravel(arrangement, scene.curves()[i]);
    if (travel > most) {
      most = travel;
      best = i;
    }
  }
  return best;
}

std::string listOf(std::vector<std::size_t> const& clips) {
  std::string text;
  for (std::size_t i = 0; i < clips.size(); ++i)
    text += (i == 0 ? "" : i + 1 == clips.size() ? " or " : ", ") + std::to_string(clips[i] + 1);
  return text;
}

/// Which clips are in progress, or which part of the timeline it is.
std::string situation(std::span<PlacedClip const> clips, double time) {
  std::string inside;
  bool begun = false;
  bool ended = true;
  for (std::size_t i = 0; i < clips.size(); ++i) {
    TimeSpan const& span = clips[i].span;
    if (time >= span.begin && time <= span.end)
      inside += (inside.empty() ? "in " : " and ") + std::to_string(i + 1);
    begun = begun || time > span.begin;
    ended = ended && time > span.end;
  }
  if (!inside.empty()) return inside;
  return !begun ? "before the first" : ended ? "after the last" : "between";
}

std::string writerOf(ClipSample const& sample) {
  if (!sample.written) return "none";
  if (sample.writers.empty()) return "a value that no single clip gives";
  return sample.writers.size() == 1 ? "clip " + std::to_string(sample.writers[0] + 1)
                                    : "clip " + listOf(sample.writers) + " (same value)";
}

std::string padded(std::string text, std::size_t width) {
  std::size_t const length = widthInColumns(text);
  return length < width ? text + std::string(width - length, ' ') : text + ' ';
}

std::string describe(std::span<PlacedClip const> clips, std::span<ClipSample const> samples,
                     std::string const& channel) {
  std::string text = "clips\n";
  for (std::size_t i = 0; i < clips.size(); ++i) {
    text += "  " + padded("clip " + std::to_string(i + 1), 12) + brief(clips[i].span.begin, 5) + " s to " +
            brief(clips[i].span.end, 5) + " s, \"" + clips[i].name + '"' +
            (clips[i].scale == 1 ? "" : ", scale " + brief(clips[i].scale, 3)) + '\n';
  }
  text += "  " + padded("channel", 12) + channel + "\n";
  text += "     " + padded("time", 12) + padded("clips", 18) + padded("value", 12) + "written by\n";
  for (std::size_t i = 0; i < samples.size(); ++i) {
    ClipSample const& sample = samples[i];
    text += "  " + padded(markName(i), 3) + padded(brief(sample.time, 5) + " s", 12) +
            padded(situation(clips, sample.time), 18) +
            padded(sample.written ? brief(*sample.written, 6) : "-", 12) + writerOf(sample) + '\n';
  }
  return text;
}

std::optional<Failure> drawPicture(PlaySession& session, ClipArrangement const& arrangement, ClipProbe& probe,
                                   ImportedCurve const& channel, std::vector<double> const& marks) {
  ClipsPicture picture;
  picture.title = printable(std::filesystem::path(session.options.model).filename().string());
  picture.channel = session.model.curveName(channel);
  bool const turns = channel.kind == ChannelKind::Rotation;
  picture.unit = turns ? "degrees" : channel.kind == ChannelKind::Scale ? "factor" : "scene units";
  picture.axis = turns ? AxisUnit::Degrees : AxisUnit::Number;
  picture.clips = arrangement.clips();
  picture.marks = marks;
  double const margin = 0.25 * (marks[1] - marks.front());
  double const begin = marks.front() - margin;
  double const end = marks.back() + margin;
  for (std::size_t i = 0; i <= kSamplesOfPicture; ++i) {
    double const share = static_cast<double>(i) / static_cast<double>(kSamplesOfPicture);
    picture.samples.push_back(probe.sample(begin + share * (end - begin)));
    if (InterruptionGuard::isInterrupted()) return Failure{ExitCode::Failed, "interrupted"};
  }
  std::string bytes;
  std::string message;
  if (!drawClips(picture, *pictureFormat(session.options.clipsPlot), bytes, message))
    return Failure{ExitCode::Failed, "cannot draw the picture: " + message};
  return writeOutput(session, session.options.clipsPlot, bytes, counted(arrangement.clips().size(), "clip"));
}

}  // namespace

void printClipReport(ClipReport const& report, std::FILE* output) {
  std::fputs(describe(report.clips, report.samples, report.channel).c_str(), output);
}

std::optional<Failure> showClips(PlaySession& session, AnimatedScene& scene, ClipReport& report,
                                 Terminal terminal) {
  std::vector<ClipSource> const sources = collectSources(session, scene, terminal);
  ClipArrangement const arrangement(sources);
  if (arrangement.clips().empty())
    return Failure{ExitCode::NoAnimation,
                   "every animation of this model has length 0, so there are no clips to arrange"};
  std::size_t const index = chooseChannel(session, scene, arrangement);
  ClipProbe probe(arrangement, scene.curves()[index]);
  std::vector<double> const times = tellingTimes(arrangement.clips());
  for (double const time : times) report.samples.push_back(probe.sample(time));
  ImportedCurve const& curve = session.model.curves[index];
  report.clips.assign(arrangement.clips().begin(), arrangement.clips().end());
  report.channel = session.model.curveName(curve);
  if (session.options.clipsPlot.empty()) return std::nullopt;
  return drawPicture(session, arrangement, probe, curve, times);
}

}  // namespace knanim
