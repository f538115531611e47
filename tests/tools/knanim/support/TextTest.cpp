#include "knanim/support/Text.h"

#include "knanim/support/ProgressBar.h"

#include <gtest/gtest.h>

namespace knanim {
namespace {

TEST(Text, OnlyHarmlessUtf8Remains) {
  EXPECT_EQ(printable("Wirbels\u00e4ule \u9aa8 \U0001F9B4"), "Wirbels\u00e4ule \u9aa8 \U0001F9B4");
  EXPECT_EQ(printable("\x1b[2J\r\n\t\x7f"), "\uFFFD[2J\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(printable("a\u202Eb\u0085c"), "a\uFFFDb\uFFFDc");
  // Latin-1, a cut sequence, an overlong one, a surrogate, and a code point that does not exist.
  EXPECT_EQ(printable("\xE4x"), "\uFFFDx");
  EXPECT_EQ(printable("x\xE2\x82"), "x\uFFFD\uFFFD");
  EXPECT_EQ(printable("\xC0\xAF"), "\uFFFD\uFFFD");
  EXPECT_EQ(printable("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(printable("\xF4\x90\x80\x80"), "\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(printable(std::string_view("a\0b", 3)), "a\uFFFDb");
}

TEST(ProgressBar, LinesFitTheTerminalAndTellTheShare) {
  std::chrono::seconds const none{-1};
  for (int width = 0; width <= 130; ++width) {
    for (std::uint64_t done = 0; done <= 210; done += 7) {
      std::string const line = progressLine("evaluating", done, 200, width, std::chrono::seconds(75));
      ASSERT_LE(lengthInCharacters(line), static_cast<std::size_t>(width));
    }
  }
  EXPECT_EQ(progressLine("work", 0, 8, 30, none), "work  " + std::string("░░░░░░░░░░░░░░░░░░") + "    0%");
  EXPECT_EQ(progressLine("work", 1, 4, 24, none), "work  ███░░░░░░░░░   25%");
  EXPECT_EQ(progressLine("work", 0, 0, 20, none), "work  ████████  100%");
  EXPECT_TRUE(progressLine("work", 1, 2, 60, std::chrono::seconds(605)).ends_with(" 50%  10:05 left"));
}

}  // namespace
}  // namespace knanim
