#pragma once

#include "knanim/import/ModelContent.h"
#include "knanim/scene/AnimatedScene.h"

#include <cstdint>
#include <span>
#include <vector>

namespace knanim {

/// The side of a body that a joint's name tells of.
enum class Side : std::uint8_t { Middle, Left, Right };

/// A line of a stick figure, between joints.
struct Stick {
  std::size_t from = 0;
  std::size_t to = 0;
  Side side = Side::Middle;
};

/// Where everything of a figure stands at one moment, in the space of the scene.
struct Pose {
  std::vector<osg::Pnt3f> joints;               ///< one for each node of the model
  std::vector<std::vector<osg::Pnt3f>> meshes;  ///< the vertices of each mesh of the scene
};

/// What is drawn of a scene: its meshes or, where it has no faces, the tree of its nodes as a stick figure.
/// Model, content and scene have to live as long as this.
class SceneFigure {
 public:
  SceneFigure(ImportedModel const& model, ModelContent const& content, AnimatedScene const& scene);

  /// Whether the model has faces, but none that can be drawn.
  bool hasLostFaces() const { return !_hasMeshes && _model.summary.faces > 0; }
  bool hasMeshes() const { return _hasMeshes; }
  /// Empty when meshes are drawn.
  std::span<Stick const> sticks() const { return _sticks; }
  std::span<SceneMesh const> meshes() const { return _scene.meshes(); }
  ModelContent const& content() const { return _content; }
  /// Whether nobody can see the inner side of a mesh, by its index in the content.
  bool isClosed(std::size_t mesh) const { return _isClosed[mesh]; }
  /// Joints at the ends of the figure, far from each other.
  std::vector<std::size_t> ends(Pose const& pose) const;

  /// Reads the scene as it is now. Vertices stand where the geometries have them, moved by the bones of their
  /// mesh when these are not baked.
  Pose capture() const;
  /// The points of a pose that can be seen.
  void addPoints(Pose const& pose, std::vector<osg::Pnt3f>& points) const;

 private:
  void findSticks();
  std::vector<osg::Pnt3f> placeMesh(SceneMesh const& shown, std::span<osg::Matrix const> worlds) const;

  ImportedModel const& _model;
  ModelContent const& _content;
  AnimatedScene const& _scene;
  bool _hasMeshes = false;
  std::vector<bool> _isClosed;  ///< for each mesh of the content
  std::vector<Stick> _sticks;
};

}  // namespace knanim
