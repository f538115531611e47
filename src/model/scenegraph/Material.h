#pragma once

#include "model/scenegraph/Node.h"

namespace osg {
inline namespace knscene {

class Material;
class MaterialGroup;

class KNSCENE_API MaterialBase : public AttachmentContainer {
  KN_CONTAINER(MaterialBase, Material, AttachmentContainer)
  KN_CONTAINER_END
};

/// What a surface looks like: the base of all materials, and by itself one without any property. Names, tags
/// and animations hang on it as attachments. A material that wants to decide what can be animated declares
/// channels.
class KNSCENE_API Material : public MaterialBase {};

using MaterialPtr = Material::Ptr;

class KNSCENE_API MaterialGroupBase : public NodeCore {
  KN_CONTAINER(MaterialGroupBase, MaterialGroup, NodeCore)
 public:
  /// The material of everything below the group's nodes; null for none.
  KN_SFIELD_OWNED(MaterialPtr, Material, material)
  KN_CONTAINER_END
};

/// The core of a node that gives its subtree a material.
class KNSCENE_API MaterialGroup : public MaterialGroupBase {};

using MaterialGroupPtr = MaterialGroup::Ptr;

}  // namespace knscene
}  // namespace osg
