#pragma once

#include "model/light/LensFlareEffect.h"
#include "model/materials/ColorComponentSettings.h"
#include "model/scenegraph/Node.h"

namespace osg {
inline namespace knscene {

class UberLight;

/// The fields of a UberLight.
class KNSCENE_API UberLightBase : public NodeCore {
  KN_CONTAINER(UberLightBase, UberLight, NodeCore)
 public:
  /// What the light adds to matt surfaces, and to highlights. A new light has both; each may be null.
  KN_SFIELD_OWNED(ColorComponentSettingsPtr, Diffuse, diffuse)
  KN_SFIELD_OWNED(ColorComponentSettingsPtr, Glossy, glossy)
  /// In the light's own unit; see `UberLight::getIntensity`.
  KN_FIELD_BARE(SField<Real32>, Intensity, intensity, Plain, 1000.F)
  /// Colour temperature in kelvin. The setter leaves the colours as they are; a curve on this field also updates them,
  /// by `updateColorByTemperature`.
  KN_SFIELD(Real32, Temperature, temperature, 6500.F)
  /// The light's own unit of intensity, one of `UberLight::IntensityUnit`.
  KN_SFIELD_READ(UInt32, Unit, unit, Plain, 1U)
  /// The full angle of the cone that the light shines into, in degrees; 360 shines everywhere.
  KN_SFIELD(Real32, ConeAngle, coneAngle, 360.F)
  /// The angle inside the cone over which the light fades out, in degrees.
  KN_SFIELD(Real32, PenumbraAngle, penumbraAngle, 0.F)
  /// Whether the light shines.
  KN_SFIELD(bool, Active, active, true)
  /// Null for none.
  KN_SFIELD_OWNED(LensFlareEffectPtr, LensFlareEffect, lensFlareEffect)
  KN_CONTAINER_END
};

/// A light with physical units. It shines from the origin of its node, down -z where it has a cone.
///
/// Main thread. The setters that take a colour or a unit, and `updateColorByTemperature`, announce what they
/// changed; the plain field setters do not.
class KNSCENE_API UberLight : public UberLightBase {
 public:
  /// The unit of an intensity. Units are converted by way of the luminous flux, with 683 lm per watt and the solid
  /// angle of the cone, 2 pi (1 - cos(coneAngle / 2)).
  enum IntensityUnit : UInt32 {
    Watt = 0,     ///< radiant power, as if all of it were green light of 555 nm
    Lumen = 1,    ///< luminous flux
    Candela = 2,  ///< luminous intensity: lumen per steradian of the cone
    Lux = 3,      ///< illuminance at a distance of one metre
  };

  UberLight();

  /// The intensity in `unit`; an unknown unit counts as lumen.
  virtual Real32 getIntensity(UInt32 unit) const;
  /// Sets the intensity, which is given in `unit`, and announces it. A value that is not finite is ignored.
  virtual void setIntensity(Real32 value, UInt32 unit);
  /// Makes `unit` the light's own unit, which stays as bright as it is. Announces nothing.
  void setUnit(UInt32 unit);

  /// The colours of the two components in linear sRGB, black for a null component. Setting the colour of one
  /// that is null does nothing; otherwise the component and the light are announced.
  Color3f getDiffuseColor() const;
  void setDiffuseColor(Color3f const& color);
  Color3f getGlossyColor() const;
  void setGlossyColor(Color3f const& color);

  /// Gives both components the colour of a black body of the light's temperature; announces as these setters
  /// do. A temperature that is not a number changes nothing.
  void updateColorByTemperature();
  /// The colour of a black body in linear sRGB with the brightest channel at 1, after Kim et al., "Design of
  /// Advanced Color Temperature Control System for HDTV Applications", 2002. Temperatures are held within its
  /// range of 1667 to 25000 K.
  static Color3f getBlackBodyColor(Real32 kelvin);

  /// How much of the light reaches a direction, given in the space of the node's children: 1 inside the cone,
  /// falling smoothly to 0 over the penumbra, 0 outside. 0 while the light does not shine.
  Real32 getConeFactor(Vec3f const& direction) const;

 private:
  Real32 lumensPerUnit(UInt32 unit) const;
};

using UberLightPtr = UberLight::Ptr;

}  // namespace knscene
}  // namespace osg
