#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/import/ModelContent.h"
#include "knanim/support/Failure.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <variant>

namespace Assimp {
class Importer;
}

namespace knanim {

/// A model file that has been read in this process: whatever is wrong with the importers of Assimp is wrong with
/// the process. Nothing is thrown.
class ModelReader {
 public:
  /// Reads a file of any format that Assimp knows. Fails with `FileUnreadable` or `NotAModel`.
  static std::variant<ModelReader, Failure> open(std::string const& path);

  ModelReader(ModelReader&& other) noexcept;
  ModelReader& operator=(ModelReader&& other) noexcept;
  ~ModelReader();

  /// Nodes and summary; no curves.
  ImportedModel const& model() const { return _model; }
  /// The scene as Assimp gives it.
  aiScene const& scene() const { return *_scene; }

  /// The model with the curves and morphs of the animation of that index. Fails with `NoAnimation` when
  /// no usable key is in it, with `Failed` when its morphs ask for too much memory.
  std::variant<ImportedModel, Failure> load(std::size_t animation) const;
  /// Meshes, materials, cameras and lights. Fails with `Failed` for want of memory.
  std::variant<ModelContent, Failure> loadContent() const;

 private:
  ModelReader(std::unique_ptr<Assimp::Importer> importer, aiScene const* scene);

  std::unique_ptr<Assimp::Importer> _importer;
  aiScene const* _scene;
  std::string _path;
  ImportedModel _model;
};

/// A file that exists and can be opened, as its size; fails with `FileUnreadable`.
std::variant<std::uintmax_t, Failure> checkModelFile(std::string const& path);
/// What is said of a file that the importers do not read.
Failure notAModel(std::string const& path, std::string const& reason);
/// Why animations are not played, as far as they are of another sort.
std::string nothingMoves(std::span<AnimationSummary const> animations, char const* where);
/// What a model lacks for anything of it to be seen or played; empty when it lacks nothing.
std::string emptinessOf(ImportedModel const& model);

}  // namespace knanim
