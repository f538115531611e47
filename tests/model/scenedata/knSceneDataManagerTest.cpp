#include "model/scenedata/knSceneDataManager.h"

#include "model/scenefiles/SceneFileHandler.h"
#include "support/TestContainers.h"

#include <sstream>

namespace knSceneDataManagerTest {

using namespace osg;
using kntest::Held;

class KnSceneDataManagerTest : public kntest::SceneTest {
 protected:
  void TearDown() override {
    knSceneDataManager::endScene();
    SceneTest::TearDown();
  }
};

TEST_F(KnSceneDataManagerTest, ASceneHasRootsAndAPool) {
  knSceneDataPtr const data = knSceneDataManager::getSceneData(0);
  EXPECT_TRUE(data->getRoot() == nullptr && data->getMaterialRoot() == nullptr);
  EXPECT_EQ(knSceneData::getMaterialPool(), nullptr);
  EXPECT_EQ(knSceneDataManager::getSceneplateRoot(0), nullptr);
  knSceneDataManager::beginScene();
  EXPECT_EQ(data, knSceneDataManager::getSceneData(0));
  NodePtr const root = data->getRoot();
  MaterialPoolPtr const pool = knSceneData::getMaterialPool();
  ASSERT_TRUE(root && pool && pool->getCameraRoot() && pool->getSceneplateRoot());
  EXPECT_EQ(data->getMaterialRoot()->getCore(), pool);
  EXPECT_EQ(knSceneDataManager::getSceneplateRoot(0), pool->getSceneplateRoot());
  data->setFps(24.0);
  knSceneDataManager::beginScene();
  EXPECT_FALSE(root.isAlive() || pool.isAlive()) << "the scene before is dropped";
  EXPECT_EQ(data->getFps(), 24.0);
  data->setFps(30.0);
}

TEST_F(KnSceneDataManagerTest, HostsSetRootsOfTheirOwn) {
  knSceneDataPtr const data = knSceneDataManager::getSceneData(0);
  NodePtr const root = Node::create();
  data->setRoot(root);
  data->setMaterialRoot(root);
  EXPECT_EQ(root->getRefCount(), 2);
  EXPECT_EQ(knSceneData::getMaterialPool(), nullptr) << "a root without a pool";
  root->setCore(MaterialPoolBase::create());
  EXPECT_NE(knSceneData::getMaterialPool(), nullptr);
  EXPECT_EQ(knSceneDataManager::getSceneplateRoot(0), nullptr);
}

TEST_F(KnSceneDataManagerTest, OtherNumbersGiveAnEmptyRecord) {
  knSceneDataManager::beginScene();
  knSceneDataPtr const other = knSceneDataManager::getSceneData(1);
  EXPECT_NE(other, knSceneDataManager::getSceneData(0));
  other->setFps(1.0);
  other->setRoot(Node::create());
  EXPECT_EQ(knSceneDataManager::getSceneData(0xFFFFFFFFU)->getFps(), 30.0);
  EXPECT_EQ(knSceneDataManager::getSceneData(2)->getRoot(), nullptr);
  EXPECT_EQ(knSceneDataManager::getSceneplateRoot(1), nullptr);
}

TEST_F(KnSceneDataManagerTest, ThePoolKeepsMaterialsInOrder) {
  Held const pool(MaterialPoolBase::create());
  MaterialPtr const a = MaterialBase::create(), b = MaterialBase::create();
  for (MaterialPtr const& material : {a, b, a, MaterialPtr()}) pool->add(material);
  std::vector<MaterialPtr> materials = {b};
  pool->get(materials);
  EXPECT_EQ(materials, (std::vector{b, a, b}));
  EXPECT_EQ(a->getRefCount(), 1);

  MaterialGroupPtr const group = MaterialGroupBase::create();
  group->setMaterial(a);
  pool->sub(pool->getMaterials()[0]);
  pool->sub(a);
  EXPECT_EQ(pool->getMaterials().size(), 1U);
  EXPECT_TRUE(a.isAlive()) << "the group still holds it";
  group.subRef();
  EXPECT_FALSE(a.isAlive());
}

TEST_F(KnSceneDataManagerTest, APoolFromAFileHoldsEachMaterialOnce) {
  Held const pool(MaterialPoolBase::create());
  MaterialPtr const material = MaterialBase::create();
  FieldWriter bytes(nullptr);
  for (UInt32 const value : {4U, 1U, 0U, 1U, 1U}) bytes.put(value);
  FieldReader reader(bytes.bytes(), [&](UInt32 number) { return number == 1 ? material : MaterialPtr(); });
  pool->getField("materials")->read(reader);
  linkAssignedFields(**pool);
  EXPECT_EQ(pool->getMaterials().size(), 1U);
  EXPECT_EQ(material->getRefCount(), 1);
}

TEST_F(KnSceneDataManagerTest, ThePoolIsSavedWithTheMaterialRoot) {
  knSceneDataManager::beginScene();
  knSceneData::getMaterialPool()->add(MaterialBase::create());
  knSceneData::getMaterialPool()->getSceneplateRoot()->addChild(Node::create());
  std::stringstream stream;
  NodePtr const root = knSceneDataManager::getSceneData(0)->getMaterialRoot();
  ASSERT_TRUE(SceneFileHandler::the().write(root, stream, nullptr, 1));
  knSceneDataManager::getSceneData(0)->setMaterialRoot(SceneFileHandler::the().read(stream, nullptr));
  ASSERT_NE(knSceneData::getMaterialPool(), nullptr);
  EXPECT_EQ(knSceneData::getMaterialPool()->getMaterials().size(), 1U);
  EXPECT_EQ(knSceneDataManager::getSceneplateRoot(0)->getNChildren(), 1U);
}

/// Reaches for the records from a static that is made before and dies after nearly everything else.
struct LateUser {
  ~LateUser() {
    if (knSceneDataManager::getSceneData(0)->getFps() != 30.0) std::abort();
  }
} const lateUser;

}  // namespace knSceneDataManagerTest
