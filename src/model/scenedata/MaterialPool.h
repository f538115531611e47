#pragma once

#include "model/materials/Material.h"

#include <vector>

namespace osg {
inline namespace knscene {

class MaterialPool;

class KNSCENE_API MaterialPoolBase : public NodeCore {
  KN_CONTAINER(MaterialPoolBase, MaterialPool, NodeCore)
 public:
  /// In order of adding.
  KN_MFIELD_READ(MaterialPtr, Materials, materials, Owned)
  /// The node that the scene's camera nodes stand below; null while there is none. Like the next one it hangs below
  /// the node of the pool, where lookups over the whole scene begin.
  KN_SFIELD_OWNED(NodePtr, CameraRoot, cameraRoot)
  /// The node that the sceneplates stand below; null while there is none.
  KN_SFIELD_OWNED(NodePtr, SceneplateRoot, sceneplateRoot)
  KN_CONTAINER_END
};

/// What a scene has beside its tree of objects: its materials, cameras and sceneplates. It is the core of the
/// scene's material-side root. Main thread, except reading while nobody writes.
class KNSCENE_API MaterialPool : public MaterialPoolBase {
 public:
  /// Appends all materials in order of adding.
  void get(std::vector<MaterialPtr>& materials) const;

  /// Adds a material at the end and takes a reference to it. Null, dead handles and materials that the pool
  /// has are ignored. Linear in the number of materials.
  void add(MaterialPtr const& material);
  /// Takes a material away and drops the reference to it. One that the pool does not have is ignored.
  void sub(MaterialPtr const& material);

 protected:
  void fieldsAssigned() override;
};

using MaterialPoolPtr = MaterialPool::Ptr;

}  // namespace knscene
}  // namespace osg
