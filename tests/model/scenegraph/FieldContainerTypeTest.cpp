#include "model/scenegraph/FieldContainerType.h"

#include "model/scenegraph/Group.h"
#include "model/scenegraph/Transform3D.h"
#include "support/TestContainers.h"

#include <cctype>
#include <cstring>
#include <set>

namespace {

using namespace osg;
using kntest::Held;
using kntest::Multis;
using kntest::Singles;

using FieldContainerTypeTest = kntest::SceneTest;

std::vector<FieldContainerType*> allTypes() { return FieldContainerFactory::the().getTypes(); }

TEST_F(FieldContainerTypeTest, CastGoesUpAndDownButNotSideways) {
  Held const node(Node::create());
  Held const transform(Transform3D::create());
  Held const multis(Multis::create());
  FieldContainerPtr const untyped = *transform;

  EXPECT_EQ(dcast<Transform3DPtr>(untyped), *transform);
  EXPECT_EQ(dcast<NodeCorePtr>(untyped), *transform);
  EXPECT_EQ(dcast<AttachmentContainerPtr>(untyped), *transform);
  EXPECT_EQ(dcast<FieldContainerPtr>(*transform), *transform);
  EXPECT_EQ(dcast<Singles::Ptr>(FieldContainerPtr(*multis)), *multis);
  EXPECT_EQ(dcast<NodePtr>(untyped), nullptr);
  EXPECT_EQ(dcast<GroupPtr>(untyped), nullptr);
  EXPECT_EQ(dcast<AttachmentPtr>(FieldContainerPtr(*node)), nullptr);

  Held const base(Singles::create());
  EXPECT_EQ(dcast<Multis::Ptr>(FieldContainerPtr(*base)), nullptr);
  EXPECT_EQ(dcastTo<Singles>(*multis), &**multis);
  EXPECT_EQ(dcastTo<Multis>(*base), nullptr);
  Transform3DPtr const cast = dcast<Transform3DPtr>(untyped);
  EXPECT_EQ(cast.getContainerSize(), untyped.getContainerSize());
  EXPECT_EQ(cast.getParentEPos(), untyped.getParentEPos());
}

TEST_F(FieldContainerTypeTest, DerivationAndGroupsAgreeWithAWalkThroughTheParents) {
  std::vector<FieldContainerType*> const types = allTypes();
  ASSERT_GE(types.size(), 13U);
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
  EXPECT_EQ(Multis::_type.getParent(), &Singles::_type);
  EXPECT_EQ(Transform3D::_type.getParent(), &NodeCore::_type);
}

TEST_F(FieldContainerTypeTest, TypesAreFoundByNameAndNumberedInOrder) {
  std::vector<FieldContainerType*> const types = allTypes();
  for (std::size_t i = 0; i < types.size(); ++i) {
    EXPECT_EQ(types[i]->getId(), i + 1);
    EXPECT_EQ(FieldContainerFactory::the().findType(types[i]->getCName()), types[i]);
    FieldContainerType const* const parent = types[i]->getParent();
    EXPECT_TRUE(parent == nullptr || parent->getId() < types[i]->getId()) << types[i]->getCName();
  }
  EXPECT_EQ(FieldContainerFactory::the().findType("Node"), &Node::_type);
  for (char const* const wrong : {"", "node", "Nod", "Nodes", " Node", static_cast<char const*>(nullptr)}) {
    EXPECT_EQ(FieldContainerFactory::the().findType(wrong), nullptr);
  }
}

TEST_F(FieldContainerTypeTest, EveryConcreteTypeMakesItsOwnKindAndNoAbstractOneAny) {
  for (FieldContainerType const* const type : allTypes()) {
    FieldContainerPtr const made = type->createFieldContainer();
    if (type->isAbstract()) {
      EXPECT_EQ(made, nullptr) << type->getCName();
      continue;
    }
    ASSERT_TRUE(made.isAlive()) << type->getCName();
    EXPECT_EQ(&made->getType(), type);
    EXPECT_EQ(made.findType(), type);
    EXPECT_EQ(made->getRefCount(), 0) << type->getCName();
    made.subRef();
  }
  EXPECT_TRUE(FieldContainer::_type.isAbstract() && NodeCore::_type.isAbstract() &&
              Attachment::_type.isAbstract());
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
      EXPECT_EQ(description->getFieldMask(), BitVector::bit(id));
      std::string const name = description->getCName();
      EXPECT_TRUE(names.insert(name).second) << name << " stands twice";
      EXPECT_EQ(type->findFieldDescription(name.c_str()), description) << name;
      std::string otherCase = name;
      otherCase[0] = static_cast<char>(std::isupper(otherCase[0]) ? std::tolower(otherCase[0])
                                                                  : std::toupper(otherCase[0]));
      std::string swapped = name;
      std::swap(swapped[swapped.size() / 3], swapped[swapped.size() * 2 / 3]);
      for (std::string const& near : {name + "s", name + " ", name.substr(1), name.substr(0, name.size() - 1),
                                      otherCase, swapped, std::string(name.rbegin(), name.rend())}) {
        EXPECT_EQ(type->findFieldDescription(near.c_str()), searchByName(*type, near)) << near;
      }
    }
    for (UInt32 const outside : {0U, count + 1, count + 2, 0xFFFFFFFFU}) {
      EXPECT_EQ(type->getFieldDescription(outside), nullptr) << outside;
    }
    EXPECT_EQ(type->findFieldDescription(nullptr), nullptr);
    EXPECT_EQ(type->findFieldDescription(""), nullptr);
  }
}

TEST_F(FieldContainerTypeTest, DerivedTypesContinueTheNumbersOfTheirParents) {
  EXPECT_EQ(Singles::BoolFieldId, 1U);
  EXPECT_EQ(Singles::KeptFieldId, Singles::_type.getNumFieldDescs());
  EXPECT_EQ(Multis::Int32sFieldId, Singles::KeptFieldId + 1);
  EXPECT_EQ(Multis::OwnedNodesFieldId, Multis::_type.getNumFieldDescs());
}

TEST_F(FieldContainerTypeTest, FieldsOfAContainerAreReachedByNameAndId) {
  Held const multis(Multis::create());
  multis->setReal32(2.5F);
  multis->getVec3fs().push_back(Vec3f(1, 2, 3));
  for (FieldDescription const& description : multis->getType().getFieldDescriptions()) {
    Field* const field = multis->getField(description.getCName());
    ASSERT_NE(field, nullptr) << description.getCName();
    EXPECT_EQ(field, multis->getField(description.getFieldId())) << description.getCName();
    EXPECT_EQ(field->getType(), description.getFieldType()) << description.getCName();
  }
  EXPECT_EQ(multis->getField("real32")->getContentType(), SField<Real32>::getClassType().getContentType());
  EXPECT_EQ(static_cast<SField<Real32>*>(multis->getField("real32"))->getValue(), 2.5F);
  EXPECT_EQ(multis->getField("vec3fs"), &multis->getVec3fs());
  EXPECT_EQ(multis->getField("real"), nullptr);
  EXPECT_EQ(multis->getField(static_cast<char const*>(nullptr)), nullptr);
  EXPECT_EQ(multis->getField(0U), nullptr);
}

}  // namespace
