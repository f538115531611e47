#pragma once

#include "knanim/scene/LoadedScene.h"
#include "knanim/support/Failure.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace knanim {

/// What one step of editing did, in words: a line, and what more there is to say.
struct EditReport {
  std::string line;
  std::vector<std::string> details;
};

using EditResult = std::variant<EditReport, Failure>;

/// Carries steps of editing out on a scene, by the operations of the library. A step that fits nothing fails with
/// `Usage` and changes nothing. After each step the scene's and the model's curves are those that are active then.
class SceneEditing {
 public:
  explicit SceneEditing(LoadedScene& loaded) : _scene(loaded.scene()), _model(loaded.model()) {}

  /// Brings the animation of another model onto the nodes of the same names, or of those that a table maps them to.
  EditResult paste(PasteOptions const& options, Terminal terminal);
  /// Both take "FROM=TO", two nodes. A copy is independent of what it was made from; with `share` both nodes have the
  /// same curves. What TO had is removed, or else switched off.
  EditResult copy(std::string const& text, bool isReplaced) { return copyBetween(text, false, isReplaced); }
  EditResult share(std::string const& text, bool isReplaced) { return copyBetween(text, true, isReplaced); }
  /// Takes away the animations of the nodes that a pattern fits with the shape caches of their meshes, and the caches of
  /// the meshes that it fits.
  EditResult cut(std::string const& pattern);
  /// Gives the animations of nodes curves of their own.
  EditResult unshare(std::string const& pattern);
  /// Renames curves by the table in a file.
  EditResult rename(std::string const& path);
  /// Whether what `scale`, `offset` and `shift` take can be read; fails with `Usage`.
  static std::optional<Failure> checkAmount(std::string const& text);
  /// Both take "PATTERN=NUMBER", or "NUMBER" for all curves.
  EditResult scale(std::string const& text) { return changeValues(text, true); }
  EditResult offset(std::string const& text) { return changeValues(text, false); }
  /// Moves in time: "SECONDS" all animations, "PATTERN=SECONDS" the curves that fit.
  EditResult shift(std::string const& text);

 private:
  EditResult copyBetween(std::string const& text, bool isShared, bool isReplaced);
  EditResult changeValues(std::string const& text, bool isFactor);
  std::variant<std::vector<std::size_t>, Failure> nodesThatFit(std::string const& pattern) const;
  std::variant<std::size_t, Failure> nodeOfName(std::string const& name) const;
  std::vector<std::size_t> curvesThatFit(std::string const& pattern) const;
  /// Copies all animations of a node to another one, under their own names. What was there is removed, or switched off:
  /// then, if it has the same name, it is called "NAME (before)" from now on.
  void copyOnto(osg::NodePtr const& source, osg::NodePtr const& target, bool isShared, bool isReplaced);
  std::size_t shiftAll(float seconds);
  /// Of the meshes of a node, as for `cut`. How many there were.
  std::size_t cutShapes(std::size_t node, std::string const& pattern);
  Failure nothingAnimated(std::string const& pattern) const;
  void refresh();

  AnimatedScene& _scene;
  ImportedModel& _model;
};

}  // namespace knanim
