#pragma once

#include "model/scenegraph/Node.h"

namespace osg {
inline namespace knscene {

class Group;

/// The core of a node that only holds children together.
class KNSCENE_API GroupBase : public NodeCore {
  KN_CONTAINER(GroupBase, Group, NodeCore)
  KN_CONTAINER_END
};

class KNSCENE_API Group : public GroupBase {};

using GroupPtr = Group::Ptr;

}  // namespace knscene
}  // namespace osg
