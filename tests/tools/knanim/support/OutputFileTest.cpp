#include "knanim/support/OutputFile.h"

#include "knanim/support/CsvTable.h"
#include "knanim/support/Text.h"
#include "tools/knanim/TestFiles.h"

#include <fcntl.h>
#include <unistd.h>

namespace knanim::OutputFileTest {

using namespace test;

TEST(OutputFile, TheOldFileStandsUntilTheCommit) {
  TemporaryFolder const folder;
  std::string const path = folder.file("table.csv");
  writeFile(path, "old");
  {
    OutputFile output(path);
    ASSERT_TRUE(output.write(std::string(700'000, 'x')));  // more than fits the buffer
    EXPECT_EQ(readFile(path), "old");
  }
  EXPECT_EQ(readFile(path), "old");
  EXPECT_EQ(folder.count(), 1U) << "something was left over";

  OutputFile output(path);
  EXPECT_TRUE(output.write("new"));
  EXPECT_TRUE(output.commit());
  EXPECT_EQ(readFile(path), "new");
  EXPECT_EQ(folder.count(), 1U);
  EXPECT_FALSE(output.commit()) << "a second time there is nothing to commit";
}

TEST(OutputFile, OpenDescriptorsAreWrittenWhereTheyStand) {
  TemporaryFolder const folder;
  std::string const path = folder.file("log");
  int const descriptor = open(path.c_str(), O_CREAT | O_WRONLY, 0600);
  ASSERT_GE(descriptor, 0);
  ASSERT_EQ(write(descriptor, "before ", 7), 7);
  OutputFile output("/dev/fd/" + std::to_string(descriptor));
  output.write("table");
  EXPECT_TRUE(output.commit());
  ASSERT_EQ(write(descriptor, " after", 6), 6);
  close(descriptor);
  EXPECT_EQ(readFile(path), "before table after");
  EXPECT_FALSE(OutputFile("/dev/fd/9999").isGood());
}

TEST(CsvTable, FieldsAreQuotedWhereNeededAndNumbersReadBackExactly) {
  TemporaryFolder const folder;
  OutputFile output(folder.file("table.csv"));
  CsvTable table(output);
  table.add("plain").add("a,b").add("say \"hi\"").add("two\nlines").add("");
  ASSERT_TRUE(table.endRow());
  table.add(-3LL).add(0.1F).add(1.0 / 3).add(1e30F).add(-0.0F);
  ASSERT_TRUE(table.endRow());
  ASSERT_TRUE(output.commit());
  EXPECT_EQ(readFile(output.path()),
            "plain,\"a,b\",\"say \"\"hi\"\"\",\"two\nlines\",\n-3,0.1,0.3333333333333333,1e+30,0\n");
}

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

TEST(Text, TablesCountColumnsAndNotCodePoints) {
  EXPECT_EQ(widthInColumns("ab\u65E5\u672Ce\u0301"), 7U);
  EXPECT_EQ(padded("\u65E5", 4) + '|', "\u65E5  |");
  EXPECT_EQ(shortened("\u65E5\u672C\u8A9E\u65E5\u672C", 7), "\u65E5\u2026\u672C");
  EXPECT_EQ(shortened("abce\u0301e\u0301", 4), "a\u2026e\u0301e\u0301");
  EXPECT_EQ(shortened("abcdef", 1), "\u2026");
}

}  // namespace knanim::OutputFileTest
