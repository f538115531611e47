#include "knanim/curvefiles/CurveReaders.h"
#include "knanim/import/KeyRepairs.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <map>
#include <tiny_gltf.h>

namespace knanim {
namespace {

using tinygltf::Accessor;

/// The number of a component of an accessor, as a fraction where it is a normalized integer.
double numberAt(unsigned char const* bytes, int type) {
  auto const read = [bytes](auto value) {
    std::memcpy(&value, bytes, sizeof(value));
    return static_cast<double>(value);
  };
  switch (type) {
    case TINYGLTF_COMPONENT_TYPE_BYTE:
      return std::max(read(std::int8_t()) / 127, -1.0);
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE:
      return read(std::uint8_t()) / 255;
    case TINYGLTF_COMPONENT_TYPE_SHORT:
      return std::max(read(std::int16_t()) / 32767, -1.0);
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT:
      return read(std::uint16_t()) / 65535;
    default:
      return read(float());
  }
}

/// The numbers of an accessor, with a certain count in each element; nothing where it does not hold them.
std::optional<std::vector<double>> readAccessor(tinygltf::Model const& model, int index, int type) {
  if (index < 0 || static_cast<std::size_t>(index) >= model.accessors.size()) return std::nullopt;
  Accessor const& accessor = model.accessors[static_cast<std::size_t>(index)];
  std::size_t const view = static_cast<std::size_t>(accessor.bufferView);
  if (accessor.type != type || accessor.sparse.isSparse || view >= model.bufferViews.size())
    return std::nullopt;
  tinygltf::BufferView const& bytes = model.bufferViews[view];
  std::size_t const buffer = static_cast<std::size_t>(bytes.buffer);
  int const componentSize =
      tinygltf::GetComponentSizeInBytes(static_cast<std::uint32_t>(accessor.componentType));
  int const componentCount = tinygltf::GetNumComponentsInType(static_cast<std::uint32_t>(type));
  int const stride = accessor.ByteStride(bytes);
  bool const isKnown = accessor.componentType == TINYGLTF_COMPONENT_TYPE_FLOAT ||
                       (accessor.normalized && componentSize > 0 && componentSize <= 2);
  if (buffer >= model.buffers.size() || !isKnown || stride <= 0) return std::nullopt;
  auto const& data = model.buffers[buffer].data;
  std::size_t const size = static_cast<std::size_t>(componentSize * componentCount);
  std::size_t const step = static_cast<std::size_t>(stride);
  if (bytes.byteOffset > data.size() || accessor.byteOffset > data.size() - bytes.byteOffset)
    return std::nullopt;
  std::size_t const begin = bytes.byteOffset + accessor.byteOffset;
  std::size_t const room = data.size() - begin;
  if (accessor.count == 0 || room < size || (room - size) / step < accessor.count - 1) return std::nullopt;
  std::vector<double> numbers;
  numbers.reserve(accessor.count * static_cast<std::size_t>(componentCount));
  for (std::size_t i = 0; i < accessor.count; ++i) {
    for (std::size_t k = 0; k < static_cast<std::size_t>(componentCount); ++k)
      numbers.push_back(numberAt(&data[begin + i * step + k * static_cast<std::size_t>(componentSize)],
                                 accessor.componentType));
  }
  return numbers;
}

/// The key of a sampler. Tangents are per second.
struct SamplerKey {
  double time = 0;
  std::array<double, 4> in = {};
  std::array<double, 4> value = {};
  std::array<double, 4> out = {};

  bool isUsable() const {
    auto const isFloat = [](double each) { return std::abs(each) <= FLT_MAX; };
    return isFloat(time) && std::all_of(in.begin(), in.end(), isFloat) &&
           std::all_of(value.begin(), value.end(), isFloat) && std::all_of(out.begin(), out.end(), isFloat);
  }
};

struct Sampler {
  std::vector<SamplerKey> keys;
  SpanShape shape = SpanShape::Straight;
  std::string trouble;  ///< what was done to the keys; empty for nothing
};

/// Nothing where the file does not hold what the sampler names.
std::optional<Sampler> readSampler(tinygltf::Model const& model, tinygltf::AnimationSampler const& source,
                                   int type) {
  auto const times = readAccessor(model, source.input, TINYGLTF_TYPE_SCALAR);
  auto const values = readAccessor(model, source.output, type);
  Sampler sampler;
  bool const isCubic = source.interpolation == "CUBICSPLINE";
  if (isCubic) sampler.shape = SpanShape::Bezier;
  if (source.interpolation == "STEP") sampler.shape = SpanShape::Held;
  std::size_t const size = type == TINYGLTF_TYPE_VEC4 ? 4 : 3;
  std::size_t const width = isCubic ? 3 * size : size;
  if (!times || !values || values->size() != times->size() * width) return std::nullopt;
  Repairs repairs;
  repairs.given = times->size();
  for (std::size_t i = 0; i < times->size(); ++i) {
    SamplerKey key;
    key.time = (*times)[i];
    double const* const numbers = &(*values)[i * width];
    std::copy_n(numbers + (isCubic ? size : 0), size, key.value.begin());
    if (isCubic) {
      std::copy_n(numbers, size, key.in.begin());
      std::copy_n(numbers + 2 * size, size, key.out.begin());
    }
    if (key.isUsable()) sampler.keys.push_back(key);
  }
  repairs.dropped = repairs.given - sampler.keys.size();
  putInOrder(sampler.keys, repairs);
  sampler.trouble = describe(repairs);
  return sampler;
}

SourceCurve componentOf(Sampler const& sampler, std::size_t component) {
  SourceCurve curve;
  for (SamplerKey const& key : sampler.keys) {
    if (!curve.keys.empty()) {
      SamplerKey const& former = sampler.keys[curve.spans.size()];
      double const width = key.time - former.time;
      if (sampler.shape == SpanShape::Bezier)
        curve.spans.push_back(hermiteSpan(width, former.out[component] * width, key.in[component] * width));
      else
        curve.spans.push_back({sampler.shape});
    }
    curve.keys.push_back({key.time, key.value[component]});
  }
  return curve;
}

double dot(std::array<double, 4> const& a, std::array<double, 4> const& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2] + a[3] * b[3];
}

/// A unit rotation; none from four zeros.
Rotation toRotation(std::array<double, 4> const& v) {
  Rotation rotation{v[3], v[0], v[1], v[2]};
  return normalize(rotation) ? rotation : Rotation();
}

/// On the shorter arc, at an even pace.
Rotation mixOnArc(std::array<double, 4> const& a, std::array<double, 4> const& b, double share) {
  double const cosine = dot(a, b) / std::sqrt(dot(a, a) * dot(b, b));
  double const sign = cosine < 0 ? -1 : 1;
  double const angle = std::acos(std::min(std::abs(cosine), 1.0));
  double first = 1 - share;
  double second = share;
  if (angle > 1e-7) {
    first = std::sin((1 - share) * angle) / std::sin(angle);
    second = std::sin(share * angle) / std::sin(angle);
  }
  std::array<double, 4> result;
  for (std::size_t i = 0; i < 4; ++i)
    result[i] = first * a[i] / std::sqrt(dot(a, a)) + sign * second * b[i] / std::sqrt(dot(b, b));
  return toRotation(result);
}

SourceRotation rotationOf(Sampler const& sampler) {
  SourceRotation source;
  for (SamplerKey const& key : sampler.keys) source.times.push_back(key.time);
  source.shapes.assign(sampler.keys.size() - 1, sampler.shape);
  source.last = toRotation(sampler.keys.back().value);
  std::vector<SourceCurve> components;
  for (std::size_t i = 0; i < 4; ++i) components.push_back(componentOf(sampler, i));
  source.at = [&keys = sampler.keys, shape = sampler.shape, components](std::size_t span, double share) {
    if (shape == SpanShape::Straight) return mixOnArc(keys[span].value, keys[span + 1].value, share);
    std::array<double, 4> value;
    for (std::size_t i = 0; i < 4; ++i) value[i] = valueInSpan(components[i], span, share);
    return toRotation(value);
  };
  return source;
}

/// The nodes below the roots of the scene that is shown, parents first, children in their order.
std::vector<std::size_t> nodesInOrder(tinygltf::Model const& model) {
  std::vector<std::size_t> order;
  if (model.scenes.empty()) return order;
  auto const shown = static_cast<std::size_t>(std::max(model.defaultScene, 0));
  std::vector<int> pending = model.scenes[std::min(shown, model.scenes.size() - 1)].nodes;
  std::reverse(pending.begin(), pending.end());
  std::vector<bool> isKnown(model.nodes.size());
  while (!pending.empty()) {
    auto const node = static_cast<std::size_t>(pending.back());
    pending.pop_back();
    if (node >= model.nodes.size() || isKnown[node]) return {};
    isKnown[node] = true;
    order.push_back(node);
    auto const& children = model.nodes[node].children;
    pending.insert(pending.end(), children.rbegin(), children.rend());
  }
  return order;
}

/// Which node of the model is which of the file: both stand in the same order, below a root that the importer may add.
/// Where that does not fit, by names that only one has.
std::map<std::size_t, std::size_t> matchNodes(tinygltf::Model const& file, ImportedModel const& model) {
  std::vector<std::size_t> const order = nodesInOrder(file);
  auto const inTree = static_cast<std::size_t>(std::count_if(
      model.nodes.begin(), model.nodes.end(), [](ImportedNode const& each) { return each.inTree; }));
  std::map<std::size_t, std::size_t> nodes;
  bool fits = inTree == order.size() || inTree == order.size() + 1;
  for (std::size_t i = 0; i < order.size() && fits; ++i) {
    std::size_t const at = i + inTree - order.size();
    fits = model.nodes[at].name.starts_with(printable(file.nodes[order[i]].name));
    nodes[order[i]] = at;
  }
  if (fits) return nodes;
  nodes.clear();
  std::map<std::string, std::vector<std::size_t>> named;
  for (std::size_t i = 0; i < file.nodes.size(); ++i) named[printable(file.nodes[i].name)].push_back(i);
  for (std::size_t i = 0; i < model.nodes.size(); ++i) {
    auto const found = named.find(model.nodes[i].name);
    if (found != named.end() && found->second.size() == 1) nodes[found->second.front()] = i;
  }
  return nodes;
}

tinygltf::Animation const* findAnimation(tinygltf::Model const& file, ImportedModel const& model) {
  auto const& animations = file.animations;
  if (animations.size() == model.summary.animations.size()) return &animations[model.animation];
  auto const found = std::find_if(animations.begin(), animations.end(), [&](tinygltf::Animation const& each) {
    return !each.name.empty() && printable(each.name) == model.summary.animations[model.animation].name;
  });
  return found != animations.end() ? &*found : nullptr;
}

/// Adds what a channel moves.
void addChannel(tinygltf::Model const& file, tinygltf::AnimationSampler const& source,
                std::string const& path, std::size_t node, CurveReplacement& replacement) {
  auto const kind = std::find_if(kChannelKinds.begin(), kChannelKinds.end(),
                                 [&](ChannelKind each) { return path == channelName(each); });
  if (kind == kChannelKinds.end()) return;
  bool const isRotation = *kind == ChannelKind::Rotation;
  auto const sampler = readSampler(file, source, isRotation ? TINYGLTF_TYPE_VEC4 : TINYGLTF_TYPE_VEC3);
  if (!sampler) {
    replacement.warn(node, *kind, "the file's key data is damaged; the importer's keys are used");
    return;
  }
  if (sampler->keys.empty()) return;
  if (isRotation) {
    replacement.addRotation(node, rotationOf(*sampler));
  } else {
    for (std::uint8_t component = 0; component < 3; ++component)
      replacement.add(node, *kind, component, componentOf(*sampler, component));
  }
  if (!sampler->trouble.empty()) replacement.warn(node, *kind, sampler->trouble);
}

bool isBinary(std::string const& path) {
  std::array<char, 4> begin = {};
  std::ifstream(path, std::ios::binary).read(begin.data(), begin.size());
  return std::string_view(begin.data(), begin.size()) == "glTF";
}

}  // namespace

std::optional<std::string> readGltfCurves(std::string const& path, ImportedModel const& model,
                                          CurveReplacement& replacement) {
  tinygltf::TinyGLTF loader;
  loader.SetImageLoader([](tinygltf::Image*, int, std::string*, std::string*, int, int, unsigned char const*,
                           int, void*) { return true; },
                        nullptr);
  tinygltf::Model file;
  std::string error;
  std::string warning;
  bool const isRead = isBinary(path) ? loader.LoadBinaryFromFile(&file, &error, &warning, path)
                                     : loader.LoadASCIIFromFile(&file, &error, &warning, path);
  if (!isRead) return error.substr(0, error.find('\n'));
  tinygltf::Animation const* const animation = findAnimation(file, model);
  if (animation == nullptr) return "the animation is not found";
  auto const nodes = matchNodes(file, model);
  for (tinygltf::AnimationChannel const& channel : animation->channels) {
    auto const node = nodes.find(static_cast<std::size_t>(channel.target_node));
    auto const sampler = static_cast<std::size_t>(channel.sampler);
    if (node == nodes.end() || sampler >= animation->samplers.size()) continue;
    tinygltf::AnimationSampler const& source = animation->samplers[sampler];
    if (channel.target_path != "weights")
      addChannel(file, source, channel.target_path, node->second, replacement);
    else if (source.interpolation != "LINEAR")
      replacement.warn(model.nodes[node->second].name + ".weights: morphs run straight from key to key");
  }
  return std::nullopt;
}

}  // namespace knanim
