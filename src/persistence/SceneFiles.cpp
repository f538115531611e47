#include "knAnimManager.h"
#include "knSceneFile.h"
#include "model/fields/Ref.h"
#include "model/scenedata/SceneRoots.h"
#include "model/scenefiles/SceneFileHandler.h"
#include "model/scenegraph/Group.h"
#include "model/utils/knLog.h"
#include "persistence/SavedScene.h"

#include <cmath>
#include <unordered_set>

using osg::AnimNodePtr;
using osg::FieldContainerPtr;
using osg::NodePtr;

KN_CONTAINER_TYPE(SavedSceneBase, SavedScene, "SavedScene")

namespace {

bool fail(char const* what, std::string const& fileName, char const* why) {
  knLog::error(("scene file " + fileName + " cannot be " + what + ": " + why).c_str());
  return false;
}

// --- Saving -------------------------------------------------------------------------------------------------------

void describeTimeline(knAnimManager const& manager, SavedScene& scene) {
  scene.setFps(manager.fps());
  scene.setSceneFps(knSceneDataManager::getSceneData(0)->getFps());
  scene.setPlaybackFps(manager.playbackFPS());
  scene.setCurrentTime(manager.currentTime());
  scene.setFullRangeStart(manager.fullRangeStart());
  scene.setFullRangeEnd(manager.fullRangeEnd());
  scene.setDetailedRangeStart(manager.detailedRangeStart());
  scene.setDetailedRangeEnd(manager.detailedRangeEnd());
  scene.setPlaybackRangeHint(manager.playbackRangeHint());
  scene.setLoopTimeline(manager.loopTimeline());
  scene.setEvaluateSubframes(manager.evaluateSubframes());
  scene.setKeepKeysAtFrame(manager.keepKeysAtFrame());
}

/// The present scene below a root of its own. The scene's nodes stay where they are and are held once more.
osg::Ref<osg::Node> describeScene(knAnimManager& manager) {
  SavedScenePtr const scene = SavedSceneBase::create();
  osg::Ref<osg::Node> root = osg::Node::create();
  root->addAttachment(scene);
  root->setCore(osg::GroupBase::create());
  scene->setRoot(sceneRoot());
  scene->setMaterialRoot(materialRoot());
  scene->setSceneStructure(manager.sceneStructureRoot());
  scene->setClipStructure(manager.clipStructureRoot());
  describeTimeline(manager, *scene);
  return root;
}

// --- Loading ------------------------------------------------------------------------------------------------------

/// What a file was read into: the scene and all that its record names, held apart from the root of the file.
struct LoadedScene {
  osg::Ref<SavedScene> record;
  osg::Ref<osg::Node> root;
  osg::Ref<osg::Node> materialRoot;
  osg::Ref<osg::AnimNode> sceneStructure;
  osg::Ref<osg::AnimNode> clipStructure;
};

/// Nothing plays in a scene that has just been read. Goes by what containers hold, as animations hang on attachments,
/// cores and materials.
void stopAll(FieldContainerPtr const& top) {
  std::vector<FieldContainerPtr> pending{top};
  std::unordered_set<FieldContainerPtr> seen{top};
  while (!pending.empty()) {
    FieldContainerPtr const container = pending.back();
    pending.pop_back();
    if (auto* const node = osg::dcastTo<osg::AnimNode>(container)) {
      node->setPlaying(false);
      node->setPausing(false);
    }
    for (osg::FieldDescription const& field : container->getType().getFieldDescriptions()) {
      if (field.getRole() != osg::FieldRole::Owned) continue;
      field.getField(*container)->visitHandles([&](FieldContainerPtr const& held) {
        if (held.isAlive() && seen.insert(held).second) pending.push_back(held);
        return held;
      });
    }
  }
}

LoadedScene readScene(std::string const& fileName) {
  osg::Ref<osg::Node> const fileRoot = osg::loadSceneFile(fileName);
  if (!fileRoot.isAlive()) return {};
  LoadedScene scene;
  scene.record = osg::dcast<SavedScenePtr>(fileRoot->findAttachment(SavedSceneBase::_type.getGroupId(), 0));
  if (!scene.record) {
    fail("read", fileName, "it holds no whole scene");
    return {};
  }
  stopAll(scene.record.get());
  scene.root = scene.record->getRoot();
  scene.materialRoot = scene.record->getMaterialRoot();
  scene.sceneStructure = scene.record->getSceneStructure();
  scene.clipStructure = scene.record->getClipStructure();
  return scene;
}

/// Takes over the values of all fields that hold no links.
void copyPlainFields(AnimNodePtr const& source, AnimNodePtr const& target) {
  osg::BitVector mask;
  for (osg::FieldDescription const& field : source->getType().getFieldDescriptions()) {
    auto const* const own = target->getType().findFieldDescription(field.getCName());
    if (own == nullptr || own->getRole() != osg::FieldRole::Plain) continue;
    if (own->getField(*target)->copyFrom(*field.getField(*source))) mask |= own->getFieldMask();
  }
  announce(target, mask);
}

/// Puts the trees of a file in the place of a structure's. The root of the structure stays, as hosts hold it, and plays
/// no longer, as what dies here does not.
void replaceStructure(AnimNodePtr const target, osg::Ref<osg::AnimNode> const& source) {
  if (!target.isAlive()) return;
  knAnimManager::the()->dequeue(target);
  if (!target.isAlive()) return;
  target->clearChildren();
  announce(target, osg::Node::ChildrenFieldMask);
  if (!source.isAlive() || !target.isAlive()) return;
  copyPlainFields(source.get(), target);
  if (!source.isAlive() || !target.isAlive()) return;
  target->addChildren({source->getChildren().begin(), source->getChildren().end()});
  announce(target, osg::Node::ChildrenFieldMask);
}

bool isRate(double fps) { return std::isfinite(fps) && fps > 0.0; }

void takeTimeline(knAnimManager& manager, SavedScene const& scene, std::string const& fileName) {
  manager.setPlaybackFPS(scene.getPlaybackFps());
  manager.setFullRangeStart(scene.getFullRangeStart());
  manager.setFullRangeEnd(scene.getFullRangeEnd());
  manager.setDetailedRangeStart(scene.getDetailedRangeStart());
  manager.setDetailedRangeEnd(scene.getDetailedRangeEnd());
  manager.setPlaybackRangeHint(scene.getPlaybackRangeHint());
  manager.setLoopTimeline(scene.getLoopTimeline());
  manager.setEvaluateSubframes(scene.getEvaluateSubframes());
  // The keys of the file are where they belong at the file's rate.
  double const time = scene.getCurrentTime();
  bool const keepsKeys = scene.getKeepKeysAtFrame();
  double const fps = scene.getFps();
  double const sceneFps = scene.getSceneFps();
  if (isRate(fps) && isRate(sceneFps)) {
    manager.setKeepKeysAtFrame(false);
    knSceneDataManager::getSceneData(0)->setFps(sceneFps);
    manager.setFPS(fps);
    knSceneDataManager::getSceneData(0)->setFps(sceneFps);
  } else {
    std::string const text =
        "scene file " + fileName + " has a frame rate that is not above 0; the present one is kept";
    knLog::warning(text.c_str());
  }
  manager.setKeepKeysAtFrame(keepsKeys);
  manager.setCurrentTimeNoEvaluation(time, true);
}

}  // namespace

bool knSceneFile::save(std::string const& fileName, bool compress, osg::SceneFileForm form) {
  if (!sceneRoot().isAlive() && !materialRoot().isAlive()) {
    return fail("written", fileName, "there is no scene");
  }
  return osg::saveSceneFile(describeScene(*knAnimManager::the()).get(), fileName, compress, form);
}

bool knSceneFile::load(std::string const& fileNameArgument) {
  std::string const fileName = fileNameArgument;
  LoadedScene const scene = readScene(fileName);
  if (!scene.record) return false;
  knAnimManager& manager = *knAnimManager::the();
  knSceneDataManager::getSceneData(0)->setRoots(scene.root.get(), scene.materialRoot.get());
  replaceStructure(manager.sceneStructureRoot(), scene.sceneStructure);
  replaceStructure(manager.clipStructureRoot(), scene.clipStructure);
  knAnimManager::fillEmptyCallbacks();
  if (scene.record.isAlive()) takeTimeline(manager, *scene.record, fileName);
  return true;
}
