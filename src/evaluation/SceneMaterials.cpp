#include "evaluation/SceneMaterials.h"

#include "knAnimEvaluator.h"
#include "knAnimManager.h"

namespace {

std::vector<osg::MaterialPtr> onlyLiving(std::vector<osg::MaterialPtr> materials) {
  std::erase_if(materials, [](osg::MaterialPtr const& material) { return !material.isAlive(); });
  return materials;
}

}  // namespace

std::vector<osg::MaterialPtr> findSceneMaterials() {
  std::vector<osg::MaterialPtr> materials;
  osg::MaterialPoolPtr pool;
  if (knAnimEvaluator::_getMaterialPoolCB) pool = knAnimEvaluator::_getMaterialPoolCB();
  if (pool.isAlive()) {
    pool->get(materials);
  } else if (knAnimEvaluator::_getSceneMaterialsCB) {
    knAnimEvaluator::_getSceneMaterialsCB(materials);
  }
  return onlyLiving(std::move(materials));
}

std::vector<osg::MaterialPtr> findAllMaterials(osg::NodePtr const& root) {
  std::vector<osg::MaterialPtr> materials;
  if (knAnimManager::_getAllMaterialsCB) knAnimManager::_getAllMaterialsCB(root, materials);
  return onlyLiving(std::move(materials));
}
