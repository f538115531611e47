#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/import/ModelContent.h"
#include "knanim/support/Failure.h"

#include <memory>
#include <string>
#include <variant>

namespace knanim {

class StoredModel;

/// A model file: one of the library's own, or one that has been read by a process of its own, which lives as long as this and is asked for the parts
/// of the model. A file that makes the importers crash, or keeps them busy without end, does no harm here. Nothing
/// is thrown.
class ModelFile {
 public:
  /// Reads a file of any format that Assimp knows, or of the library's own by its extension. Fails with `FileUnreadable`, with `NotAModel`, also when the
  /// importer crashed, and with `Failed` when interrupted.
  static std::variant<ModelFile, Failure> open(std::string const& path);

  ModelFile(ModelFile&& other) noexcept;
  ModelFile& operator=(ModelFile&& other) noexcept;
  ~ModelFile();

  /// Nodes and summary; no curves. Its warnings are those of reading the file; a loaded animation has them as well.
  ImportedModel const& model() const { return _model; }

  /// The animation of a number (from 1, as `info` lists them) or, when it is no such number, of a name; an empty
  /// choice means the first one that moves nodes or morphs. Fails with `NoAnimation` when there is nothing to play, with
  /// `Usage` when the choice names none.
  std::variant<std::size_t, Failure> findAnimation(std::string const& choice) const;

  /// The model with the curves and morphs of an animation that `findAnimation` gave. Fails with `NoAnimation` when
  /// no usable key is in it, with `Failed` when its morphs ask for too much memory, and as `open`.
  std::variant<ImportedModel, Failure> load(std::size_t animation) const;
  /// The animation that `findAnimation` gives for a choice, loaded; fails as these two.
  std::variant<ImportedModel, Failure> loadChosen(std::string const& choice) const;
  /// Meshes, materials, cameras and lights. Fails with `Failed` for want of memory, and as `open`.
  std::variant<ModelContent, Failure> loadContent() const;

  /// What the model is read from, where it is of the library's own; null for all others.
  StoredModel const* stored() const { return _stored.get(); }

 private:
  class Importer;
  ModelFile();

  std::unique_ptr<Importer> _importer;   ///< null for a stored one
  std::unique_ptr<StoredModel> _stored;  ///< null for all others
  ImportedModel _model;
};

}  // namespace knanim
