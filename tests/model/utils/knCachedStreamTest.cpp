#include "model/utils/knCachedStream.h"

#include "model/utils/knFile.h"
#include "support/TemporaryFolder.h"
#include "support/Testing.h"

#include <cstdint>

namespace knCachedStreamTest {

constexpr std::size_t BufferSizes[] = {0, 1, 7, 4096, 0x50000};

class KnCachedStreamTest : public testing::Test {
 protected:
  std::string content() const {
    cached_ifstream in(path, 4096, 1);
    std::string text(std::istreambuf_iterator<char>(in), {});
    EXPECT_TRUE(in.close());
    return text;
  }

  kntest::TemporaryFolder const folder;
  std::string const path = folder.file("file");
};

TEST_F(KnCachedStreamTest, WhatCannotBeOpenedFails) {
  for (std::string const& name : {std::string(), std::string("/"), path + "/missing"}) {
    cached_ofstream out(name, 16, 1);
    EXPECT_TRUE(out.fail() && !out.is_open() && !out.close()) << name;
    cached_ifstream in(name, 16, 1);
    EXPECT_TRUE(in.fail() && !in.is_open() && !in.close()) << name;
  }
  cached_ofstream(path, 100, 1) << "kept";
  EXPECT_TRUE(cached_ofstream(path, SIZE_MAX, 1).fail());
  EXPECT_TRUE(cached_ifstream(path, SIZE_MAX, 1).fail());
  EXPECT_EQ(content(), "kept") << "written by the destructor, and left alone without memory for a buffer";
}

TEST_F(KnCachedStreamTest, FullDiskIsToldAtTheLatestByClose) {
  for (std::size_t const size : BufferSizes) {
    cached_ofstream out("/dev/full", size, 1);
    ASSERT_TRUE(out.is_open());
    out << "some text";
    EXPECT_EQ(out.bad(), size < 9) << "only a buffer that holds it all can put the failure off";
    out.clear();
    EXPECT_FALSE(out.close()) << "a state cleared by the caller does not hide the loss, buffer " << size;
    EXPECT_TRUE(out.fail());
  }
}

TEST_F(KnCachedStreamTest, ClosingWritesAllAndEndsTheStream) {
  cached_ofstream out(path, 100, 0);
  out << "line\r\n" << '\0' << '\xFF';
  EXPECT_EQ(content(), "");
  EXPECT_TRUE(out.close());
  EXPECT_EQ(content(), std::string("line\r\n\0\xFF", 8));
  EXPECT_FALSE(out.is_open() || out.close());
  out.clear();
  EXPECT_FALSE(out << "late");
}

TEST_F(KnCachedStreamTest, PiecesOfAnySizeComeBackTheSame) {
  std::mt19937 random(7);
  auto const pieceSize = [&random] { return random() % 4 == 0 ? random() % 9000 : random() % 12; };
  for (std::size_t const size : BufferSizes) {
    std::string expected;
    cached_ofstream out(path, size, 1);
    for (int i = 0; i < 300; ++i) {
      std::string piece(pieceSize(), '\0');
      for (char& c : piece) c = static_cast<char>(random());
      piece.size() == 1 ? out.put(piece[0]) : out << piece;
      expected += piece;
      ASSERT_EQ(out.tellp(), static_cast<std::streamoff>(expected.size()));
    }
    ASSERT_TRUE(out.close());

    cached_ifstream in(path, size, 1);
    std::string got;
    while (got.size() < expected.size()) {
      std::string piece(std::min<std::size_t>(pieceSize(), expected.size() - got.size()), '\0');
      in.read(piece.data(), static_cast<std::streamsize>(piece.size()));
      ASSERT_TRUE(in);
      got += piece;
      ASSERT_EQ(in.tellg(), static_cast<std::streamoff>(got.size()));
      if (got.empty()) continue;
      in.peek();
      ASSERT_TRUE(in.unget()) << "one byte can be put back at any place";
      ASSERT_EQ(in.get(), std::char_traits<char>::to_int_type(got.back()));
    }
    EXPECT_TRUE(got == expected) << "buffer " << size;
    EXPECT_EQ(in.peek(), EOF);
    EXPECT_TRUE(in.eof() && !in.bad());
    EXPECT_TRUE(in.close()) << "meeting the end is no failure";
  }
}

TEST_F(KnCachedStreamTest, Seeks) {
  for (std::size_t const size : BufferSizes) {
    cached_ofstream out(path, size, 1);
    out << "0123456789";
    out.seekp(2) << "ab";
    out.seekp(0, std::ios::end) << "X";
    ASSERT_TRUE(out.close());

    cached_ifstream in(path, size, 1);
    EXPECT_EQ(in.get(), '0');
    EXPECT_EQ(in.seekg(2, std::ios::cur).tellg(), 3);
    EXPECT_EQ(in.get(), 'b');
    EXPECT_EQ(in.seekg(-1, std::ios::end).get(), 'X');
    EXPECT_EQ(in.get(), EOF);
    in.clear();
    EXPECT_EQ(in.seekg(1).peek(), '1');
    EXPECT_FALSE(in.seekg(INT64_MIN, std::ios::cur));
    in.clear();
    EXPECT_FALSE(in.seekg(-1)) << "before the beginning";
  }
  EXPECT_EQ(content(), "01ab456789X");
}

TEST_F(KnCachedStreamTest, AReadErrorIsNotTakenForTheEnd) {
  cached_ifstream in("/proc/self/mem", 64, 1);  // can be opened, but its first page can't be read
  ASSERT_TRUE(in.is_open());
  EXPECT_EQ(in.get(), EOF);
  EXPECT_TRUE(in.bad());
  EXPECT_FALSE(in.close());
}

TEST(KnFile, GetExtensionLooksAtTheLastComponentOnly) {
  struct Case {
    char const *name, *extension;
  };
  for (Case const& c :
       {Case{"", ""}, Case{"name", ""}, Case{"name.osb", "osb"}, Case{"x.tar.gz", "gz"}, Case{"a.b/c", ""},
        Case{"a.b/c.KDB", "KDB"}, Case{".hidden", ""}, Case{".hidden.xml", "xml"}, Case{"dir/.hidden", ""},
        Case{"name.", ""}, Case{".", ""}, Case{"..", ""}, Case{"a/..", ""}, Case{"a.osb/", ""},
        Case{"/.", ""}, Case{"a b.o s", "o s"}}) {
    EXPECT_EQ(knFile::getExtension(c.name), c.extension) << c.name;
  }
}

}  // namespace knCachedStreamTest
