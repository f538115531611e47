#include "knanim/playing/ClockedRun.h"

#include "knAnimManager.h"
#include "knFramePlayer.h"
#include "knanim/scene/AnimatedScene.h"
#include "knanim/support/Interruption.h"

#include <csignal>
#include <gtest/gtest.h>

namespace knanim {
namespace {

using Steps = std::map<long long, std::uint64_t>;

TEST(CadenceRecord, TellsRepeatsFromStepsAndSumsUpWhatWasSkipped) {
  CadenceRecord whole;
  whole.addFirst();
  for (double const step : {1.0, 0.0, 1.0, 4.0, 0.0, 2.0, 0.0}) whole.addStep(step);
  EXPECT_EQ(whole.steps(), (Steps{{0, 3}, {1, 2}, {2, 1}, {4, 1}}));
  EXPECT_EQ(whole.passes(), 8U);
  EXPECT_EQ(whole.shown(), 5U);
  EXPECT_EQ(whole.repeats(), 3U);
  EXPECT_EQ(whole.dropped(), 4);
  std::vector<std::string> const lines = whole.histogram(3);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_TRUE(lines[0].starts_with("   repeat  3  ████████████████████████████████ 42.9 %")) << lines[0];
  EXPECT_TRUE(lines[2].starts_with("+2 and up  2  █████████████████████ 28.6 %")) << lines[2];

  CadenceRecord tenths(0.1);
  for (double const step : {0.41, 0.38, 0.002, 0.0}) tenths.addStep(step);
  EXPECT_EQ(tenths.steps(), (Steps{{0, 1}, {1, 1}, {4, 2}})) << "the smallest step is no repeat";
  EXPECT_TRUE(CadenceRecord().histogram().empty());
}

/// A node whose x is the number of the frame, at 25 frames per second; passes that show a frame can take time.
class ClockedRunTest : public ::testing::Test {
 protected:
  static ImportedModel model() {
    ImportedModel model;
    model.nodes.resize(1);
    model.nodes[0].name = "runner";
    model.curves.resize(1);
    model.curves[0].before = model.curves[0].after = Extrapolation::Linear;
    model.curves[0].keys = {{0, 0}, {100, 2500}};
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

TEST_F(ClockedRunTest, LoopsBackwardsAndBetweenFrames) {
  run({.frames = {25, 10, 12}, .loop = true, .reverse = true, .rate = 25, .rounds = 2});
  EXPECT_EQ(frames, (std::vector<double>{12, 11, 10, 12, 11, 10}));

  RunRecord const record = run({.frames = {25, 0, 3}, .subframes = true, .rate = 62.5});
  EXPECT_EQ(record.cadence.steps(), (Steps{{2, 1}, {4, 7}})) << "the last step is cut off at the last frame";
  for (std::size_t i = 0; i < 8; ++i) EXPECT_NEAR(frames[i], 0.4 * static_cast<double>(i), 1e-9);
  EXPECT_EQ(frames.back(), 3);

  run({.frames = {25, 0, 1}, .loop = true, .subframes = true, .rate = 50, .rounds = 2});
  ASSERT_EQ(frames.size(), 8U);
  for (std::size_t i = 0; i < 8; ++i) EXPECT_NEAR(frames[i], 0.5 * static_cast<double>(i % 4), 1e-9) << i;
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

TEST(RunPlan, FollowsTheOptions) {
  FrameRange const frames{25, 0, 99};
  auto const planned = [&](ClockOptions const& options) {
    return std::get<RunPlan>(planRun(options, frames));
  };
  RunPlan const turned = planned({.loop = "50:-10", .reverse = true});
  EXPECT_EQ(turned.frames.first, -10);
  EXPECT_EQ(turned.startFrame(), 50);
  EXPECT_EQ(turned.length(), 3 * 61);
  EXPECT_EQ(turned.duration(), 3 * 61 / 25.0);
  EXPECT_EQ(planned({.seconds = 2, .loop = "0:9"}).duration(), 2) << "seconds alone end a loop";
  EXPECT_EQ(planned({.seconds = 2, .loop = "0:9", .rounds = 4}).duration(), 1.6);
  EXPECT_EQ(planned({.seconds = 99, .subframes = true}).duration(), 4);
}

}  // namespace
}  // namespace knanim
