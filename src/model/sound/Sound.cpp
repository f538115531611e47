#include "model/sound/Sound.h"

#include <algorithm>
#include <numbers>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(SoundBase, Sound, "Sound")

Real32 Sound::distanceFactor(Real32 distance) const {
  Real32 const reference = getReferenceDistance();
  if (!(reference > 0.F)) return 1.F;
  Real32 const held = std::max(reference, std::min(distance, getMaxDistance()));
  return reference / (reference + std::max(getRolloffFactor(), 0.F) * (held - reference));
}

Real32 Sound::coneFactor(Vec3f const& toListener) const {
  Vec3f const unit = normalized(toListener);
  // A listener at the very source is in the cone.
  if (getConeInnerAngle() >= 360.F || unit == Vec3f()) return 1.F;
  Real32 const angle =
      std::acos(std::clamp(-unit.z(), -1.F, 1.F)) * static_cast<Real32>(360.0 / std::numbers::pi);
  if (angle <= getConeInnerAngle()) return 1.F;
  if (angle >= getConeOuterAngle()) return getConeOuterGain();
  Real32 const t = (angle - getConeInnerAngle()) / (getConeOuterAngle() - getConeInnerAngle());
  return 1.F + t * (getConeOuterGain() - 1.F);
}

Real32 Sound::getGainAt(Pnt3f const& listener) const {
  Vec3f const toListener(listener);
  Real32 const distance = std::max(0.F, length(toListener) - std::max(getSourceRadius(), 0.F));
  Real32 const gain = getGain() * distanceFactor(distance) * coneFactor(toListener);
  if (!(length(toListener) >= 0.F) || std::isnan(gain)) return getMinGain();
  return std::max(getMinGain(), std::min(gain, getMaxGain()));
}

}  // namespace knscene
}  // namespace osg
