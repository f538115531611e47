#include "knanim/import/ModelContent.h"

#include "knanim/import/AssimpAccess.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <span>
#include <unordered_map>

namespace knanim {
namespace {

constexpr double kNarrowestView = std::numbers::pi / 180;
constexpr double kWidestView = 170 * std::numbers::pi / 180;

osg::Vec3f toVector(aiVector3D const& v) { return {v.x, v.y, v.z}; }

osg::Color3f toColor(aiColor3D const& color) {
  auto const valid = [](float value) { return std::isfinite(value) && value > 0 ? value : 0.F; };
  return {valid(color.r), valid(color.g), valid(color.b)};
}

osg::Matrix toMatrix(aiMatrix4x4 const& source) {
  osg::Matrix matrix;
  for (unsigned row = 0; row < 4; ++row) {
    for (unsigned column = 0; column < 4; ++column) matrix(row, column) = source[row][column];
  }
  return matrix;
}

ImportedMaterial readMaterial(aiMaterial const& source) {
  ImportedMaterial material;
  aiString name;
  if (source.Get(AI_MATKEY_NAME, name) == aiReturn_SUCCESS) material.name = text(name);
  auto const read = [&source](char const* key, unsigned type, unsigned index, osg::Color3f& target) {
    aiColor3D color;
    if (source.Get(key, type, index, color) == aiReturn_SUCCESS) target = toColor(color);
  };
  read(AI_MATKEY_COLOR_AMBIENT, material.ambient);
  read(AI_MATKEY_COLOR_DIFFUSE, material.diffuse);
  read(AI_MATKEY_COLOR_SPECULAR, material.specular);
  read(AI_MATKEY_COLOR_EMISSIVE, material.emissive);
  float number = 0;
  if (source.Get(AI_MATKEY_SHININESS, number) == aiReturn_SUCCESS && number > 0) material.shininess = number;
  if (source.Get(AI_MATKEY_OPACITY, number) == aiReturn_SUCCESS && number >= 0)
    material.opacity = std::min(number, 1.F);
  return material;
}

/// Finds nodes by the names that the file gives them.
class NodeFinder {
 public:
  explicit NodeFinder(ImportedModel const& model) {
    for (std::size_t i = 0; i < model.nodes.size(); ++i) {
      if (model.nodes[i].inTree) _places.emplace(model.nodes[i].name, i);
    }
  }
  std::optional<std::size_t> find(aiString const& name) const {
    auto const found = _places.find(text(name));
    return found == _places.end() ? std::nullopt : std::optional(found->second);
  }

 private:
  std::unordered_map<std::string, std::size_t> _places;
};

void readFaces(aiMesh const& source, ImportedMesh& mesh) {
  for (unsigned i = 0; source.mFaces != nullptr && i < source.mNumFaces; ++i) {
    aiFace const& face = source.mFaces[i];
    if (face.mIndices == nullptr || face.mNumIndices == 0) continue;
    std::span<unsigned const> const corners(face.mIndices, face.mNumIndices);
    if (std::any_of(corners.begin(), corners.end(),
                    [&](unsigned index) { return index >= mesh.positions.size(); }))
      continue;
    mesh.indices.insert(mesh.indices.end(), corners.begin(), corners.end());
    mesh.faceSizes.push_back(face.mNumIndices);
  }
}

void readBones(aiMesh const& source, NodeFinder const& nodes, ImportedMesh& mesh) {
  for (unsigned i = 0; source.mBones != nullptr && i < source.mNumBones; ++i) {
    aiBone const* const bone = source.mBones[i];
    if (bone == nullptr) continue;
    auto const node = nodes.find(bone->mName);
    if (!node) continue;
    ImportedBone& result = mesh.bones.emplace_back();
    result.node = *node;
    result.meshToBone = toMatrix(bone->mOffsetMatrix);
    for (unsigned j = 0; bone->mWeights != nullptr && j < bone->mNumWeights; ++j) {
      aiVertexWeight const& weight = bone->mWeights[j];
      if (weight.mVertexId < mesh.positions.size() && std::isfinite(weight.mWeight))
        result.weights.push_back({weight.mVertexId, weight.mWeight});
    }
  }
}

/// What each of `count` elements of a target adds to that of the mesh; nothing where one is not finite.
std::vector<osg::Vec3f> readOffsets(aiVector3D const* target, aiVector3D const* base, unsigned count,
                                    bool isOffset) {
  std::vector<osg::Vec3f> offsets;
  if (target == nullptr || base == nullptr) return offsets;
  offsets.reserve(count);
  for (unsigned i = 0; i < count; ++i) {
    aiVector3D const offset = isOffset ? target[i] : target[i] - base[i];
    offsets.push_back(isFinite(offset) && isFinite(base[i]) ? toVector(offset) : osg::Vec3f());
  }
  return offsets;
}

void readTargets(aiMesh const& source, ImportedMesh& mesh) {
  bool const areOffsets = source.mMethod == aiMorphingMethod_MORPH_RELATIVE;
  for (unsigned i = 0; source.mAnimMeshes != nullptr && i < source.mNumAnimMeshes; ++i) {
    ImportedMorphTarget& result = mesh.targets.emplace_back();
    aiAnimMesh const* const target = source.mAnimMeshes[i];
    if (target == nullptr || target->mNumVertices != source.mNumVertices) continue;
    result.positions = readOffsets(target->mVertices, source.mVertices, source.mNumVertices, areOffsets);
    result.normals = readOffsets(target->mNormals, source.mNormals, source.mNumVertices, areOffsets);
  }
}

ImportedMesh readMesh(aiMesh const& source, NodeFinder const& nodes, std::size_t materials) {
  ImportedMesh mesh;
  mesh.name = text(source.mName);
  mesh.material = std::min<std::size_t>(source.mMaterialIndex, materials == 0 ? 0 : materials - 1);
  if (source.mVertices == nullptr) return mesh;
  mesh.positions.reserve(source.mNumVertices);
  for (unsigned i = 0; i < source.mNumVertices; ++i) {
    aiVector3D const& vertex = source.mVertices[i];
    mesh.positions.push_back(isFinite(vertex) ? osg::Pnt3f(vertex.x, vertex.y, vertex.z) : osg::Pnt3f());
  }
  for (unsigned i = 0; source.mNormals != nullptr && i < source.mNumVertices; ++i) {
    mesh.normals.push_back(isFinite(source.mNormals[i]) ? toVector(source.mNormals[i]) : osg::Vec3f(0, 1, 0));
  }
  readFaces(source, mesh);
  readBones(source, nodes, mesh);
  readTargets(source, mesh);
  return mesh;
}

ImportedCamera readCamera(aiCamera const& source, std::size_t node) {
  ImportedCamera camera;
  camera.name = text(source.mName);
  camera.node = node;
  if (isFinite(source.mPosition)) camera.from = toVector(source.mPosition);
  osg::Vec3f const sight =
      isFinite(source.mLookAt) ? osg::normalized(toVector(source.mLookAt)) : osg::Vec3f();
  camera.at = camera.from + (osg::length(sight) > 0 ? sight : osg::Vec3f(0, 0, -1));
  if (isFinite(source.mUp) && source.mUp.SquareLength() > 0) camera.up = toVector(source.mUp);
  if (std::isfinite(source.mHorizontalFOV) && source.mHorizontalFOV > 0) {
    camera.fieldOfView = static_cast<float>(
        std::clamp(static_cast<double>(source.mHorizontalFOV), kNarrowestView, kWidestView));
  }
  if (source.mAspect > 0.2F && source.mAspect < 5) camera.aspect = source.mAspect;
  return camera;
}

ImportedLight readLight(aiLight const& source, std::size_t node) {
  ImportedLight light;
  light.name = text(source.mName);
  light.node = node;
  if (isFinite(source.mPosition)) light.position = toVector(source.mPosition);
  osg::Vec3f const direction = isFinite(source.mDirection) ? toVector(source.mDirection) : osg::Vec3f();
  if (osg::length(direction) > 0) light.direction = osg::normalized(direction);
  osg::Color3f const color = toColor(source.mColorDiffuse);
  float const brightest = std::max({color[0], color[1], color[2]});
  light.intensity = brightest;
  if (brightest > 0) light.color = color * (1 / brightest);
  if (source.mType == aiLightSource_SPOT && std::isfinite(source.mAngleOuterCone))
    light.coneAngle = std::clamp(source.mAngleOuterCone * 180 / std::numbers::pi_v<float>, 0.F, 360.F);
  return light;
}

}  // namespace

ModelContent readContent(aiScene const& scene, ImportedModel const& model) {
  ModelContent content;
  NodeFinder const finder(model);
  for (unsigned i = 0; scene.mMaterials != nullptr && i < scene.mNumMaterials; ++i) {
    content.materials.push_back(scene.mMaterials[i] == nullptr ? ImportedMaterial()
                                                               : readMaterial(*scene.mMaterials[i]));
  }
  if (content.materials.empty() && scene.mNumMeshes != 0) content.materials.emplace_back();
  for (unsigned i = 0; scene.mMeshes != nullptr && i < scene.mNumMeshes; ++i) {
    content.meshes.push_back(scene.mMeshes[i] == nullptr
                                 ? ImportedMesh()
                                 : readMesh(*scene.mMeshes[i], finder, content.materials.size()));
  }
  content.meshesOfNodes.resize(model.nodes.size());
  std::vector<aiNode const*> const nodes = nodesInOrder(scene.mRootNode);
  for (std::size_t i = 0; i < nodes.size() && i < model.nodes.size(); ++i) {
    for (unsigned j = 0; nodes[i]->mMeshes != nullptr && j < nodes[i]->mNumMeshes; ++j) {
      if (nodes[i]->mMeshes[j] < content.meshes.size())
        content.meshesOfNodes[i].push_back(nodes[i]->mMeshes[j]);
    }
  }
  for (unsigned i = 0; scene.mCameras != nullptr && i < scene.mNumCameras; ++i) {
    if (scene.mCameras[i] == nullptr) continue;
    if (auto const node = finder.find(scene.mCameras[i]->mName))
      content.cameras.push_back(readCamera(*scene.mCameras[i], *node));
  }
  for (unsigned i = 0; scene.mLights != nullptr && i < scene.mNumLights; ++i) {
    if (scene.mLights[i] == nullptr) continue;
    if (auto const node = finder.find(scene.mLights[i]->mName))
      content.lights.push_back(readLight(*scene.mLights[i], *node));
  }
  return content;
}

}  // namespace knanim
