#include "model/light/UberLight.h"

#include "support/TestContainers.h"

namespace kntest::UberLightTest {

class UberLightTest : public SceneTest {
 protected:
  Held<UberLightPtr> const _light{UberLight::create()};
};

TEST_F(UberLightTest, IntensitiesConvertByTheCone) {
  struct Case {
    Real32 cone;
    UInt32 unit;
    Real32 lumens;
  };
  for (Case const& c :
       {Case{360, UberLight::Watt, 683.F}, Case{90, UberLight::Watt, 683.F}, Case{90, UberLight::Lumen, 1.F},
        Case{360, UberLight::Candela, 12.566371F}, Case{180, UberLight::Candela, 6.2831853F},
        Case{60, UberLight::Lux, 0.84178722F}, Case{720, UberLight::Lux, 12.566371F}}) {
    _light->setUnit(UberLight::Lumen);
    _light->setConeAngle(c.cone);
    _light->setIntensity(3, c.unit);
    EXPECT_NEAR(_light->getIntensity(UberLight::Lumen), 3 * c.lumens, 1e-3F) << c.cone << ' ' << c.unit;
    _light->setUnit(c.unit);
    EXPECT_NEAR(_light->getIntensity(c.unit), 3.F, 1e-5F) << "as bright in another unit";
    _light->setIntensity(0.3F, c.unit);
    EXPECT_EQ(_light->getIntensity(c.unit), 0.3F) << "the own unit is exact";
  }
  _light->setIntensity(std::numeric_limits<Real32>::quiet_NaN(), _light->getUnit());
  EXPECT_EQ(_light->getIntensity(_light->getUnit()), 0.3F);
}

TEST_F(UberLightTest, BlackBodiesGoFromRedToBlue) {
  // Planck's law integrated with the fits of the colour matching functions by Wyman et al., 2013.
  std::pair<Real32, Color3f> const cases[] = {{2000, {1, 0.267F, 0.008F}},
                                              {3000, {1, 0.485F, 0.155F}},
                                              {6600, {0.984F, 0.939F, 1}},
                                              {10000, {0.610F, 0.696F, 1}}};
  for (auto const& [kelvin, expected] : cases) {
    Color3f const color = UberLight::getBlackBodyColor(kelvin);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(color[i], expected[i], 0.035F) << kelvin << " at " << i;
  }
  EXPECT_EQ(UberLight::getBlackBodyColor(-5), UberLight::getBlackBodyColor(1667));
}

TEST_F(UberLightTest, SettersAnnounceWhatTheyChange) {
  Announced const announced;
  _light->setTemperature(3000);
  EXPECT_TRUE(announced.list.getEntries().empty()) << "a plain field";
  _light->updateColorByTemperature();
  _light->setIntensity(7, UberLight::Watt);
  EXPECT_EQ(announced.maskOf(*_light),
            UberLight::DiffuseFieldMask | UberLight::GlossyFieldMask | UberLight::IntensityFieldMask);
  EXPECT_EQ(announced.maskOf(_light->getDiffuse()), ColorComponentSettings::ColorFieldMask);
  EXPECT_EQ(_light->getGlossyColor(), UberLight::getBlackBodyColor(3000));
  _light->setGlossy({});
  _light->setGlossyColor({1, 0, 0});
  EXPECT_EQ(_light->getGlossyColor(), Color3f());
}

TEST_F(UberLightTest, ConeFadesOverThePenumbra) {
  EXPECT_EQ(_light->getConeFactor({0, 0, 1}), 1.F) << "a full sphere";
  _light->setConeAngle(90);
  _light->setPenumbraAngle(30);
  auto const at = [&](Real32 degrees) {
    return _light->getConeFactor({0, std::sin(degrees * 0.017453293F), -std::cos(degrees * 0.017453293F)});
  };
  EXPECT_EQ(at(29), 1.F);
  EXPECT_NEAR(at(37.5F), 0.5F, 1e-3F);
  EXPECT_EQ(at(46), 0.F);
  _light->setActive(false);
  EXPECT_EQ(at(0), 0.F);
}

}  // namespace kntest::UberLightTest
