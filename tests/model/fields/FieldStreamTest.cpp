#include "model/fields/FieldStream.h"

#include "support/TestContainers.h"

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
      EXPECT_TRUE(reader.failed() && field.getSize() == 0) << description.getCName() << ' ' << count;
    }
  }
  std::string const justFits = std::string("\2\0\0\0", 4) + "ab";
  FieldReader reader = readerOf(justFits);
  EXPECT_EQ(reader.getCount(1), 2U);
  EXPECT_EQ(readerOf(justFits).getCount(2), 0U);
}

}  // namespace FieldStreamTest
