#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/import/ModelContent.h"
#include "knanim/support/Failure.h"

#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace knanim {

// Models as bytes, for the way from one process to another on the same machine: every member in order of
// declaration, numbers as they lie in memory, lists and texts behind their length. A member that is added to one
// of the types does not compile before it is named here.

/// Visits the members of each type that is not just copied.
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, Failure>
void visitMembers(Model& failure, Visit visit) {
  auto& [code, message] = failure;
  visit(code, message);
}
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, ImportedCurve>
void visitMembers(Model& curve, Visit visit) {
  auto& [node, kind, component, before, after, keys, form] = curve;
  visit(node, kind, component, before, after, keys, form);
}
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, CurveForm>
void visitMembers(Model& form, Visit visit) {
  auto& [keys, isStraight, before, after, offset, scale, cycles] = form;
  visit(keys, isStraight, before, after, offset, scale, cycles);
}
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, WeightKey>
void visitMembers(Model& key, Visit visit) {
  auto& [time, weights] = key;
  visit(time, weights);
}
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, ImportedMorph>
void visitMembers(Model& morph, Visit visit) {
  auto& [node, mesh, keys] = morph;
  visit(node, mesh, keys);
}
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, ImportedNode>
void visitMembers(Model& node, Visit visit) {
  auto& [name, parent, depth, inTree, translation, rotation, scale, orientation, pivot, tags] = node;
  visit(name, parent, depth, inTree, translation, rotation, scale, orientation, pivot, tags);
}
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, AnimationSummary>
void visitMembers(Model& animation, Visit visit) {
  auto& [name, duration, begin, ticks, guessed, channels, meshChannels, morphChannels, morphKeys, keys] =
      animation;
  visit(name, duration, begin, ticks, guessed, channels, meshChannels, morphChannels, morphKeys, keys);
}
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, ModelSummary>
void visitMembers(Model& summary, Visit visit) {
  auto& [importer, version, bytes, meshes, vertices, faces, bones, targets, materials, textures, cameras,
         lights, animations] = summary;
  visit(importer, version, bytes, meshes, vertices, faces, bones, targets, materials, textures, cameras,
        lights, animations);
}
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, ImportedModel>
void visitMembers(Model& model, Visit visit) {
  auto& [summary, nodes, animation, curves, morphs, warnings, tangents, files, stored] = model;
  visit(summary, nodes, animation, curves, morphs, warnings, tangents, files, stored);
}
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, ImportedMaterial>
void visitMembers(Model& material, Visit visit) {
  auto& [name, ambient, diffuse, specular, emissive, shininess, opacity] = material;
  visit(name, ambient, diffuse, specular, emissive, shininess, opacity);
}
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, ImportedBone>
void visitMembers(Model& bone, Visit visit) {
  auto& [node, meshToBone, weights] = bone;
  visit(node, meshToBone, weights);
}
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, ImportedMorphTarget>
void visitMembers(Model& target, Visit visit) {
  auto& [positions, normals] = target;
  visit(positions, normals);
}
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, ImportedMesh>
void visitMembers(Model& mesh, Visit visit) {
  auto& [name, material, positions, normals, indices, faceSizes, bones, targets] = mesh;
  visit(name, material, positions, normals, indices, faceSizes, bones, targets);
}
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, ImportedCamera>
void visitMembers(Model& camera, Visit visit) {
  auto& [name, node, from, at, up, fieldOfView, aspect] = camera;
  visit(name, node, from, at, up, fieldOfView, aspect);
}
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, ImportedLight>
void visitMembers(Model& light, Visit visit) {
  auto& [name, node, position, direction, color, intensity, coneAngle] = light;
  visit(name, node, position, direction, color, intensity, coneAngle);
}
template <typename Model, typename Visit>
requires std::is_same_v<std::remove_const_t<Model>, ModelContent>
void visitMembers(Model& content, Visit visit) {
  auto& [materials, meshes, meshesOfNodes, cameras, lights] = content;
  visit(materials, meshes, meshesOfNodes, cameras, lights);
}

template <typename Value>
constexpr bool kIsCopied = std::is_trivially_copyable_v<Value>;

class TransferWriter {
 public:
  template <typename Value>
  void put(Value const& value) {
    if constexpr (kIsCopied<Value>) {
      _bytes.append(reinterpret_cast<char const*>(&value), sizeof(value));
    } else {
      visitMembers(value, [this](auto const&... members) { (put(members), ...); });
    }
  }
  void put(std::string const& text) { putList(text); }
  template <typename Element>
  void put(std::vector<Element> const& list) {
    putList(list);
  }
  std::string takeBytes() { return std::move(_bytes); }

 private:
  template <typename List>
  void putList(List const& list) {
    put(list.size());
    using Element = typename List::value_type;
    if constexpr (kIsCopied<Element>) {
      _bytes.append(reinterpret_cast<char const*>(list.data()), list.size() * sizeof(Element));
    } else {
      for (Element const& element : list) put(element);
    }
  }

  std::string _bytes;
};

/// Reads what a TransferWriter put, in the same order.
class TransferReader {
 public:
  explicit TransferReader(std::string_view bytes) : _rest(bytes) {}

  template <typename Value>
  Value get() {
    Value value{};
    get(value);
    return value;
  }
  /// Whether there were too few bytes for what was asked for.
  bool failed() const { return _failed; }

 private:
  template <typename Value>
  void get(Value& value) {
    if constexpr (kIsCopied<Value>) {
      getBytes(&value, sizeof(value));
    } else {
      visitMembers(value, [this](auto&... members) { (get(members), ...); });
    }
  }
  void get(std::string& text) { getList(text); }
  template <typename Element>
  void get(std::vector<Element>& list) {
    getList(list);
  }
  template <typename List>
  void getList(List& list) {
    using Element = typename List::value_type;
    auto const size = get<std::size_t>();
    // Whatever is in a list takes at least one byte each.
    if (size > _rest.size() / (kIsCopied<Element> ? sizeof(Element) : 1)) _failed = true;
    if (_failed) return;
    list.resize(size);
    if constexpr (kIsCopied<Element>) {
      getBytes(list.data(), size * sizeof(Element));
    } else {
      for (Element& element : list) get(element);
    }
  }
  void getBytes(void* target, std::size_t size) {
    if (size > _rest.size()) _failed = true;
    if (_failed || size == 0) return;
    std::memcpy(target, _rest.data(), size);
    _rest.remove_prefix(size);
  }

  std::string_view _rest;
  bool _failed = false;
};

}  // namespace knanim
