#pragma once

#include "knanim/saving/GltfTracks.h"
#include "knanim/scene/LoadedScene.h"
#include "knanim/support/Failure.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace knanim {

/// A scene as a glTF document, put together bit by bit.
class GltfModel {
 public:
  GltfModel();
  ~GltfModel();
  GltfModel(GltfModel const&) = delete;
  GltfModel& operator=(GltfModel const&) = delete;

  /// Nodes, meshes with skins and morph targets, materials and cameras. Appends to `warnings` what is left out.
  void addScene(LoadedScene const& loaded, std::vector<std::string>& warnings);

  void beginAnimation(std::string const& name);
  void addTracks(std::size_t node, std::vector<GltfTrack> const& tracks);
  /// The weights of all morphs of the scene, into the present animation; returns how many channels that were.
  std::size_t addWeights();
  /// Drops the present animation where nothing was added. Times below 0 are not allowed: those of the animation are moved
  /// by what this returns.
  float endAnimation();

  /// The document, as one binary piece or as text with its data inside. Empty when it cannot be written.
  std::string write(bool binary) const;

 private:
  class Document;
  std::unique_ptr<Document> _document;
};

}  // namespace knanim
