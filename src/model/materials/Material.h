#pragma once

#include "model/scenegraph/Node.h"

namespace osg {
inline namespace knscene {

class Material;
class MaterialGroup;

/// The fields of a Material.
class KNSCENE_API MaterialBase : public AttachmentContainer {
  KN_CONTAINER(MaterialBase, Material, AttachmentContainer)
 public:
  /// Counts the changes of what the material's colours are made of. Announcing this field raises it, so that
  /// whoever keeps something made from the colours sees that it is out of date.
  KN_SFIELD_READ(UInt32, ColorComponentData, colorComponentData, Derived, 0U)
  KN_CONTAINER_END
};

/// What a surface looks like: the base of all materials, and by itself one without any property. Names, tags
/// and animations hang on it as attachments. What can be animated is what a material declares as channels, and
/// nothing else; this one declares none.
class KNSCENE_API Material : public MaterialBase {
 public:
  bool hasChannelDescriptions() const override { return true; }
  void changed(BitVector const& mask, UInt32 origin) override;
};

using MaterialPtr = Material::Ptr;

/// The fields of a MaterialGroup.
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
