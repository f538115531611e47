#include "model/scenedata/knSceneDataManager.h"

#include "model/scenedata/knUberCameraPool.h"
#include "model/sceneext/CameraTrack.h"
#include "support/LogCapture.h"
#include "support/TestContainers.h"

namespace kntest::knSceneDataManagerTest {

class KnSceneDataManagerTest : public SceneTest {
 protected:
  void TearDown() override {
    knSceneDataManager::endScene();
    SceneTest::TearDown();
  }
};

TEST_F(KnSceneDataManagerTest, ASceneHasRootsAndAPool) {
  knSceneDataPtr const data = knSceneDataManager::getSceneData(0);
  knSceneDataManager::beginScene();
  knSceneDataManager::endScene();
  kntest::LogCapture const log;
  EXPECT_TRUE(data->getRoot() == nullptr && knSceneData::getMaterialPool() == nullptr);
  EXPECT_TRUE(data->getRoot() == nullptr && log.errors().size() == 1 && log.contains("beginScene()"));
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

using knUberCameraPoolTest = SceneTest;

NodePtr add(NodePtr const& parent, NodeCorePtr const& core, char const* name) {
  NodePtr const node = Node::create();
  node->setCore(core);
  NodeUtils::setName(node, name, false);
  parent->addChild(node);
  return node;
}

TEST_F(knUberCameraPoolTest, CamerasAndTracksAreFoundInOrder) {
  knSceneDataManager::beginScene();
  UberCameraPtr const first = UberCamera::create(), viewpoint = UberCamera::create(),
                      hidden = UberCamera::create(), inScene = UberCamera::create();
  NodePtr const cameraRoot = knSceneData::getMaterialPool()->getCameraRoot();
  add(knSceneDataManager::getSceneData(0)->getRoot(), inScene, "scene");
  NodePtr const cameraNode = add(cameraRoot, first, "first");
  NodePtr const track = add(cameraNode, CameraTrack::create(), "track");
  NodePtr const viewpointNode = add(track, viewpoint, "viewpoint");
  add(cameraRoot, hidden, "hidden")->setTravMask(1);
  add(cameraRoot, first, "again");

  EXPECT_EQ(knUberCameraPool::getContentPtrs(true, true), (std::vector{first, viewpoint, hidden, inScene}));
  EXPECT_EQ(knUberCameraPool::getContentPtrs(false, false), (std::vector{first, inScene}));
  EXPECT_EQ(knUberCameraPool::getCameraTrackNodes(), std::vector{track});
  EXPECT_EQ(knUberCameraUtils::findParentUberCamera(track), first);
  EXPECT_EQ(knUberCameraUtils::findParentUberCamera(viewpointNode), first) << "not its own";
  EXPECT_EQ(knUberCameraUtils::findParentUberCamera(cameraNode), nullptr);
  EXPECT_EQ(knUberCameraUtils::getName(viewpoint), "viewpoint");
  knSceneDataManager::endScene();
}

}  // namespace kntest::knSceneDataManagerTest
