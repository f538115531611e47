#pragma once

#include "model/math/Vectors.h"

#include <optional>
#include <span>
#include <vector>

namespace knanim {

/// A point as a viewer sees it. x runs to the right and y upwards, both 0 in the middle of the picture; x is 1 at
/// the right border. `depth` is the distance along the line of sight.
struct SeenPoint {
  double x = 0;
  double y = 0;
  double depth = 0;
};

/// A perspective view of a scene.
class PictureView {
 public:
  /// Looks along `direction` from `eye` with a horizontal field of view in radians (above 0, below pi). A
  /// direction without length looks along -z; an `up` along the direction is replaced by another one.
  static PictureView along(osg::Vec3f const& eye, osg::Vec3f const& direction, osg::Vec3f const& up,
                           double fieldOfView);
  /// Looks along `direction` from so far away that all points are seen in a picture of this aspect (width
  /// divided by height), with a margin. Without points it looks at the origin.
  static PictureView around(std::span<osg::Pnt3f const> points, osg::Vec3f const& direction,
                            double fieldOfView, double aspect);

  /// Nothing for a point beside or behind the eye, and for one that is not finite.
  std::optional<SeenPoint> see(osg::Pnt3f const& point) const;
  osg::Vec3f const& direction() const { return _forward; }
  /// How large one unit at `depth` is, in the unit of `SeenPoint`.
  double scaleAt(double depth) const { return 1 / (depth * _slope); }

 private:
  SeenPoint toEyeSpace(osg::Pnt3f const& point) const;

  osg::Vec3f _eye;
  osg::Vec3f _right = {1, 0, 0};
  osg::Vec3f _up = {0, 1, 0};
  osg::Vec3f _forward = {0, 0, -1};
  double _slope = 1;  ///< tangent of half the field of view
  double _nearest = 1e-4;
};

}  // namespace knanim
