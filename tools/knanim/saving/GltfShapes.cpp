#include "knanim/saving/GltfShapes.h"

#include "knanim/scene/Skinning.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace knanim {
namespace {

template <typename Vector>
std::vector<float> toFloats(std::vector<Vector> const& vectors) {
  std::vector<float> values;
  values.reserve(3 * vectors.size());
  for (Vector const& each : vectors) values.insert(values.end(), {each[0], each[1], each[2]});
  return values;
}

/// Corners of points, lines and triangles; larger faces become fans of triangles.
struct Corners {
  std::vector<osg::UInt32> points;
  std::vector<osg::UInt32> lines;
  std::vector<osg::UInt32> triangles;
};

Corners cornersOf(ImportedMesh const& mesh) {
  Corners corners;
  std::size_t first = 0;
  for (osg::UInt32 const size : mesh.faceSizes) {
    std::span<osg::UInt32 const> const face = std::span(mesh.indices).subspan(first, size);
    first += size;
    if (size == 1) corners.points.push_back(face[0]);
    if (size == 2) corners.lines.insert(corners.lines.end(), face.begin(), face.end());
    for (std::size_t i = 2; i < face.size(); ++i)
      corners.triangles.insert(corners.triangles.end(), {face[0], face[i - 1], face[i]});
  }
  return corners;
}

/// The weights of each vertex, as joints of the skin; what no bone holds stays with the node of the mesh, the last joint.
std::vector<std::vector<std::pair<std::uint16_t, float>>> weightsOfVertices(ImportedMesh const& mesh) {
  std::vector<std::vector<std::pair<std::uint16_t, float>>> weights(mesh.positions.size());
  for (std::size_t i = 0; i < mesh.bones.size(); ++i) {
    for (ImportedBone::Weight const& each : mesh.bones[i].weights) {
      if (each.weight > 0) weights[each.vertex].emplace_back(static_cast<std::uint16_t>(i), each.weight);
    }
  }
  for (auto& list : weights) {
    float sum = 0;
    for (auto const& [joint, weight] : list) sum += weight;
    for (auto& [joint, weight] : list) weight /= sum;
    if (list.empty()) list.emplace_back(static_cast<std::uint16_t>(mesh.bones.size()), 1.F);
  }
  return weights;
}

bool isSkinned(ImportedMesh const& mesh) {
  return std::any_of(mesh.bones.begin(), mesh.bones.end(),
                     [](ImportedBone const& bone) { return !bone.weights.empty(); });
}

}  // namespace

int GltfData::add(void const* bytes, std::size_t size, int target) {
  if (_model.buffers.empty()) _model.buffers.emplace_back();
  auto& data = _model.buffers[0].data;
  data.resize((data.size() + 3) / 4 * 4);
  tinygltf::BufferView& view = _model.bufferViews.emplace_back();
  view.buffer = 0;
  view.byteOffset = data.size();
  view.byteLength = size;
  view.target = target;
  auto const* const begin = static_cast<unsigned char const*>(bytes);
  data.insert(data.end(), begin, begin + size);
  return static_cast<int>(_model.bufferViews.size()) - 1;
}

int GltfData::addFloats(std::span<float const> values, std::size_t size, bool withBounds) {
  tinygltf::Accessor accessor;
  accessor.bufferView = add(values.data(), values.size_bytes(), 0);
  accessor.componentType = TINYGLTF_COMPONENT_TYPE_FLOAT;
  accessor.count = values.size() / size;
  accessor.type = size == 1   ? TINYGLTF_TYPE_SCALAR
                  : size == 3 ? TINYGLTF_TYPE_VEC3
                  : size == 4 ? TINYGLTF_TYPE_VEC4
                              : TINYGLTF_TYPE_MAT4;
  if (withBounds && !values.empty()) {
    accessor.minValues.assign(size, INFINITY);
    accessor.maxValues.assign(size, -INFINITY);
    for (std::size_t i = 0; i < values.size(); ++i) {
      accessor.minValues[i % size] = std::min<double>(accessor.minValues[i % size], values[i]);
      accessor.maxValues[i % size] = std::max<double>(accessor.maxValues[i % size], values[i]);
    }
  }
  _model.accessors.push_back(std::move(accessor));
  return static_cast<int>(_model.accessors.size()) - 1;
}

int GltfData::addIndices(std::span<osg::UInt32 const> values) {
  tinygltf::Accessor accessor;
  accessor.bufferView = add(values.data(), values.size_bytes(), TINYGLTF_TARGET_ELEMENT_ARRAY_BUFFER);
  accessor.componentType = TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT;
  accessor.count = values.size();
  accessor.type = TINYGLTF_TYPE_SCALAR;
  _model.accessors.push_back(std::move(accessor));
  return static_cast<int>(_model.accessors.size()) - 1;
}

int GltfData::addJoints(std::span<std::uint16_t const> values) {
  tinygltf::Accessor accessor;
  accessor.bufferView = add(values.data(), values.size_bytes(), TINYGLTF_TARGET_ARRAY_BUFFER);
  accessor.componentType = TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT;
  accessor.count = values.size() / 4;
  accessor.type = TINYGLTF_TYPE_VEC4;
  _model.accessors.push_back(std::move(accessor));
  return static_cast<int>(_model.accessors.size()) - 1;
}

float GltfData::firstOf(int accessor) const {
  auto const& view = _model.bufferViews[static_cast<std::size_t>(
      _model.accessors[static_cast<std::size_t>(accessor)].bufferView)];
  float value = 0;
  std::memcpy(&value, _model.buffers[0].data.data() + view.byteOffset, sizeof(value));
  return value;
}

void GltfData::shift(int accessor, float amount) {
  tinygltf::Accessor& changed = _model.accessors[static_cast<std::size_t>(accessor)];
  auto const& view = _model.bufferViews[static_cast<std::size_t>(changed.bufferView)];
  unsigned char* const bytes = _model.buffers[0].data.data() + view.byteOffset;
  for (std::size_t i = 0; i < changed.count; ++i) {
    float value = 0;
    std::memcpy(&value, bytes + i * sizeof(value), sizeof(value));
    value += amount;
    std::memcpy(bytes + i * sizeof(value), &value, sizeof(value));
  }
  for (auto* bounds : {&changed.minValues, &changed.maxValues}) {
    for (double& each : *bounds) each = static_cast<float>(each) + amount;
  }
}

ImportedMorph const* GltfShapes::morphOf(std::size_t mesh) const {
  SceneMesh const& shown = _loaded.scene().meshes()[mesh];
  if (shown.isBaked) return nullptr;
  auto const nodes = _loaded.scene().nodes();
  for (ImportedMorph const& morph : _loaded.model().morphs) {
    bool const isHere = morph.mesh == shown.mesh &&
                        (nodes[morph.node] == shown.node->getParent() || nodes[morph.node] == shown.node);
    if (isHere && !morph.keys.front().weights.empty()) return &morph;
  }
  return nullptr;
}

ImportedMesh const& GltfShapes::sourceOf(std::size_t mesh) {
  SceneMesh const& shown = _loaded.scene().meshes()[mesh];
  ImportedMesh const& source = _loaded.content().meshes[shown.mesh];
  if (!shown.isBaked) return source;
  ImportedMesh& baked = _baked[mesh] = source;
  GltfTrack& track = _weights[mesh];
  baked.bones.clear();
  baked.targets.clear();
  std::span<osg::Pnt3f const> const positions = positionsAt(shown.node);
  baked.positions.assign(positions.begin(), positions.end());
  for (SceneCache const& cache : _loaded.scene().caches()) {
    if (cache.mesh != mesh) continue;
    auto const& shapes = cache.cache->getShapes();
    track.path = "weights";
    for (std::size_t i = 0; i < shapes.size(); ++i) {
      ImportedMorphTarget& target = baked.targets.emplace_back();
      auto const& places = shapes[i]->getPositions().getValues();
      for (std::size_t k = 0; k < places.size(); ++k)
        target.positions.push_back(places[k] - baked.positions[k]);
      track.times.push_back(shapes[i]->getTime());
      for (std::size_t k = 0; k < shapes.size(); ++k) track.values.push_back(i == k ? 1.F : 0.F);
    }
  }
  return baked;
}

void GltfShapes::addJoints(ImportedMesh const& source, std::map<std::string, int>& attributes) {
  auto const weights = weightsOfVertices(source);
  std::size_t most = 0;
  for (auto const& list : weights) most = std::max(most, list.size());
  for (std::size_t set = 0; set * 4 < most; ++set) {
    std::vector<std::uint16_t> joints(4 * weights.size(), 0);
    std::vector<float> shares(4 * weights.size(), 0);
    for (std::size_t vertex = 0; vertex < weights.size(); ++vertex) {
      for (std::size_t i = 0; i < 4 && 4 * set + i < weights[vertex].size(); ++i) {
        joints[4 * vertex + i] = weights[vertex][4 * set + i].first;
        shares[4 * vertex + i] = weights[vertex][4 * set + i].second;
      }
    }
    attributes["JOINTS_" + std::to_string(set)] = _data.addJoints(joints);
    attributes["WEIGHTS_" + std::to_string(set)] = _data.addFloats(shares, 4, false);
  }
}

void GltfShapes::addPrimitive(ImportedMesh const& source, int mode, std::vector<osg::UInt32> const& indices,
                              tinygltf::Mesh& mesh) {
  if (indices.empty()) return;
  tinygltf::Primitive primitive;
  // All parts of a mesh have the same vertices.
  if (!mesh.primitives.empty()) {
    primitive = mesh.primitives.front();
  } else {
    primitive.attributes["POSITION"] = _data.addFloats(toFloats(source.positions), 3, true);
    if (!source.normals.empty())
      primitive.attributes["NORMAL"] = _data.addFloats(toFloats(source.normals), 3, false);
    if (isSkinned(source)) addJoints(source, primitive.attributes);
    for (ImportedMorphTarget const& target : source.targets) {
      auto& attributes = primitive.targets.emplace_back();
      std::vector<osg::Vec3f> positions = target.positions;
      positions.resize(source.positions.size());
      attributes["POSITION"] = _data.addFloats(toFloats(positions), 3, true);
      if (!target.normals.empty() && !source.normals.empty())
        attributes["NORMAL"] = _data.addFloats(toFloats(target.normals), 3, false);
    }
  }
  primitive.mode = mode;
  primitive.indices = _data.addIndices(indices);
  primitive.material = static_cast<int>(source.material);
  mesh.primitives.push_back(std::move(primitive));
}

int GltfShapes::addMesh(ImportedMesh const& source) {
  tinygltf::Mesh mesh;
  mesh.name = source.name;
  Corners const corners = cornersOf(source);
  addPrimitive(source, TINYGLTF_MODE_TRIANGLES, corners.triangles, mesh);
  addPrimitive(source, TINYGLTF_MODE_LINE, corners.lines, mesh);
  addPrimitive(source, TINYGLTF_MODE_POINTS, corners.points, mesh);
  if (mesh.primitives.empty()) return -1;
  mesh.weights.assign(source.targets.size(), 0);
  _model.meshes.push_back(std::move(mesh));
  return static_cast<int>(_model.meshes.size()) - 1;
}

int GltfShapes::addSkin(ImportedMesh const& source, int node) {
  tinygltf::Skin skin;
  std::vector<float> matrices;
  auto const addMatrix = [&matrices](osg::Matrix const& matrix) {
    for (osg::UInt32 column = 0; column < 4; ++column) {
      for (osg::UInt32 row = 0; row < 4; ++row) matrices.push_back(matrix(row, column));
    }
  };
  for (ImportedBone const& bone : source.bones) {
    skin.joints.push_back(static_cast<int>(bone.node));
    addMatrix(bone.meshToBone);
  }
  skin.joints.push_back(node);
  addMatrix(osg::Matrix());
  skin.inverseBindMatrices = _data.addFloats(matrices, 16, false);
  _model.skins.push_back(std::move(skin));
  return static_cast<int>(_model.skins.size()) - 1;
}

int GltfShapes::hang(osg::NodePtr const& place, tinygltf::Node node) {
  auto const nodes = _loaded.scene().nodes();
  auto const own = std::find(nodes.begin(), nodes.end(), place);
  auto const parent = own != nodes.end() ? own : std::find(nodes.begin(), nodes.end(), place->getParent());
  int const number = static_cast<int>(_model.nodes.size());
  _model.nodes.push_back(std::move(node));
  auto& siblings = parent == nodes.end()
                       ? _model.scenes[0].nodes
                       : _model.nodes[static_cast<std::size_t>(parent - nodes.begin())].children;
  siblings.push_back(number);
  return number;
}

int GltfShapes::add(std::size_t mesh, std::vector<std::string>& warnings) {
  SceneMesh const& shown = _loaded.scene().meshes()[mesh];
  ImportedMesh const& source = sourceOf(mesh);
  tinygltf::Node node;
  node.name = source.name;
  int const number = hang(shown.node, std::move(node));
  auto const found = shown.isBaked ? _meshes.end() : _meshes.find(shown.mesh);
  int const added = found != _meshes.end() ? found->second : addMesh(source);
  if (!shown.isBaked) _meshes[shown.mesh] = added;
  if (added < 0) {
    warnings.push_back(source.name + ": a mesh without faces is left out");
    return number;
  }
  _model.nodes[static_cast<std::size_t>(number)].mesh = added;
  if (isSkinned(source)) _model.nodes[static_cast<std::size_t>(number)].skin = addSkin(source, number);
  return number;
}

std::optional<GltfTrack> GltfShapes::weightsOf(std::size_t mesh) const {
  if (auto const baked = _weights.find(mesh); baked != _weights.end()) return baked->second;
  ImportedMorph const* const morph = morphOf(mesh);
  if (morph == nullptr) return std::nullopt;
  std::size_t const targets = _loaded.content().meshes[morph->mesh].targets.size();
  GltfTrack track;
  track.path = "weights";
  for (WeightKey const& key : morph->keys) {
    auto const time = static_cast<float>(key.time);
    if (!track.times.empty() && time <= track.times.back()) continue;
    track.times.push_back(time);
    for (std::size_t i = 0; i < targets; ++i)
      track.values.push_back(i < key.weights.size() ? key.weights[i] : 0.F);
  }
  return targets > 0 ? std::optional(track) : std::nullopt;
}

}  // namespace knanim
