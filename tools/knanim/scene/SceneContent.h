#pragma once

#include "knanim/import/ModelContent.h"
#include "knanim/scene/AnimatedScene.h"

#include <span>
#include <vector>

namespace knanim {

/// The nodes that `addContent` made.
struct SceneContent {
  std::vector<SceneMesh> meshes;
  std::vector<SceneCamera> cameras;
};

/// Puts meshes, cameras and lights below the nodes of the current scene, and the materials into its pool. A mesh
/// that stands under several nodes is one geometry that they share. Null nodes get nothing.
SceneContent addContent(ModelContent const& content, std::span<osg::NodePtr const> nodes);

}  // namespace knanim
