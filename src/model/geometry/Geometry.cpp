#include "model/geometry/Geometry.h"

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(GeometryBase, Geometry, "Geometry")

void Geometry::addFace(std::span<UInt32 const> corners) {
  auto& indices = _fIndices.getValues();
  indices.insert(indices.end(), corners.begin(), corners.end());
  _fFaceSizes.push_back(static_cast<UInt32>(corners.size()));
}

UInt32 Geometry::getFaceCount() const {
  std::size_t left = _fIndices.size();
  UInt32 count = 0;
  for (UInt32 const size : _fFaceSizes) {
    if (size > left) break;
    left -= size;
    ++count;
  }
  return count;
}

void Geometry::accumulateMatrix(Matrix& matrix) const {
  Transform3DPtr const transform = getTransform();
  if (transform.isAlive()) transform->accumulateMatrix(matrix);
}

void Geometry::extendVolume(BoxVolume& volume) const {
  GeoPositions3f const* const positions = dcastTo<GeoPositions3f>(getPositions());
  if (positions == nullptr) return;
  for (Pnt3f const& position : positions->getValues()) volume.extendBy(position);
}

}  // namespace knscene
}  // namespace osg
