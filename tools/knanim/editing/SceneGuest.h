#pragma once

#include "knanim/scene/AnimatedScene.h"

namespace knanim {

/// The nodes and curves of another model, below a node of their own in a scene, for as long as this lives. Its meshes
/// stay out. What was copied from it or shares its curves outlives it.
class SceneGuest {
 public:
  SceneGuest(AnimatedScene const& host, ImportedModel const& model);
  ~SceneGuest();
  SceneGuest(SceneGuest const&) = delete;
  SceneGuest& operator=(SceneGuest const&) = delete;

  /// In the order of the model's nodes, and of its curves.
  std::span<osg::NodePtr const> nodes() const { return _nodes; }
  std::span<SceneCurve const> curves() const { return _curves; }

 private:
  osg::NodePtr _host;
  osg::NodePtr _group;
  std::vector<osg::NodePtr> _nodes;
  std::vector<SceneCurve> _curves;
};

}  // namespace knanim
