#include "model/geometry/GeoProperty.h"

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE_ABSTRACT(GeoPositions, "GeoPositions")
KN_CONTAINER_TYPE_ABSTRACT(GeoNormals, "GeoNormals")
KN_CONTAINER_TYPE(GeoPositions3f, GeoPositions3f, "GeoPositions3f")
KN_CONTAINER_TYPE(GeoNormals3f, GeoNormals3f, "GeoNormals3f")

}  // namespace knscene
}  // namespace osg
