#pragma once

#include "knanim/import/ModelImport.h"
#include "knanim/scene/AnimatedScene.h"
#include "knanim/support/Options.h"

#include <memory>
#include <optional>
#include <variant>

namespace knanim {

/// A model in a scene that has been evaluated once, or stands as the file has it. The library's current scene
/// while it lives.
class LoadedScene {
 public:
  /// Reads the model, makes the scene, and evaluates it where the options ask for that. A model without
  /// animation is good unless an animation or a moment is asked for. Prints warnings.
  static std::variant<std::unique_ptr<LoadedScene>, Failure> load(SceneOptions const& options,
                                                                  Terminal terminal);

  /// The file, which is asked for other animations.
  ModelFile const& file() const { return _file; }
  ImportedModel& model() { return _model; }
  ImportedModel const& model() const { return _model; }
  ModelContent const& content() const { return _content; }
  AnimatedScene& scene() { return _scene; }
  AnimatedScene const& scene() const { return _scene; }
  /// The moment that was evaluated, in seconds.
  std::optional<double> time() const { return _time; }
  /// The name of the file.
  std::string const& name() const { return _name; }
  /// "walk.fbx at 0.5 s", "walk.fbx as it is in the file".
  std::string title() const;

 private:
  LoadedScene(SceneOptions const& options, ModelFile file, ImportedModel model, ModelContent content);
  void evaluate(SceneOptions const& options);

  std::string _name;
  ModelFile _file;
  ImportedModel _model;
  ModelContent _content;
  AnimatedScene _scene;
  std::optional<double> _time;
};

}  // namespace knanim
