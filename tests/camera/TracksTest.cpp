#include "camera/CameraStage.h"
#include "knDiagnosis.h"
#include "support/LogCapture.h"

namespace kntest::TracksTest {

using Keys = std::vector<Pnt2f>;

class TracksTest : public CameraStage {
 protected:
  ~TracksTest() override { manager.clearClipStructure(); }

  NodePtr newTrack(float move, float fade, float pause, std::vector<float> const& heights) {
    CameraTrackPtr const track = CameraTrack::create();
    track->setAnimationDuration(move);
    track->setFadeInDuration(fade);
    track->setPauseDuration(pause);
    NodePtr const node = addNode(track, cameraNode);
    for (float const height : heights) {
      UberCameraPtr const viewpoint = UberCamera::create();
      viewpoint->setFrom({0, height, 0});
      viewpoint->getTonemappingSettings()->setExposure(height);
      addNode(viewpoint, node);
    }
    return node;
  }
  Keys keys(NodePtr const& track, char const* field, UInt32 index, bool* follows = nullptr) {
    auto const [node, curve] = manager.createCurve(field, index == 1 ? "Y" : "");
    Held<AnimNodePtr> const held(node);
    manager.updateCameraTrackAnimationCurve(curve, track);
    if (follows != nullptr) *follows = curve->getIsCameraShotCurve();
    return keysOf(curve);
  }
};

TEST_F(TracksTest, KeysFollowMovesFadesAndPauses) {
  camera->getTonemappingSettings()->setExposure(9);
  struct {
    float move, fade, pause;
    std::vector<float> heights;
    char const* field;
    Keys keys;
    bool follows;
  } const rows[] = {
      {0, 0, 0, {5, 6}, "from", {{0, 5}, {0, 6}}, false},
      {4, 0, 1, {5, 6, 7}, "from", {{0, 2}, {4, 5}, {5, 5}, {9, 6}, {10, 6}, {14, 7}}, true},
      {4, 1, 0, {5}, "exposure", {{0, 0}, {1, 5}, {4, 5}}, true},
      {2, 2, 0, {5}, "exposure", {{0, 0}, {2, 5}, {2, 5}}, true},
      {0, 2, 0, {5, 6}, "exposure", {{0, 0}, {2, 0}, {4, 6}}, false},
      {4, 1, 1, {}, "from", {}, false},
  };
  for (auto const& row : rows) {
    NodePtr const track = newTrack(row.move, row.fade, row.pause, row.heights);
    bool follows = false;
    bool const isFrom = std::string(row.field) == "from";
    EXPECT_EQ(keys(track, row.field, isFrom ? 1 : 0, &follows), row.keys) << row.move << ' ' << row.fade;
    EXPECT_EQ(follows, row.follows);
    cameraNode->subChild(track);
  }
  // A viewpoint with durations of its own, a child that is none, and a first child that is none.
  NodePtr const track = newTrack(4, 0, 0, {5, 6});
  coreOf<UberCamera>(track->getChild(1))->setFlags(UberCamera::TrackOverridesFlag);
  track->addChild(Node::create());
  EXPECT_EQ(keys(track, "from", 1), (Keys{{0, 2}, {4, 5}, {4, 6}}));
  track->insertChild(0, Node::create());
  EXPECT_EQ(keys(track, "from", 1), (Keys{{4, 5}, {4, 6}}));
}

TEST_F(TracksTest, BlocksAreMadeKeptAndReplaced) {
  NodePtr const track = newTrack(2, 0, 0, {5, 6});
  AnimNodePtr const block = manager.createMissingCameraTrackBlockForNode(track);
  ASSERT_TRUE(block);
  EXPECT_FALSE(manager.createMissingCameraTrackBlockForNode(track));
  EXPECT_EQ(manager.getCameraTrackBlock(track), block);
  EXPECT_EQ(manager.getCameraTrackNodeWithAnimationBlock(block), track);
  EXPECT_TRUE(curveIn(block, "at", 2));
  auto const causes = [&] {
    std::set<knStillness> found;
    for (knStillnessReason const& reason : knDiagnosis::whyStill(block)) found.insert(reason.cause);
    return found;
  };
  EXPECT_EQ(causes(), (std::set{knStillness::SameValues, knStillness::NotStepped})) << "nobody plays it";
  LogCapture const log;
  manager.evaluateByTime(block, 1, true, true, false);
  EXPECT_TRUE(log.lines().empty() && causes() == std::set{knStillness::SameValues});
  for (char const* ignored : {"visible", "translation", "turntableAngle", "focalLength", "aimTranslation"}) {
    EXPECT_FALSE(curveIn(block, ignored, 0)) << ignored;
  }
  AnimCurvePtr const stepped = curveIn(block, "tonemapperId", 0);
  ASSERT_TRUE(stepped);
  EXPECT_EQ(stepped->getControlPoints()[0].outType(), 0U);

  unsigned int told = 0;
  auto const listening = knUtils::listen("updateClipScene", [&](auto, auto&, int) { ++told; });
  manager.updateCameraTrackBlockForNode(track);
  EXPECT_EQ(told, 0U);
  for (float const seconds : {3.F, 1.F}) {
    coreOf<CameraTrack>(track)->setAnimationDuration(seconds);
    manager.updateCameraTrackBlockForNode(track);
  }
  EXPECT_EQ(told, 2U);

  // A clip shares the block; both occurrences are replaced. The camera has an aim now.
  AnimNodePtr const inClip = newAnimNode(block->getCore(), 1, 8);
  manager.addToClipStructure(newGroup<AnimClip>({inClip}));
  camera->setAimNode(addNode(Transform3D::create()));
  manager.recreateCameraTrackBlockForNode(track);
  AnimNodePtr const fresh = manager.getCameraTrackBlock(track);
  ASSERT_TRUE(fresh);
  EXPECT_NE(fresh, block);
  EXPECT_TRUE(curveIn(fresh, "aimTranslation", 2));
  NodePtr const clip = manager.clipStructureRoot()->getChild(0);
  EXPECT_EQ(clip->getChild(0)->getCore(), fresh->getCore());
  manager.addToClipStructure(newAnimNode(fresh->getCore()));
  manager.deleteCameraTrackBlockInClips(dcast<AnimBlockPtr>(fresh->getCore()));
  EXPECT_EQ(manager.clipStructureRoot()->getNChildren(), 0U);
  EXPECT_TRUE(manager.clipStructureRoot()->getParent()) << "the root stays";
}

}  // namespace kntest::TracksTest
