#pragma once

#include "knAnimExport.h"
#include "model/sceneext/AnimCurve.h"

#include <cstddef>
#include <vector>

/// A curve to reduce, and what the reduction may do to it.
struct knCurveReductionJob {
  osg::AnimCurvePtr curve;
  /// How far the new curve may differ from the old one, in the unit of the channel: degrees for rotations, lengths for
  /// translations. Finite and not negative.
  float tolerance = 0.F;
  /// Indices of keys that stay as they are, tangents included. Indices past the last key are ignored.
  std::vector<osg::UInt32> pinned;
};

/// How a reduction ended.
enum class knCurveReductionOutcome {
  Reduced,         ///< keys went
  NothingRemoved,  ///< no key could go; the curve is as it was
  NoCurve,         ///< a null or dead handle
  BadTolerance,    ///< negative, infinite or not a number; the curve is as it was
  BadTimes,        ///< key times that do not ascend strictly, or are not finite; the curve is as it was
};

/// What became of one curve. `error` is proven: nowhere do the old and the new curve differ by more. `found` is a
/// difference that occurs, so that the largest one lies between the two. Both are in the unit of the channel, and 0 when
/// nothing was removed.
struct knCurveReductionResult {
  knCurveReductionOutcome outcome = knCurveReductionOutcome::NoCurve;
  std::size_t keysBefore = 0;
  std::size_t keysAfter = 0;
  float found = 0.F;
  float error = 0.F;
};

/// Reduces curves to few keys, with a promise: the values that evaluation gives stay within a tolerance of those before,
/// at every time and not just at samples.
///
/// Method. From each key that stays, the farthest later key is searched for which one segment can replace all between the
/// two. The segment's tangents are fitted by least squares to the old curve, then moved so that the largest miss
/// falls (Schneider 1990, An algorithm for automatically fitting digitized curves; Lawson 1961 for the reweighing). They
/// reach two fifths of the segment in time or somewhat more, at which the cubic that evaluation solves is well
/// conditioned. The difference of the old and the new curve is then enclosed, over stretches of time that are halved
/// until each is decided, by the hulls of their control points about their chords (Sederberg and Nishita 1990, Curve
/// intersection using Bezier clipping; Lane and Riesenfeld 1980). An allowance for the rounding of evaluation is part of
/// the bound: about a millionth, and four tenths of a millionth of the values themselves, two millionths for a curve of
/// straight lines. A tolerance below that removes nothing but held keys that repeat a value.
///
/// What stays. Keys that stay keep their time and value; first and last key always stay. Where the curve passes such a
/// key smoothly it still does, also over the seam of a cycle or into a constant extension. Steps stay steps: a held
/// segment goes only where it repeats the value before it. The segments beside a pinned key stay as they are, as do the
/// outermost ones of a curve that extends linearly, the first one of a curve that cycles, and segments that evaluation
/// cannot solve well. A curve of straight lines (`ForceLinearInterpolation`) stays one. Tangents that were fitted do not
/// follow their neighbours any more.
///
/// The promise is for nodes without offset and scale; a node that places the curve otherwise in time adds what the
/// rounding of times costs. A node that is flipped in time, or shrinks it until tangents are shorter than 0.0001 s, can
/// turn segments into held ones before or after the reduction, and there the promise ends.
class KNANIM_API knCurveReduction {
 public:
  knCurveReduction() = delete;

  /// The keys that a reduction leaves of a curve, which is only read; `keys` is replaced, by all keys when nothing can
  /// go. Any thread, while nobody writes. As a rule n log n in the number of keys.
  static knCurveReductionResult compute(osg::AnimCurve const& curve, float tolerance,
                                        std::vector<osg::UInt32> const& pinned,
                                        std::vector<osg::CCPnt>& keys);

  /// Reduces curves in place and announces those that lost keys; a result for each job, in their order. The curves are
  /// computed in parallel, all before the first is written, with the same result as one after the other: a curve that is
  /// listed twice gets the keys of its last job. For the thread that edits the scene.
  static std::vector<knCurveReductionResult> reduce(std::vector<knCurveReductionJob> const& jobs);
};
