#include "model/scenegraph/Material.h"

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(MaterialBase, Material, "Material")
KN_CONTAINER_TYPE(MaterialGroupBase, MaterialGroup, "MaterialGroup")

}  // namespace knscene
}  // namespace osg
