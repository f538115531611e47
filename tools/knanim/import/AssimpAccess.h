#pragma once

#include "knanim/support/Text.h"

#include <assimp/scene.h>
#include <cmath>
#include <span>
#include <string>
#include <vector>

namespace knanim {

/// The objects behind an array of pointers as the importers keep it; null entries are passed over.
template <typename Object, typename Visit>
void forEach(Object* const* objects, unsigned count, Visit visit) {
  if (objects == nullptr) return;
  for (unsigned i = 0; i < count; ++i) {
    if (objects[i] != nullptr) visit(*objects[i]);
  }
}

/// An array as the importers keep it; null is empty.
template <typename Element>
std::span<Element const> elementsOf(Element const* elements, unsigned count) {
  return {elements, elements == nullptr ? 0 : count};
}

inline std::string text(aiString const& string) { return printable({string.data, string.length}); }

inline bool isFinite(aiVector3D const& v) {
  return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

/// The nodes of a tree, parents first, children in their order: as a model lists them.
inline std::vector<aiNode const*> nodesInOrder(aiNode const* root) {
  std::vector<aiNode const*> result;
  std::vector<aiNode const*> pending;
  if (root != nullptr) pending.push_back(root);
  while (!pending.empty()) {
    aiNode const* const node = pending.back();
    pending.pop_back();
    result.push_back(node);
    for (unsigned i = node->mChildren == nullptr ? 0 : node->mNumChildren; i-- > 0;) {
      if (node->mChildren[i] != nullptr) pending.push_back(node->mChildren[i]);
    }
  }
  return result;
}

}  // namespace knanim
