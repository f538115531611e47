#pragma once

#include "model/scenegraph/Node.h"

#include <string>
#include <string_view>

namespace osg {
inline namespace knscene {

/// The name of a node or another container; empty when the handle is null or dead, or the container has no name. Any
/// thread, while nobody writes.
inline std::string nameOf(AttachmentContainerPtr const& container) {
  char const* const name = NodeUtils::getName(container);
  return name != nullptr ? name : "";
}

/// The core of a node as a `Core`; null when the handle is null or dead, and when the node has no core or one of another
/// type. It is a plain pointer for use within a call: test it, and keep the handle, not the pointer. Any thread, while
/// nobody writes.
template <class Core>
Core* coreOf(NodePtr const& node) {
  return node.isAlive() ? dcastTo<Core>(node->getCore()) : nullptr;
}

/// The first node of that name in a tree, as `traverse` meets them: parents before children, children in order. Null when
/// there is none, when `root` is null or dead, and for an empty name. The nodes of animation trees are not below the nodes
/// that they animate. Main thread, or any thread while nobody writes. Linear in the tree, which may be of any depth.
KNSCENE_API NodePtr findNode(NodePtr const& root, std::string_view name);

template <class Core>
bool hasCore(NodePtr const& node) {
  return coreOf<Core>(node) != nullptr;
}

}  // namespace knscene
}  // namespace osg
