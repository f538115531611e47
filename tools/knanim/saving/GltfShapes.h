#pragma once

#include "knanim/saving/GltfTracks.h"
#include "knanim/scene/LoadedScene.h"

#include <map>
#include <optional>
#include <string>
#include <tiny_gltf.h>
#include <vector>

namespace knanim {

/// The numbers of a document, which stand in one buffer.
class GltfData {
 public:
  explicit GltfData(tinygltf::Model& model) : _model(model) {}

  /// Lists of so many numbers each (1, 3, 4 or 16), and the number of the accessor. With bounds where readers need them.
  int addFloats(std::span<float const> values, std::size_t size, bool withBounds);
  int addIndices(std::span<osg::UInt32 const> values);
  /// Joints of vertices, four numbers each.
  int addJoints(std::span<std::uint16_t const> values);
  float firstOf(int accessor) const;
  void shift(int accessor, float amount);

 private:
  int add(void const* bytes, std::size_t size, int target);

  tinygltf::Model& _model;
};

/// Turns the meshes of a scene into those of a document.
class GltfShapes {
 public:
  GltfShapes(LoadedScene const& loaded, tinygltf::Model& model, GltfData& data)
      : _loaded(loaded), _model(model), _data(data) {}

  /// Adds a mesh of the scene below its node; the number of the document's node.
  int add(std::size_t mesh, std::vector<std::string>& warnings);
  /// How the morph targets of a mesh that was added are weighted.
  std::optional<GltfTrack> weightsOf(std::size_t mesh) const;
  /// Hangs a node of the document where a node of the scene hangs, and returns its number.
  int hang(osg::NodePtr const& place, tinygltf::Node node);

 private:
  /// The mesh of the content that a mesh of the scene shows, with the shapes of its cache as targets where it has others
  /// than the content knows.
  ImportedMesh const& sourceOf(std::size_t mesh);
  ImportedMorph const* morphOf(std::size_t mesh) const;
  int addMesh(ImportedMesh const& source);
  int addSkin(ImportedMesh const& source, int node);
  void addPrimitive(ImportedMesh const& source, int mode, std::vector<osg::UInt32> const& indices,
                    tinygltf::Mesh& mesh);
  void addJoints(ImportedMesh const& source, std::map<std::string, int>& attributes);

  LoadedScene const& _loaded;
  tinygltf::Model& _model;
  GltfData& _data;
  std::map<std::size_t, ImportedMesh> _baked;  ///< by mesh of the scene
  std::map<std::size_t, GltfTrack> _weights;   ///< of these
  std::map<std::size_t, int> _meshes;          ///< by mesh of the content
};

}  // namespace knanim
