#include "knanim/commands/InfoJson.h"

#include "knanim/scene/SceneSurvey.h"
#include "knanim/support/Console.h"
#include "knanim/support/JsonText.h"

#include <algorithm>

namespace knanim {
namespace {

void putKeys(KeyCounts const& keys, JsonText& json) {
  json.name("keys").beginObject().add("translation", keys.translation);
  json.add("rotation", keys.rotation).add("scale", keys.scale).endObject();
}

void putModel(ImportedModel const& model, std::string const& path, JsonText& json) {
  ModelSummary const& summary = model.summary;
  std::size_t levels = 0;
  for (ImportedNode const& node : model.nodes) levels = std::max(levels, node.depth + 1);
  json.add("model", path).add("format", summary.importer).add("formatVersion", summary.formatVersion);
  json.add("bytes", summary.fileBytes).add("nodes", model.nodes.size()).add("levels", levels);
  json.add("meshes", summary.meshes).add("vertices", summary.vertices).add("faces", summary.faces);
  json.add("bones", summary.bones).add("morphTargets", summary.morphTargets);
  json.add("materials", summary.materials).add("embeddedTextures", summary.textures);
  json.add("cameras", summary.cameras).add("lights", summary.lights);
  json.name("animations").beginList();
  for (AnimationSummary const& each : summary.animations) {
    json.beginObject().add("name", each.name).add("seconds", each.durationSeconds - each.beginSeconds);
    json.add("begin", each.beginSeconds);
    json.add("ticksPerSecond", each.ticksPerSecond).add("ticksAreGuessed", each.ticksAreGuessed);
    json.add("channels", each.channels);
    putKeys(each.keys, json);
    json.add("morphChannels", each.morphChannels).add("morphKeys", each.morphKeys);
    json.add("meshChannels", each.meshChannels).endObject();
  }
  json.endList();
}

/// The nodes that the animation moves, with their keys, and the caches of its morphs.
void putAnimation(ImportedModel const& model, ModelContent const& content, JsonText& json) {
  json.name("listed").beginObject().add("animation", model.animation + 1).name("nodes").beginList();
  for (std::size_t i = 0; i < model.curves.size();) {
    std::size_t const node = model.curves[i].node;
    KeyCounts keys;
    for (; i < model.curves.size() && model.curves[i].node == node; ++i) {
      ChannelKind const kind = model.curves[i].kind;
      std::size_t& count = kind == ChannelKind::Translation ? keys.translation
                           : kind == ChannelKind::Rotation  ? keys.rotation
                                                            : keys.scale;
      count = model.curves[i].keys.size();
    }
    json.beginObject().add("name", model.nodes[node].name);
    putKeys(keys, json);
    json.endObject();
  }
  json.endList().name("caches").beginList();
  for (ImportedMorph const& morph : model.morphs) {
    json.beginObject().add("node", model.nodes[morph.node].name);
    json.add("targets", morph.keys.front().weights.size()).add("shapes", morph.keys.size());
    json.add("vertices", content.meshes[morph.mesh].positions.size()).endObject();
  }
  json.endList().endObject();
}

void putObjects(char const* name, std::vector<SurveyedObject> const& objects, JsonText& json) {
  json.name(name).beginList();
  for (SurveyedObject const& each : objects) {
    json.beginObject().add("name", each.name).add("animations", each.animations).add("curves", each.curves);
    json.add("keys", each.keys).add("tags", each.tags).endObject();
  }
  json.endList();
}

/// What the library tells about the scene that is made of the model.
void putScene(SceneSurvey const& survey, double framesPerSecond, JsonText& json) {
  json.name("scene").beginObject().add("framesPerSecond", framesPerSecond).name("clips").beginList();
  for (SurveyedClip const& clip : survey.clips) {
    json.beginObject().add("name", clip.name).add("curves", clip.info.curves);
    json.add("keys", clip.info.controlPoints).add("values", clip.info.values);
    json.add("begin", clip.info.start).add("end", clip.info.end);
    json.add("firstFrame", clip.firstFrame).add("lastFrame", clip.lastFrame).endObject();
  }
  json.endList();
  putObjects("animatedNodes", survey.nodes, json);
  putObjects("animatedMaterials", survey.materials, json);
  json.name("names").beginList();
  for (SurveyedName const& each : survey.names)
    json.beginObject().add("name", each.name).add("blocks", each.blocks).add("clips", each.clips).endObject();
  json.endList().endObject();
}

}  // namespace

void printInfoJson(ModelFile const& file, std::string const& path, std::optional<std::size_t> animation,
                   Terminal terminal) {
  JsonText json;
  json.beginObject();
  putModel(file.model(), path, json);
  if (!animation) {
    warn(file.model().warnings, terminal);
  } else {
    auto const loaded = file.load(*animation);
    auto const content = file.loadContent();
    auto const* const model = std::get_if<ImportedModel>(&loaded);
    auto const* const parts = std::get_if<ModelContent>(&content);
    warn((model != nullptr ? *model : file.model()).warnings, terminal);
    if (model == nullptr) warn(std::get<Failure>(loaded).message, terminal);
    if (parts == nullptr) warn(std::get<Failure>(content).message, terminal);
    if (model != nullptr && parts != nullptr) {
      putAnimation(*model, *parts, json);
      AnimatedScene scene(*model, *parts);
      warn(completeScene(scene, *model, file), terminal);
      double const rate = framesPerSecond(model->summary.animations[model->animation]);
      putScene(surveyScene(scene, rate), rate, json);
    }
  }
  json.endObject().print(terminal.output);
}

}  // namespace knanim
