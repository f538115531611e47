#include "support/SceneStage.h"

namespace kntest::TimelineTest {

knCurveData selected;
bool simulationEnabled = true;

class TimelineTest : public SceneStage {
 protected:
  TimelineTest() {
    animate(owner, curveNode);
    _listener = knUtils::listenToAll([this](std::string_view name, knMessage& message, int) {
      _sent.append(_sent.empty() ? "" : ", ").append(name);
      for (std::string const& key : message.keys())
        _sent += ' ' + key + ' ' + std::to_string(std::lround(*message.get<double>(key)));
    });
  }
  ~TimelineTest() override {
    manager.setPlaybackContextHint(0);
    manager.setKeepKeysAtFrame(false);
  }
  float x() const { return placeOf(owner).x(); }
  /// The messages since the last call.
  std::string sent() { return std::exchange(_sent, {}); }

  osg::NodePtr const owner = addNode(osg::Transform3D::create());
  osg::AnimNodePtr const curveNode = newCurveNode("translation", 0, {{0, 0}, {10, 100}});

 private:
  std::string _sent;
  knUtils::Subscription _listener;
};

TEST_F(TimelineTest, MovingEvaluatesThenTells) {
  auto const expect = [&](bool moved, bool mustMove, float mustBeAt, char const* messages) {
    EXPECT_EQ(moved, mustMove) << messages;
    EXPECT_EQ(x(), mustBeAt) << messages;
    EXPECT_EQ(sent(), messages);
  };
  expect(manager.setCurrentFrame(48, false, true), true, 20,
         "currentAnimTimeChanged time 2, currentFrameChanged frame 48");
  expect(manager.setCurrentFrame(48, false, true), false, 20, "");
  coreOf<osg::Transform3D>(owner)->setTranslation({});
  expect(manager.setCurrentTime(2, true, true), true, 20, "currentAnimTimeChanged time 2");
  expect(manager.setCurrentTime(3, false, false), true, 30, "");
  expect(manager.setCurrentFrameNoEvaluation(96, true), true, 30,
         "currentAnimTimeChanged time 4, currentFrameChanged frame 96");
  manager.evaluateAnimationsByFrame(36, false, false);
  expect(manager.setCurrentTimeNoEvaluation(4, true), false, 15, "");
  manager.reevaluateAnimations(false);
  EXPECT_EQ(x(), 40);
  knAnimManager::setSimulationEnabledCB([] { return simulationEnabled; });
  simulationEnabled = false;
  expect(manager.setCurrentTime(6, false, true), true, 40, "currentAnimTimeChanged time 6");
  expect(manager.setCurrentTime(6, true, false), true, 60, "");
  simulationEnabled = true;
  knAnimManager::pySetCurrentFrame(12);
  EXPECT_EQ(knAnimManager::pyGetCurrentFrame(), 12);
  EXPECT_EQ(x(), 5);
}

TEST_F(TimelineTest, FrameRates) {
  manager.setCurrentTimeNoEvaluation(2, false);
  manager.setFPS(24);
  EXPECT_EQ(sent(), "");
  manager.setFPS(25);
  EXPECT_EQ(sent(), "changedFPS") << "nothing in it";
  EXPECT_EQ(manager.currentFrame(), 50);
  EXPECT_EQ(knSceneDataManager::getSceneData(0)->getFps(), 25);
  // Keys that stay at their frames: those that the host names.
  osg::CCPnt& key = curveOf(curveNode)->getControlPoints()[1];
  key.setInX(-3);
  knAnimManager::_sceneAnimCurveData = {knCurveData(curveNode, curveOf(curveNode)), knCurveData()};
  manager.setFPS(50);
  EXPECT_EQ(key.x(), 10);
  manager.setKeepKeysAtFrame(true);
  manager.setFPS(25);
  EXPECT_EQ(std::vector({key.x(), key.y(), key.inX()}), (std::vector{20.F, 100.F, -6.F}));
  knAnimManager::_sceneAnimCurveData.clear();
  manager.setFPS(0);
  EXPECT_TRUE(manager.setCurrentFrame(1, false, false));
  EXPECT_TRUE(std::isinf(manager.currentTime()));
}

TEST_F(TimelineTest, TheCurveEditorsSelection) {
  auto const xAt = [&](double time) {
    manager.setCurrentTime(time, true, false);
    return x();
  };
  manager.setPlaybackContextHint(1);
  EXPECT_EQ(xAt(1), 0) << "no editor, no evaluation";
  knAnimManager::setGetCurveEditorDataCB([](std::vector<knCurveData>& data) {
    EXPECT_TRUE(data.empty());
    if (selected.curve) data.push_back(selected);
  });
  EXPECT_EQ(xAt(1), 0);
  selected = knCurveData(curveNode, curveOf(curveNode));
  for (double const time : {1.0, 1.5}) EXPECT_EQ(xAt(time), 10 * time);
  selected = {};
  manager.setPlaybackContextHint(2);
  EXPECT_EQ(xAt(2), 20);
}

}  // namespace kntest::TimelineTest
