#include "model/materials/ColorComponentSettings.h"

#include <algorithm>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(ColorComponentSettingsBase, ColorComponentSettings, "ColorComponentSettings")

Color3f ColorComponentSettings::getEffectiveColor() const {
  Color3f result;
  for (std::size_t i = 0; i < 3; ++i) result[i] = std::max(0.F, getColor()[i] * getGain());
  return result;
}

Vec2f ColorComponentSettings::getImageCoordinates(Pnt3f const& point) const {
  Pnt3f const projected = getPlanarProjection().multMatrixPnt(point);
  return {projected.x() + 0.5F, projected.y() + 0.5F};
}

void ColorComponentSettings::getChannelDescriptions(std::vector<ChannelDescription>& out) const {
  out.push_back({{getContainerId()}, "imageNumber", "imageNumber"});
}

void ColorComponentSettings::changed(BitVector const& mask, UInt32 origin) {
  ColorComponentSettingsBase::changed(mask, origin);
  if ((mask & (PlanarProjectionFieldMask | TransformFieldMask)).any()) updateProjection();
}

void ColorComponentSettings::fieldsAssigned() {
  Inherited::fieldsAssigned();
  updateProjection();
}

void ColorComponentSettings::updateProjection() {
  Matrix projection;
  // A frame that is singular keeps the projection of the space itself.
  if (getTransform().isAlive()) getTransform()->getMatrix().inverse(projection);
  _fPlanarProjection.setValue(projection);
}

}  // namespace knscene
}  // namespace osg
