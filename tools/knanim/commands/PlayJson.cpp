#include "knanim/commands/PlaySession.h"
#include "knanim/support/JsonText.h"

namespace knanim {
namespace {

void putSpan(TimeSpan const& span, JsonText& json) { json.add("begin", span.begin).add("end", span.end); }

void putFrames(FrameRange const& frames, JsonText& json) {
  json.add("firstFrame", frames.first).add("lastFrame", frames.last);
  json.add("framesPerSecond", frames.framesPerSecond);
}

void putModel(PlaySession const& session, JsonText& json) {
  ImportedModel const& model = session.model;
  auto const& animations = model.summary.animations;
  json.add("model", session.options.model);
  json.name("animation").beginObject().add("number", model.animation + 1);
  json.add("of", animations.size()).add("name", animations[model.animation].name).endObject();
  json.add("nodes", model.nodes.size()).add("animatedNodes", countAnimatedNodes(model));
  json.add("curves", model.curves.size()).add("keys", model.keyCount());
  json.name("caches").beginObject().add("count", session.shapes.caches).add("baked", session.shapes.baked);
  json.add("shapes", session.shapes.shapes).add("bytes", session.shapes.bytes).endObject();
  putSpan(*timeSpan(model), json);
  putFrames(session.frames, json);
}

void putRun(RunPlan const& plan, RunRecord const& run, bool isRealtime, JsonText& json) {
  json.name("clock").beginObject().add("isRealtime", isRealtime).add("passesPerSecond", plan.rate);
  json.add("reverse", plan.reverse).add("subframes", plan.subframes).add("loop", plan.loop);
  json.add("rounds", plan.rounds);
  putFrames(plan.frames, json);
  json.add("seconds", run.seconds).add("isComplete", run.end == RunEnd::Complete);
  json.add("passes", run.cadence.passes()).add("shown", run.cadence.shown());
  json.add("repeats", run.cadence.repeats()).add("dropped", run.cadence.dropped());
  json.add("missedTicks", run.missedSlots).add("worstLateness", run.worstLateness).endObject();
}

void putPlayback(PlaybackRecord const& record, JsonText& json) {
  json.name("played").beginObject().add("frames", record.frames).add("seconds", record.seconds);
  json.add("slowestSeconds", record.slowestSeconds).add("slowestFrame", record.slowestFrame);
  json.add("fields", record.fields).add("announcements", record.announcements);
  json.add("mostAnnouncements", record.mostAnnouncements).endObject();
}

void putClips(ClipReport const& report, JsonText& json) {
  json.name("clips").beginList();
  for (PlacedClip const& clip : report.clips) {
    json.beginObject().add("name", clip.name);
    putSpan(clip.span, json);
    json.add("scale", clip.scale).endObject();
  }
  json.endList().name("clipSamples").beginObject().add("channel", report.channel).name("samples").beginList();
  for (ClipSample const& sample : report.samples) {
    json.beginObject().add("time", sample.time).add("value", sample.written).name("writers").beginList();
    for (std::size_t const writer : sample.writers) json.add(writer + 1);
    json.endList().endObject();
  }
  json.endList().endObject();
}

}  // namespace

void printPlayJson(PlaySession const& session, ClipReport const* clips, std::FILE* output) {
  JsonText json;
  json.beginObject();
  putModel(session, json);
  if (session.plan) putRun(*session.plan, session.run, session.options.clock.realtime, json);
  putPlayback(session.playback, json);
  if (clips != nullptr) putClips(*clips, json);
  json.name("files").beginList();
  for (WrittenFile const& file : session.written)
    json.beginObject().add("path", file.path).add("what", file.what).endObject();
  json.endList().endObject().print(output);
}

}  // namespace knanim
