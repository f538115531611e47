#include "support/LogCapture.h"

#include "model/utils/knLog.h"

#include <thread>

namespace kntest::knLogTest {

using Line = LogCapture::Line;

TEST(KnLog, WritesToStandardErrorUnlessASinkTakesTheLines) {
  testing::internal::CaptureStderr();
  knLog::warning("100% odd %s");
  knLog::error(nullptr);
  knLog::warning(nullptr);
  {
    LogCapture const outer;
    knLog::error("first");
    std::string const text = "captured text, too long to be stored in place";
    knLog::Sink const captured = knLog::setSink({});
    knLog::setSink([captured, text](knLog::Level, std::string_view) {
      knLog::setSink(captured);  // the end of what runs
      knLog::warning(text.c_str());
    });
    knLog::error("trigger");
    EXPECT_EQ(outer.lines(),
              (std::vector<Line>{{knLog::Level::Error, "first"}, {knLog::Level::Warning, text}}));
  }
  knLog::error("fourth");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "warning: 100% odd %s\nerror: fourth\n");
}

TEST(KnLog, TakesLinesFromManyThreadsWhileTheSinkChanges) {
  constexpr std::size_t ThreadCount = 4;
  constexpr std::size_t LineCount = 500;
  std::set<std::string> seen;  // guarded by the log alone: calls of a sink never overlap
  auto const sink = [&seen](knLog::Level, std::string_view text) { seen.emplace(text); };
  knLog::Sink const before = knLog::setSink(sink);
  std::vector<std::thread> threads(ThreadCount);
  for (std::size_t t = 0; t < ThreadCount; ++t) {
    threads[t] = std::thread([t] {
      for (std::size_t i = 0; i < LineCount; ++i)
        knLog::warning((std::to_string(t) + ":" + std::to_string(i)).c_str());
    });
  }
  for (int i = 0; i < 200; ++i) knLog::setSink(sink);
  for (std::thread& thread : threads) thread.join();
  knLog::setSink(before);
  EXPECT_EQ(seen.size(), ThreadCount * LineCount);
}

}  // namespace kntest::knLogTest
