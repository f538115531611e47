#include "knFramePlayer.h"
#include "support/SceneStage.h"

namespace kntest::FramePlayerTest {

double now = 0.0;

class FramePlayerTest : public SceneStage {
 protected:
  FramePlayerTest() {
    now = 100.0;
    knAnimManager::setSimulationTimeCB([] { return now; });
    _listener = knUtils::listenToAll([this](std::string_view, knMessage& message, int) {
      if (auto const* const frame = message.get<double>("frame"))
        sent += "frame " + std::to_string(std::lround(*frame)) + ' ';
      if (auto const* const user = message.get<void*>("user"))
        sent += *user == this ? "user this " : "user none ";
      if (auto const* const loop = message.get<int>("loop")) sent += "loop " + std::to_string(*loop) + ' ';
    });
  }
  ~FramePlayerTest() override { player.stop(nullptr); }

  void start(knFramePlaybackParams const& params) {
    player.start(params, true, nullptr);
    player.tick();
    pass();
  }
  /// One apply, and what it sent.
  std::string pass() {
    player.apply();
    return std::exchange(sent, {});
  }
  std::string passAt(double time) {
    now = 100.0 + time;
    player.tick();
    return pass();
  }

  knFramePlayer& player = knFramePlayer::the();
  std::string sent;

 private:
  knUtils::Subscription _listener;
};

TEST_F(FramePlayerTest, FramesFollowFromTheTimeSinceTheFirstTick) {
  struct Case {
    knFramePlaybackParams params;
    double time;
    char const* sent;
  };
  constexpr double Huge = 1e12;
  for (Case const& one : {
           Case{{.reverse = true, .startFrame = 10, .fps = 25}, 1, "frame -15 "},
           {{.loop = true, .rangeStart = 9, .fps = 10}, 2.5, "loop 2 frame 5 "},
           {{.reverse = true, .loop = true, .rangeEnd = 9, .fps = 10}, 0.1, "loop -1 frame 9 "},
           {{.loop = true, .rangeEnd = 9, .startFrame = 50, .fps = 10}, 0.1, "loop 1 frame 0 "},
           {{.loop = true, .rangeStart = 4, .rangeEnd = 4, .startFrame = 4, .fps = 10}, 0.3, "loop 3 "},
           {{.reverse = true, .startFrame = 5, .fps = -3}, 77, "frame 4 "},
           {{.startFrame = 5, .fps = std::numeric_limits<double>::quiet_NaN()}, 77, "frame 6 "},
           {{.fps = 10}, Huge, "frame 2147483647 "},
           {{.fps = 10}, 0.06, "frame 1 "},
           {{.reverse = true, .fps = 10}, 0.06, "frame -1 "},
           {{.reverse = true, .fps = 10}, 0.25, "frame -2 "},
           {{.fps = 10}, 0.01, ""},
       }) {
    now = 100.0;
    start(one.params);
    EXPECT_EQ(passAt(one.time), one.sent) << one.params.startFrame << " at " << one.time;
  }
}

TEST_F(FramePlayerTest, ClocksThatGoWrong) {
  start({.fps = 25});
  EXPECT_EQ(passAt(4), "frame 100 ");
  EXPECT_EQ(passAt(1), "frame 25 ") << "backwards";
  passAt(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(passAt(2), "frame 50 ") << "nothing of the bad moment stays";
  EXPECT_EQ(passAt(2), "");
}

TEST_F(FramePlayerTest, TheFirstApplyDelivers) {
  for (double const frame : {0.0, -1.0}) {
    player.start({.startFrame = frame, .fps = 25}, true, nullptr);
    player.tick();
    EXPECT_EQ(pass(), "frame " + std::to_string(std::lround(frame)) + ' ');
    EXPECT_EQ(pass(), "frame " + std::to_string(std::lround(frame)) + ' ') << "again, without a tick";
    EXPECT_EQ(passAt(0), "");
  }
  EXPECT_EQ(player.getPlaybackParams().startTime, 100.0);
}

TEST_F(FramePlayerTest, TellsWhoPlaysWhenThatIsSomebodyElse) {
  for (int i = 0; i < 2; ++i) player.start({.fps = 25}, true, this);
  for (int i = 0; i < 2; ++i) player.stop(nullptr);
  EXPECT_EQ(sent, "user this user none ");
}

/// Over random clocks: whole frames stay within one of the time, subframes are the time, loops never run back.
TEST_F(FramePlayerTest, RandomClocks) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> pause(0.0, 0.1);
  for (bool const subframes : {false, true}) {
    now = 100.0;
    double frame = 0.0;
    int loop = 0;
    auto const listener = knUtils::listenToAll([&](std::string_view, knMessage& message, int) {
      if (auto const* const value = message.get<double>("frame")) frame = *value;
      if (auto const* const value = message.get<int>("loop")) {
        EXPECT_GT(*value, loop);
        loop = *value;
      }
    });
    start(
        {.loop = true, .subframes = subframes, .rangeStart = 3, .rangeEnd = 20, .startFrame = 3, .fps = 25});
    double elapsed = 0.0;
    for (int i = 0; i < 2000; ++i) {
      elapsed += pause(random);
      passAt(elapsed);
      double const exact = 3.0 + (now - 100.0) * 25.0;
      double const played = frame + 18.0 * loop;
      ASSERT_LT(std::fabs(played - exact), subframes ? 1e-6 : 1.0) << elapsed;
      ASSERT_TRUE(frame >= 3.0 && frame < 21.0);
    }
    EXPECT_GT(loop, 100);
  }
}

}  // namespace kntest::FramePlayerTest
