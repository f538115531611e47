#include "diagnosis/MotionWarnings.h"
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "manager/UniqueNames.h"
#include "model/scenedata/knSceneDataManager.h"

namespace {

bool simulationIsOn = true;

void addPooledMaterials(std::vector<osg::MaterialPtr>& materials) {
  osg::MaterialPoolPtr const pool = knSceneData::getMaterialPool();
  if (pool.isAlive()) pool->get(materials);
}

/// beginScene knows nothing of callbacks, so it is told once, when this library is loaded.
[[maybe_unused]] bool const connected =
    (knSceneDataManager::setSceneBegunHook(&knAnimManager::fillEmptyCallbacks), true);

}  // namespace

void knAnimManager::fillEmptyCallbacks() {
  MotionWarnings::forget();
  if (!_destroyNodeCB) {
    // A copy: the argument may stand in what dies.
    _destroyNodeCB = [](osg::NodePtr const& node) { osg::NodePtr(node).subRef(); };
  }
  if (!_getAllMaterialsCB) {
    _getAllMaterialsCB = [](osg::NodePtr const&, auto& materials) { addPooledMaterials(materials); };
  }
  if (!_getUniqueNameCB) _getUniqueNameCB = NumberedName();
  if (!knAnimEvaluator::_getMaterialPoolCB) {
    knAnimEvaluator::_getMaterialPoolCB = &knSceneData::getMaterialPool;
  }
  // A host with a switch of its own has both halves of it.
  if (_simEnabledCB == nullptr && _enableSimCB == nullptr) {
    _simEnabledCB = [] { return simulationIsOn; };
    _enableSimCB = [](bool on) { simulationIsOn = on; };
  }
  // The scene layer has no navigator: a camera that was moved is read where it stands.
  if (_updateNavCB == nullptr) _updateNavCB = [](bool) {};
}
