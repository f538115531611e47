#include "knSceneFile.h"
#include "model/scenefiles/SceneFileHandler.h"
#include "support/LogCapture.h"
#include "support/SceneStage.h"
#include "support/TemporaryFolder.h"

namespace kntest::SceneFilesTest {

using namespace std::string_literals;

class SceneFilesTest : public SceneStage {
 protected:
  ~SceneFilesTest() override {
    manager.clearClipStructure();
    manager.clearSceneStructure();
    manager.setDetailedRangeEnd(25);
    manager.setLoopTimeline(true);
  }
  std::string path(char const* name) const { return _folder.file(name); }
  void expectWhole(std::string const& file);

 private:
  TemporaryFolder const _folder;
};

TEST_F(SceneFilesTest, AWholeSceneComesBackAndPlays) {
  NodePtr const figure = addNode(Transform3D::create());
  AnimNodePtr const block =
      animate(figure, newGroup<AnimBlock>({newCurveNode("translation", 0, {{0, 1}, {2, 9}})}));
  block->setPlaying(true);
  block->setPausing(true);
  MaterialPtr const red = PhongMaterial::create();
  animate(red, newCurveNode("diffuse", 0, {{0, 0}, {1, 1}}));
  knSceneData::getMaterialPool()->add(red);
  addNode(UberCamera::create(), knSceneData::getMaterialPool()->getCameraRoot());
  // The clip plays the very curves of the block.
  AnimNodePtr const clip = newGroup<AnimClip>({newAnimNode(dcast<NodeCorePtr>(block->getCore()))});
  manager.addToClipStructure(clip);
  manager.clipStructureRoot()->setTravMask(7);
  manager.addToSceneStructure(newAnimNode(AnimClip::create()));
  manager.setFPS(50);
  knSceneDataManager::getSceneData(0)->setFps(25);
  manager.setDetailedRangeEnd(-12);
  manager.setLoopTimeline(false);
  manager.setCurrentTimeNoEvaluation(1.5, false);
  ASSERT_TRUE(knSceneFile::save(path("whole.osb")) && knSceneFile::save(path("whole.json")));

  knSceneDataManager::endScene();
  LogCapture log;
  EXPECT_FALSE(knSceneFile::save(path("none.osb")));
  EXPECT_TRUE(log.contains("there is no scene") && !std::filesystem::exists(path("none.osb")));
  // Stored files are never written again; what later formats add goes into files of their own.
  for (std::string const& file : {path("whole.osb"), path("whole.json"), KN_TEST_DATA_DIR "/whole-v1.osb"s,
                                  KN_TEST_DATA_DIR "/whole-v1.json"s}) {
    SCOPED_TRACE(file);
    expectWhole(file);
  }
}

void SceneFilesTest::expectWhole(std::string const& file) {
  manager.clearSceneStructure();
  manager.addToClipStructure(newAnimNode(AnimClip::create()));
  manager.clipStructureRoot()->setTravMask(0xFFFFFFFFU);
  manager.setFPS(10);
  manager.setDetailedRangeEnd(3);
  manager.setLoopTimeline(true);
  manager.setKeepKeysAtFrame(true);
  manager.setCurrentTimeNoEvaluation(0, false);
  manager.enqueue(manager.clipStructureRoot(), true);
  changes.clear();
  ASSERT_TRUE(knSceneFile::load(file));
  EXPECT_TRUE(announced(manager.clipStructureRoot()).test(Node::TravMaskFieldId));
  Real32 const lastTime = manager.clipStructureRoot()->getLastEvaluationTime();
  knAnimEvaluator::the()->loop();
  EXPECT_EQ(manager.clipStructureRoot()->getLastEvaluationTime(), lastTime) << "nothing plays";
  EXPECT_EQ(manager.fps(), 50);
  EXPECT_EQ(knSceneDataManager::getSceneData(0)->getFps(), 25);
  EXPECT_EQ(manager.detailedRangeEnd(), -12);
  EXPECT_EQ(manager.currentTime(), 1.5);
  EXPECT_FALSE(manager.loopTimeline() || manager.keepKeysAtFrame());
  EXPECT_EQ(knSceneData::getMaterialPool()->getMaterials().size(), 1U);
  EXPECT_EQ(knSceneData::getMaterialPool()->getCameraRoot()->getNChildren(), 1U);
  EXPECT_EQ(manager.sceneStructureRoot()->getNChildren(), 1U);
  EXPECT_EQ(manager.clipStructureRoot()->getTravMask(), 7U);
  ASSERT_EQ(manager.clipStructureRoot()->getNChildren(), 1U);
  NodePtr const loaded = root()->getChild(0);
  evaluate(1);
  EXPECT_EQ(placeOf(loaded).x(), 5);
  std::vector<AnimNodePtr> blocks;
  knAnimManager::getAnimAttachment(loaded)->getTopLevelBlockNodes(blocks);
  EXPECT_FALSE(blocks.at(0)->getPlaying() || blocks[0]->getPausing());
  EXPECT_EQ(manager.clipStructureRoot()->getChild(0)->getChild(0)->getCore(), blocks[0]->getCore());
  manager.clipStructureRoot()->setTravMask(0xFFFFFFFFU);
}

TEST_F(SceneFilesTest, WhatIsNoSceneLeavesThePresentOne) {
  double const rate = manager.fps();
  manager.setFPS(-5);
  ASSERT_TRUE(knSceneFile::save(path("backwards.osb")));
  manager.setFPS(rate);
  LogCapture warnings;
  EXPECT_TRUE(knSceneFile::load(path("backwards.osb")));
  EXPECT_TRUE(manager.fps() == rate && warnings.contains("frame rate that is not above 0"));

  NodePtr const before = root();
  ASSERT_TRUE(saveSceneFile(before, path("graph.osb"), false));
  for (char const* const name : {"graph.osb", "absent.osb"}) {
    LogCapture log;
    EXPECT_FALSE(knSceneFile::load(path(name)));
    EXPECT_TRUE(log.errors().size() == 1 && log.contains(name));
    EXPECT_EQ(root(), before);
  }
}

}  // namespace kntest::SceneFilesTest
