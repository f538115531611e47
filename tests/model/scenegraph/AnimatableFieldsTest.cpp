// The names by which hosts animate scenes, over all container types there are.

#include "model/scenegraph/Cloning.h"
#include "support/TestContainers.h"

namespace kntest::AnimatableFieldsTest {

using AnimatableFieldsTest = SceneTest;

/// By content type; nothing of the tests' own containers.
char const* const Names[][2] = {
    {"Vec3f",
     "translation scale eulerRotation eulerRotationOrientation seeThrough glowParameter "
     "fogNoiseOffsetDistance fogNoiseOffsetHeight"},
    {"Color3f",
     "ambienceColor diffuseColor specularColor occlusionColor whitepoint fogColorDistance "
     "fogColorHeight"},
    {"Color4f", "ambient diffuse specular"},
    {"Vec4f", "incandescenceColor glareParameter colorCorrection frustumSides"},
    {"Vec2f",
     "fieldOfView sensorSize principalPointOffset filmicParameter glareParameter2 candelaRange "
     "fogRangeDistance fogRangeHeight"},
    {"Real32",
     "skewFactor shutterSpeed focusDistance roll coneAngle penumbraAngle intensity temperature "
     "exposure whitebalance vignetteRadius vignetteFeather vignetteRoundness blendAmount sensitivity "
     "fov near far fogDensityDistance fogNoiseDistance fogNoiseSizeDistance fogDensityHeight "
     "fogNoiseHeight fogNoiseSizeHeight fogBlendHeight gain minGain maxGain pitch referenceDistance "
     "maxDistance rolloffFactor coneInnerAngle coneOuterAngle coneOuterGain sourceRadius"},
    {"Int32", "imageNumber choice tonemapperId blendMode fogFalloffDistance fogFalloffHeight"},
    {"UInt32", "postprocessingFlags"},
    {"bool", "active play stop loop fogEnableDistance fogEnableHeight"},
    {"ColorComponentSettingsPtr", "diffuse glossy"},
};

TEST_F(AnimatableFieldsTest, EveryNameIsAFieldOfSomeType) {
  std::map<std::string, std::set<std::string>> contentsByName;
  for (FieldContainerType const* const type : FieldContainerFactory::the().getTypes()) {
    if (std::string_view(type->getCName()).starts_with("Test")) continue;
    for (FieldDescription const& field : type->getFieldDescriptions()) {
      if (field.getFieldType().getCardinality() != FieldType::Cardinality::Single) continue;
      contentsByName[field.getCName()].insert(field.getFieldType().getContentType().getCName());
    }
  }
  for (auto const& [content, names] : Names) {
    std::istringstream list(names);
    for (std::string name; list >> name;) EXPECT_TRUE(contentsByName[name].count(content)) << content << name;
  }
}

TEST_F(AnimatableFieldsTest, CopiesOfEveryTypeHoldTheirPartsOnce) {
  for (FieldContainerType const* const type : FieldContainerFactory::the().getTypes()) {
    if (type->isAbstract()) continue;
    Held const source(type->createFieldContainer());
    Held const copy(deepCopyContainer(*source, ""));
    for (FieldDescription const& field : type->getFieldDescriptions()) {
      if (field.getRole() != FieldRole::Owned) continue;
      field.getField(**copy)->visitHandles([&](FieldContainerPtr const& part) {
        EXPECT_TRUE(!part || part->getRefCount() == 1) << type->getCName() << '.' << field.getCName();
        return part;
      });
    }
  }
}

}  // namespace kntest::AnimatableFieldsTest
