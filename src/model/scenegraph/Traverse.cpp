#include "model/scenegraph/Traverse.h"

namespace osg {
inline namespace knscene {

Action::ResultE traverse(NodePtr const& root, std::function<Action::ResultE(NodePtr const&)> const& visit) {
  struct Open {
    NodePtr node;
    NodePtr parent;
  };
  if (!root.isAlive() || !visit) return Action::Continue;
  std::vector<Open> open{{root, root->getParent()}};
  while (!open.empty()) {
    auto const [node, parent] = open.back();
    open.pop_back();
    // The visitor may have taken it away since it was noted.
    if (!node.isAlive() || node->getParent() != parent) continue;
    Action::ResultE const result = visit(node);
    if (result != Action::Continue && result != Action::Skip) return result;
    if (result == Action::Skip || !node.isAlive()) continue;
    auto const& children = node->getChildren();
    for (std::size_t i = children.size(); i > 0; --i) open.push_back({children[i - 1], node});
  }
  return Action::Continue;
}

}  // namespace knscene
}  // namespace osg
