#include "model/scenedata/knSceneDataManager.h"

#include "model/scenegraph/Group.h"
#include "model/utils/knLog.h"

#include <utility>

KN_CONTAINER_TYPE(knSceneDataBase, knSceneData, "knSceneData")

void (*knSceneDataManager::_sceneBegun)() = nullptr;

namespace {

/// Held as objects, since the way through a handle leads over memory that leak checkers do not look into.
struct Records {
  knSceneData& current = newRecord();
  knSceneData& empty = newRecord();

  static knSceneData& newRecord() {
    knSceneDataBase::_type.initialise();
    knSceneDataPtr const record = knSceneDataBase::create();
    record.addRef();
    return *record;
  }
};

Records& records() {
  static auto* const instance = new Records;
  return *instance;
}

bool isMissingSceneTold = false;

[[maybe_unused]] bool const madeAtLoad = (records(), true);

osg::NodePtr nodeWithCore(osg::NodeCorePtr const& core) {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(core);
  return node;
}

}  // namespace

osg::NodePtr const& knSceneData::getRoot() const {
  osg::NodePtr const& root = knSceneDataBase::getRoot();
  if (!root && this == &records().current && !std::exchange(isMissingSceneTold, true))
    knLog::error("there is no scene, so there is no root: start one with knSceneDataManager::beginScene()");
  return root;
}

void knSceneData::setRoots(osg::NodePtr const& rootArgument, osg::NodePtr const& materialRootArgument) {
  osg::NodePtr const root = rootArgument;
  osg::NodePtr const materialRoot = materialRootArgument;
  osg::NodePtr const former = knSceneDataBase::getRoot();
  osg::NodePtr const formerMaterial = getMaterialRoot();
  if (root == former && materialRoot == formerMaterial) return;
  root.addRef();
  materialRoot.addRef();
  if (this == &records().current) isMissingSceneTold = false;
  _fRoot.setValue(root);
  _fMaterialRoot.setValue(materialRoot);
  osg::Node::_changed = true;
  osg::StructureCounter::advance();
  former.subRef();
  formerMaterial.subRef();
}

osg::MaterialPoolPtr knSceneData::getMaterialPool() {
  osg::NodePtr const root = records().current.getMaterialRoot();
  return root.isAlive() ? osg::dcast<osg::MaterialPoolPtr>(root->getCore()) : osg::MaterialPoolPtr();
}

knSceneDataPtr knSceneDataManager::getSceneData(unsigned int scene) {
  if (scene == 0) return knSceneDataPtr(&records().current);
  knSceneData& empty = records().empty;
  empty.setRoots({}, {});
  empty.setFps(30.0);
  return knSceneDataPtr(&empty);
}

osg::NodePtr knSceneDataManager::getSceneplateRoot(unsigned int scene) {
  osg::MaterialPoolPtr const pool = scene == 0 ? knSceneData::getMaterialPool() : osg::MaterialPoolPtr();
  return pool ? pool->getSceneplateRoot() : osg::NodePtr();
}

void knSceneDataManager::beginScene() {
  osg::MaterialPoolPtr const pool = osg::MaterialPoolBase::create();
  pool->setCameraRoot(nodeWithCore(osg::GroupBase::create()));
  pool->setSceneplateRoot(nodeWithCore(osg::GroupBase::create()));
  osg::NodePtr const root = nodeWithCore(osg::GroupBase::create());
  osg::NodePtr const materialRoot = nodeWithCore(pool);
  // Walks over the whole scene begin at the material-side root.
  for (osg::NodePtr const& child : {root, pool->getCameraRoot(), pool->getSceneplateRoot()}) {
    materialRoot->addChild(child);
  }
  records().current.setRoots(root, materialRoot);
  if (_sceneBegun != nullptr) _sceneBegun();
}

void knSceneDataManager::endScene() { records().current.setRoots({}, {}); }
