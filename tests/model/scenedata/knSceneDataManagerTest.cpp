#include "model/scenedata/knSceneDataManager.h"

#include "support/TestContainers.h"

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
  EXPECT_TRUE(data->getRoot() == nullptr && knSceneData::getMaterialPool() == nullptr);
  EXPECT_EQ(knSceneDataManager::getSceneplateRoot(0), nullptr);
  knSceneDataManager::beginScene();
  NodePtr const root = data->getRoot();
  MaterialPoolPtr const pool = knSceneData::getMaterialPool();
  ASSERT_TRUE(root && pool && pool->getCameraRoot() && pool->getSceneplateRoot());
  EXPECT_EQ(data->getMaterialRoot()->getCore(), pool);
  EXPECT_EQ(knSceneDataManager::getSceneplateRoot(0), pool->getSceneplateRoot());
  knSceneDataManager::beginScene();
  EXPECT_FALSE(root.isAlive() || pool.isAlive()) << "the scene before is dropped";
  data->getMaterialRoot()->setCore({});
  EXPECT_EQ(knSceneData::getMaterialPool(), nullptr);
  knSceneDataManager::getSceneData(1)->setFps(1.0);
  EXPECT_EQ(knSceneDataManager::getSceneData(2)->getFps(), 30.0) << "other numbers give a new record";
}

TEST_F(KnSceneDataManagerTest, ThePoolKeepsMaterialsInOrder) {
  Held const pool(MaterialPoolBase::create());
  MaterialPtr const a = MaterialBase::create(), b = MaterialBase::create();
  for (MaterialPtr const& material : {a, b, a, MaterialPtr()}) pool->add(material);
  std::vector<MaterialPtr> materials = {b};
  pool->get(materials);
  EXPECT_EQ(materials, (std::vector{b, a, b}));
  EXPECT_EQ(a->getRefCount(), 1);
  for (int times = 0; times < 2; ++times) pool->sub(a);
  EXPECT_TRUE(pool->getMaterials().size() == 1 && !a.isAlive());
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

/// Reaches for the records from a static that is made before and dies after nearly everything else.
struct LateUser {
  ~LateUser() {
    if (knSceneDataManager::getSceneData(0)->getFps() != 30.0) std::abort();
  }
} const lateUser;

}  // namespace knSceneDataManagerTest
