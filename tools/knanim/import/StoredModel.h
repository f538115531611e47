#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/import/ModelContent.h"
#include "knanim/support/Failure.h"
#include "model/fields/Ref.h"
#include "model/materials/Material.h"
#include "model/scenegraph/Node.h"

#include <string>
#include <variant>
#include <vector>

namespace knanim {

/// Whether a path names a file of the library's own, by its extension: .osb, .json, and .kdb, .kdp, .kdt of older
/// releases.
bool isStoredModel(std::string const& path);

/// The containers of a file of the library's own.
struct StoredScene {
  osg::Ref<osg::Node> top;  ///< the node above the model's
  std::vector<osg::Ref<osg::Material>> materials;
};

/// A file of the library's own, described as a model: a whole scene, a graph of nodes, or the animations of one object,
/// which then hang on a node that stands in for that object. What is read is apart from the library's current scene.
class StoredModel {
 public:
  /// Fails with `FileUnreadable`, and with `NotAModel` and what the library logged.
  static std::variant<StoredModel, Failure> open(std::string const& path);

  /// Nodes and summary. The animations are the names that blocks have; where blocks of several names are switched on,
  /// the first one stands for all that is.
  ImportedModel const& model() const { return _model; }
  /// The model with the curves of an animation, in the form that the library has them, and its shape caches as morphs
  /// with one target for each shape. Fails with `NoAnimation`.
  std::variant<ImportedModel, Failure> load(std::size_t animation) const;
  ModelContent loadContent() const;
  /// The scene itself, for who plays it as it is: all of it moves away from here. The blocks of an animation are switched
  /// on for good.
  StoredScene take(std::size_t animation) const;
  /// The type of the node's core or material whose animations the file holds; empty for a file with nodes.
  std::string objectKind() const;

  /// Makes the scene of a file the library's current one; a file that holds no whole scene is put into a new one. The
  /// root of its objects, null with the reason in `reason` when it cannot be read.
  static osg::NodePtr makeCurrent(std::string const& path, std::string& reason);

 private:
  StoredModel() = default;
  void describe(std::string const& path);

  osg::Ref<osg::Node> _file;                  ///< what the file holds
  osg::Ref<osg::Node> _top;                   ///< the node above the model's
  std::vector<osg::FieldContainerPtr> _pool;  ///< the materials
  ImportedModel _model;
};

}  // namespace knanim
