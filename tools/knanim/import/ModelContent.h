#pragma once

#include "knanim/import/ImportedModel.h"
#include "model/math/Matrix.h"

#include <vector>

struct aiScene;

namespace knanim {

struct ImportedMaterial {
  std::string name;
  osg::Color3f ambient = {0, 0, 0};
  osg::Color3f diffuse = {0.6F, 0.6F, 0.6F};
  osg::Color3f specular = {0, 0, 0};
  osg::Color3f emissive = {0, 0, 0};
  float shininess = 0;
  float opacity = 1;  ///< 0 for glass that is not there
};

/// What a bone does to the vertices of a mesh.
struct ImportedBone {
  struct Weight {
    osg::UInt32 vertex = 0;
    float weight = 0;
  };

  std::size_t node = 0;  ///< index into `ImportedModel::nodes`
  osg::Matrix meshToBone;
  std::vector<Weight> weights;
};

/// What a morph target adds to a mesh at the weight 1. Either list is empty when it adds nothing of that sort, as
/// both are for a target that does not fit the mesh; else there is one offset for each position of the mesh.
struct ImportedMorphTarget {
  std::vector<osg::Vec3f> positions;
  std::vector<osg::Vec3f> normals;
};

/// Faces over vertices. All indices are within the vertices, all numbers are finite.
struct ImportedMesh {
  std::string name;
  std::size_t material = 0;  ///< index into `ModelContent::materials`
  std::vector<osg::Pnt3f> positions;
  std::vector<osg::Vec3f> normals;  ///< none, or one for each position
  std::vector<osg::UInt32> indices;
  std::vector<osg::UInt32> faceSizes;  ///< in indices: 1 for a point, 2 for a line
  std::vector<ImportedBone> bones;
  std::vector<ImportedMorphTarget> targets;
};

/// A camera in the space of its node.
struct ImportedCamera {
  std::string name;
  std::size_t node = 0;
  osg::Vec3f from;
  osg::Vec3f at = {0, 0, -1};
  osg::Vec3f up = {0, 1, 0};
  float fieldOfView = 0.8F;  ///< horizontally, in radians
  float aspect = 1.5F;       ///< width of the picture divided by its height
};

/// A light in the space of its node.
struct ImportedLight {
  std::string name;
  std::size_t node = 0;
  osg::Vec3f position;
  osg::Vec3f direction = {0, 0, -1};
  osg::Color3f color = {1, 1, 1};  ///< the brightest component is 1
  float intensity = 1;
  float coneAngle = 360;  ///< degrees
};

/// What a model shows, beside its nodes and animations.
struct ModelContent {
  std::vector<ImportedMaterial> materials;
  std::vector<ImportedMesh> meshes;
  /// For each node of the model the indices of the meshes that stand there.
  std::vector<std::vector<std::size_t>> meshesOfNodes;
  std::vector<ImportedCamera> cameras;
  std::vector<ImportedLight> lights;
};

/// Reads what the scene that `model` describes shows. Meshes of which the scene keeps no vertices are empty;
/// faces with an index out of range, cameras, lights and bones of nodes that do not exist, and what is not
/// finite are left out.
ModelContent readContent(aiScene const& scene, ImportedModel const& model);

}  // namespace knanim
