#include "model/scenegraph/Switch.h"

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(SwitchBase, Switch, "Switch")

NodePtr Switch::getShownChild(NodePtr const& node) const {
  if (!node.isAlive() || getChoice() < 0) return {};
  return node->getChild(static_cast<UInt32>(getChoice()));
}

}  // namespace knscene
}  // namespace osg
