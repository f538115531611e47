#pragma once

#include <vector>

/// A second opinion on curve values for tests: brute force in long double, sharing nothing with the library.
namespace kntest {

/// A key in global time with its tangents, which are vectors relative to the key.
struct CurveKey {
  float x, y;
  float inX, inY;
  float outX, outY;
};

/// Whether the segment from a to b keeps a's value all along.
bool holds(CurveKey const& a, CurveKey const& b);

/// Every curve parameter in 0..1 at which the segment stands at the time, ascending. Found by bisection between the
/// turning points of the segment's time. Empty for a segment without width, for times outside of what the segment
/// reaches and for anything that is not finite. A time that a turning point merely touches may be missed.
std::vector<double> parametersAt(CurveKey const& a, CurveKey const& b, double time);

/// The segment's value at a curve parameter.
double valueAtParameter(CurveKey const& a, CurveKey const& b, double s);

/// How well a closed form can do on a segment: `cubicTerm` is the leading coefficient of the normalised time, and the
/// discriminant that of the depressed cubic. Digits are lost as either comes close to zero.
struct Conditioning {
  double cubicTerm;
  double discriminant;
};
Conditioning conditioningAt(CurveKey const& a, CurveKey const& b, double time);

}  // namespace kntest
