#pragma once

#include "model/math/Matrix.h"

#include <cmath>
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

  /// Looks through a camera: `toWorld` places the space that it looks down -z in, `edges` are left, right, bottom and top
  /// of what it sees at distance 1. What is not between `near` and `far` is not seen. A picture whose shape differs
  /// from that of the edges is stretched. Nothing is seen through a matrix that cannot be inverted.
  static PictureView through(osg::Matrix const& toWorld, osg::Vec4f const& edges, double skew, double near,
                             double far, double aspect);

  /// Nothing for a point beside or behind the eye, and for one that is not finite.
  std::optional<SeenPoint> see(osg::Pnt3f const& point) const;
  /// The part of a point, line or face that is seen, or nearly: what is far outside the picture is cut off, too.
  /// Empty when nothing is, and for points that are not finite.
  std::vector<SeenPoint> seePart(std::span<osg::Pnt3f const> corners) const;
  osg::Vec3f direction() const { return osg::normalized(_forward); }
  /// How large one unit at `depth` is, in the unit of `SeenPoint`.
  double scaleAt(double depth) const { return 1 / (depth * _slope); }

 private:
  SeenPoint toEyeSpace(osg::Pnt3f const& point) const;
  SeenPoint project(SeenPoint const& inEyeSpace) const;

  osg::Vec3f _eye;
  osg::Vec3f _right = {1, 0, 0};
  osg::Vec3f _up = {0, 1, 0};
  osg::Vec3f _forward = {0, 0, -1};
  double _slope = 1;   ///< tangent of half the field of view
  double _slopeY = 1;  ///< the same for as much of the height
  double _centerX = 0;
  double _centerY = 0;  ///< where the line of sight passes the picture, at distance 1
  double _nearest = 1e-4;
  double _farthest = INFINITY;
};

}  // namespace knanim
