#include "knanim/support/Text.h"

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

}  // namespace
}  // namespace knanim
