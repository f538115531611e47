#include "model/sceneplate/Sceneplate.h"

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(SceneplateBase, Sceneplate, "Sceneplate")

bool Sceneplate::covers(Pnt2f const& point) const {
  if (!getActive()) return false;
  for (std::size_t i = 0; i < 2; ++i) {
    Real32 const offset = point[i] - getPosition()[i];
    if (!(offset >= 0.F && offset < getSize()[i])) return false;
  }
  return true;
}

}  // namespace knscene
}  // namespace osg
