#pragma once

#include "model/sceneext/CCPnt.h"

#include <cmath>

/// One coordinate of a cubic Bezier segment as a polynomial in the segment's parameter, by its control values.
struct BezierCubic {
  double c0, c1, c2, c3;

  double at(double s) const {
    double const t = 1.0 - s;
    return t * t * (t * c0 + 3.0 * s * c1) + s * s * (3.0 * t * c2 + s * c3);
  }
  double slopeAt(double s) const {
    double const t = 1.0 - s;
    return 3.0 * (t * t * (c1 - c0) + 2.0 * s * t * (c2 - c1) + s * s * (c3 - c2));
  }
};

/// How evaluation treats what lies between two keys.
enum class SegmentKind : unsigned char {
  Bezier,  ///< a Bezier segment whose time can be solved well
  Line,    ///< a straight line, as the curve ignores its tangents
  Held,    ///< the earlier key's value
  Opaque,  ///< anything else: not finite, turning back in time, or close to where the solver finds no root
};

/// A segment of a curve under a node without offset and scale, exactly as evaluation sees it: the inner control points
/// are sums of floats.
struct EvaluatedSegment {
  SegmentKind kind = SegmentKind::Opaque;
  BezierCubic time{};
  BezierCubic value{};

  double start() const { return time.c0; }
  double end() const { return time.c3; }
  double startSlope() const { return (value.c1 - value.c0) / (time.c1 - time.c0); }
  double endSlope() const { return (value.c3 - value.c2) / (time.c3 - time.c2); }
  double largestValue() const {
    return std::fmax(std::fmax(std::fabs(value.c0), std::fabs(value.c1)),
                     std::fmax(std::fabs(value.c2), std::fabs(value.c3)));
  }
  /// The parameter at a time between start and end, of a Bezier segment or a line. `guess` is where to begin.
  double parameterAt(double t, double guess) const;
};

/// What lies between two keys of a curve.
EvaluatedSegment segmentBetween(osg::CCPnt const& a, osg::CCPnt const& b, bool forceLinear);
