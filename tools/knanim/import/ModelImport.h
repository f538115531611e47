#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/import/ModelContent.h"
#include "knanim/support/Failure.h"

#include <memory>
#include <string>
#include <variant>

namespace Assimp {
class Importer;
}

namespace knanim {

/// A model file that has been read. Whatever the file holds, nothing is thrown.
class ModelFile {
 public:
  /// Reads a file of any format that Assimp knows. Fails with `FileUnreadable` or `NotAModel`.
  static std::variant<ModelFile, Failure> open(std::string const& path);

  ModelFile(ModelFile&& other) noexcept;
  ModelFile& operator=(ModelFile&& other) noexcept;
  ~ModelFile();

  /// Nodes and summary; no curves.
  ImportedModel const& model() const { return _model; }
  /// The scene as Assimp gives it.
  aiScene const& scene() const { return *_scene; }

  /// The animation of a number (from 1, as `info` lists them) or, when it is no such number, of a name; an empty
  /// choice means the first one that moves nodes or morphs. Fails with `NoAnimation` when there is nothing to play, with
  /// `Usage` when the choice names none.
  std::variant<std::size_t, Failure> findAnimation(std::string const& choice) const;

  /// The model with the curves and morphs of an animation that `findAnimation` gave. Fails with `NoAnimation` when
  /// no usable key is in it, with `Failed` when its morphs ask for too much memory.
  std::variant<ImportedModel, Failure> load(std::size_t animation) const;
  /// Meshes, materials, cameras and lights. Fails with `Failed` for want of memory.
  std::variant<ModelContent, Failure> loadContent() const;

 private:
  ModelFile(std::unique_ptr<Assimp::Importer> importer, aiScene const* scene);

  std::unique_ptr<Assimp::Importer> _importer;
  aiScene const* _scene;
  ImportedModel _model;
};

}  // namespace knanim
