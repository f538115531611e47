#include "model/sound/Sound.h"

#include "support/TestContainers.h"

namespace SoundTest {

using namespace osg;

using SoundTest = kntest::SceneTest;

TEST_F(SoundTest, GainFallsWithDistanceAndOutsideTheCone) {
  kntest::Held const sound(Sound::create());
  sound->setGain(0.8F);
  sound->setReferenceDistance(2);
  sound->setMaxDistance(8);
  sound->setSourceRadius(1);
  EXPECT_FLOAT_EQ(sound->getGainAt({0, 0, -3}), 0.8F) << "within the reference distance of the surface";
  EXPECT_FLOAT_EQ(sound->getGainAt({5, 0, 0}), 0.4F);
  EXPECT_FLOAT_EQ(sound->getGainAt({0, 99, 0}), 0.2F) << "no farther than the maximum";
  sound->setConeInnerAngle(60);
  sound->setConeOuterAngle(180);
  sound->setConeOuterGain(0.5F);
  EXPECT_FLOAT_EQ(sound->getGainAt({0, 0, -5}), 0.4F);
  EXPECT_FLOAT_EQ(sound->getGainAt({0, 0, 5}), 0.2F) << "behind";
  EXPECT_NEAR(sound->getGainAt({5 * std::sin(1.0471976F), 0, -5 * std::cos(1.0471976F)}), 0.3F, 1e-5F);
  sound->setMinGain(0.25F);
  sound->setMaxGain(0.35F);
  EXPECT_FLOAT_EQ(sound->getGainAt({0, 0, 5}), 0.25F);
  EXPECT_FLOAT_EQ(sound->getGainAt({0, 0, -5}), 0.35F);
  EXPECT_FLOAT_EQ(sound->getGainAt({std::numeric_limits<Real32>::quiet_NaN(), 0, 0}), 0.25F);
}

}  // namespace SoundTest
