#include "model/utils/OsgLog.h"

#include "support/Testing.h"

namespace OsgLogTest {

using osg::Lock;
using osg::Log;
using osg::LogLevel;

class OsgLogTest : public testing::Test {
 protected:
  OsgLogTest() { log.setStream(&text); }
  ~OsgLogTest() override { log.setStream(nullptr); }

  Log& log = *osg::osgLogP;
  std::ostringstream text;
};

TEST_F(OsgLogTest, WritesWholeLinesOfWhatIsEnabled) {
  osgLogWarning("OpenSG", "det == %.1f\n", 0.5);
  std::string const head = "WARNING: OpenSG: OsgLogTest.cpp:" + std::to_string(__LINE__ - 1);
  int evaluated = 0;
  osgLogLine(LogLevel::Notice, "OpenSG", "%d", ++evaluated);
  EXPECT_EQ(evaluated, 0) << "arguments of a disabled level are not evaluated";
  log.setModule("OpenSG");
  osgLogWarning("Other", "%d", 1);
  EXPECT_EQ(text.str(), head + ": det == 0.5\n");

  text.str("");
  log.setModule(nullptr);
  std::string const longText(5000, 'x');
  log.writeLine(LogLevel::Fatal, nullptr, nullptr, 1, "%s|%d", longText.c_str(), 42);
  log.writeLine(LogLevel::Fatal, nullptr, nullptr, 1, nullptr);
  EXPECT_EQ(text.str(), "FATAL: " + longText + "|42\n");
}

TEST_F(OsgLogTest, PiecesBelongToTheLineBegunLast) {
  log.doLog("before any line");
  Lock& lock = *Log::_pLogLock;
  lock.aquire();
  log.doHeader(LogLevel::Warning, "OpenSG", "a/b.cpp", 3);
  log.doLog("%s ", "one");
  log.doLog(nullptr);
  log.doLog("two\n");
  log.doHeader(LogLevel::Info, "OpenSG", "a/b.cpp", 4);
  log.doLog("not enabled\n");
  lock.release();
  EXPECT_EQ(text.str(), "WARNING: OpenSG: b.cpp:3: one two\n");
}

}  // namespace OsgLogTest
