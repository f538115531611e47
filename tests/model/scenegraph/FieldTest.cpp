#include "model/scenegraph/Field.h"

#include "model/scenegraph/Group.h"
#include "support/TestContainers.h"

#include <deque>
#include <map>
#include <random>
#include <set>

namespace {

using namespace osg;
using kntest::Held;
using kntest::Multis;
using kntest::Singles;

using FieldTest = kntest::SceneTest;

std::string textOf(Field const& field) {
  std::string text;
  field.putToString(text);
  return text;
}

/// Fills fields of any type with random values, by way of the binary form: every pattern of bits is a number, and
/// bits are sparse so that zero, false and null occur. Handles lead to containers made for the purpose, of a type
/// that the field can hold.
class RandomFields {
 public:
  explicit RandomFields(UInt32 seed) : _random(seed) {}

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
    std::string const zeros(1000, '\0');
    for (FieldDescription const& description : container.getType().getFieldDescriptions()) {
      read(*description.getField(container), zeros);
    }
  }

  std::string write(Field const& field) {
    FieldWriter bytes = writer();
    field.write(bytes);
    return bytes.takeBytes();
  }

  /// Returns whether the bytes were read to their end.
  bool read(Field& field, std::string const& bytes) {
    auto& pool = poolFor(field.getContentType());
    FieldReader reader(bytes, [&pool](UInt32 index) {
      return index == 0 || pool.empty() ? FieldContainerPtr() : *pool[(index - 1) % pool.size()];
    });
    field.read(reader);
    EXPECT_FALSE(reader.failed()) << "no random values for content type "
                                  << field.getContentType().getCName();
    return reader.atEnd();
  }

  std::size_t handlesWritten() const { return _handlesWritten; }

 private:
  using Pool = std::deque<Held<FieldContainerPtr>>;

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

  Pool& poolFor(DataType const& content) {
    auto const [place, isNew] = _pools.try_emplace(content.getId());
    std::string name = content.getName().str();
    if (name == "AttachmentSlot") name = "AttachmentPtr";
    if (!isNew || !name.ends_with("Ptr")) return place->second;
    FieldContainerType const* const wanted =
        FieldContainerFactory::the().findType(name.substr(0, name.size() - 3).c_str());
    if (wanted == nullptr) return place->second;
    for (FieldContainerType const* const type : FieldContainerFactory::the().getTypes()) {
      if (type->isAbstract() || !type->isDerivedFrom(*wanted) || place->second.size() >= 4) continue;
      for (int i = 0; i < 2; ++i) {
        auto const& made = place->second.emplace_back(type->createFieldContainer());
        _numbers[*made] = static_cast<UInt32>(place->second.size());
      }
    }
    return place->second;
  }

  std::mt19937 _random;
  std::map<UInt32, Pool> _pools;
  std::map<FieldContainerPtr, UInt32> _numbers;
  std::size_t _handlesWritten = 0;
};

/// Drops what a container holds from its making, before its fields are overwritten.
void letGo(FieldContainer& container) {
  for (FieldDescription const& description : container.getType().getFieldDescriptions()) {
    if (description.getRole() != FieldRole::Owned) continue;
    description.getField(container)->visitHandles([](FieldContainerPtr const& handle) {
      handle.subRef();
      return FieldContainerPtr();
    });
  }
}

void expectCopyableAndComparable(Field& field, Field& other, RandomFields& random) {
  std::string const before = random.write(other);
  for (int tries = 0; tries < 100 && random.write(field) == before; ++tries) random.fill(field);
  EXPECT_FALSE(field.isEqual(other));
  EXPECT_FALSE(other.isEqual(field));
  EXPECT_TRUE(other.copyFrom(field));
  EXPECT_TRUE(other.isEqual(field));
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
  random.write(field);
  std::size_t const held = random.handlesWritten() - writtenBefore;
  std::size_t visited = 0;
  std::string const bytes = random.write(field);
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
  RandomFields random(20240607);
  std::size_t fields = 0;
  for (FieldContainerType const* const type : FieldContainerFactory::the().getTypes()) {
    if (type->isAbstract()) continue;
    Held const one(type->createFieldContainer());
    Held const two(type->createFieldContainer());
    letGo(**one);
    letGo(**two);
    for (FieldDescription const& description : type->getFieldDescriptions()) {
      SCOPED_TRACE(std::string(type->getCName()) + '.' + description.getCName());
      if (description.getRole() == FieldRole::Derived) continue;
      Field& field = *description.getField(**one);
      Field& other = *description.getField(**two);
      for (int round = 0; round < 5; ++round) {
        expectWrittenAndReadBack(field, other, random);
        expectCopyableAndComparable(field, other, random);
      }
      expectHandlesVisited(field, random);
      ++fields;
    }
    random.blank(**one);
    random.blank(**two);
  }
  EXPECT_GE(fields, Multis::_type.getNumFieldDescs() + Singles::_type.getNumFieldDescs());
}

TEST_F(FieldTest, OnlyFieldsOfOneTypeAreCopied) {
  Held const multis(Multis::create());
  multis->setVec3f(Vec3f(1, 2, 3));
  multis->getPnt3fs().push_back(Pnt3f(1, 2, 3));
  for (FieldDescription const& target : multis->getType().getFieldDescriptions()) {
    for (FieldDescription const& source : multis->getType().getFieldDescriptions()) {
      if (target.getFieldType() == source.getFieldType()) continue;
      Field& field = *target.getField(**multis);
      std::string const before = textOf(field);
      EXPECT_FALSE(field.copyFrom(*source.getField(**multis)))
          << target.getCName() << " from " << source.getCName();
      EXPECT_FALSE(field.isEqual(*source.getField(**multis)));
      EXPECT_EQ(textOf(field), before);
    }
  }
}

TEST_F(FieldTest, ContentTypesAreToldApartByNameIdAndCardinality) {
  Held const multis(Multis::create());
  std::map<std::string, std::set<UInt32>> idsByContent;
  std::set<UInt32> ids;
  for (FieldDescription const& description : multis->getType().getFieldDescriptions()) {
    FieldType const& type = description.getFieldType();
    idsByContent[type.getContentType().getName().str()].insert(type.getId());
    ids.insert(type.getId());
  }
  // 18 kinds of value, text, and the handle of a node.
  EXPECT_EQ(idsByContent.size(), 20U);
  EXPECT_EQ(ids.size(), 20U);
  EXPECT_EQ(SField<Vec3f>::getClassType().getContentType(), MField<Vec3f>::getClassType().getContentType());
  EXPECT_FALSE(SField<Vec3f>::getClassType() == MField<Vec3f>::getClassType());
  EXPECT_FALSE(SField<Vec3f>::getClassType().getContentType() ==
               SField<Pnt3f>::getClassType().getContentType());
  EXPECT_EQ(&DataType::byName("Vec3f"), &SField<Vec3f>::getClassType().getContentType());
}

TEST_F(FieldTest, DefaultsMembersAndTextForm) {
  Held const multis(Multis::create());
  EXPECT_TRUE(multis->getBool());
  EXPECT_EQ(multis->getInt32(), -7);
  EXPECT_EQ(multis->getColor4f(), Color4f(0, 0, 0, 1));
  EXPECT_EQ(textOf(*multis->getField("matrix")), "1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1");
  EXPECT_EQ(textOf(*multis->getField("quaternion")), "0 0 0 1");
  multis->getReal32() = 0.25F;
  EXPECT_EQ(textOf(*multis->getField("real32")), "0.25");
  multis->getPnt2fs().push_back(Pnt2f(0.5F, -1));
  multis->getPnt2fs().push_back(Pnt2f(3, 4));
  EXPECT_EQ(textOf(multis->getPnt2fs()), "0.5 -1\n3 4");
  EXPECT_EQ(multis->getPnt2fs().getSize(), 2U);
  MField<Pnt2f> const copy = multis->getPnt2fs();
  EXPECT_TRUE(copy.isEqual(multis->getPnt2fs()));
  multis->getPnt2fs()[1][0] = std::nextafter(3.F, 4.F);
  EXPECT_FALSE(copy.isEqual(multis->getPnt2fs()));
  EXPECT_EQ(copy.back(), Pnt2f(3, 4));
}

}  // namespace
