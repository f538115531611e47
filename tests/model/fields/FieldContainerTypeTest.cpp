#include "model/fields/FieldContainerType.h"

#include "support/LogCapture.h"
#include "support/TestContainers.h"

#include <deque>

namespace kntest::FieldContainerTypeTest {

using FieldContainerTypeTest = SceneTest;

std::vector<FieldContainerType*> allTypes() { return FieldContainerFactory::the().getTypes(); }

// A branch of the tree of types that is deeper than hosts usually go. Never destroyed, as types never are.
std::deque<FieldContainerType>& deepTypes() {
  static auto* const types = new std::deque<FieldContainerType>;
  return *types;
}
[[maybe_unused]] bool const deepTypesRegistered = [] {
  static auto* const names = new std::deque<std::string>;
  FieldContainerType* parent = &FieldContainer::_type;
  for (int depth = 1; depth <= 40; ++depth) {
    names->push_back("TestDepth" + std::to_string(depth));
    parent = &deepTypes().emplace_back(names->back().c_str(), parent, nullptr, nullptr, 0, UInt16{0xFFFF});
    if (depth == 30)
      deepTypes().emplace_back("TestDepthAside", parent, nullptr, nullptr, 0, UInt16{0xFFFF}).initialise();
  }
  deepTypes().back().initialise();
  return true;
}();

TEST_F(FieldContainerTypeTest, ATypeWithMoreFieldsThanAMaskHoldsIsRefusedInTheLog) {
  static constexpr auto describe = [](std::vector<FieldDescription>& out) {
    for (auto id = static_cast<UInt32>(out.size()) + 1; id <= 128; ++id)
      out.emplace_back("full", id, FieldRole::Plain, SField<bool>::getClassType(), nullptr);
  };
  static constexpr auto create = []() -> FieldContainer* { return new Singles; };
  static FieldContainerType full("TestFull", &Singles::_type, create, describe, 0, 0xFFFF);
  static FieldContainerType child("TestFullChild", &full, create, nullptr, 0, 0xFFFF);
  LogCapture const log;
  child.initialise();
  for (FieldContainerType const* const type : {&full, &child}) {
    EXPECT_TRUE(type->isAbstract() && !type->createFieldContainer()) << type->getCName();
    EXPECT_EQ(type->getNumFieldDescs(), Singles::_type.getNumFieldDescs()) << type->getCName();
  }
  ASSERT_EQ(log.lines().size(), 2U);
  EXPECT_EQ(log.lines()[0].text, "container type TestFull cannot be used: it has more than 127 fields");
}

TEST_F(FieldContainerTypeTest, DerivationAndGroupsAgreeWithAWalkThroughTheParents) {
  std::vector<FieldContainerType*> const types = allTypes();
  for (FieldContainerType const* const type : types) {
    FieldContainerType const* opener = type;
    std::set<FieldContainerType const*> ancestors;
    for (FieldContainerType const* each = type; each != nullptr; each = each->getParent())
      ancestors.insert(each);
    while (opener->getParent() != nullptr && !opener->getParent()->isAbstract()) opener = opener->getParent();
    EXPECT_EQ(type->getGroupId(), opener->getId()) << type->getCName();
    for (FieldContainerType const* const other : types) {
      EXPECT_EQ(type->isDerivedFrom(*other), ancestors.contains(other))
          << type->getCName() << " from " << other->getCName();
    }
  }
}

TEST_F(FieldContainerTypeTest, TypesAreNumberedInOrderFoundByNameAndMakeTheirOwnKind) {
  std::vector<FieldContainerType*> const types = allTypes();
  for (std::size_t i = 0; i < types.size(); ++i) {
    SCOPED_TRACE(types[i]->getCName());
    EXPECT_EQ(types[i]->getId(), i + 1);
    auto const isSame = [&](auto const* type) { return type->getName() == types[i]->getName(); };
    EXPECT_EQ(FieldContainerFactory::the().findType(types[i]->getCName()),
              *std::ranges::find_if(types, isSame));
    FieldContainerPtr const made = types[i]->createFieldContainer();
    EXPECT_EQ(made.isAlive(), !types[i]->isAbstract());
    EXPECT_TRUE(!made || (&made->getType() == types[i] && made->getRefCount() == 0));
    made.subRef();
  }
  for (char const* const wrong : {"", "node", "Nod", "Nodes", " Node", static_cast<char const*>(nullptr)})
    EXPECT_EQ(FieldContainerFactory::the().findType(wrong), nullptr);
}

TEST_F(FieldContainerTypeTest, TheFirstOfTwoTypesKeepsTheNameAndTheLogNamesBoth) {
  static FieldContainerType first("TestTwin", &Group::_type, nullptr, nullptr, 0, 0xFFFF);
  static FieldContainerType second("TestTwin", &Multis::_type, nullptr, nullptr, 0, 0xFFFF);
  LogCapture const log;
  for (FieldContainerType* const type : {&first, &second}) type->initialise();
  EXPECT_TRUE(log.lines().empty()) << "statics come before a host's log";
  for (int i = 0; i < 2; ++i) Held const made(Node::create());
  ASSERT_EQ(log.errors().size(), 1U);
  for (char const* const part : {"'TestTwin'", "derived from Group", "derived from TestMultis"})
    EXPECT_TRUE(log.contains(part)) << log.errors()[0];
  EXPECT_EQ(FieldContainerFactory::the().findType("TestTwin"), &first);
}

/// The search by name as it would be done without a table.
FieldDescription const* searchByName(FieldContainerType const& type, std::string const& name) {
  for (FieldDescription const& description : type.getFieldDescriptions()) {
    if (name == description.getCName()) return &description;
  }
  return nullptr;
}

TEST_F(FieldContainerTypeTest, FieldsAreNumberedFromOneAndFoundByName) {
  for (FieldContainerType const* const type : allTypes()) {
    SCOPED_TRACE(type->getCName());
    UInt32 const count = type->getNumFieldDescs();
    std::set<std::string> names;
    for (UInt32 id = 1; id <= count; ++id) {
      FieldDescription const* const description = type->getFieldDescription(id);
      ASSERT_NE(description, nullptr);
      EXPECT_EQ(description->getFieldId(), id);
      std::string const name = description->getCName();
      EXPECT_TRUE(names.insert(name).second) << name << " stands twice";
      EXPECT_EQ(type->findFieldDescription(name.c_str()), description) << name;
      std::string otherCase = name, swapped = name;
      otherCase[0] = static_cast<char>(otherCase[0] ^ 0x20);
      std::swap(swapped[swapped.size() / 3], swapped[swapped.size() * 2 / 3]);
      for (std::string const& near : {name + "s", name + " ", name.substr(1), name.substr(0, name.size() - 1),
                                      otherCase, swapped, std::string(name.rbegin(), name.rend())}) {
        EXPECT_EQ(type->findFieldDescription(near.c_str()), searchByName(*type, near)) << near;
      }
    }
    for (UInt32 const outside : {0U, count + 1, count + 2, 0xFFFFFFFFU})
      EXPECT_EQ(type->getFieldDescription(outside), nullptr) << outside;
    EXPECT_TRUE(!type->findFieldDescription(nullptr) && !type->findFieldDescription(""));
  }
  EXPECT_EQ(Multis::Int32sFieldId, Singles::KeptFieldId + 1);
}

}  // namespace kntest::FieldContainerTypeTest
