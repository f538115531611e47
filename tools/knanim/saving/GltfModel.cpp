#include "knanim/saving/GltfModel.h"

#include "knanim/import/StoredContent.h"
#include "knanim/saving/GltfShapes.h"
#include "knanim/support/Text.h"
#include "model/camera/UberCamera.h"
#include "model/scenedata/knSceneData.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <tiny_gltf.h>

namespace knanim {
namespace {

constexpr char const* kInterpolations[] = {"STEP", "LINEAR", "CUBICSPLINE"};

std::string nameOf(osg::NodePtr const& node) {
  char const* const name = osg::NodeUtils::getName(node);
  return printable(name != nullptr ? name : "");
}

tinygltf::Material describe(ImportedMaterial const& source) {
  tinygltf::Material material;
  material.name = source.name;
  auto& surface = material.pbrMetallicRoughness;
  surface.baseColorFactor = {source.diffuse[0], source.diffuse[1], source.diffuse[2], source.opacity};
  surface.metallicFactor = 0;
  surface.roughnessFactor = std::sqrt(2 / (std::max(source.shininess, 0.F) + 2));
  material.emissiveFactor = {std::min(source.emissive[0], 1.F), std::min(source.emissive[1], 1.F),
                             std::min(source.emissive[2], 1.F)};
  if (source.opacity < 1) material.alphaMode = "BLEND";
  material.doubleSided = true;
  return material;
}

}  // namespace

/// The document of tinygltf, with all data in one buffer.
class GltfModel::Document {
 public:
  tinygltf::Model model;
  GltfData data{model};

  struct Morph {
    int node = -1;
    GltfTrack track;
  };
  std::vector<Morph> morphs;
  std::vector<int> nodes;  ///< by node of the scene
};

GltfModel::GltfModel() : _document(std::make_unique<Document>()) {
  _document->model.asset.version = "2.0";
  _document->model.asset.generator = "knanim";
}

GltfModel::~GltfModel() = default;

void GltfModel::addScene(LoadedScene const& loaded, std::vector<std::string>& warnings) {
  tinygltf::Model& model = _document->model;
  ImportedModel const& described = loaded.model();
  tinygltf::Scene& scene = model.scenes.emplace_back();
  model.defaultScene = 0;
  for (std::size_t i = 0; i < loaded.scene().nodes().size(); ++i) {
    tinygltf::Node& node = model.nodes.emplace_back();
    node.name = described.nodes[i].name;
    if (auto const* const transform = osg::dcastTo<osg::Transform3D>(loaded.scene().nodes()[i]->getCore())) {
      GltfPlace const place = placeOf(*transform);
      node.translation.assign(place.translation.begin(), place.translation.end());
      node.rotation.assign(place.rotation.begin(), place.rotation.end());
      node.scale.assign(place.scale.begin(), place.scale.end());
    }
    std::size_t const parent = described.nodes[i].parent;
    auto& siblings = parent == ImportedNode::NoParent ? scene.nodes : model.nodes[parent].children;
    siblings.push_back(static_cast<int>(i));
    _document->nodes.push_back(static_cast<int>(i));
  }
  // Those of the pool come first, and may have changed since.
  std::vector<osg::MaterialPtr> pool;
  if (knSceneData::getMaterialPool().isAlive()) knSceneData::getMaterialPool()->get(pool);
  std::vector<ImportedMaterial> const& materials = loaded.content().materials;
  for (std::size_t i = 0; i < materials.size(); ++i)
    model.materials.push_back(describe(i < pool.size() ? describeMaterial(pool[i]) : materials[i]));
  GltfShapes shapes(loaded, model, _document->data);
  for (std::size_t i = 0; i < loaded.scene().meshes().size(); ++i) {
    int const node = shapes.add(i, warnings);
    if (auto track = shapes.weightsOf(i)) _document->morphs.push_back({node, std::move(*track)});
  }
  for (SceneCamera const& each : loaded.scene().cameras()) {
    auto const* const source = osg::dcastTo<osg::UberCamera>(each.node->getCore());
    if (source == nullptr) continue;
    tinygltf::Camera& camera = model.cameras.emplace_back();
    osg::Vec2f const angles = source->getFieldOfView();
    camera.name = each.name;
    camera.type = "perspective";
    camera.perspective.yfov = angles.y();
    camera.perspective.aspectRatio = std::tan(angles.x() / 2) / std::tan(angles.y() / 2);
    camera.perspective.znear = source->getNear();
    camera.perspective.zfar = source->getFar();
    tinygltf::Node node;
    node.name = nameOf(each.node);
    node.camera = static_cast<int>(model.cameras.size()) - 1;
    GltfPlace const place = placeOf(*source);
    node.translation.assign(place.translation.begin(), place.translation.end());
    node.rotation.assign(place.rotation.begin(), place.rotation.end());
    shapes.hang(each.node, std::move(node));
  }
}

void GltfModel::beginAnimation(std::string const& name) {
  _document->model.animations.emplace_back().name = name;
}

void GltfModel::addTracks(std::size_t node, std::vector<GltfTrack> const& tracks) {
  tinygltf::Animation& animation = _document->model.animations.back();
  for (GltfTrack const& track : tracks) {
    tinygltf::AnimationSampler& sampler = animation.samplers.emplace_back();
    sampler.interpolation = kInterpolations[static_cast<std::size_t>(track.interpolation)];
    sampler.input = _document->data.addFloats(track.times, 1, true);
    // Weights are single numbers, as many for each key as there are targets.
    std::size_t const size = track.path == "rotation" ? 4 : track.path == "weights" ? 1 : 3;
    sampler.output = _document->data.addFloats(track.values, size, false);
    tinygltf::AnimationChannel& channel = animation.channels.emplace_back();
    channel.sampler = static_cast<int>(animation.samplers.size()) - 1;
    channel.target_node = static_cast<int>(node);
    channel.target_path = track.path;
  }
}

std::size_t GltfModel::addWeights() {
  for (Document::Morph const& morph : _document->morphs)
    addTracks(static_cast<std::size_t>(morph.node), {morph.track});
  return _document->morphs.size();
}

float GltfModel::endAnimation() {
  tinygltf::Model& model = _document->model;
  tinygltf::Animation const& animation = model.animations.back();
  if (animation.channels.empty()) {
    model.animations.pop_back();
    return 0;
  }
  float begin = 0;
  for (tinygltf::AnimationSampler const& sampler : animation.samplers)
    begin = std::min(begin, _document->data.firstOf(sampler.input));
  if (begin < 0) {
    for (tinygltf::AnimationSampler const& sampler : animation.samplers)
      _document->data.shift(sampler.input, -begin);
  }
  return -begin;
}

std::string GltfModel::write(bool binary) const {
  std::ostringstream stream;
  tinygltf::TinyGLTF writer;
  tinygltf::Model model = _document->model;
  bool const isGood = writer.WriteGltfSceneToStream(&model, stream, !binary, binary);
  return isGood && stream.good() ? std::move(stream).str() : std::string();
}

}  // namespace knanim
