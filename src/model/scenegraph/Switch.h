#pragma once

#include "model/scenegraph/Node.h"

namespace osg {
inline namespace knscene {

class Switch;

/// The fields of a Switch.
class KNSCENE_API SwitchBase : public NodeCore {
  KN_CONTAINER(SwitchBase, Switch, NodeCore)
 public:
  /// The place of the child that is shown, from 0 up; a place where there is no child shows none.
  KN_SFIELD(Int32, Choice, choice, 0)
  KN_CONTAINER_END
};

/// The core of a node that shows one of its children.
class KNSCENE_API Switch : public SwitchBase {
 public:
  /// The child of `node` that this core shows there; null when it shows none, or the node is null.
  NodePtr getShownChild(NodePtr const& node) const;
};

using SwitchPtr = Switch::Ptr;

}  // namespace knscene
}  // namespace osg
