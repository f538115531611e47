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

TEST(Text, ShorteningCutsWholeCharactersOutOfTheMiddle) {
  EXPECT_EQ(shortened("abc", 3), "abc");
  EXPECT_EQ(shortened("abcdefgh", 5), "ab\u2026gh");
  EXPECT_EQ(shortened("\u00e4\u00f6\u00fc\u00df\u00e4\u00f6", 4), "\u00e4\u2026\u00e4\u00f6");
  EXPECT_EQ(shortened("abc", 1), "\u2026");
  EXPECT_EQ(shortened("abc", 0), "");
}

TEST(Text, NumbersForPeople) {
  EXPECT_EQ(grouped(0), "0");
  EXPECT_EQ(grouped(999), "999");
  EXPECT_EQ(grouped(1'234'567), "1 234 567");
  EXPECT_EQ(counted(1, "mesh", "meshes"), "1 mesh");
  EXPECT_EQ(counted(1200, "mesh", "meshes"), "1 200 meshes");
  EXPECT_EQ(counted(0, "key"), "0 keys");
  EXPECT_EQ(brief(-0.0), "0");
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
  EXPECT_EQ(progressLine("work", 1, 32, 20, none), "work  ▎░░░░░░░    3%");
  EXPECT_EQ(progressLine("work", 9, 8, 20, none), "work  ████████  100%");
  EXPECT_EQ(progressLine("work", 0, 0, 20, none), "work  ████████  100%");
  EXPECT_TRUE(progressLine("work", 1, 2, 60, std::chrono::seconds(605)).ends_with(" 50%  10:05 left"));
}

TEST(ProgressBar, AFileGetsNothing) {
  std::FILE* const file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  {
    ProgressBar bar(file, "work", 10);
    EXPECT_FALSE(bar.isShown());
    bar.update(5);
  }
  std::fflush(file);
  EXPECT_EQ(std::ftell(file), 0);
  std::fclose(file);
}

}  // namespace
}  // namespace knanim
