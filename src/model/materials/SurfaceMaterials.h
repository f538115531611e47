#pragma once

#include "model/materials/ColorComponentSettings.h"
#include "model/materials/Material.h"

namespace osg {
inline namespace knscene {

class PhongMaterial;
class SwitchMaterial;

/// Colours are linear sRGB.
class KNSCENE_API PhongMaterialBase : public Material {
  KN_CONTAINER(PhongMaterialBase, PhongMaterial, Material)
 public:
  /// The colours of the surface, linear sRGB.
  KN_SFIELD(Color3f, AmbienceColor, ambienceColor, Color3f(0.05F, 0.05F, 0.05F))
  KN_SFIELD(Color3f, DiffuseColor, diffuseColor, Color3f(0.8F, 0.8F, 0.8F))
  KN_SFIELD(Color3f, SpecularColor, specularColor)
  /// Light that the surface gives off: a colour, and as fourth component its intensity.
  KN_SFIELD(Vec4f, IncandescenceColor, incandescenceColor, Vec4f(0, 0, 0, 1))
  /// The colour of places that little light reaches.
  KN_SFIELD(Color3f, OcclusionColor, occlusionColor)
  /// How much of what lies behind shines through, per colour: 0 nothing, 1 everything.
  KN_SFIELD(Vec3f, SeeThrough, seeThrough)
  /// The exponent of the highlight, above 0.
  KN_SFIELD(Real32, Shininess, shininess, 32.F)
  /// What the diffuse colour is made of beyond a plain colour; null when there is no more to it.
  KN_SFIELD_OWNED(ColorComponentSettingsPtr, DiffuseComponent, diffuseComponent)
  KN_CONTAINER_END
};

/// A surface after Phong ("Illumination for Computer Generated Pictures", 1975).
class KNSCENE_API PhongMaterial : public PhongMaterialBase {
 public:
  /// The light that reaches the eye. All vectors are unit vectors in one space: `normal` of the surface,
  /// `toLight`, `toEye`. `light` is the colour of the light. Ambience and incandescence are part of it.
  Color3f shade(Vec3f const& normal, Vec3f const& toLight, Vec3f const& toEye, Color3f const& light) const;
  /// The diffuse colour, with its component where there is one.
  Color3f getEffectiveDiffuseColor() const;

  void getChannelDescriptions(std::vector<ChannelDescription>& out) const override;
};

using PhongMaterialPtr = PhongMaterial::Ptr;

/// The fields of a SwitchMaterial.
class KNSCENE_API SwitchMaterialBase : public Material {
  KN_CONTAINER(SwitchMaterialBase, SwitchMaterial, Material)
 public:
  /// The place of the material that is shown, from 0 up.
  KN_SFIELD(Int32, Choice, choice, 0)
  /// The materials that can be shown.
  KN_MFIELD_READ(MaterialPtr, Materials, materials, Owned)
  KN_CONTAINER_END
};

/// A material that stands for one of several.
class KNSCENE_API SwitchMaterial : public SwitchMaterialBase {
 public:
  /// Adds a material at the end and takes a reference to it. A null or dead handle, this material, and a switch
  /// that holds this one, directly or through others, are ignored. Switches may hold switches to any depth.
  void addMaterial(MaterialPtr const& material);
  /// Takes a material away, once where it stands several times. One that is not among them is ignored.
  void subMaterial(MaterialPtr const& material);
  /// The chosen material; null when `Choice` names none.
  MaterialPtr getChosenMaterial() const;

  void getChannelDescriptions(std::vector<ChannelDescription>& out) const override;

 private:
  /// Whether `wanted` is this material or one that it holds, directly or through others.
  bool holds(SwitchMaterial const& wanted) const;
};

using SwitchMaterialPtr = SwitchMaterial::Ptr;

}  // namespace knscene
}  // namespace osg
