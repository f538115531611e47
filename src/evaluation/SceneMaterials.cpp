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
  // Copies: a callback may set another one in its own place.
  osg::MaterialPoolPtr pool;
  if (auto const getPool = knAnimEvaluator::_getMaterialPoolCB) pool = getPool();
  if (pool.isAlive()) {
    pool->get(materials);
  } else if (auto const getMaterials = knAnimEvaluator::_getSceneMaterialsCB) {
    getMaterials(materials);
  }
  return onlyLiving(std::move(materials));
}

std::vector<osg::MaterialPtr> findAllMaterials(osg::NodePtr const& root) {
  std::vector<osg::MaterialPtr> materials;
  if (auto const getAll = knAnimManager::_getAllMaterialsCB) getAll(root, materials);
  return onlyLiving(std::move(materials));
}
