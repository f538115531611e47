#pragma once

#include "model/scenegraph/Transform3D.h"

namespace osg {
inline namespace knscene {

class ColorComponentSettings;

/// The fields of a ColorComponentSettings.
class KNSCENE_API ColorComponentSettingsBase : public AttachmentContainer {
  KN_CONTAINER(ColorComponentSettingsBase, ColorComponentSettings, AttachmentContainer)
 public:
  /// Linear sRGB; the image, when there is one, is multiplied by it.
  KN_SFIELD(Color3f, Color, color, Color3f(1, 1, 1))
  /// How much of what lies behind shines through, per colour: 0 nothing, 1 everything.
  KN_SFIELD(Vec3f, SeeThrough, seeThrough)
  /// Which picture of an image sequence is shown, from 0 up.
  KN_SFIELD(Int32, ImageNumber, imageNumber, 0)
  /// Contrast, brightness, saturation and hue shift; (1, 1, 1, 0) leaves colours as they are, the hue shift is
  /// in degrees.
  KN_SFIELD(Vec4f, ColorCorrection, colorCorrection, Vec4f(1, 1, 1, 0))
  /// Multiplies the colour.
  KN_SFIELD(Real32, Gain, gain, 1.F)
  /// The frame of a planar projection of the image: its x and y span the image, its origin is the image's
  /// centre. Null for an image that the surface places.
  KN_SFIELD_OWNED(Transform3DPtr, Transform, transform)
  /// From the space of the surface to that of the projection: the inverse of the transform's matrix. Kept by
  /// this class, and made anew when this field or `Transform` is announced.
  KN_SFIELD_READ(Matrix, PlanarProjection, planarProjection, Derived)
  KN_CONTAINER_END
};

/// What one colour of a material or a light is made of: a plain colour, an image, how it is placed.
class KNSCENE_API ColorComponentSettings : public ColorComponentSettingsBase {
 public:
  /// The colour with the gain; no component is below 0.
  Color3f getEffectiveColor() const;
  /// Where on the image a point of the surface falls: (0, 0) to (1, 1) within it. (0.5, 0.5) is the centre.
  Vec2f getImageCoordinates(Pnt3f const& point) const;

  /// Declares only `ImageNumber`: all other channels are declared by the material or light that uses this.
  bool hasChannelDescriptions() const override { return true; }
  void getChannelDescriptions(std::vector<ChannelDescription>& out) const override;

  void changed(BitVector const& mask, UInt32 origin) override;

 protected:
  void fieldsAssigned() override;

 private:
  void updateProjection();
};

using ColorComponentSettingsPtr = ColorComponentSettings::Ptr;

}  // namespace knscene
}  // namespace osg
