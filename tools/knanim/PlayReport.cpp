#include "knanim/Console.h"
#include "knanim/PlaySession.h"
#include "knanim/Text.h"

#include <algorithm>

namespace knanim {
namespace {

/// A time for people, from microseconds to seconds.
std::string shortTime(double seconds) {
  if (seconds < 1e-3) return brief(seconds * 1e6, 3) + " \xC2\xB5s";
  return seconds < 1 ? brief(seconds * 1e3, 3) + " ms" : brief(seconds, 3) + " s";
}

std::size_t countAnimatedNodes(ImportedModel const& model) {
  std::size_t animated = 0;
  for (std::size_t i = 0; i < model.curves.size(); ++i)
    animated += i == 0 || model.curves[i].node != model.curves[i - 1].node ? 1U : 0U;
  return animated;
}

std::string describe(ModelContent const& content) {
  std::string text;
  auto const add = [&text](std::size_t count, char const* what, char const* plural) {
    if (count != 0) text += (text.empty() ? "" : ", ") + counted(count, what, plural);
  };
  std::size_t placed = 0;
  for (auto const& meshes : content.meshesOfNodes) placed += meshes.size();
  add(placed, "geometry", "geometries");
  add(content.materials.size(), "material", "materials");
  add(content.cameras.size(), "camera", "cameras");
  add(content.lights.size(), "light", "lights");
  return text;
}

void printPlayback(PlaybackRecord const& record, std::FILE* output) {
  double const frames = static_cast<double>(std::max<std::size_t>(record.frames, 1));
  printRow(output, "played",
           counted(record.frames, "frame") + " in " + shortTime(record.seconds) + ": " +
               shortTime(record.seconds / frames) + " each, the slowest " + shortTime(record.slowestSeconds) +
               " (frame " + std::to_string(record.slowestFrame) + ')');
  printRow(output, "wrote",
           counted(record.fields, "field") + ", " + brief(static_cast<double>(record.fields) / frames, 4) +
               " per frame; " + counted(record.announcements, "announcement") + ", " +
               brief(static_cast<double>(record.announcements) / frames, 4) + " per frame, at most " +
               grouped(record.mostAnnouncements));
}

}  // namespace

void printPlayReport(PlaySession const& session, std::FILE* output) {
  ImportedModel const& model = session.model;
  AnimationSummary const& animation = model.summary.animations[model.animation];
  TimeSpan const span = *timeSpan(model);
  FrameRange const& frames = session.frames;

  std::fprintf(output, "%s\n", printable(session.options.model).c_str());
  printRow(output, "animation",
           std::to_string(model.animation + 1) + " of " + std::to_string(model.summary.animations.size()) +
               ", \"" + animation.name + '"');
  printRow(output, "nodes",
           grouped(countAnimatedNodes(model)) + " animated of " + grouped(model.nodes.size()));
  if (std::string const content = describe(session.content); !content.empty())
    printRow(output, "scene", content);
  printRow(output, "curves", counted(model.curves.size(), "curve") + ", " + counted(model.keyCount(), "key"));
  printRow(output, "time", brief(span.begin, 6) + " s to " + brief(span.end, 6) + " s");
  printRow(output, "frames",
           std::to_string(frames.first) + " to " + std::to_string(frames.last) + ", " +
               brief(frames.framesPerSecond) + " per second");
  printPlayback(session.playback, output);
  for (std::string const& file : session.written) printRow(output, "file", file);
}

}  // namespace knanim
