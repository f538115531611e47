// What cameras make of the light that they see: the tonemapping and the fog.
#include "model/camera/FogSettings.h"
#include "model/camera/TonemappingSettings.h"

#include <algorithm>
#include <cmath>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(TonemappingSettingsBase, TonemappingSettings, "TonemappingSettings")
KN_CONTAINER_TYPE(FogSettingsBase, FogSettings, "FogSettings")

namespace {

/// How thick a fog is at a place of its range, 0 to 1: 0 at the start, the density at the end.
Real32 fogAt(Real32 place, Vec2f const& range, Int32 falloff, Real32 density) {
  Real32 const extent = range[1] - range[0];
  Real32 const t = extent != 0.F ? std::clamp((place - range[0]) / extent, 0.F, 1.F)
                                 : static_cast<Real32>(place >= range[0]);
  // The exponential ones are scaled to reach 1 at the end.
  constexpr Real32 Steepness = 3.F;
  Real32 const atEnd = 1.F - std::exp(-Steepness);
  Real32 const thickness = falloff == FogSettings::Exponential ? (1.F - std::exp(-Steepness * t)) / atEnd
                           : falloff == FogSettings::ExponentialSquared
                               ? (1.F - std::exp(-Steepness * t * t)) / atEnd
                               : t;
  return thickness * std::clamp(density, 0.F, 1.F);
}

}  // namespace

Real32 TonemappingSettings::getVignette(Vec2f const& place) const {
  // Roundness 1 measures a circle, 0 a square of the same extent.
  Real32 const square = std::max(std::abs(place[0]), std::abs(place[1]));
  Real32 const round = std::clamp(getVignetteRoundness(), 0.F, 1.F);
  Real32 const distance = square + (length(place) - square) * round;
  if (distance <= getVignetteRadius()) return 1.F;
  if (!(getVignetteFeather() > 0.F)) return 0.F;
  Real32 const t = std::clamp((distance - getVignetteRadius()) / getVignetteFeather(), 0.F, 1.F);
  return 1.F - t * t * (3.F - 2.F * t);
}

Real32 FogSettings::getDistanceFog(Real32 distance) const {
  if (!getFogEnableDistance()) return 0.F;
  return fogAt(distance, getFogRangeDistance(), getFogFalloffDistance(), getFogDensityDistance());
}

Real32 FogSettings::getHeightFog(Real32 height) const {
  if (!getFogEnableHeight()) return 0.F;
  // Thickest below: the range is gone through downwards.
  Vec2f const depths(-getFogRangeHeight()[1], -getFogRangeHeight()[0]);
  return fogAt(-height, depths, getFogFalloffHeight(), getFogDensityHeight());
}

}  // namespace knscene
}  // namespace osg
