#pragma once

/// The two keys of a curve segment, in global time (seconds), the earlier one first. Tangents are vectors relative
/// to their own key. Only the tangents that point into the segment take part.
struct SegmentKeys {
  float ax, ay;        ///< earlier key
  float aoutX, aoutY;  ///< its outgoing tangent
  float bx, by;        ///< later key
  float binX, binY;    ///< its incoming tangent
};

/// The value of a cubic Bezier segment at a time.
///
/// The segment's time is a cubic in the curve parameter; it is solved in closed form, by Cardano's formula where one
/// root is real and by Viete's trigonometric form where three are. Of three roots the one that lies in 0..1 is taken,
/// tried in the order largest, smallest, middle, which decides for tangents that overshoot in time.
///
/// \param k      the keys. A segment without width has the value of its earlier key.
/// \param time   seconds. Meant to lie between the keys; beyond them a single real root extends the cubic.
/// \param value  receives the value. Magnitudes below 0.000001 become exactly 0, and so does a value that is not a
///               number. Untouched when the result is false.
/// \return false when no root is found and the caller must keep the value it has: the cubic term of the segment's
///         time vanishes or drowns in rounding (it is 1 less three times the distance of the inner control points in
///         time, in widths of the segment), a nearly double root lies out of reach of the formulas, no root of three
///         lies in 0..1, or key times or the time are not finite.
///
/// Rounding grows as the cubic term shrinks: 1e-5 of the value range is kept down to a cubic term
/// of about 1e-4. Pure and thread-safe; about as expensive as three arc cosines.
[[nodiscard]] bool solveSegment(SegmentKeys const& k, float time, float& value) noexcept;

/// t^3 + p t + q = 0, whose roots are a segment's parameters plus the shift.
struct DepressedCubic {
  double p;
  double q;
  double discriminant;
  double shift;
};

/// What of a segment's solution does not depend on the time, computed once: for many times in one segment. Gives the
/// bits that solveSegment gives.
class SegmentSolver {
 public:
  explicit SegmentSolver(SegmentKeys const& keys) noexcept;

  /// See solveSegment.
  [[nodiscard]] bool value(float time, float& value) const noexcept;
  /// The derivative of the value by the time, per second; infinite where the segment stands upright. Where value and
  /// time both rest, at an end without tangent, it is the one that the segment leaves or reaches that end with.
  [[nodiscard]] bool slope(float time, double& slope) const noexcept;
  /// The curve parameter at a time; see solveSegment. False also for a segment without width.
  [[nodiscard]] bool parameter(float time, double& s) const noexcept;

 private:
  struct Point {
    double x, y;
  };
  DepressedCubic depress(double u) const noexcept;
  DepressedCubic depressExactly(double u) const noexcept;
  bool findRoot(float time, double& root) const noexcept;

  Point _points[4];
  double _width;
  double _a, _b, _c;       ///< the segment's normalised time, a s^3 + b s^2 + c s = u
  double _inverse;         ///< 1 / a
  double _p, _q0, _shift;  ///< of the depressed cubic, t^3 + p t + q = 0, but for the part of q that is u / a
  double _cube;            ///< (p/3)^3
  double _scale;           ///< what the discriminant is measured against, but for its part in q
  bool _hasCubicTerm;
};
