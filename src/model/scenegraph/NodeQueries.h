#pragma once

#include "model/scenegraph/Node.h"

#include <string>

namespace osg {
inline namespace knscene {

/// The name of a node or another container; empty when the handle is null or dead, or the container has no name. Any
/// thread, while nobody writes.
inline std::string nameOf(AttachmentContainerPtr const& container) {
  char const* const name = NodeUtils::getName(container);
  return name != nullptr ? name : "";
}

/// The core of a node as a `Core`; null when the handle is null or dead, and when the node has no core or one of another
/// type. Any thread, while nobody writes. Constant time.
template <class Core>
Core* coreOf(NodePtr const& node) {
  return node.isAlive() ? dcastTo<Core>(node->getCore()) : nullptr;
}

template <class Core>
bool hasCore(NodePtr const& node) {
  return coreOf<Core>(node) != nullptr;
}

}  // namespace knscene
}  // namespace osg
