#include "model/scenegraph/Group.h"

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(GroupBase, Group, "Group")

}  // namespace knscene
}  // namespace osg
