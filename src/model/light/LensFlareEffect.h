#pragma once

#include "model/scenegraph/Attachment.h"

namespace osg {
inline namespace knscene {

class LensFlareEffect;

/// The fields of a LensFlareEffect.
class KNSCENE_API LensFlareEffectBase : public AttachmentContainer {
  KN_CONTAINER(LensFlareEffectBase, LensFlareEffect, AttachmentContainer)
 public:
  /// The extent of the effect, as a fraction of the picture's height.
  KN_SFIELD(Real32, Size, size, 0.25F)
  /// Multiplies the light's colour.
  KN_SFIELD(Real32, Brightness, brightness, 1.F)
  /// The intensity of the light, in its own unit, above which the effect shows.
  KN_SFIELD(Real32, Threshold, threshold, 0.F)
  /// The turn of the rays in degrees.
  KN_SFIELD(Real32, Rotation, rotation, 0.F)
  /// The number of rays; 0 for a round glow.
  KN_SFIELD(UInt32, Rays, rays, 6U)
  KN_CONTAINER_END
};

/// The traces that a bright light leaves in a lens. Every field can be animated, as channel "lensFlare." with
/// the field's name.
class KNSCENE_API LensFlareEffect : public LensFlareEffectBase {
 public:
  /// How strongly the effect shows for a light of that intensity: 0 up to the threshold, then the brightness.
  Real32 getStrength(Real32 intensity) const;

  bool hasChannelDescriptions() const override { return true; }
  void getChannelDescriptions(std::vector<ChannelDescription>& out) const override;
};

using LensFlareEffectPtr = LensFlareEffect::Ptr;

}  // namespace knscene
}  // namespace osg
