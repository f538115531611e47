#pragma once

#include "model/materials/Material.h"

#include <vector>

namespace osg {
inline namespace knscene {

class MaterialPool;

/// The fields of a MaterialPool.
class KNSCENE_API MaterialPoolBase : public NodeCore {
  KN_CONTAINER(MaterialPoolBase, MaterialPool, NodeCore)
 public:
  /// In order of adding.
  KN_MFIELD_READ(MaterialPtr, Materials, materials, Owned)
  /// The node that the scene's camera nodes stand below; null while there is none. beginScene makes this root and the
  /// next one below the pool's node, where lookups over the whole scene begin; a host that sets its own must hang them
  /// there itself.
  KN_SFIELD_READ(NodePtr, CameraRoot, cameraRoot, Owned)
  /// The node that the sceneplates stand below; null while there is none.
  KN_SFIELD_READ(NodePtr, SceneplateRoot, sceneplateRoot, Owned)
  KN_CONTAINER_END
};

/// What a scene has beside its tree of objects: its materials, cameras and sceneplates. It is the core of the
/// scene's material-side root. What joins or leaves with animations raises `AnimNode::_changed`. Main thread, except
/// reading while nobody writes.
class KNSCENE_API MaterialPool : public MaterialPoolBase {
 public:
  /// Take a reference to the node and drop that to the former one.
  void setCameraRoot(NodePtr const& root);
  void setSceneplateRoot(NodePtr const& root);

  /// Appends all materials in order of adding.
  void get(std::vector<MaterialPtr>& materials) const;

  /// Adds a material at the end and takes a reference to it. Null, dead handles and materials that the pool
  /// has are ignored. Linear in the number of materials.
  void add(MaterialPtr const& material);
  /// Takes a material away and drops the reference to it. One that the pool does not have is ignored.
  void sub(MaterialPtr const& material);

  /// True, for the animations that its materials, cameras and sceneplates may bring.
  bool marksAnimation() const override { return true; }

 protected:
  void fieldsAssigned() override;

 private:
  void setRoot(SField<NodePtr>& field, NodePtr const& root);
};

using MaterialPoolPtr = MaterialPool::Ptr;

}  // namespace knscene
}  // namespace osg
