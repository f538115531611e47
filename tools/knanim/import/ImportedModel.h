#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace knanim {

/// What a curve moves: a field of a transform.
enum class ChannelKind : std::uint8_t { Translation, Rotation, Scale };

inline constexpr std::array<ChannelKind, 3> kChannelKinds = {ChannelKind::Translation, ChannelKind::Rotation,
                                                             ChannelKind::Scale};
inline constexpr std::array<char const*, 3> kComponentSuffixes = {"X", "Y", "Z"};

/// The name of a transform's channel: "translation", "rotation", "scale".
char const* channelName(ChannelKind kind);

struct Key {
  double time = 0;   ///< seconds
  double value = 0;  ///< degrees for rotations, otherwise as in the model
};

/// What a curve does outside its keys.
enum class Extrapolation : std::uint8_t { Constant, Linear, Repeat };

/// The tangents that curves get whose file has none.
enum class Tangents : std::uint8_t {
  Linear,   ///< straight lines
  Auto,     ///< smooth through each key
  Clamped,  ///< the same, but never beyond the values of two neighbouring keys
};

/// A key with tangents, as a control point of the library's curves has it.
struct BezierKey {
  float time = 0;  ///< seconds, before the node's placement
  float value = 0;
  std::array<float, 2> in = {0, 0};   ///< the in tangent, relative to the key
  std::array<float, 2> out = {0, 0};  ///< the out tangent
  std::uint8_t inType = 0;
  std::uint8_t outType = 0;

  friend bool operator==(BezierKey const&, BezierKey const&) = default;
};

/// A curve as the library has it, with the placement of its node.
struct CurveForm {
  std::vector<BezierKey> keys;  ///< empty for a curve that is nothing but straight lines
  bool isStraight = true;       ///< tangents are ignored
  std::uint32_t before = 0;     ///< infinity modes
  std::uint32_t after = 0;
  float offset = 0;  ///< of the node and all above it
  float scale = 1;
  std::int32_t cycles = 0;

  friend bool operator==(CurveForm const&, CurveForm const&) = default;
};

/// One component of one channel of one node. Keys ascend strictly in time, all numbers are finite, there is
/// at least one key; values between keys lie on straight lines, unless the curve has a form.
struct ImportedCurve {
  std::size_t node = 0;  ///< index into `ImportedModel::nodes`
  ChannelKind kind = ChannelKind::Translation;
  std::uint8_t component = 0;  ///< 0 to 2
  Extrapolation before = Extrapolation::Constant;
  Extrapolation after = Extrapolation::Constant;
  std::vector<Key> keys;
  CurveForm form = {};
};

/// The weights of all morph targets of a mesh at one time.
struct WeightKey {
  double time = 0;             ///< seconds
  std::vector<float> weights;  ///< one for each target of the mesh
};

/// How a mesh morphs where one node shows it. Keys ascend strictly in time, all numbers are finite, there is
/// at least one key; weights between keys lie on straight lines.
struct ImportedMorph {
  std::size_t node = 0;  ///< index into `ImportedModel::nodes`
  std::size_t mesh = 0;  ///< index into the file's meshes
  std::vector<WeightKey> keys;
};

/// How many keys an animation has for a node.
struct KeyCounts {
  std::size_t translation = 0;
  std::size_t rotation = 0;
  std::size_t scale = 0;

  std::size_t total() const { return translation + rotation + scale; }
  KeyCounts& operator+=(KeyCounts const& other);
};

struct ImportedNode {
  static constexpr std::size_t NoParent = static_cast<std::size_t>(-1);

  std::string name;  ///< unique in the model, never empty
  std::size_t parent = NoParent;
  std::size_t depth = 0;  ///< 0 for the root
  bool inTree = true;     ///< false for a node that only an animation knows
  std::array<double, 3> translation = {0, 0, 0};
  std::array<double, 3> rotation = {0, 0, 0};  ///< degrees, Rz * Ry * Rx
  std::array<double, 3> scale = {1, 1, 1};
  std::array<double, 3> orientation = {0, 0, 0};  ///< degrees: the frame that the rotation turns in
  std::array<double, 3> pivot = {0, 0, 0};        ///< what the rotation leaves in place
  std::vector<std::string> tags;                  ///< as "role = door"
};

/// What an animation is made of, without its keys.
struct AnimationSummary {
  std::string name;            ///< may be empty
  double durationSeconds = 0;  ///< from 0 to its end; 0 when the file gives nothing usable
  double beginSeconds = 0;     ///< of its first key where the file tells it, else 0
  double ticksPerSecond = 0;   ///< the one that is applied
  bool ticksAreGuessed = false;
  std::size_t channels = 0;       ///< animated nodes
  std::size_t meshChannels = 0;   ///< whole-mesh animations, which are not played
  std::size_t morphChannels = 0;  ///< morph target animations
  std::size_t morphKeys = 0;      ///< of weights, in all morph channels
  KeyCounts keys;
};

/// Frames per second: the ticks where they can be frames, as 25 or 120 a second can; else 30.
double framesPerSecond(AnimationSummary const& animation);

struct ModelSummary {
  std::string importer;       ///< the importer's name
  std::string formatVersion;  ///< as the file says it, often empty
  std::uintmax_t fileBytes = 0;
  std::size_t meshes = 0;
  std::size_t vertices = 0;
  std::size_t faces = 0;
  std::size_t bones = 0;
  std::size_t morphTargets = 0;
  std::size_t materials = 0;
  std::size_t textures = 0;  ///< embedded ones
  std::size_t cameras = 0;
  std::size_t lights = 0;
  std::vector<AnimationSummary> animations;
};

/// A model as plain data. All texts are valid UTF-8 without control characters. Nodes stand in depth-first
/// order, parents first; nodes outside the tree come last.
struct ImportedModel {
  ModelSummary summary;
  std::vector<ImportedNode> nodes;
  std::size_t animation = 0;  ///< the index of the animation of `curves` and `morphs`
  /// In order of node, kind and component.
  std::vector<ImportedCurve> curves;
  /// At most one for a node and a mesh, in order of these.
  std::vector<ImportedMorph> morphs;
  /// What was wrong with the file, one line each.
  std::vector<std::string> warnings;
  Tangents tangents = Tangents::Linear;  ///< of the curves without a form
  /// Every file that was read for it.
  std::vector<std::string> files;
  /// The file of the library's own that holds the scene which this describes; empty for all other models.
  std::string stored;

  /// "node.channel.suffix" of a curve.
  std::string curveName(ImportedCurve const& curve) const;
  std::size_t keyCount() const;
};

struct TimeSpan {
  double begin = 0;
  double end = 0;
};

/// From the earliest key to the latest one, or to the end of the animation's duration when that is later.
/// Empty without curves and morphs.
std::optional<TimeSpan> timeSpan(ImportedModel const& model);

}  // namespace knanim
