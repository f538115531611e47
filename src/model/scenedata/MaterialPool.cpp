#include "model/scenedata/MaterialPool.h"

#include <algorithm>
#include <unordered_set>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(MaterialPoolBase, MaterialPool, "MaterialPool")

void MaterialPool::get(std::vector<MaterialPtr>& materials) const {
  materials.insert(materials.end(), getMaterials().begin(), getMaterials().end());
}

void MaterialPool::add(MaterialPtr const& material) {
  if (!material.isAlive()) return;
  if (std::find(_fMaterials.begin(), _fMaterials.end(), material) != _fMaterials.end()) return;
  material.addRef();
  _fMaterials.push_back(material);
}

void MaterialPool::sub(MaterialPtr const& materialArgument) {
  // A copy: the argument may stand in the list.
  MaterialPtr const material = materialArgument;
  if (std::erase(_fMaterials.getValues(), material) > 0) material.subRef();
}

void MaterialPool::fieldsAssigned() {
  Inherited::fieldsAssigned();
  // A file may name a material of an unknown type, or one material twice.
  std::unordered_set<MaterialPtr> kept;
  std::erase_if(_fMaterials.getValues(), [&kept](MaterialPtr const& material) {
    if (material.isAlive() && kept.insert(material).second) return false;
    material.subRef();
    return true;
  });
}

}  // namespace knscene
}  // namespace osg
