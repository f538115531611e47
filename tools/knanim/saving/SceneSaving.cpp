#include "knanim/saving/SceneSaving.h"

#include "knSceneFile.h"
#include "knanim/saving/GltfExport.h"
#include "knanim/scene/SceneObjects.h"
#include "knanim/scene/SceneSurvey.h"
#include "knanim/support/Console.h"
#include "knanim/support/FileProgress.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/LogCapture.h"
#include "knanim/support/NearNames.h"
#include "knanim/support/OutputFile.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace knanim {
namespace {

std::string extensionOf(std::string const& path) { return std::filesystem::path(path).extension().string(); }

/// So that whoever loads the scene has its animation between the ends of the timeline.
void setTimeline(ImportedModel const& model) {
  auto const span = timeSpan(model);
  if (!span) return;
  knAnimManager& manager = *knAnimManager::the();
  double const rate = framesPerSecond(model.summary.animations[model.animation]);
  auto const frame = [rate](double seconds) {
    return static_cast<int>(std::clamp(std::round(seconds * rate), -1e9, 1e9));
  };
  manager.setFPS(rate);
  manager.setPlaybackFPS(rate);
  manager.setFullRangeStart(frame(span->begin));
  manager.setFullRangeEnd(frame(span->end));
  manager.setDetailedRangeStart(frame(span->begin));
  manager.setDetailedRangeEnd(frame(span->end));
}

std::string sizeOf(std::string const& path) {
  std::error_code error;
  auto const bytes = std::filesystem::file_size(path, error);
  return error ? "" : ", " + counted(bytes, "byte");
}

/// The library's reason begins with the same as this message.
Failure unwritable(std::string const& path, std::string const& reason) {
  std::string const head = "cannot be written: ";
  std::size_t const at = reason.find(head);
  return {ExitCode::OutputUnwritable,
          "cannot write " + printable(path) + ": " +
              (at == std::string::npos ? reason : reason.substr(at + head.size()))};
}

void warnOfSkins(LoadedScene const& loaded, Terminal terminal) {
  auto const skinned = std::count_if(
      loaded.scene().meshes().begin(), loaded.scene().meshes().end(),
      [&](auto const& each) { return !each.isBaked && !loaded.content().meshes[each.mesh].bones.empty(); });
  if (skinned > 0) {
    warn(counted(static_cast<std::size_t>(skinned), "mesh", "meshes") +
             " with bones: saved in the rest shape; --bake-skins saves the shapes as they move",
         terminal);
  }
}

}  // namespace

std::optional<SceneForm> sceneForm(std::string const& path) {
  std::string const extension = extensionOf(path);
  if (extension == ".osb" || extension == ".json") return SceneForm::Scene;
  std::string const ending = lowerEnding(path);
  if (ending == ".gltf" || ending == ".glb") return SceneForm::Gltf;
  return std::nullopt;
}

std::optional<Failure> checkSceneOutput(std::string const& path, std::span<std::string const> inputs) {
  if (path.empty()) return std::nullopt;
  if (!sceneForm(path))
    return Failure{ExitCode::Usage,
                   "the name of a scene ends in .osb, .json, .gltf or .glb, not " + printable(path)};
  return checkOutput(path, inputs);
}

std::optional<Failure> saveScene(LoadedScene& loaded, std::string const& path, ExportOptions const& options,
                                 Terminal terminal) {
  warn(completeScene(loaded.scene(), loaded.model(), loaded.file()), terminal);
  if (loaded.model().stored.empty()) setTimeline(loaded.model());
  if (InterruptionGuard::isInterrupted()) return Failure{ExitCode::Failed, "interrupted"};
  if (sceneForm(path) == SceneForm::Gltf) {
    if (auto failure = exportGltf(loaded, path, options, terminal)) return failure;
  } else {
    warnOfSkins(loaded, terminal);
    loaded.scene().switchBack();
    LogCapture const log;
    FileProgress const progress(terminal.errors);
    bool const isSaved = knSceneFile::save(path);
    if (!isSaved && InterruptionGuard::isInterrupted()) return Failure{ExitCode::Failed, "interrupted"};
    if (!isSaved) return unwritable(path, log.reason("no reason given"));
  }
  printRow(terminal.output, "file", printable(path) + sizeOf(path));
  return std::nullopt;
}

std::optional<Failure> saveObject(LoadedScene& loaded, std::string const& object, std::string const& path,
                                  Terminal terminal) {
  warn(completeScene(loaded.scene(), loaded.model(), loaded.file()), terminal);
  SceneObjects const objects(loaded.scene());
  std::vector<SceneObject const*> const found = objects.find(object);
  if (found.size() != 1) {
    return Failure{ExitCode::Usage,
                   (found.empty() ? "no node or material is called \"" : "several nodes are called \"") +
                       printable(object) + '"' + nearClause(nearNames(object, objects.names()))};
  }
  loaded.scene().switchBack();
  LogCapture const log;
  if (!knAnimManager::the()->saveAnimations(path.c_str(), found.front()->container))
    return unwritable(path, log.reason("no reason given"));
  printRow(terminal.output, "file",
           printable(path) + ", the animations of " + printable(found.front()->path) + sizeOf(path));
  return std::nullopt;
}

}  // namespace knanim
