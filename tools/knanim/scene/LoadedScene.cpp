#include "knanim/scene/LoadedScene.h"

#include "knAnimManager.h"
#include "knanim/support/Console.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/Text.h"
#include "model/constraint/knConstraintManager.h"

#include <cmath>
#include <filesystem>

namespace knanim {
namespace {

std::optional<Failure> checkMoment(SceneOptions const& options) {
  if (!std::isfinite(options.framesPerSecond) || options.framesPerSecond <= 0)
    return Failure{ExitCode::Usage, "--fps must be finite and above 0"};
  if (!std::isfinite(options.time.value_or(0)) || !std::isfinite(options.frame.value_or(0)))
    return Failure{ExitCode::Usage, "--time and --frame must be finite"};
  return std::nullopt;
}

std::variant<ImportedModel, Failure> loadAnimation(ModelFile const& file, SceneOptions const& options,
                                                   Terminal terminal) {
  bool const isNeeded = options.time || options.frame || !options.animation.empty();
  auto const animation = file.findAnimation(options.animation);
  if (auto const* failure = std::get_if<Failure>(&animation)) {
    warn(file.model().warnings, terminal);
    if (isNeeded) return *failure;
    return file.model();
  }
  auto loaded = file.load(std::get<std::size_t>(animation));
  if (auto const* failure = std::get_if<Failure>(&loaded)) {
    warn(file.model().warnings, terminal);
    if (isNeeded || InterruptionGuard::isInterrupted()) return *failure;
    warn(failure->message, terminal);
    return file.model();
  }
  auto& model = std::get<ImportedModel>(loaded);
  warn(model.warnings, terminal);
  model.tangents = options.tangents;
  return loaded;
}

}  // namespace

LoadedScene::LoadedScene(SceneOptions const& options, ModelFile file, ImportedModel model,
                         ModelContent content)
    : _name(printable(std::filesystem::path(options.model).filename().string())),
      _file(std::move(file)),
      _model(std::move(model)),
      _content(std::move(content)),
      _scene(_model, _content) {}

std::variant<std::unique_ptr<LoadedScene>, Failure> LoadedScene::load(SceneOptions const& options,
                                                                      Terminal terminal) {
  if (auto failure = checkMoment(options)) return std::move(*failure);
  auto opened = ModelFile::open(options.model);
  if (auto const* failure = std::get_if<Failure>(&opened)) return *failure;
  auto& file = std::get<ModelFile>(opened);
  auto model = loadAnimation(file, options, terminal);
  if (auto* failure = std::get_if<Failure>(&model)) return std::move(*failure);
  auto content = file.loadContent();
  if (auto* failure = std::get_if<Failure>(&content)) return std::move(*failure);
  std::unique_ptr<LoadedScene> scene(new LoadedScene(options, std::move(file),
                                                     std::move(std::get<ImportedModel>(model)),
                                                     std::move(std::get<ModelContent>(content))));
  scene->evaluate(options);
  return scene;
}

void LoadedScene::evaluate(SceneOptions const& options) {
  knAnimManager& manager = *knAnimManager::the();
  // A stored scene has a frame rate of its own.
  if (_model.stored.empty() || options.frame) manager.setFPS(options.framesPerSecond);
  if (options.time) {
    manager.setCurrentTime(*options.time, true, false);
  } else if (options.frame) {
    manager.setCurrentFrame(*options.frame, true, false);
  } else {
    return;
  }
  knConstraintManager::evaluateConstraints();
  _time = manager.currentTime();
}

std::string LoadedScene::title() const {
  return _name + (_time ? " at " + brief(*_time, 6) + " s" : " as it is in the file");
}

}  // namespace knanim
