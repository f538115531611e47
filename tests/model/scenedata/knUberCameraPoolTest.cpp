#include "model/scenedata/knUberCameraPool.h"

#include "model/scenedata/knSceneDataManager.h"
#include "model/sceneext/CameraTrack.h"
#include "support/TestContainers.h"

namespace knUberCameraPoolTest {

using namespace osg;

using knUberCameraPoolTest = kntest::SceneTest;

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

}  // namespace knUberCameraPoolTest
