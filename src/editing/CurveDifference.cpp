#include "editing/CurveDifference.h"

#include <algorithm>
#include <array>
#include <limits>

// A part of a Bezier segment lies in the hull of its control points, and so within a fat line about its chord
// (Sederberg and Nishita 1990, Curve intersection using Bezier clipping). Over one stretch of time the difference of two
// parts is then at most that of their chords, which is linear and known at its ends, and the two half-widths. Where
// that is too much to tell, the stretch is halved (Lane and Riesenfeld 1980); the widths fall by four at each step.

namespace {

constexpr int DeepestHalving = 40;

/// A place on a segment.
struct Place {
  double parameter;
  double time;
  double value;
};

struct Range {
  double low;
  double high;
};

/// How far a part of a segment strays from its chord, in value. With distances d1, d2 of the inner control points the
/// deviation is 3 s t (t d1 + s d2), at most 3/4 of the larger one, and 4/9 where they lie on two sides.
Range deviation(EvaluatedSegment const& segment, Place const& from, Place const& to) {
  double const third = (to.parameter - from.parameter) / 3.0;
  double const width = to.time - from.time;
  if (!(width > 0.0)) return {-std::fabs(to.value - from.value), std::fabs(to.value - from.value)};
  double const rise = (to.value - from.value) / width;
  double const d1 =
      third * (segment.value.slopeAt(from.parameter) - rise * segment.time.slopeAt(from.parameter));
  double const d2 = third * (rise * segment.time.slopeAt(to.parameter) - segment.value.slopeAt(to.parameter));
  double const factor = (d1 < 0.0) == (d2 < 0.0) ? 0.75 : 4.0 / 9.0;
  return {factor * std::min({0.0, d1, d2}), factor * std::max({0.0, d1, d2})};
}

/// A stretch of time, as the place of its ends on the old segment and on the new one.
struct Stretch {
  std::array<Place, 2> old;
  std::array<Place, 2> fresh;
  int halvings;
};

class DifferenceSearch {
 public:
  /// Ends early when a difference above `tooMuch` is found. A stretch is done with when it exceeds neither `enough` nor
  /// what was found elsewhere by more than `slack`.
  DifferenceSearch(EvaluatedSegment const& fresh, double enough, double tooMuch, double slack)
      : _fresh(fresh), _enough(enough), _tooMuch(tooMuch), _slack(slack) {}

  /// Goes on with the next old segment. False when too much was found.
  bool look(EvaluatedSegment const& old) {
    Place const oldStart{0.0, old.start(), old.value.c0};
    Place const oldEnd{1.0, old.end(), old.value.c3};
    Place const freshEnd = freshAt(oldEnd.time, _last.parameter);
    if (_atStart) _last = {0.0, _fresh.start(), _fresh.value.c0};
    _atStart = false;
    std::array<Stretch, DeepestHalving + 2> pending;
    std::size_t count = 0;
    pending[count++] = {{oldStart, oldEnd}, {_last, freshEnd}, 0};
    _last = freshEnd;
    note(oldEnd, freshEnd);
    while (count > 0 && largest.found <= _tooMuch) {
      Stretch const stretch = pending[--count];
      if (isDone(old, stretch)) continue;
      Place const oldMiddle = placeAt(old, 0.5 * (stretch.old[0].parameter + stretch.old[1].parameter));
      Place const freshMiddle =
          freshAt(oldMiddle.time, 0.5 * (stretch.fresh[0].parameter + stretch.fresh[1].parameter));
      note(oldMiddle, freshMiddle);
      pending[count++] = {{oldMiddle, stretch.old[1]}, {freshMiddle, stretch.fresh[1]}, stretch.halvings + 1};
      pending[count++] = {{stretch.old[0], oldMiddle}, {stretch.fresh[0], freshMiddle}, stretch.halvings + 1};
    }
    return largest.found <= _tooMuch && largest.bound <= _tooMuch;
  }

  LargestDifference largest;

 private:
  static Place placeAt(EvaluatedSegment const& segment, double parameter) {
    return {parameter, segment.time.at(parameter), segment.value.at(parameter)};
  }
  Place freshAt(double time, double guess) const {
    double const parameter = time >= _fresh.end() ? 1.0 : _fresh.parameterAt(time, guess);
    return {parameter, time, _fresh.value.at(parameter)};
  }
  void note(Place const& a, Place const& b) {
    largest.found = std::max(largest.found, std::fabs(a.value - b.value));
  }
  bool isDone(EvaluatedSegment const& old, Stretch const& stretch) {
    double const first = stretch.old[0].value - stretch.fresh[0].value;
    double const last = stretch.old[1].value - stretch.fresh[1].value;
    Range const ofOld = deviation(old, stretch.old[0], stretch.old[1]);
    Range const ofFresh = deviation(_fresh, stretch.fresh[0], stretch.fresh[1]);
    double const most = std::max(std::max(first, last) + ofOld.high - ofFresh.low,
                                 ofFresh.high - ofOld.low - std::min(first, last));
    bool const done = most <= std::max(_enough, largest.found + _slack);
    if (!done && stretch.halvings < DeepestHalving) return false;
    largest.bound = std::max(largest.bound, most);
    return true;
  }

  EvaluatedSegment const& _fresh;
  double const _enough;
  double const _tooMuch;
  double const _slack;
  Place _last{0.0, 0.0, 0.0};
  bool _atStart = true;
};

}  // namespace

bool staysWithin(std::span<EvaluatedSegment const> old, EvaluatedSegment const& segment, double tolerance) {
  DifferenceSearch search(segment, tolerance, tolerance, 0.0);
  return std::ranges::all_of(old, [&](EvaluatedSegment const& one) { return search.look(one); });
}

LargestDifference enclose(std::span<EvaluatedSegment const> old, EvaluatedSegment const& segment,
                          double slack) {
  DifferenceSearch search(segment, 0.0, std::numeric_limits<double>::infinity(), slack);
  for (EvaluatedSegment const& one : old) search.look(one);
  return search.largest;
}
