#include "model/geometry/Geometry.h"
#include "support/SceneStage.h"

namespace kntest::FieldReadingTest {

/// Fields whose names count in reading.
class NamedFields : public FieldContainer {
  KN_CONTAINER(NamedFields, NamedFields, FieldContainer)
 public:
  KN_SFIELD(Vec4f, GlareParameter, glareParameter)
  KN_SFIELD(Vec2f, FieldOfView, fieldOfView)
  KN_SFIELD(GeoPositionsPtr, Positions, positions)
  KN_CONTAINER_END
};
KN_CONTAINER_TYPE(NamedFields, NamedFields, "TestNamedFields")

bool holdsWholeNumber(Field const& field) {
  FieldType const& type = field.getType();
  return type == SField<bool>::getClassType() || type == SField<Int32>::getClassType() ||
         type == SField<UInt32>::getClassType() || type == SField<Int64>::getClassType() ||
         type == SField<UInt64>::getClassType();
}

class FieldReadingTest : public SceneStage {
 protected:
  template <class Handle>
  float read(Handle const& container, char const* name, int index = 0) {
    return manager.getOSGFieldValue(FieldContainerPtr(container), name, index);
  }
};

TEST_F(FieldReadingTest, ByContentType) {
  Held const one(Singles::create());
  one->setBool(true);
  one->setInt32(-7);
  one->setUInt32(0x80000002U);
  one->setInt64(-3);
  one->setUInt64(12);
  one->setReal32(0.5F);
  one->setColor4f({1, 2, 3, 4});
  struct {
    char const* field;
    int index;
    float value;
  } const rows[] = {{"bool", 0, 1},       {"bool", 4, 0},    {"int32", 9, -7},  {"int32", 11, 0},
                    {"int32", 10, 1},     {"uint32", 10, 0}, {"uint32", 41, 1}, {"uint32", 0, 2147483650.F},
                    {"int64", 3, -3},     {"int64", 10, 0},  {"uint64", 12, 0}, {"real32", 2, 0.5F},
                    {"real32", 4, 0},     {"color4f", 3, 4}, {"color4f", 4, 0}, {"color4f", -1, 0},
                    {"quaternion", 3, 0}, {"text", 0, 0},    {"nothing", 0, 0}};
  for (auto const& [field, index, value] : rows) EXPECT_EQ(read(*one, field, index), value) << field << index;
  EXPECT_EQ(read(FieldContainerPtr(), "bool"), 0.F);
  EXPECT_EQ(read(*one, nullptr), 0.F);
  EXPECT_TRUE(changes.getEntries().empty());

  Held const named(NamedFields::create());
  named->setGlareParameter({0, 0, 3.1415927F, 3.1415927F});
  named->setFieldOfView({1.5F, 0});
  EXPECT_FLOAT_EQ(read(*named, "glareParameter", 3), 180.F);
  EXPECT_EQ(read(*named, "glareParameter", 2), 3.1415927F);
  EXPECT_EQ(read(*named, "fieldOfView"), 1.5F) << "in radians";
  EXPECT_EQ(read(*named, "positions"), 0.F);
}

TEST_F(FieldReadingTest, ByRecordCurveAndPath) {
  NodePtr const node = addNode(Transform3D::create());
  coreOf<Transform3D>(node)->setTranslation({1, 2, 3});
  UInt32 const id = node->getCore().getContainerId();
  struct {
    char const* path;
    float value;
  } const paths[] = {{"Node.translation.Y", 2}, {"Node.translation.someB", 3}, {"Node.translation", 1},
                     {"translation", 1},        {"translation.Y", 0},          {"", 0},
                     {"a.translation.X.G", 2}};
  for (auto const& [path, value] : paths) EXPECT_EQ(manager.getOSGFieldValue(id, path), value) << path;

  knOSGChannelData channel;
  channel.containerId = id;
  channel.fieldName = "translation";
  channel.valueIndex = 2;
  EXPECT_EQ(manager.getOSGFieldValue(channel), 3.F);
  AnimNodePtr const tree = animate(node, newCurveNode("translation", 1, {{0, 0}}, "moved"));
  EXPECT_EQ(manager.getOSGFieldValue(curveOf(tree), FieldContainerPtr()), 2.F) << "its first aim";
  Held const other(Transform3D::create());
  other->setTranslation({0, 9, 0});
  EXPECT_EQ(manager.getOSGFieldValue(curveOf(tree), *other), 9.F);
  Held const loose(newFieldCurve("translation", 1, {{0, 0}}));
  EXPECT_EQ(manager.getOSGFieldValue(*loose, FieldContainerPtr()), 0.F);
  root()->subChild(node);
  EXPECT_EQ(manager.getOSGFieldValue(channel), 0.F);
  EXPECT_EQ(manager.getOSGFieldValue(id, "translation"), 0.F);
}

/// What is written to a channel is read back, on every kind of container, but for what is told by name.
TEST_F(FieldReadingTest, MirrorsWriting) {
  std::mt19937 random(23);
  std::uniform_real_distribution<float> uniform(0.1F, 0.9F);
  std::set<std::string> const exceptions = {"aimTranslation",
                                            "upTranslation",  // written in whole sets of curves alone
                                            "fieldOfView"};   // written in degrees, read in radians
  std::size_t checked = 0;
  for (FieldContainerType const* const type : FieldContainerFactory::the().getTypes()) {
    if (!type->isDerivedFrom(NodeCore::_type) || type->isDerivedFrom(AnimObjectBase::_type)) continue;
    NodeCorePtr const core = dcast<NodeCorePtr>(type->createFieldContainer());
    if (!core) continue;
    std::vector<knOSGChannelData> channels;
    manager.getKeyableChannels(addNode(core), channels);
    for (knOSGChannelData const& channel : channels) {
      if (exceptions.contains(channel.fieldName)) continue;
      Field const* const field =
          FieldContainerFactory::the().getContainer(channel.containerId)->getField(channel.fieldName.c_str());
      bool const isWhole = channel.fieldName == "visible" || (field != nullptr && holdsWholeNumber(*field));
      float const value = isWhole ? 1.F : uniform(random);
      knAnimEvaluator::the()->setOSGFieldValue(channel, value, true);
      EXPECT_NEAR(manager.getOSGFieldValue(channel), value, 1e-4)
          << type->getCName() << " " << channel.fieldName << " " << channel.valueIndex;
      ++checked;
    }
  }
  EXPECT_GT(checked, 100U);
}

}  // namespace kntest::FieldReadingTest
