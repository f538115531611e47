#include "knanim/import/SceneConversion.h"

#include "knanim/import/AssimpAccess.h"
#include "knanim/import/EulerAngles.h"
#include "knanim/import/KeyRepairs.h"
#include "knanim/import/MorphConversion.h"
#include "knanim/support/NameBook.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <set>
#include <span>
#include <sstream>
#include <tuple>
#include <unordered_map>

namespace knanim {
namespace {

constexpr double kGuessedTicksPerSecond = 25;
/// Where FBX files keep what users wrote.
constexpr char const* kUserProperties = "UserProperties";

bool isUsable(double time, aiVector3D const& value) { return std::abs(time) <= FLT_MAX && isFinite(value); }

void readRestPose(aiMatrix4x4 const& matrix, ImportedNode& node) {
  aiVector3D scale;
  aiQuaternion quaternion;
  aiVector3D position;
  matrix.Decompose(scale, quaternion, position);
  Rotation rotation{quaternion.w, quaternion.x, quaternion.y, quaternion.z};
  if (!isFinite(scale) || !isFinite(position) || !normalize(rotation)) return;
  EulerDegrees const angles = toEuler(rotation);
  node.translation = {position.x, position.y, position.z};
  node.rotation = {angles.x, angles.y, angles.z};
  node.scale = {scale.x, scale.y, scale.z};
}

/// What the file says of a node in words: texts by their names, and texts of several lines line by line, as
/// those that users write into FBX files as "name = value".
std::vector<std::string> readTags(aiNode const& source) {
  std::vector<std::string> tags;
  aiMetadata const* const data = source.mMetaData;
  for (unsigned i = 0; data != nullptr && i < data->mNumProperties; ++i) {
    aiString value;
    if (!data->Get(i, value)) continue;
    std::string const key = text(data->mKeys[i]);
    std::istringstream lines(std::string(value.data, value.length));
    for (std::string line; std::getline(lines, line);) {
      while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
      if (line.empty()) continue;
      tags.push_back(key == kUserProperties ? printable(line) : key + " = " + printable(line));
    }
  }
  return tags;
}

void readNodes(aiNode const* root, std::vector<ImportedNode>& nodes) {
  if (root == nullptr) return;
  NameBook names;
  std::vector<std::pair<aiNode const*, std::size_t>> pending = {{root, ImportedNode::NoParent}};
  while (!pending.empty()) {
    auto const [source, parent] = pending.back();
    pending.pop_back();
    std::size_t const index = nodes.size();
    ImportedNode& node = nodes.emplace_back();
    node.name = names.makeUnique(text(source->mName));
    node.parent = parent;
    node.depth = parent == ImportedNode::NoParent ? 0 : nodes[parent].depth + 1;
    readRestPose(source->mTransformation, node);
    node.tags = readTags(*source);
    std::size_t const firstChild = pending.size();
    forEach(source->mChildren, source->mNumChildren,
            [&](aiNode const& child) { pending.emplace_back(&child, index); });
    std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(firstChild), pending.end());
  }
}

KeyCounts countKeys(aiNodeAnim const& channel) {
  return {channel.mNumPositionKeys, channel.mNumRotationKeys, channel.mNumScalingKeys};
}

bool isUsableRate(double ticksPerSecond) { return std::isfinite(ticksPerSecond) && ticksPerSecond > 0; }

AnimationSummary summarize(aiAnimation const& animation) {
  AnimationSummary summary;
  summary.name = text(animation.mName);
  summary.ticksAreGuessed = !isUsableRate(animation.mTicksPerSecond);
  summary.ticksPerSecond = summary.ticksAreGuessed ? kGuessedTicksPerSecond : animation.mTicksPerSecond;
  double const duration = animation.mDuration / summary.ticksPerSecond;
  summary.durationSeconds = duration > 0 && duration <= FLT_MAX ? duration : 0;
  forEach(animation.mChannels, animation.mNumChannels, [&](aiNodeAnim const& channel) {
    ++summary.channels;
    summary.keys += countKeys(channel);
  });
  forEach(animation.mMeshChannels, animation.mNumMeshChannels,
          [&](aiMeshAnim const&) { ++summary.meshChannels; });
  forEach(animation.mMorphMeshChannels, animation.mNumMorphMeshChannels, [&](aiMeshMorphAnim const& channel) {
    ++summary.morphChannels;
    summary.morphKeys += channel.mKeys == nullptr ? 0 : channel.mNumKeys;
  });
  return summary;
}

void summarizeMeshes(aiScene const& scene, ModelSummary& summary) {
  std::set<std::string> bones;
  forEach(scene.mMeshes, scene.mNumMeshes, [&](aiMesh const& mesh) {
    ++summary.meshes;
    summary.vertices += mesh.mNumVertices;
    summary.faces += mesh.mNumFaces;
    summary.morphTargets += mesh.mNumAnimMeshes;
    forEach(mesh.mBones, mesh.mNumBones, [&](aiBone const& bone) { bones.insert(text(bone.mName)); });
  });
  summary.bones = bones.size();
}

struct VectorKey {
  double time = 0;  ///< seconds
  std::array<double, 3> value = {};
};

struct RotationKey {
  double time = 0;
  Rotation value;
};

std::vector<VectorKey> readKeys(std::span<aiVectorKey const> source, double ticksPerSecond,
                                Repairs& repairs) {
  repairs.given = source.size();
  std::vector<VectorKey> keys;
  keys.reserve(source.size());
  for (aiVectorKey const& key : source) {
    double const time = key.mTime / ticksPerSecond;
    if (isUsable(time, key.mValue)) keys.push_back({time, {key.mValue.x, key.mValue.y, key.mValue.z}});
  }
  repairs.dropped = source.size() - keys.size();
  putInOrder(keys, repairs);
  return keys;
}

std::vector<VectorKey> readKeys(std::span<aiQuatKey const> source, double ticksPerSecond, Repairs& repairs) {
  repairs.given = source.size();
  std::vector<RotationKey> rotations;
  rotations.reserve(source.size());
  for (aiQuatKey const& key : source) {
    RotationKey converted{key.mTime / ticksPerSecond,
                          {key.mValue.w, key.mValue.x, key.mValue.y, key.mValue.z}};
    if (std::abs(converted.time) <= FLT_MAX && normalize(converted.value)) rotations.push_back(converted);
  }
  repairs.dropped = source.size() - rotations.size();
  putInOrder(rotations, repairs);

  std::vector<VectorKey> keys;
  keys.reserve(rotations.size());
  EulerDegrees angles;
  for (RotationKey const& rotation : rotations) {
    angles = keys.empty() ? toEuler(rotation.value) : toEulerNear(rotation.value, angles);
    keys.push_back({rotation.time, {angles.x, angles.y, angles.z}});
  }
  return keys;
}

Extrapolation extrapolation(aiAnimBehaviour behaviour) {
  switch (behaviour) {
    case aiAnimBehaviour_LINEAR:
      return Extrapolation::Linear;
    case aiAnimBehaviour_REPEAT:
      return Extrapolation::Repeat;
    default:
      return Extrapolation::Constant;
  }
}

/// Turns the channels of one animation into curves.
class AnimationConverter {
 public:
  AnimationConverter(aiAnimation const& animation, double ticksPerSecond, ImportedModel& model)
      : _animation(animation), _ticksPerSecond(ticksPerSecond), _model(model) {}

  void run(aiNode const* root) {
    collectNames(root);
    forEach(_animation.mChannels, _animation.mNumChannels,
            [this](aiNodeAnim const& channel) { convert(channel); });
    std::sort(_model.curves.begin(), _model.curves.end(), [](ImportedCurve const& a, ImportedCurve const& b) {
      return std::tie(a.node, a.kind, a.component) < std::tie(b.node, b.kind, b.component);
    });
  }

 private:
  /// The nodes by the names that the file gives them.
  void collectNames(aiNode const* root) {
    for (ImportedNode const& node : _model.nodes) _names.makeUnique(node.name);
    std::vector<aiNode const*> const nodes = nodesInOrder(root);
    for (std::size_t i = 0; i < nodes.size(); ++i) _nodesByName[text(nodes[i]->mName)].push_back(i);
    for (auto& [name, indices] : _nodesByName) std::reverse(indices.begin(), indices.end());
  }

  /// The node that a channel moves. Several channels of one name go to the nodes of that name in their order.
  std::size_t findNode(std::string const& name) {
    auto const found = _nodesByName.find(name);
    if (found != _nodesByName.end() && !found->second.empty()) {
      std::size_t const index = found->second.back();
      found->second.pop_back();
      return index;
    }
    ImportedNode node;
    node.name = _names.makeUnique(name);
    node.inTree = false;
    _model.warnings.push_back(
        found == _nodesByName.end()
            ? node.name +
                  ": the animation moves a node that the model does not have; this part is played separately"
            : node.name + ": the animation moves node \"" + name +
                  "\" a second time; this part is played separately");
    _model.nodes.push_back(std::move(node));
    return _model.nodes.size() - 1;
  }

  void convert(aiNodeAnim const& channel) {
    KeyCounts const counts = countKeys(channel);
    if (counts.total() == 0) return;
    std::size_t const node = findNode(text(channel.mNodeName));
    add(channel, node, ChannelKind::Translation, elementsOf(channel.mPositionKeys, channel.mNumPositionKeys));
    add(channel, node, ChannelKind::Rotation, elementsOf(channel.mRotationKeys, channel.mNumRotationKeys));
    add(channel, node, ChannelKind::Scale, elementsOf(channel.mScalingKeys, channel.mNumScalingKeys));
  }

  template <typename Key>
  void add(aiNodeAnim const& channel, std::size_t node, ChannelKind kind, std::span<Key const> source) {
    if (source.empty()) return;
    Repairs repairs;
    std::vector<VectorKey> const keys = readKeys(source, _ticksPerSecond, repairs);
    std::string const repaired = describe(repairs);
    if (!repaired.empty())
      _model.warnings.push_back(_model.nodes[node].name + '.' + channelName(kind) + ": " + repaired);
    if (keys.empty()) return;
    for (std::uint8_t component = 0; component < 3; ++component) {
      ImportedCurve& curve = _model.curves.emplace_back();
      curve.node = node;
      curve.kind = kind;
      curve.component = component;
      curve.before = extrapolation(channel.mPreState);
      curve.after = extrapolation(channel.mPostState);
      curve.keys.reserve(keys.size());
      for (VectorKey const& key : keys) curve.keys.push_back({key.time, key.value[component]});
    }
  }

  aiAnimation const& _animation;
  double _ticksPerSecond;
  ImportedModel& _model;
  NameBook _names;
  std::unordered_map<std::string, std::vector<std::size_t>> _nodesByName;
};

}  // namespace

ImportedModel describeScene(aiScene const& scene) {
  ImportedModel model;
  ModelSummary& summary = model.summary;
  readNodes(scene.mRootNode, model.nodes);
  summarizeMeshes(scene, summary);
  summary.materials = scene.mNumMaterials;
  summary.textures = scene.mNumTextures;
  summary.cameras = scene.mNumCameras;
  summary.lights = scene.mNumLights;
  forEach(scene.mAnimations, scene.mNumAnimations,
          [&](aiAnimation const& animation) { summary.animations.push_back(summarize(animation)); });
  return model;
}

bool convertAnimation(aiScene const& scene, std::size_t index, ImportedModel& model) {
  std::vector<aiAnimation const*> animations;
  forEach(scene.mAnimations, scene.mNumAnimations,
          [&](aiAnimation const& each) { animations.push_back(&each); });
  if (index >= animations.size()) return false;
  aiAnimation const& animation = *animations[index];
  AnimationSummary const& summary = model.summary.animations[index];
  if (summary.ticksAreGuessed && animation.mTicksPerSecond != 0) {
    model.warnings.push_back("the animation gives " + brief(animation.mTicksPerSecond) +
                             " ticks per second; 25 is used instead");
  }
  model.animation = index;
  model.curves.clear();
  AnimationConverter(animation, summary.ticksPerSecond, model).run(scene.mRootNode);
  convertMorphs(scene, animation, summary.ticksPerSecond, model);
  return true;
}

}  // namespace knanim
