#include "model/math/BoxVolume.h"

#include <algorithm>

namespace osg {
inline namespace knscene {

void BoxVolume::extendBy(Pnt3f const& point) {
  if (_empty) {
    setBounds(point, point);
    return;
  }
  for (std::size_t i = 0; i < 3; ++i) {
    _min[i] = std::min(_min[i], point[i]);
    _max[i] = std::max(_max[i], point[i]);
  }
}

void BoxVolume::extendBy(BoxVolume const& other) {
  if (other._empty) return;
  extendBy(other._min);
  extendBy(other._max);
}

BoxVolume BoxVolume::transformed(Matrix const& matrix) const {
  BoxVolume result;
  if (_empty) return result;
  for (UInt32 corner = 0; corner < 8; ++corner) {
    result.extendBy(matrix.multMatrixPnt(Pnt3f((corner & 1U) != 0 ? _max.x() : _min.x(),
                                               (corner & 2U) != 0 ? _max.y() : _min.y(),
                                               (corner & 4U) != 0 ? _max.z() : _min.z())));
  }
  return result;
}

}  // namespace knscene
}  // namespace osg
