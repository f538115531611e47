#pragma once

#include "knanim/curvefiles/SourceCurve.h"

#include <functional>

namespace knanim {

/// How near curves of the library come to those of files: of the value range of a curve.
inline constexpr double kFitShare = 1e-5;

/// Makes a curve of the library, span by span.
///
/// Evaluation solves a cubic for the time, whose leading term must not vanish. In a cubic of time it does. So such a span
/// becomes a segment whose time runs a little unevenly, by as much as the tolerance allows, with values fitted in return
/// (interpolation at two parameters); a segment that gets not near enough is divided.
class CurveFitter {
 public:
  /// The curve begins with a key; `tolerance` is how far values may be off.
  CurveFitter(Key const& first, double tolerance);

  void hold(Key const& next);
  void goStraight(Key const& next);
  /// On a Bezier span: as it is where evaluation can solve it well, otherwise fitted.
  void bend(SourceCurve const& curve, std::size_t span);
  /// Along a function of the share of the time from the last key to the next one, which it meets at 0 and 1.
  void follow(Key const& next, std::function<double(double)> const& valueAt);

  std::vector<BezierKey> const& keys() const { return _keys; }
  /// How far a span is from what it was to be, as samples find it.
  double deviation() const { return _deviation; }
  /// No span bends.
  bool isStraight() const { return _isStraight; }

 private:
  struct Piece;
  Piece fit(Piece piece) const;
  Piece fitWith(Piece piece, double cubicTerm) const;
  void append(Piece const& piece);
  BezierKey makeKey(Key const& key) const;

  std::vector<BezierKey> _keys;
  double _tolerance;
  double _deviation = 0;
  bool _isStraight = true;
};

/// A curve of the library that has the values of a curve of a file, in and outside its keys.
struct FittedCurve {
  CurveForm form;
  std::vector<Key> keys;  ///< those between the ends, as a list of keys has them
  double deviation = 0;   ///< the largest that samples find
  double range = 0;       ///< of the values
  bool isNear = true;     ///< within `kFitShare` of the range, or what floats can tell apart
};

/// The keys of a form, of several at one time the last.
std::vector<Key> listKeys(CurveForm const& form);

/// A form as a curve of a file, without its ends.
SourceCurve toSourceCurve(CurveForm const& form);

FittedCurve fitCurve(SourceCurve const& source);

/// The last time before another one that keys can have.
double justBefore(double time);

/// A number by time as a file has it, where it is no curve of the file.
struct SourceFunction {
  std::vector<double>
      times;  ///< where it may bend sharply or jump: seconds, ascending strictly; at least one
  std::vector<SpanShape> shapes;  ///< one less; a held span is known by its begin
  std::function<double(std::size_t span, double share)>
      at;           ///< from within a span, at a share of its time, 0 to 1
  double last = 0;  ///< the value at the last time
};

/// A curve with the function's values, and held outside.
FittedCurve fitFunction(SourceFunction const& source);

/// Gives a curve its ends. The library knows no zero outside the keys, and takes the direction of a straight line from the
/// tangent that leads to the neighbour: both are made with one more key at the same time, or as near as can be.
void addEnds(CurveForm& form, Outside before, double slopeBefore, Outside after, double slopeAfter);

}  // namespace knanim
