#include "knCurveReduction.h"

#include "editing/CurveDifference.h"
#include "editing/CurveFitting.h"

#include <algorithm>
#include <array>
#include <limits>
#include <span>
#include <tbb/parallel_for.h>

using osg::AnimCurve;
using osg::CCPnt;
using osg::UInt32;
using Outcome = knCurveReductionOutcome;

namespace {

/// Tried in this order. At the first, the one of computed tangents, a straight line is one in the parameter too.
constexpr std::array<TangentReach, 3> Reaches{{{0.4, 0.4}, {0.5, 0.5}, {0.35, 0.35}}};
/// A segment's samples are thinned to about so many for a first look.
constexpr std::size_t FirstLook = 48;
/// How much a first look may miss by for a second one to be worth it.
constexpr double Hopeful = 3.0;

/// One segment that stands for several.
struct Piece {
  std::size_t first;
  std::size_t last;
  CCPnt from;
  CCPnt to;
  EvaluatedSegment segment;
};

bool ascends(std::span<CCPnt const> keys) {
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (!std::isfinite(keys[i].x()) || (i > 0 && !(keys[i - 1].x() < keys[i].x()))) return false;
  }
  return true;
}

/// The slope in which the curve goes on outside its ends; nothing where it does not, or linearly.
std::optional<double> slopeOutside(UInt32 mode, double own, double other) {
  switch (mode) {
    case osg::LinearInfinity:
      return std::nullopt;
    case osg::CycleInfinity:
    case osg::CycleRelativeInfinity:
      return other;
    case osg::OscillateInfinity:
      return -own;
    default:
      return 0.0;
  }
}

bool isCycle(UInt32 mode) {
  return mode == osg::CycleInfinity || mode == osg::CycleRelativeInfinity || mode == osg::OscillateInfinity;
}

class Reducer {
 public:
  Reducer(AnimCurve const& curve, double tolerance, std::vector<UInt32> const& pinned)
      : _curve(curve), _keys(curve.getControlPoints().getValues()), _tolerance(tolerance) {
    findSegments();
    findFixed(pinned);
    findSmoothKeys();
    sample();
  }

  knCurveReductionResult run(std::vector<CCPnt>& keys) {
    std::size_t first = 0;
    while (first < _segments.size()) {
      std::size_t end = first;
      while (end < _segments.size() && !_fixed[end]) ++end;
      if (end > first) reduceRun(first, end);
      first = end + 1;
    }
    removeHeldKeys();
    return assemble(keys);
  }

 private:
  void findSegments();
  void findFixed(std::vector<UInt32> const& pinned);
  bool mustStay(std::size_t segment) const;
  void findSmoothKeys();
  void sample();
  void reduceRun(std::size_t first, std::size_t last);
  std::optional<Piece> findLongestPiece(std::size_t first, std::size_t last);
  std::optional<Piece> tryPiece(std::size_t first, std::size_t last);
  std::optional<Piece> tryReach(std::size_t first, std::size_t last, TangentReach reach);
  std::optional<Piece> certify(std::size_t first, std::size_t last, osg::Vec2f const& out,
                               osg::Vec2f const& in) const;
  void removeHeldKeys();
  knCurveReductionResult assemble(std::vector<CCPnt>& keys) const;

  bool isLinear() const { return _curve.getForceLinearInterpolation(); }
  std::span<EvaluatedSegment const> segmentsOf(std::size_t first, std::size_t last) const {
    return std::span(_segments).subspan(first, last - first);
  }

  AnimCurve const& _curve;
  std::span<CCPnt const> const _keys;
  double const _tolerance;
  double _allowance = 0.0;  ///< of the run that is worked on
  std::vector<EvaluatedSegment> _segments;
  std::vector<bool> _fixed;                         ///< by segment: stays as it is
  std::vector<bool> _pinned;                        ///< by key
  std::vector<bool> _removed;                       ///< by key
  std::vector<std::optional<double>> _smoothSlope;  ///< by key: the slope that it is passed in
  std::vector<CurveSample> _samples;                ///< two for each segment: in its middle and at its end
  std::vector<CurveSample> _fewSamples;
  std::vector<Piece> _pieces;
  double _found = 0.0;
  double _bound = 0.0;
  CurveFitter _fitter;
};

void Reducer::findSegments() {
  _removed.assign(_keys.size(), false);
  for (std::size_t i = 0; i + 1 < _keys.size(); ++i)
    _segments.push_back(segmentBetween(_keys[i], _keys[i + 1], isLinear()));
}

void Reducer::findFixed(std::vector<UInt32> const& pinned) {
  _pinned.assign(_keys.size(), false);
  for (UInt32 const key : pinned) {
    if (key < _keys.size()) _pinned[key] = true;
  }
  _fixed.resize(_segments.size());
  for (std::size_t i = 0; i < _segments.size(); ++i) {
    SegmentKind const kind = _segments[i].kind;
    bool const canFit = kind == SegmentKind::Bezier || kind == SegmentKind::Line;
    _fixed[i] = !canFit || mustStay(i);
  }
  // Rounding can put a time that a cycle wraps before the first key, where evaluation goes on with the first segment.
  if (isCycle(_curve.getPreInfinityMode()) || isCycle(_curve.getPostInfinityMode())) _fixed.front() = true;
}

bool Reducer::mustStay(std::size_t segment) const {
  if (_pinned[segment] || _pinned[segment + 1]) return true;
  // Linear extensions are made of the tangents of the ends.
  return (segment == 0 && _curve.getPreInfinityMode() == osg::LinearInfinity) ||
         (segment + 1 == _segments.size() && _curve.getPostInfinityMode() == osg::LinearInfinity);
}

void Reducer::findSmoothKeys() {
  _smoothSlope.resize(_keys.size());
  // Lines have corners everywhere.
  if (isLinear()) return;
  auto const isBezier = [](EvaluatedSegment const& segment) { return segment.kind == SegmentKind::Bezier; };
  auto const note = [&](std::size_t key, double before, double after) {
    double const larger = std::max(std::fabs(before), std::fabs(after));
    if (std::isfinite(larger) && std::fabs(before - after) <= 1e-3 * larger)
      _smoothSlope[key] = 0.5 * (before + after);
  };
  for (std::size_t i = 1; i < _segments.size(); ++i) {
    if (isBezier(_segments[i - 1]) && isBezier(_segments[i]))
      note(i, _segments[i - 1].endSlope(), _segments[i].startSlope());
  }
  if (!isBezier(_segments.front()) || !isBezier(_segments.back())) return;
  double const first = _segments.front().startSlope();
  double const last = _segments.back().endSlope();
  if (auto const outside = slopeOutside(_curve.getPreInfinityMode(), first, last)) note(0, *outside, first);
  if (auto const outside = slopeOutside(_curve.getPostInfinityMode(), last, first))
    note(_keys.size() - 1, last, *outside);
}

void Reducer::sample() {
  if (isLinear()) return;
  _samples.reserve(2 * _segments.size());
  for (EvaluatedSegment const& segment : _segments) {
    _samples.push_back({segment.time.at(0.5), segment.value.at(0.5)});
    _samples.push_back({segment.end(), segment.value.c3});
  }
}

/// Reduces the keys `first` to `last`, between which no segment is fixed.
void Reducer::reduceRun(std::size_t first, std::size_t last) {
  double largest = 0.0;
  for (EvaluatedSegment const& one : segmentsOf(first, last)) largest = std::max(largest, one.largestValue());
  // Values are rounded to floats and those below a millionth to zero, on both sides; lines are floats throughout.
  _allowance = 1e-6 + (isLinear() ? 2e-6 : 4e-7) * largest;
  if (!(_tolerance > _allowance)) return;
  while (first < last) {
    std::optional<Piece> piece = findLongestPiece(first, last);
    if (!piece) {
      ++first;
      continue;
    }
    first = piece->last;
    // As sharp as is worth it; the tolerance itself has been proven.
    double const proven = _tolerance - _allowance;
    LargestDifference const difference =
        enclose(segmentsOf(piece->first, piece->last), piece->segment, 0.01 * proven);
    _found = std::max(_found, difference.found);
    _bound = std::max(_bound, std::min(difference.bound, proven) + _allowance);
    std::fill(_removed.begin() + static_cast<std::ptrdiff_t>(piece->first) + 1,
              _removed.begin() + static_cast<std::ptrdiff_t>(piece->last), true);
    _pieces.push_back(std::move(*piece));
  }
}

/// Doubles the length for as long as a segment can be found, then closes in on the longest.
std::optional<Piece> Reducer::findLongestPiece(std::size_t first, std::size_t last) {
  std::optional<Piece> best;
  std::size_t reached = first + 1;
  std::size_t missed = last + 1;
  for (std::size_t length = 2; reached < last; length *= 2) {
    std::size_t const target = std::min(first + length, last);
    std::optional<Piece> piece = tryPiece(first, target);
    if (!piece) {
      missed = target;
      break;
    }
    best = std::move(piece);
    reached = target;
  }
  while (missed - reached > 1) {
    std::size_t const target = reached + (missed - reached) / 2;
    if (std::optional<Piece> piece = tryPiece(first, target)) {
      best = std::move(piece);
      reached = target;
    } else {
      missed = target;
    }
  }
  return best;
}

std::optional<Piece> Reducer::tryPiece(std::size_t first, std::size_t last) {
  if (isLinear()) {
    osg::Vec2f const way = _keys[last].point() - _keys[first].point();
    return certify(first, last, way * 0.4F, way * -0.4F);
  }
  for (TangentReach const& reach : Reaches) {
    if (std::optional<Piece> piece = tryReach(first, last, reach)) return piece;
  }
  return std::nullopt;
}

std::optional<Piece> Reducer::tryReach(std::size_t first, std::size_t last, TangentReach reach) {
  FitFrame const frame{{_keys[first].x(), _keys[first].y()},
                       {_keys[last].x(), _keys[last].y()},
                       _smoothSlope[first],
                       _smoothSlope[last]};
  std::span<CurveSample const> const samples = std::span(_samples).subspan(2 * first, 2 * (last - first) - 1);
  double const enough = _tolerance - _allowance;
  if (std::size_t const stride = samples.size() / FirstLook; stride > 1) {
    _fewSamples.clear();
    for (std::size_t i = stride / 2; i < samples.size(); i += stride) _fewSamples.push_back(samples[i]);
    if (_fitter.fit(_fewSamples, frame, reach, 0.0).error > Hopeful * enough) return std::nullopt;
  }
  CurveFit const fit = _fitter.fit(samples, frame, reach, enough);
  if (!(fit.error <= enough)) return std::nullopt;
  double const width = frame.end.time - frame.start.time;
  return certify(first, last, {static_cast<float>(reach.out * width), static_cast<float>(fit.outValue)},
                 {static_cast<float>(-reach.in * width), static_cast<float>(fit.inValue)});
}

std::optional<Piece> Reducer::certify(std::size_t first, std::size_t last, osg::Vec2f const& out,
                                      osg::Vec2f const& in) const {
  Piece piece{first, last, _keys[first], _keys[last], {}};
  piece.from.setOuttangent(out);
  piece.to.setIntangent(in);
  piece.segment = segmentBetween(piece.from, piece.to, isLinear());
  if (piece.segment.kind != _segments[first].kind) return std::nullopt;
  if (!staysWithin(segmentsOf(first, last), piece.segment, _tolerance - _allowance)) return std::nullopt;
  return piece;
}

/// A held key that repeats the held value before it tells nothing.
void Reducer::removeHeldKeys() {
  for (std::size_t i = 1; i < _segments.size(); ++i) {
    bool const held = _segments[i - 1].kind == SegmentKind::Held && _segments[i].kind == SegmentKind::Held;
    if (held && !mustStay(i - 1) && !mustStay(i) && _keys[i - 1].y() == _keys[i].y()) _removed[i] = true;
  }
}

knCurveReductionResult Reducer::assemble(std::vector<CCPnt>& keys) const {
  std::vector<CCPnt> all(_keys.begin(), _keys.end());
  for (Piece const& piece : _pieces) {
    all[piece.first].setOuttangent(piece.from.outtangent());
    all[piece.last].setIntangent(piece.to.intangent());
  }
  keys.clear();
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (!_removed[i]) keys.push_back(all[i]);
  }
  knCurveReductionResult result;
  result.outcome = keys.size() < all.size() ? Outcome::Reduced : Outcome::NothingRemoved;
  result.keysBefore = all.size();
  result.keysAfter = keys.size();
  // Rounded away from the truth on the safe side.
  constexpr float Up = std::numeric_limits<float>::infinity();
  if (_found > 0.0) result.found = std::nextafter(static_cast<float>(_found), 0.F);
  if (_bound > 0.0)
    result.error = std::min(std::nextafter(static_cast<float>(_bound), Up), static_cast<float>(_tolerance));
  return result;
}

}  // namespace

knCurveReductionResult knCurveReduction::compute(AnimCurve const& curve, float tolerance,
                                                 std::vector<UInt32> const& pinned,
                                                 std::vector<CCPnt>& keys) {
  auto const& all = curve.getControlPoints().getValues();
  bool const isTolerance = std::isfinite(tolerance) && tolerance >= 0.F;
  if (isTolerance && all.size() > 2 && ascends(all)) return Reducer(curve, tolerance, pinned).run(keys);
  keys = all;
  knCurveReductionResult result;
  result.outcome = !isTolerance   ? Outcome::BadTolerance
                   : ascends(all) ? Outcome::NothingRemoved
                                  : Outcome::BadTimes;
  result.keysBefore = result.keysAfter = all.size();
  return result;
}

std::vector<knCurveReductionResult> knCurveReduction::reduce(std::vector<knCurveReductionJob> const& jobs) {
  struct Work {
    osg::AnimCurvePtr curve;
    std::vector<CCPnt> keys;
  };
  std::vector<knCurveReductionResult> results(jobs.size());
  std::vector<Work> work(jobs.size());
  tbb::parallel_for(std::size_t(0), jobs.size(), [&](std::size_t i) {
    if (!jobs[i].curve.isAlive()) return;
    work[i].curve = jobs[i].curve;
    results[i] = compute(*jobs[i].curve, jobs[i].tolerance, jobs[i].pinned, work[i].keys);
  });
  // Whoever hears of a curve may change or destroy the others, and the list of jobs.
  for (std::size_t i = 0; i < work.size(); ++i) {
    if (results[i].outcome != Outcome::Reduced || !work[i].curve.isAlive()) continue;
    work[i].curve->getControlPoints().getValues() = std::move(work[i].keys);
    announce(work[i].curve, osg::AnimCurveBase::ControlPointsFieldMask);
  }
  return results;
}
