#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/import/ModelContent.h"
#include "model/geometry/Geometry.h"
#include "model/scenegraph/Node.h"

#include <span>
#include <vector>

namespace knanim {

/// From the space of each node of the model to that of the scene, as the scene stands now.
std::vector<osg::Matrix> worldMatrices(ImportedModel const& model, std::span<osg::NodePtr const> nodes);

/// The present positions of the geometry at a node; empty where it has none.
std::span<osg::Pnt3f const> positionsAt(osg::NodePtr const& node);
/// Likewise its normals.
std::span<osg::Vec3f const> normalsAt(osg::NodePtr const& node);

/// What the bones of a mesh make of vertices, each by its weighted bones. `worlds` are those of all nodes; vertices
/// without a bone are moved by `meshToWorld`. After all that, `fromWorld` is applied. For one moment of the scene.
class Skinning {
 public:
  Skinning(ImportedMesh const& mesh, std::span<osg::Matrix const> worlds, osg::Matrix const& meshToWorld,
           osg::Matrix const& fromWorld = {});

  /// Both take as many elements as the mesh has positions.
  std::vector<osg::Pnt3f> movePositions(std::span<osg::Pnt3f const> positions) const;
  /// Gives unit vectors.
  std::vector<osg::Vec3f> moveNormals(std::span<osg::Vec3f const> normals) const;

 private:
  ImportedMesh const& _mesh;
  std::vector<osg::Matrix> _bones;  ///< in the order of the mesh's bones
  osg::Matrix _own;                 ///< for vertices without a bone
};

}  // namespace knanim
