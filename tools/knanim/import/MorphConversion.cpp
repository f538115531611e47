#include "knanim/import/MorphConversion.h"

#include "knanim/import/AssimpAccess.h"
#include "knanim/import/KeyRepairs.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <tuple>
#include <unordered_map>

namespace knanim {
namespace {

struct SourceKey {
  double time = 0;  ///< seconds
  std::span<unsigned const> targets;
  std::span<double const> weights;
};

/// What a channel says of one target. Times ascend.
class WeightCurve {
 public:
  explicit WeightCurve(float rest) : _rest(rest) {}

  void add(double time, double weight) { _keys.push_back({time, weight}); }
  /// The weight at a time that is not before those asked for earlier.
  float at(double time) {
    if (_keys.empty()) return _rest;
    while (_next < _keys.size() && _keys[_next].time <= time) ++_next;
    if (_next == 0) return static_cast<float>(_keys.front().value);
    Key const& before = _keys[_next - 1];
    if (_next == _keys.size() || before.time == time) return static_cast<float>(before.value);
    Key const& after = _keys[_next];
    double const share = (time - before.time) / (after.time - before.time);
    return static_cast<float>(before.value + share * (after.value - before.value));
  }

 private:
  float _rest;
  std::vector<Key> _keys;
  std::size_t _next = 0;
};

/// Whether a weight can be worked with.
bool isUsable(double weight) { return std::abs(weight) <= FLT_MAX; }

std::vector<SourceKey> readKeys(aiMeshMorphAnim const& channel, std::size_t targetCount,
                                double ticksPerSecond, Repairs& repairs) {
  std::vector<SourceKey> keys;
  auto const source = elementsOf(channel.mKeys, channel.mNumKeys);
  for (aiMeshMorphKey const& key : source) {
    SourceKey converted{key.mTime / ticksPerSecond, elementsOf(key.mValues, key.mNumValuesAndWeights),
                        elementsOf(key.mWeights, key.mNumValuesAndWeights)};
    std::size_t const count = std::min(converted.targets.size(), converted.weights.size());
    bool isGood = std::abs(converted.time) <= FLT_MAX;
    for (std::size_t i = 0; i < count; ++i)
      isGood = isGood && (converted.targets[i] >= targetCount || isUsable(converted.weights[i]));
    converted.targets = converted.targets.first(count);
    if (isGood) keys.push_back(converted);
  }
  repairs.given = source.size();
  repairs.dropped = source.size() - keys.size();
  putInOrder(keys, repairs);
  return keys;
}

class MorphConverter {
 public:
  MorphConverter(aiScene const& scene, aiAnimation const& animation, double ticksPerSecond,
                 ImportedModel& model)
      : _scene(scene), _animation(animation), _ticksPerSecond(ticksPerSecond), _model(model) {
    collectPlaces();
  }

  void run() {
    forEach(_animation.mMorphMeshChannels, _animation.mNumMorphMeshChannels,
            [this](aiMeshMorphAnim const& channel) { ++_channelsOf[splitName(text(channel.mName)).base]; });
    forEach(_animation.mMorphMeshChannels, _animation.mNumMorphMeshChannels,
            [this](aiMeshMorphAnim const& channel) { convert(channel); });
    std::sort(_model.morphs.begin(), _model.morphs.end(), [](auto const& a, auto const& b) {
      return std::tie(a.node, a.mesh) < std::tie(b.node, b.mesh);
    });
  }

 private:
  /// A mesh with morph targets below a node.
  struct Place {
    std::size_t node = 0;
    std::size_t mesh = 0;
    bool operator==(Place const&) const = default;
  };
  using PlacesByName = std::unordered_map<std::string, std::vector<Place>>;

  struct SplitName {
    std::string base;
    std::optional<std::size_t> number;
  };

  void collectPlaces();
  static SplitName splitName(std::string const& name);
  std::vector<Place> findPlaces(std::string const& name) const;
  void convert(aiMeshMorphAnim const& channel);
  void convert(aiMeshMorphAnim const& channel, Place const& place);
  /// Curves of all targets of the mesh; weights of other targets are counted in `unknown`.
  static std::vector<WeightCurve> makeCurves(aiMesh const& mesh, std::span<SourceKey const> keys,
                                             std::size_t& unknown);
  /// Once for each text, as a channel can morph many meshes.
  void warn(std::string const& warning) {
    auto& warnings = _model.warnings;
    if (std::find(warnings.begin(), warnings.end(), warning) == warnings.end()) warnings.push_back(warning);
  }
  void warnOfTargets(aiMesh const& mesh, std::string const& node);

  aiScene const& _scene;
  aiAnimation const& _animation;
  double _ticksPerSecond;
  ImportedModel& _model;
  PlacesByName _byNode;
  PlacesByName _byMesh;
  std::map<std::string, std::size_t> _channelsOf;  ///< how many there are of a name without its number
};

void MorphConverter::collectPlaces() {
  std::vector<aiNode const*> const nodes = nodesInOrder(_scene.mRootNode);
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    for (unsigned const index : elementsOf(nodes[i]->mMeshes, nodes[i]->mNumMeshes)) {
      if (_scene.mMeshes == nullptr || index >= _scene.mNumMeshes) continue;
      aiMesh const* const mesh = _scene.mMeshes[index];
      if (mesh == nullptr || mesh->mAnimMeshes == nullptr || mesh->mNumAnimMeshes == 0) continue;
      std::vector<Place>& ofNode = _byNode[text(nodes[i]->mName)];
      Place const place{i, index};
      if (std::find(ofNode.begin(), ofNode.end(), place) != ofNode.end()) continue;
      ofNode.push_back(place);
      _byMesh[text(mesh->mName)].push_back(place);
    }
  }
}

MorphConverter::SplitName MorphConverter::splitName(std::string const& name) {
  std::size_t const star = name.rfind('*');
  if (star == std::string::npos) return {name, std::nullopt};
  std::size_t number = 0;
  char const* const end = name.data() + name.size();
  auto const parsed = std::from_chars(name.data() + star + 1, end, number);
  if (parsed.ec != std::errc() || parsed.ptr != end) return {name, std::nullopt};
  return {name.substr(0, star), number};
}

std::vector<MorphConverter::Place> MorphConverter::findPlaces(std::string const& name) const {
  SplitName const split = splitName(name);
  for (PlacesByName const* const places : {&_byNode, &_byMesh}) {
    if (auto const found = places->find(name); found != places->end()) return found->second;
    auto const found = places->find(split.base);
    if (found == places->end()) continue;
    // A number tells several channels apart; a single one moves all that there is.
    if (!split.number || _channelsOf.at(split.base) == 1) return found->second;
    if (*split.number < found->second.size()) return {found->second[*split.number]};
  }
  return {};
}

void MorphConverter::convert(aiMeshMorphAnim const& channel) {
  std::string const name = text(channel.mName);
  std::vector<Place> const places = findPlaces(name);
  if (places.empty()) {
    warn("the animation morphs \"" + name +
         "\", but the model has no node or mesh of that name with morph targets");
  }
  for (Place const& place : places) {
    bool const isTaken = std::any_of(_model.morphs.begin(), _model.morphs.end(), [&](auto const& morph) {
      return morph.node == place.node && morph.mesh == place.mesh;
    });
    isTaken ? warn("the animation morphs \"" + name + "\" a second time; that part is not played")
            : convert(channel, place);
  }
}

void MorphConverter::warnOfTargets(aiMesh const& mesh, std::string const& node) {
  std::size_t unfit = 0;
  for (aiAnimMesh const* const target : std::span(mesh.mAnimMeshes, mesh.mNumAnimMeshes))
    unfit += target == nullptr || target->mNumVertices != mesh.mNumVertices ? 1U : 0U;
  if (unfit != 0) {
    warn(node + ".morph: " + counted(unfit, "target") +
         " with a different number of vertices from the mesh: left out");
  }
}

std::vector<WeightCurve> MorphConverter::makeCurves(aiMesh const& mesh, std::span<SourceKey const> keys,
                                                    std::size_t& unknown) {
  std::vector<WeightCurve> curves;
  for (aiAnimMesh const* const target : std::span(mesh.mAnimMeshes, mesh.mNumAnimMeshes))
    curves.emplace_back(target != nullptr && isUsable(target->mWeight) ? target->mWeight : 0.F);
  for (SourceKey const& key : keys) {
    for (std::size_t i = 0; i < key.targets.size(); ++i) {
      bool const isKnown = key.targets[i] < curves.size();
      unknown += isKnown ? 0U : 1U;
      if (isKnown) curves[key.targets[i]].add(key.time, key.weights[i]);
    }
  }
  return curves;
}

void MorphConverter::convert(aiMeshMorphAnim const& channel, Place const& place) {
  aiMesh const& mesh = *_scene.mMeshes[place.mesh];
  std::string const& node = _model.nodes[place.node].name;
  Repairs repairs;
  std::vector<SourceKey> const keys = readKeys(channel, mesh.mNumAnimMeshes, _ticksPerSecond, repairs);
  if (std::string const repaired = describe(repairs); !repaired.empty()) warn(node + ".morph: " + repaired);
  warnOfTargets(mesh, node);
  if (keys.empty()) return;
  std::size_t unknown = 0;
  std::vector<WeightCurve> curves = makeCurves(mesh, keys, unknown);
  if (unknown != 0) {
    warn(node + ".morph: " + counted(unknown, "weight") +
         " of targets that the mesh does not have: left out");
  }
  ImportedMorph& morph = _model.morphs.emplace_back();
  morph.node = place.node;
  morph.mesh = place.mesh;
  for (SourceKey const& key : keys) {
    WeightKey& result = morph.keys.emplace_back();
    result.time = key.time;
    for (WeightCurve& curve : curves) result.weights.push_back(curve.at(key.time));
  }
}

}  // namespace

void convertMorphs(aiScene const& scene, aiAnimation const& animation, double ticksPerSecond,
                   ImportedModel& model) {
  model.morphs.clear();
  MorphConverter(scene, animation, ticksPerSecond, model).run();
}

}  // namespace knanim
