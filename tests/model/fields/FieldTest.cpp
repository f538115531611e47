#include "model/fields/Field.h"

#include "model/fields/FieldStream.h"
#include "support/TestContainers.h"

#include <deque>

namespace kntest::FieldTest {

using FieldTest = SceneTest;

std::string textOf(Field const& field) {
  std::string text;
  field.putToString(text);
  return text;
}

/// Fills fields of any type with random values, by way of the binary form: every pattern of bits is a number, and
/// bits are sparse so that zero, false and null occur. Handles lead to containers that the field can hold, of which
/// there are two of every type.
class RandomFields {
 public:
  RandomFields() {
    for (FieldContainerType const* const type : FieldContainerFactory::the().getTypes()) {
      for (int i = 0; i < 2 && !type->isAbstract(); ++i) {
        FieldContainerPtr const made = *_pool.emplace_back(type->createFieldContainer());
        _numbers[made] = static_cast<UInt32>(_pool.size());
      }
    }
  }

  void fill(Field& field) {
    FieldWriter bytes = writer();
    bool const isMulti = field.getCardinality() == FieldType::Cardinality::Multi;
    UInt32 const count = isMulti ? 1 + number() % 4 : 1;
    if (isMulti) bytes.put(count);
    bool const isText = field.getContentType().getName() == "string";
    for (UInt32 i = 0; i < count && isText; ++i) bytes.putText(text());
    for (UInt32 i = 0; i < count * 100 && !isText; ++i) bytes.put(number() & number() & number());
    read(field, bytes.bytes());
  }

  /// Sets all fields of a container to zero and none, so that it holds no reference that it never took.
  void blank(FieldContainer& container) {
    for (FieldDescription const& description : container.getType().getFieldDescriptions())
      read(*description.getField(container), std::string(1000, '\0'));
  }

  std::string write(Field const& field) {
    FieldWriter bytes = writer();
    field.write(bytes);
    return bytes.takeBytes();
  }

  /// Returns whether the bytes were read to their end.
  bool read(Field& field, std::string const& bytes) {
    FieldContainerType const* const type = heldType(field.getContentType());
    FieldReader reader(bytes, [this, type](UInt32 number) {
      if (number == 0 || type == nullptr) return FieldContainerPtr();
      std::size_t const step = number % 2 == 0 ? 1 : _pool.size() - 1;
      std::size_t place = (number - 1) % _pool.size();
      while (!_pool[place]->getType().isDerivedFrom(*type)) place = (place + step) % _pool.size();
      return *_pool[place];
    });
    field.read(reader);
    EXPECT_FALSE(reader.failed()) << "no random values for " << field.getContentType().getCName();
    return reader.atEnd();
  }

  std::size_t handlesWritten() const { return _handlesWritten; }

 private:
  UInt32 number() { return static_cast<UInt32>(_random()); }
  std::string text() {
    std::string result(number() % 20, '\0');
    for (char& each : result) each = static_cast<char>(number());
    return result;
  }
  FieldWriter writer() {
    return FieldWriter([this](FieldContainerPtr const& handle) {
      ++_handlesWritten;
      return handle ? _numbers.at(handle) : 0;
    });
  }

  std::mt19937 _random{20240607};
  std::deque<Held<FieldContainerPtr>> _pool;
  std::map<FieldContainerPtr, UInt32> _numbers;
  std::size_t _handlesWritten = 0;
};

void expectCopyableAndComparable(Field& field, Field& other, RandomFields& random) {
  std::string const before = random.write(other);
  for (int tries = 0; tries < 100 && random.write(field) == before; ++tries) random.fill(field);
  EXPECT_FALSE(field.isEqual(other) || other.isEqual(field));
  EXPECT_TRUE(other.copyFrom(field) && other.isEqual(field));
  EXPECT_EQ(random.write(other), random.write(field));
}

void expectWrittenAndReadBack(Field& field, Field& other, RandomFields& random) {
  random.fill(field);
  std::string const bytes = random.write(field);
  EXPECT_TRUE(random.read(other, bytes)) << "bytes were left over";
  EXPECT_TRUE(other.isEqual(field));
  EXPECT_EQ(textOf(other), textOf(field));
  EXPECT_EQ(other.getSize(), field.getSize());
}

void expectHandlesVisited(Field& field, RandomFields& random) {
  std::size_t const writtenBefore = random.handlesWritten();
  std::string const bytes = random.write(field);
  std::size_t const held = random.handlesWritten() - writtenBefore;
  std::size_t visited = 0;
  field.visitHandles([&](FieldContainerPtr const& handle) {
    ++visited;
    return handle;
  });
  EXPECT_EQ(visited, held);
  EXPECT_EQ(random.write(field), bytes) << "handing back the same handle changes nothing";

  Held const stranger(Singles::create());
  field.visitHandles([&](FieldContainerPtr const&) { return *stranger; });
  std::set<FieldContainerPtr> left;
  field.visitHandles([&](FieldContainerPtr const& handle) {
    left.insert(handle);
    return FieldContainerPtr();
  });
  bool const takesAnything = field.getContentType().getName() == "FieldContainerPtr";
  std::set<FieldContainerPtr> expected;
  if (held > 0) expected.insert(takesAnything ? FieldContainerPtr(*stranger) : FieldContainerPtr());
  EXPECT_EQ(left, expected) << "what the field cannot hold becomes null";
}

TEST_F(FieldTest, EveryFieldOfEveryTypeIsWrittenReadCopiedComparedAndVisited) {
  RandomFields random;
  for (FieldContainerType const* const type : FieldContainerFactory::the().getTypes()) {
    if (type->isAbstract()) continue;
    Held const one(type->createFieldContainer());
    Held const two(type->createFieldContainer());
    for (FieldDescription const& description : type->getFieldDescriptions()) {
      SCOPED_TRACE(std::string(type->getCName()) + '.' + description.getCName());
      if (description.getRole() == FieldRole::Derived) continue;
      Field& field = *description.getField(**one);
      Field& other = *description.getField(**two);
      if (description.getRole() == FieldRole::Owned) letGo(field), letGo(other);
      for (int round = 0; round < 5; ++round) {
        expectWrittenAndReadBack(field, other, random);
        expectCopyableAndComparable(field, other, random);
      }
      expectHandlesVisited(field, random);
    }
    random.blank(**one);
    random.blank(**two);
  }
}

TEST_F(FieldTest, OnlyFieldsOfOneTypeAreCopied) {
  Held const multis(Multis::create());
  for (FieldDescription const& target : multis->getType().getFieldDescriptions()) {
    for (FieldDescription const& source : multis->getType().getFieldDescriptions()) {
      if (target.getFieldType() == source.getFieldType()) continue;
      Field& field = *target.getField(**multis);
      Field const& other = *source.getField(**multis);
      std::string const before = textOf(field);
      EXPECT_FALSE(field.copyFrom(other) || field.isEqual(other)) << target.getCName() << source.getCName();
      EXPECT_EQ(textOf(field), before);
    }
  }
}

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

}  // namespace kntest::FieldTest
