#include "knanim/commands/PlaySession.h"
#include "knanim/import/ShapeCaches.h"
#include "knanim/support/Console.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <cmath>

namespace knanim {
namespace {

/// To hundredths of a frame.
std::string frameNumber(double frame) { return brief(std::round(frame * 100) / 100, 16); }

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

std::string describe(ShapeCounts const& shapes) {
  return counted(shapes.caches, "shape cache") +
         (shapes.baked == 0 ? "" : " (" + grouped(shapes.baked) + " of baked skins)") + ", " +
         counted(shapes.shapes, "shape") + ", " + mebibytes(shapes.bytes);
}

void printPlayback(PlaybackRecord const& record, std::FILE* output) {
  double const frames = static_cast<double>(std::max<std::size_t>(record.frames, 1));
  printRow(output, "played",
           counted(record.frames, "frame") + " in " + shortTime(record.seconds) + ": " +
               shortTime(record.seconds / frames) + " each, the slowest " + shortTime(record.slowestSeconds) +
               " (frame " + frameNumber(record.slowestFrame) + ')');
  printRow(output, "wrote",
           counted(record.fields, "field") + ", " + brief(static_cast<double>(record.fields) / frames, 4) +
               " per frame; " + counted(record.announcements, "announcement") + ", " +
               brief(static_cast<double>(record.announcements) / frames, 4) + " per frame, at most " +
               grouped(record.mostAnnouncements));
}

std::string describe(RunPlan const& plan, bool isRealtime) {
  std::string text = isRealtime ? "real time, " : "simulated, ";
  text += plan.rate > 0 ? brief(plan.rate, 6) + " passes per second" : "as many passes as possible";
  if (plan.reverse) text += ", backwards";
  if (plan.subframes) text += ", with subframes";
  return text;
}

std::string describeLoop(RunPlan const& plan) {
  std::string const times = plan.rounds ? counted(static_cast<std::uint64_t>(*plan.rounds), "time") : "";
  std::string const limit = plan.seconds ? "for " + brief(*plan.seconds) + " s" : "";
  return "frames " + std::to_string(plan.frames.first) + " to " + std::to_string(plan.frames.last) + ", " +
         times + (plan.rounds && plan.seconds ? ", at most " : "") + limit;
}

void printRun(RunPlan const& plan, RunRecord const& run, bool isRealtime, std::FILE* output) {
  printRow(output, "clock", describe(plan, isRealtime));
  if (plan.loop) printRow(output, "loop", describeLoop(plan));
  std::string passes = grouped(run.cadence.passes()) + " in " + shortTime(run.seconds);
  if (isRealtime && plan.rate > 0) {
    passes += "; at most " + shortTime(run.worstLateness) + " late, " +
              counted(run.missedSlots, "pass", "passes") + " missed";
  }
  printRow(output, "passes", passes);
  printRow(output, "shown",
           counted(run.cadence.shown(), "frame") + ", " + counted(run.cadence.repeats(), "repeat") + ", " +
               frameNumber(run.cadence.dropped()) + " dropped");
  char const* label = "steps";
  for (std::string const& line : run.cadence.histogram()) {
    printRow(output, label, line);
    label = "";
  }
}

}  // namespace

std::size_t countAnimatedNodes(ImportedModel const& model) {
  std::size_t animated = 0;
  for (std::size_t i = 0; i < model.curves.size(); ++i)
    animated += i == 0 || model.curves[i].node != model.curves[i - 1].node ? 1U : 0U;
  return animated;
}

void printPlayReport(PlaySession const& session, ClipReport const* clips, std::FILE* output) {
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
  if (session.shapes.caches != 0) printRow(output, "caches", describe(session.shapes));
  printRow(output, "time", brief(span.begin, 6) + " s to " + brief(span.end, 6) + " s");
  printRow(output, "frames",
           std::to_string(frames.first) + " to " + std::to_string(frames.last) + ", " +
               brief(frames.framesPerSecond) + " per second");
  if (session.plan) printRun(*session.plan, session.run, session.options.clock.realtime, output);
  printPlayback(session.playback, output);
  printFiles(output, session.written);
  if (clips != nullptr) printClipReport(*clips, output);
}

}  // namespace knanim
