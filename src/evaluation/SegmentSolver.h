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
