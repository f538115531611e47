#include "model/light/LensFlareEffect.h"

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(LensFlareEffectBase, LensFlareEffect, "LensFlareEffect")

Real32 LensFlareEffect::getStrength(Real32 intensity) const {
  return intensity > getThreshold() ? getBrightness() : 0.F;
}

void LensFlareEffect::getChannelDescriptions(std::vector<ChannelDescription>& out) const {
  LensFlareEffectBase::getChannelDescriptions(out);
  for (UInt32 id = FirstFieldId; id < NextFieldId; ++id) {
    std::string const field = _type.getFieldDescription(id)->getName().str();
    out.push_back({{getContainerId()}, field, "lensFlare." + field});
  }
}

}  // namespace knscene
}  // namespace osg
