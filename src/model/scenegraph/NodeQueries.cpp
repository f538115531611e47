#include "model/scenegraph/NodeQueries.h"

#include "model/scenegraph/Traverse.h"

namespace osg {
inline namespace knscene {

NodePtr findNode(NodePtr const& root, std::string_view name) {
  NodePtr found;
  if (name.empty()) return found;
  traverse(root, [&](NodePtr const& node) {
    char const* const ownName = NodeUtils::getName(node);
    if (ownName == nullptr || name != ownName) return Action::Continue;
    found = node;
    return Action::Quit;
  });
  return found;
}

}  // namespace knscene
}  // namespace osg
