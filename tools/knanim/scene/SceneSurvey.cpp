#include "knanim/scene/SceneSurvey.h"

#include "knanim/scene/AnimationTrees.h"
#include "knanim/support/NameBook.h"

#include <algorithm>
#include <map>
#include <set>

namespace knanim {
namespace {

std::string nameOf(osg::AttachmentContainerPtr const& container) {
  char const* const name = osg::NodeUtils::getName(container);
  return name == nullptr || *name == '\0' ? "unnamed" : name;
}

SurveyedClip survey(osg::AnimNodePtr const& clip) {
  knAnimManager& manager = *knAnimManager::the();
  SurveyedClip result;
  result.name = nameOf(clip);
  result.info = manager.getInfo(clip);
  manager.getFrameBounds(clip, result.firstFrame, result.lastFrame);
  return result;
}

SurveyedObject survey(knAnimNodeData const& data) {
  SurveyedObject result;
  result.name = data.node != nullptr ? nameOf(data.node) : nameOf(data.material);
  result.animations = data.animations.size();
  result.tags = data.tags.getValues();
  for (osg::AnimNodePtr const& animation : data.animations) {
    knAnimInfo const info = knAnimManager::the()->getInfo(animation);
    result.curves += info.curves;
    result.keys += info.controlPoints;
  }
  return result;
}

std::vector<SurveyedObject> survey(std::vector<knAnimNodeData> const& all) {
  std::vector<SurveyedObject> result;
  result.reserve(all.size());
  for (knAnimNodeData const& data : all) result.push_back(survey(data));
  return result;
}

std::vector<SurveyedName> surveyNames() {
  std::map<std::string, SurveyedName> counts;
  for (std::string const& name : knAnimManager::pyGetBlocks(true)) ++counts[name].blocks;
  for (std::string const& name : knAnimManager::pyGetClips()) ++counts[name].clips;
  std::set<std::string> names;
  knAnimManager::the()->getBlockAndClipNames(names);
  std::vector<SurveyedName> result;
  for (std::string const& name : names) {
    SurveyedName& each = result.emplace_back(counts[name]);
    each.name = name;
  }
  return result;
}

}  // namespace

std::vector<std::string> completeScene(AnimatedScene& scene, ImportedModel const& model,
                                       ModelFile const& file) {
  std::vector<std::string> failures;
  if (!model.stored.empty()) return failures;
  auto const& animations = model.summary.animations;
  // Blocks of one name are one animation.
  NameBook names;
  if (!animations.empty()) names.makeUnique(animations[model.animation].name);
  for (std::size_t i = 0; i < animations.size(); ++i) {
    bool const isThere = i == model.animation;
    std::string const name = isThere ? animations[i].name : names.makeUnique(animations[i].name);
    std::vector<SceneCurve> curves;
    if (isThere) {
      curves.assign(scene.curves().begin(), scene.curves().end());
    } else if (animations[i].keys.total() != 0) {
      auto loaded = file.load(i);
      if (auto const* failure = std::get_if<Failure>(&loaded)) {
        failures.push_back("animation \"" + animations[i].name + "\": " + failure->message);
      } else {
        std::get<ImportedModel>(loaded).summary.animations[i].name = name;
        std::get<ImportedModel>(loaded).tangents = model.tangents;
        curves = scene.addAnimation(std::get<ImportedModel>(loaded));
      }
    }
    bool const hasCaches = isThere && !scene.caches().empty();
    if (curves.empty() && !hasCaches) continue;
    std::vector<SceneCurve> placed;
    osg::AnimNodePtr const clip = makeClip(name.empty() ? "unnamed" : name, curves, placed);
    if (hasCaches) {
      for (SceneCache const& each : scene.caches()) clip->addChild(shareCore(each.cache));
    }
    knAnimManager::the()->addToClipStructure(clip);
  }
  return failures;
}

SceneSurvey surveyScene(AnimatedScene const& scene, double framesPerSecond) {
  knAnimManager& manager = *knAnimManager::the();
  manager.setFPS(framesPerSecond);
  SceneSurvey result;
  for (osg::NodePtr const& clip : knAnimManager::getClipNodes())
    result.clips.push_back(survey(osg::dcast<osg::AnimNodePtr>(clip)));
  result.names = surveyNames();
  std::vector<knAnimNodeData> nodes;
  manager.getNodesWithAnimation(scene.root(), nodes);
  result.nodes = survey(nodes);
  std::vector<knAnimNodeData> materials;
  manager.getMaterialsWithAnimation(materials);
  result.materials = survey(materials);
  return result;
}

}  // namespace knanim
