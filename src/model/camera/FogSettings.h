#pragma once

#include "model/scenegraph/Attachment.h"

namespace osg {
inline namespace knscene {

class FogSettings;

/// Fog by distance from the camera and fog by height, which are the same but for what they are measured along.
/// Lengths are in scene units, colours linear sRGB.
class KNSCENE_API FogSettingsBase : public AttachmentContainer {
  KN_CONTAINER(FogSettingsBase, FogSettings, AttachmentContainer)
 public:
  /// Whether there is fog by distance.
  KN_SFIELD(bool, FogEnableDistance, fogEnableDistance, false)
  /// One of `FogSettings::Falloff`.
  KN_SFIELD(Int32, FogFalloffDistance, fogFalloffDistance, 0)
  /// The colour of the fog.
  KN_SFIELD(Color3f, FogColorDistance, fogColorDistance, Color3f(0.5F, 0.5F, 0.5F))
  /// How thick the fog becomes: 0 none, 1 nothing to be seen at the end of the range.
  KN_SFIELD(Real32, FogDensityDistance, fogDensityDistance, 1.F)
  /// Where the fog begins, and where it has its density.
  KN_SFIELD(Vec2f, FogRangeDistance, fogRangeDistance, Vec2f(0, 1000))
  /// How uneven the fog is, 0 to 1; the size of its clouds; and how far they are moved.
  KN_SFIELD(Real32, FogNoiseDistance, fogNoiseDistance, 0.F)
  KN_SFIELD(Real32, FogNoiseSizeDistance, fogNoiseSizeDistance, 1.F)
  KN_SFIELD(Vec3f, FogNoiseOffsetDistance, fogNoiseOffsetDistance)

  /// The fog by height; the fields are those of the fog by distance.
  KN_SFIELD(bool, FogEnableHeight, fogEnableHeight, false)
  KN_SFIELD(Int32, FogFalloffHeight, fogFalloffHeight, 0)
  KN_SFIELD(Color3f, FogColorHeight, fogColorHeight, Color3f(0.5F, 0.5F, 0.5F))
  KN_SFIELD(Real32, FogDensityHeight, fogDensityHeight, 1.F)
  /// The height below which the fog has its density, and the height where it ends. Where both are the same height,
  /// the fog is full up to it.
  KN_SFIELD(Vec2f, FogRangeHeight, fogRangeHeight, Vec2f(0, 100))
  /// As those of the fog by distance.
  KN_SFIELD(Real32, FogNoiseHeight, fogNoiseHeight, 0.F)
  KN_SFIELD(Real32, FogNoiseSizeHeight, fogNoiseSizeHeight, 1.F)
  KN_SFIELD(Vec3f, FogNoiseOffsetHeight, fogNoiseOffsetHeight)
  /// How much of the fog by height remains where there is fog by distance, 0 to 1.
  KN_SFIELD(Real32, FogBlendHeight, fogBlendHeight, 1.F)
  KN_CONTAINER_END
};

/// The fog that a camera sees.
class KNSCENE_API FogSettings : public FogSettingsBase {
 public:
  /// How the fog thickens over its range; any other number counts as Linear.
  enum Falloff : Int32 { Linear = 0, Exponential = 1, ExponentialSquared = 2 };

  /// How much of a point is hidden by either fog, without noise: 0 nothing, 1 everything. For the fog by height,
  /// the height of the point counts.
  Real32 getDistanceFog(Real32 distance) const;
  Real32 getHeightFog(Real32 height) const;
};

using FogSettingsPtr = FogSettings::Ptr;

}  // namespace knscene
}  // namespace osg
