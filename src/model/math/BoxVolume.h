#pragma once

#include "model/math/Matrix.h"
#include "model/math/Vectors.h"

namespace osg {
inline namespace knscene {

/// An axis-aligned box, also used as a range of time along x. A default-constructed box is empty.
class KNSCENE_API BoxVolume {
 public:
  BoxVolume() = default;
  /// The box between two corners.
  BoxVolume(Pnt3f const& min, Pnt3f const& max) : _min(min), _max(max), _empty(false) {}

  /// Whether there is nothing in it; making it so; setting its corners.
  bool isEmpty() const { return _empty; }
  void setEmpty() { *this = BoxVolume(); }
  void setBounds(Pnt3f const& min, Pnt3f const& max) { *this = BoxVolume(min, max); }
  /// The two corners; an empty box gives the origin twice.
  void getBounds(Pnt3f& min, Pnt3f& max) const {
    min = _min;
    max = _max;
  }
  /// Grows the box to hold a point or another box; an empty box adds nothing.
  void extendBy(Pnt3f const& point);
  void extendBy(BoxVolume const& other);
  /// The box around this box's corners under `matrix`; an empty box stays empty.
  BoxVolume transformed(Matrix const& matrix) const;

 private:
  Pnt3f _min;
  Pnt3f _max;
  bool _empty = true;
};

}  // namespace knscene
}  // namespace osg
