#include "model/materials/SurfaceMaterials.h"

#include "support/TestContainers.h"

namespace kntest::SurfaceMaterialsTest {

using SurfaceMaterialsTest = SceneTest;

/// By channel name; fails where a name comes twice, or a field is not where the channel says.
std::map<std::string, ChannelDescription> channelsOf(Material const& material) {
  std::vector<ChannelDescription> channels;
  material.getChannelDescriptions(channels);
  EXPECT_TRUE(material.hasChannelDescriptions());
  std::map<std::string, ChannelDescription> byName;
  for (ChannelDescription const& channel : channels) {
    EXPECT_TRUE(byName.emplace(channel.channelName, channel).second) << channel.channelName;
    FieldContainerPtr const target = FieldContainerFactory::the().getContainer(channel.containerIds.at(0));
    EXPECT_TRUE(target && target->getField(channel.fieldName.c_str()) != nullptr) << channel.channelName;
  }
  return byName;
}

TEST_F(SurfaceMaterialsTest, ChannelsNameTheContainersToWriteAndToTell) {
  Held const phong(PhongMaterial::create());
  EXPECT_EQ(channelsOf(**phong).at("incandescenceColor").containerIds, std::vector{phong->getContainerId()});
  ColorComponentSettingsPtr const component = ColorComponentSettings::create();
  phong->setDiffuseComponent(component);
  EXPECT_EQ(channelsOf(**phong).at("colorCorrection").containerIds, std::vector{component->getContainerId()});
  component->setTransform(Transform3D::create());
  auto const all = channelsOf(**phong);
  EXPECT_EQ(all.at("projectionRotation").fieldName, "eulerRotation");
  EXPECT_EQ(all.at("projectionRotation").containerIds,
            (std::vector{component->getTransform().getContainerId(), component->getContainerId()}));
}

TEST_F(SurfaceMaterialsTest, WhatDependsOnTheAnnouncedIsBroughtUpToDate) {
  Held const phong(PhongMaterial::create());
  UInt32 const revision = phong->getColorComponentData();
  announce(*phong, PhongMaterial::DiffuseColorFieldMask);
  announce(*phong, PhongMaterial::ColorComponentDataFieldMask);
  EXPECT_EQ(phong->getColorComponentData(), revision + 1);

  Held const component(ColorComponentSettings::create());
  component->setTransform(Transform3D::create());
  component->getTransform()->setTranslation({10, 0, 0});
  component->getTransform()->setScale({4, 2, 1});
  EXPECT_EQ(component->getImageCoordinates({12, 1, 5}), Vec2f(12.5F, 1.5F)) << "not announced yet";
  announce(*component, ColorComponentSettings::PlanarProjectionFieldMask);
  EXPECT_EQ(component->getImageCoordinates({12, 1, 5}), Vec2f(1, 1));
  component->setTransform({});
  announce(*component, ColorComponentSettings::TransformFieldMask);
  EXPECT_EQ(component->getPlanarProjection(), Matrix());
}

TEST_F(SurfaceMaterialsTest, SwitchShowsOneAndHoldsNoCircle) {
  Held const outer(SwitchMaterial::create());
  SwitchMaterialPtr const inner = SwitchMaterial::create();
  MaterialPtr const phong = PhongMaterial::create();
  for (MaterialPtr const& material : {MaterialPtr(inner), phong}) outer->addMaterial(material);
  for (MaterialPtr const& material : {phong, MaterialPtr(*outer), MaterialPtr(inner)})
    inner->addMaterial(material);
  EXPECT_EQ(inner->getMaterials().getValues(), std::vector{phong});
  EXPECT_EQ(channelsOf(**outer).count("choice"), 1U);
  MaterialPtr const expected[] = {{}, inner, phong, {}};
  for (Int32 choice = -1; choice <= 2; ++choice) {
    outer->setChoice(choice);
    EXPECT_EQ(outer->getChosenMaterial(), expected[choice + 1]) << choice;
  }
  outer->subMaterial(outer->getMaterials()[0]);
  EXPECT_EQ(outer->getMaterials().size(), 1U);

  // Each level holds the one below twice: as many ways as there are atoms, at a depth that no stack takes.
  MaterialPtr top = *outer;
  std::vector<SwitchMaterialPtr> levels;
  for (int i = 0; i < 20'000; ++i) {
    levels.push_back(SwitchMaterial::create());
    for (int twice = 0; twice < 2; ++twice) levels.back()->addMaterial(top);
    top = levels.back();
  }
  outer->addMaterial(top);
  EXPECT_EQ(outer->getMaterials().size(), 1U);
  top.subRef();
}

}  // namespace kntest::SurfaceMaterialsTest
