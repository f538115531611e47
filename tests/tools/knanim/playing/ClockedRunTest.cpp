#include "knanim/playing/ClockedRun.h"

#include "knAnimManager.h"
#include "knFramePlayer.h"
#include "knanim/scene/AnimatedScene.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/OutputFile.h"
#include "tools/knanim/TestFiles.h"

#include <csignal>
#include <unistd.h>

namespace knanim::ClockedRunTest {

using Steps = std::map<long long, std::uint64_t>;

/// A node whose x is the number of the frame, at 25 frames per second; passes that show a frame can take time.
class ClockedRunTest : public ::testing::Test {
 protected:
  static ImportedModel model() {
    ImportedModel model;
    model.nodes.resize(1);
    model.curves = {{0,
                     ChannelKind::Translation,
                     0,
                     Extrapolation::Linear,
                     Extrapolation::Linear,
                     {{0, 0}, {100, 2500}}}};
    return model;
  }

  RunRecord run(RunPlan const& plan, double secondsPerFrame = 0) {
    SimulatedClock clock;
    frames.clear();
    return runOnClock(plan, clock, playback, [&](double frame, double) {
      EXPECT_NEAR(scene.curves()[0].fieldValue(), frame, 1e-3)
          << "the scene is not at the frame that is told";
      frames.push_back(frame);
      clock.advance(secondsPerFrame);
      return frames.size() != framesToTake;
    });
  }

  ImportedModel const _model = model();
  AnimatedScene const scene{_model};
  Playback playback{{25, 0, 2500}};
  std::vector<double> frames;
  std::size_t framesToTake = 0;
};

TEST_F(ClockedRunTest, TwentyFiveFramesASecondInSixtyPassesRepeatSevenOfTwelve) {
  RunRecord const record = run({.frames = {25, 0, 2000}, .rate = 60, .seconds = 12});
  EXPECT_EQ(record.cadence.steps(), (Steps{{0, 420}, {1, 299}}));
  EXPECT_EQ(record.cadence.passes(), 720U);
  EXPECT_EQ(record.seconds, 12);
  EXPECT_EQ(playback.record().frames, 300U) << "repeats are not evaluated";
  EXPECT_EQ(playback.record().fields, 299U) << "frame 0 is where the scene stood";
  EXPECT_EQ(record.missedSlots, 0U);
  EXPECT_EQ(record.worstLateness, 0);
}

TEST_F(ClockedRunTest, EveryFrameIsEitherShownOrDropped) {
  struct Case {
    RunPlan plan;
    double secondsPerFrame;
    Steps steps;
    std::uint64_t missedSlots;
  };
  std::vector<Case> const cases = {
      {{.frames = {25, 0, 99}, .rate = 25}, 0, {{1, 99}}, 0},
      // A pass takes six turns, in which 2.5 frames go by; 98 is the last one before the end. A tie goes up.
      {{.frames = {25, 0, 99}, .rate = 60}, 0.09, {{1, 1}, {2, 19}, {3, 20}}, 200},
      {{.frames = {25, -50, 49}, .reverse = true, .rate = 60}, 0.09, {{2, 21}, {3, 19}}, 200},
      {{.frames = {25, 10, 19}, .loop = true, .rate = 25, .rounds = 3}, 0, {{1, 29}}, 0},
      // One pass is longer than the whole loop.
      {{.frames = {25, 10, 19}, .loop = true, .rate = 1, .rounds = 10}, 0, {{24, 1}, {25, 3}}, 0},
      {{.frames = {25, 7, 7}, .rate = 60}, 0, {{0, 2}}, 0},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    Case const& each = cases[i];
    RunRecord const record = run(each.plan, each.secondsPerFrame);
    EXPECT_EQ(record.cadence.steps(), each.steps) << i;
    EXPECT_EQ(record.missedSlots, each.missedSlots) << i;
    EXPECT_NEAR(record.worstLateness, each.missedSlots == 0 ? 0 : 5.0 / 60, 1e-9) << i;
    EXPECT_EQ(static_cast<double>(record.cadence.shown()) + record.cadence.dropped(), each.plan.length())
        << i;
    EXPECT_EQ(frames.back(), each.plan.endFrame()) << i;
    EXPECT_NEAR(knAnimManager::the()->currentFrame(), each.plan.endFrame(), 1e-9) << i;
  }
}

TEST_F(ClockedRunTest, EndsWhenInterruptedOrRefusedAndLeavesTheLibraryAsItWas) {
  auto const former = knAnimManager::_timeCB;
  knAnimManager::setSimulationTimeCB([] { return 77.0; });
  RunPlan const endless{.frames = {25, 0, 9}, .loop = true, .rounds = {}, .seconds = 1e6};
  framesToTake = 5;
  EXPECT_EQ(run(endless).end, RunEnd::Refused);
  EXPECT_EQ(frames.size(), 5U);
  framesToTake = 0;
  {
    InterruptionGuard const guard;
    std::raise(SIGINT);
    EXPECT_EQ(run(endless).end, RunEnd::Interrupted);
    EXPECT_TRUE(frames.empty());
  }
  InterruptionGuard const forgotten;
  EXPECT_FALSE(knFramePlayer::the().isActive());
  EXPECT_EQ(knFramePlayer::the().getUser(), nullptr);
  EXPECT_EQ(knAnimManager::getSimulationTime(), 77);
  knAnimManager::setSimulationTimeCB(former);
}

TEST(Interruption, EndsAtTheSecondTimeAndWhereNobodyAsks) {
  test::TemporaryFolder const folder;
  auto const interrupt = [&folder](bool twice) {
    InterruptionGuard const guard;
    OutputFile file(folder.file("table.csv"));
    file.write(std::string(1'000'000, 'x'));
    std::raise(SIGTERM);
    if (!twice && alarm(0) == 0) _exit(99);
    std::raise(twice ? SIGTERM : SIGALRM);
  };
  auto const ended = testing::ExitedWithCode(static_cast<int>(ExitCode::Failed));
  EXPECT_EXIT(interrupt(false), ended, "knanim: interrupted");
  EXPECT_EXIT(interrupt(true), ended, "knanim: interrupted");
  EXPECT_EQ(folder.count(), 0U);
}

}  // namespace knanim::ClockedRunTest
