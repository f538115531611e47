#pragma once

#include "knanim/import/ModelImport.h"
#include "knanim/import/StoredModel.h"
#include "knanim/scene/AnimatedScene.h"
#include "knanim/support/Options.h"

#include <span>
#include <string>
#include <variant>
#include <vector>

namespace knanim {

/// A half-open range of indices.
struct IndexRange {
  std::size_t begin = 0;
  std::size_t end = 0;

  bool contains(std::size_t index) const { return index >= begin && index < end; }
};

/// One of several models that were put together.
struct QueueModel {
  std::size_t number = 0;   ///< its place on the command line, from 1
  std::string name;         ///< of the file
  IndexRange nodes;         ///< the first one is the group that holds the model
  IndexRange meshes;        ///< of the content
  StoredScene stored = {};  ///< its own scene, which is played as it is; without a top for all other models
};

/// Several models as one, each with its first animation that moves nodes, and each below a node of its own. Names
/// of nodes are unique within a model.
struct QueueModels {
  ImportedModel model;
  ModelContent content;
  std::vector<QueueModel> parts;

  /// Puts one more model below a group of its own.
  void add(std::size_t number, std::string const& name, ImportedModel part, ModelContent partContent);
  /// Those with scenes of their own, for `AnimatedScene`.
  std::vector<AdoptedModel> adopted() const;
};

/// Reads the models. One without an animation is left out with a warning; fails with `NoAnimation` when none is
/// left, and as `ModelFile::open` for a file that cannot be read. Prints warnings.
std::variant<QueueModels, Failure> loadQueueModels(std::span<std::string const> paths, Terminal terminal);

}  // namespace knanim
