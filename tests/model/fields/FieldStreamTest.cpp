#include "model/fields/FieldStream.h"

#include "support/TestContainers.h"

#include <cstring>

namespace FieldStreamTest {

using namespace osg;
using namespace kntest;

using FieldStreamTest = SceneTest;

FieldReader readerOf(std::string_view bytes) {
  return FieldReader(bytes, [](UInt32) { return FieldContainerPtr(); });
}

FieldWriter writer() {
  return FieldWriter([](FieldContainerPtr const&) { return 0U; });
}

/// Reads all fields of a new container; the reader tells how it went.
FieldReader readAll(std::string_view bytes) {
  Held const target(Multis::create());
  FieldReader reader = readerOf(bytes);
  for (FieldDescription const& description : target->getType().getFieldDescriptions()) {
    description.getField(**target)->read(reader);
  }
  return reader;
}

TEST_F(FieldStreamTest, NoticesTheEndWhereverItIsCutOff) {
  Held const source(Multis::create());
  source->setText("some text");
  source->getTexts() = {"a", ""};
  source->getMatrices().push_back(Matrix());
  source->getUInt8s() = {0, 1, 2};
  source->getLinks().push_back(NodePtr());
  FieldWriter all = writer();
  for (FieldDescription const& description : source->getType().getFieldDescriptions()) {
    description.getField(**source)->write(all);
  }
  std::string const bytes = all.takeBytes();
  EXPECT_FALSE(readAll(bytes).failed());
  EXPECT_TRUE(readAll(bytes).atEnd());
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    // A copy of exactly that size, so that a memory checker sees a read behind its end.
    std::vector<char> const cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    FieldReader const reader = readAll({cut.data(), cut.size()});
    ASSERT_TRUE(reader.failed()) << size;
    ASSERT_LE(reader.position(), size);
  }
}

TEST_F(FieldStreamTest, BelievesNoCountThatTheRestCannotHold) {
  Held const target(Multis::create());
  for (FieldDescription const& description : target->getType().getFieldDescriptions()) {
    if (description.getFieldType().getCardinality() != FieldType::Cardinality::Multi) continue;
    Field& field = *description.getField(**target);
    for (UInt32 const count : {65U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
      FieldWriter bytes = writer();
      bytes.put(count);
      for (int i = 0; i < 64; ++i) bytes.put(UInt8{0});
      FieldReader reader = readerOf(bytes.bytes());
      field.read(reader);
      EXPECT_TRUE(reader.failed()) << description.getCName() << ' ' << count;
      EXPECT_EQ(field.getSize(), 0U) << description.getCName() << ' ' << count;
    }
  }
  std::string const justFits = std::string("\2\0\0\0", 4) + "ab";
  FieldReader reader = readerOf(justFits);
  EXPECT_EQ(reader.getCount(1), 2U);
  EXPECT_EQ(readerOf(justFits).getCount(2), 0U);
}

TEST_F(FieldStreamTest, GivesOnlyZerosAfterTheFirstFailure) {
  FieldWriter bytes = writer();
  bytes.put(UInt32{1000});
  bytes.putText("long enough to be read");
  FieldReader reader = readerOf(bytes.bytes());
  EXPECT_EQ(reader.getText(), "") << "a text longer than the rest";
  EXPECT_TRUE(reader.failed());
  EXPECT_EQ(reader.get<UInt32>(), 0U);
  EXPECT_EQ(reader.getText(), "");
  EXPECT_EQ(reader.getCount(0), 0U);
  char target[3] = {'x', 'x', 'x'};
  reader.getBytes(target, 3);
  EXPECT_EQ(std::memcmp(target, "\0\0\0", 3), 0);
}

}  // namespace FieldStreamTest
