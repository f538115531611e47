#include "model/light/Light.h"

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(LightBase, Light, "Light")

Color3f Light::getRadiance() const {
  if (!getActive()) return {};
  return Color3f(getDiffuse()[0], getDiffuse()[1], getDiffuse()[2]) * getIntensity();
}

}  // namespace knscene
}  // namespace osg
