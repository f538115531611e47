#include "model/materials/SurfaceMaterials.h"

#include <algorithm>
#include <unordered_set>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(PhongMaterialBase, PhongMaterial, "PhongMaterial")
KN_CONTAINER_TYPE(SwitchMaterialBase, SwitchMaterial, "SwitchMaterial")

namespace {

/// Appends channels of one container, which are carried by `ids`: fields and the names to show.
void appendChannels(std::vector<ChannelDescription>& out, std::vector<UInt32> const& ids,
                    std::initializer_list<std::pair<char const*, char const*>> channels) {
  for (auto const& [field, channel] : channels) out.push_back({ids, field, channel});
}

void appendComponentChannels(std::vector<ChannelDescription>& out, ColorComponentSettings const& settings) {
  UInt32 const id = settings.getContainerId();
  appendChannels(out, {id},
                 {{"color", "diffuseComponentColor"},
                  {"seeThrough", "diffuseComponentSeeThrough"},
                  {"imageNumber", "imageNumber"},
                  {"colorCorrection", "colorCorrection"},
                  {"gain", "diffuseComponentGain"}});
  Transform3DPtr const frame = settings.getTransform();
  if (!frame.isAlive()) return;
  appendChannels(out, {frame.getContainerId(), id},
                 {{"translation", "projectionTranslation"},
                  {"eulerRotation", "projectionRotation"},
                  {"scale", "projectionScale"}});
}

}  // namespace

Color3f PhongMaterial::getEffectiveDiffuseColor() const {
  Color3f result = getDiffuseColor();
  if (!getDiffuseComponent().isAlive()) return result;
  Color3f const factor = getDiffuseComponent()->getEffectiveColor();
  for (std::size_t i = 0; i < 3; ++i) result[i] *= factor[i];
  return result;
}

Color3f PhongMaterial::shade(Vec3f const& normal, Vec3f const& toLight, Vec3f const& toEye,
                             Color3f const& light) const {
  Real32 const facing = std::max(0.F, dot(normal, toLight));
  Vec3f const mirrored = normal * (2.F * dot(normal, toLight)) - toLight;
  Real32 const highlight =
      facing > 0.F ? std::pow(std::max(0.F, dot(mirrored, toEye)), std::max(getShininess(), 0.F)) : 0.F;
  Color3f const diffuse = getEffectiveDiffuseColor();
  Color3f result;
  for (std::size_t i = 0; i < 3; ++i) {
    result[i] = getAmbienceColor()[i] + getIncandescenceColor()[i] * getIncandescenceColor()[3] +
                (diffuse[i] * facing + getSpecularColor()[i] * highlight) * light[i];
  }
  return result;
}

void PhongMaterial::getChannelDescriptions(std::vector<ChannelDescription>& out) const {
  PhongMaterialBase::getChannelDescriptions(out);
  // The fourth component of the incandescence comes with its channel.
  appendChannels(out, {getContainerId()},
                 {{"ambienceColor", "ambienceColor"},
                  {"diffuseColor", "diffuseColor"},
                  {"specularColor", "specularColor"},
                  {"incandescenceColor", "incandescenceColor"},
                  {"occlusionColor", "occlusionColor"},
                  {"seeThrough", "seeThrough"},
                  {"shininess", "shininess"}});
  if (getDiffuseComponent().isAlive()) appendComponentChannels(out, *getDiffuseComponent());
}

bool SwitchMaterial::holds(SwitchMaterial const& wanted) const {
  if (this == &wanted) return true;
  // Whoever holds something has taken a reference to it.
  if (wanted.getRefCount() == 0) return false;
  std::vector<SwitchMaterial const*> open{this};
  std::unordered_set<SwitchMaterial const*> seen{this};
  while (!open.empty()) {
    SwitchMaterial const* const next = open.back();
    open.pop_back();
    for (MaterialPtr const& held : next->getMaterials()) {
      SwitchMaterial const* const inner = dcastTo<SwitchMaterial>(held);
      if (inner == &wanted) return true;
      if (inner != nullptr && seen.insert(inner).second) open.push_back(inner);
    }
  }
  return false;
}

void SwitchMaterial::addMaterial(MaterialPtr const& material) {
  if (!material.isAlive()) return;
  SwitchMaterial const* const inner = dcastTo<SwitchMaterial>(material);
  if (inner != nullptr && inner->holds(*this)) return;
  material.addRef();
  _fMaterials.push_back(material);
  StructureCounter::advance();
}

void SwitchMaterial::subMaterial(MaterialPtr const& materialArgument) {
  // A copy: the argument may stand in the list.
  MaterialPtr const material = materialArgument;
  auto& materials = _fMaterials.getValues();
  auto const found = std::find(materials.begin(), materials.end(), material);
  if (!material || found == materials.end()) return;
  materials.erase(found);
  StructureCounter::advance();
  material.subRef();
}

MaterialPtr SwitchMaterial::getChosenMaterial() const {
  auto const place = static_cast<std::size_t>(std::max(getChoice(), 0));
  if (getChoice() < 0 || place >= _fMaterials.size() || !_fMaterials[place].isAlive()) return {};
  return _fMaterials[place];
}

void SwitchMaterial::getChannelDescriptions(std::vector<ChannelDescription>& out) const {
  SwitchMaterialBase::getChannelDescriptions(out);
  appendChannels(out, {getContainerId()}, {{"choice", "choice"}});
}

}  // namespace knscene
}  // namespace osg
