#include "model/materials/Material.h"

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(MaterialBase, Material, "Material")
KN_CONTAINER_TYPE(MaterialGroupBase, MaterialGroup, "MaterialGroup")

void Material::changed(BitVector const& mask, UInt32 origin) {
  MaterialBase::changed(mask, origin);
  if ((mask & ColorComponentDataFieldMask).any()) ++_fColorComponentData.getValue();
}

}  // namespace knscene
}  // namespace osg
