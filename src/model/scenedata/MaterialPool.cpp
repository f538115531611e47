#include "model/scenedata/MaterialPool.h"

#include <algorithm>
#include <unordered_set>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(MaterialPoolBase, MaterialPool, "MaterialPool")

void MaterialPool::get(std::vector<MaterialPtr>& materials) const {
  materials.insert(materials.end(), getMaterials().begin(), getMaterials().end());
}

void MaterialPool::setCameraRoot(NodePtr const& root) { setRoot(_fCameraRoot, root); }

void MaterialPool::setSceneplateRoot(NodePtr const& root) { setRoot(_fSceneplateRoot, root); }

void MaterialPool::setRoot(SField<NodePtr>& field, NodePtr const& root) {
  if (field.getValue() == root) return;
  Node::_changed = true;
  detail::replaceOwned(*this, field, root);
}

void MaterialPool::add(MaterialPtr const& material) {
  if (!material.isAlive()) return;
  if (std::find(_fMaterials.begin(), _fMaterials.end(), material) != _fMaterials.end()) return;
  material.addRef();
  _fMaterials.push_back(material);
  if (material->holdsAnimation()) Node::_changed = true;
  StructureCounter::advance();
}

void MaterialPool::sub(MaterialPtr const& materialArgument) {
  // A copy: the argument may stand in the list.
  MaterialPtr const material = materialArgument;
  if (std::erase(_fMaterials.getValues(), material) == 0) return;
  if (material.isAlive() && material->holdsAnimation()) Node::_changed = true;
  StructureCounter::advance();
  material.subRef();
}

void MaterialPool::fieldsAssigned() {
  Inherited::fieldsAssigned();
  // A file may name a material of an unknown type, or one material twice.
  std::unordered_set<MaterialPtr> kept;
  std::vector<MaterialPtr> refused;
  std::erase_if(_fMaterials.getValues(), [&](MaterialPtr const& material) {
    if (material.isAlive() && kept.insert(material).second) return false;
    refused.push_back(material);
    return true;
  });
  for (MaterialPtr const& material : refused) material.subRef();
}

}  // namespace knscene
}  // namespace osg
