#pragma once

#include "model/scenegraph/Attachment.h"

namespace osg {
inline namespace knscene {

class TonemappingSettings;

/// The fields of a TonemappingSettings.
class KNSCENE_API TonemappingSettingsBase : public AttachmentContainer {
  KN_CONTAINER(TonemappingSettingsBase, TonemappingSettings, AttachmentContainer)
 public:
  /// Multiplies the light of the whole picture; 0 is black.
  KN_SFIELD(Real32, Exposure, exposure, 1.F)
  /// The colour that becomes white, in linear sRGB.
  KN_SFIELD(Color3f, Whitepoint, whitepoint, Color3f(1, 1, 1))
  /// The colour temperature that becomes white, in kelvin.
  KN_SFIELD(Real32, Whitebalance, whitebalance, 6500.F)
  /// Shoulder and toe of the filmic curve, each 0 to 1.
  KN_SFIELD(Vec2f, FilmicParameter, filmicParameter, Vec2f(0.5F, 0.5F))
  /// Hue shift in degrees, saturation, brightness, contrast; (0, 1, 1, 1) leaves colours as they are.
  KN_SFIELD(Vec4f, ColorCorrection, colorCorrection, Vec4f(0, 1, 1, 1))
  /// Size, intensity and threshold of the glow around bright places.
  KN_SFIELD(Vec3f, GlowParameter, glowParameter, Vec3f(0.1F, 0.5F, 1))
  /// Size, intensity and threshold of the streaks of bright places, and their turn in radians.
  KN_SFIELD(Vec4f, GlareParameter, glareParameter, Vec4f(0.1F, 0.5F, 1, 0))
  /// The number of streaks, and their sharpness.
  KN_SFIELD(Vec2f, GlareParameter2, glareParameter2, Vec2f(6, 1))
  /// Where the darkening to the edges begins, how softly, and how round it is. As fractions of the picture's
  /// half diagonal; roundness 1 is a circle.
  KN_SFIELD(Real32, VignetteRadius, vignetteRadius, 1.F)
  KN_SFIELD(Real32, VignetteFeather, vignetteFeather, 0.5F)
  KN_SFIELD(Real32, VignetteRoundness, vignetteRoundness, 1.F)
  /// How much of the picture is laid over what was there before, 0 to 1, and by which rule of the host.
  KN_SFIELD(Real32, BlendAmount, blendAmount, 1.F)
  KN_SFIELD(Int32, BlendMode, blendMode, 0)
  /// The luminances, in candela per square metre, that become black and white.
  KN_SFIELD(Vec2f, CandelaRange, candelaRange, Vec2f(0, 1000))
  /// The sensitivity of the film, as an ISO number.
  KN_SFIELD(Real32, Sensitivity, sensitivity, 100.F)
  /// Which curve of the host's takes light to colours.
  KN_SFIELD(Int32, TonemapperId, tonemapperId, 0)
  /// Bits of `TonemappingSettings::PostprocessingFlag`, and more of the host's.
  KN_SFIELD(UInt32, PostprocessingFlags, postprocessingFlags, 0U)
  KN_CONTAINER_END
};

/// How a camera makes a picture of the light that it sees.
class KNSCENE_API TonemappingSettings : public TonemappingSettingsBase {
 public:
  /// The bits of `PostprocessingFlags`.
  enum PostprocessingFlag : UInt32 { GlowEnable = 1, GlareEnable = 2 };

  /// Whether a bit is set.
  bool isEnabled(PostprocessingFlag flag) const { return (getPostprocessingFlags() & flag) != 0; }
  /// What is left of the light at a place of the picture, for which (0, 0) is the centre and length 1 is its
  /// corner: 1 within the radius of the vignette, falling to 0 over the feather.
  Real32 getVignette(Vec2f const& place) const;
};

using TonemappingSettingsPtr = TonemappingSettings::Ptr;

}  // namespace knscene
}  // namespace osg
