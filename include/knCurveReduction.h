#pragma once

#include "knAnimExport.h"
#include "model/sceneext/AnimCurve.h"

#include <cstddef>
#include <vector>

/// A curve to reduce, and what the reduction may do to it.
struct knCurveReductionJob {
  /// The curve.
  osg::AnimCurvePtr curve;
  /// How far the new curve may differ from the old one, in the unit of the channel: degrees for rotations, lengths for
  /// translations. Finite and not negative.
  float tolerance = 0.F;
  /// Indices of keys that stay as they are, tangents included. Indices past the last key are ignored.
  std::vector<osg::UInt32> pinned;
};

/// How a reduction ended.
enum class knCurveReductionOutcome {
  Reduced,         ///< keys were removed
  NothingRemoved,  ///< no key could be removed; the curve is as it was
  NoCurve,         ///< a null or dead handle
  BadTolerance,    ///< negative, infinite or not a number; the curve is as it was
  BadTimes,        ///< key times that do not ascend strictly, or are not finite; the curve is as it was
};

/// The result for one curve. The largest difference between the old and the new curve lies between `found` and `error`.
/// Both are in the unit of the channel, and 0 when nothing was removed.
struct knCurveReductionResult {
  knCurveReductionOutcome outcome = knCurveReductionOutcome::NoCurve;  ///< how the reduction ended
  std::size_t keysBefore = 0;                                          ///< number of keys before
  std::size_t keysAfter = 0;                                           ///< number of keys that are left
  float found = 0.F;                                                   ///< a difference that does occur
  float error = 0.F;                                                   ///< proven: no difference is larger
};

/// Reduces curves to few keys with a guarantee: the values that an evaluation gives stay within a tolerance of those
/// before, at every time and not only at samples.
///
/// Method. The search goes from the first key to the last. From each key that stays, it looks for the farthest later key
/// such that one segment can replace all segments between the two. The tangents of that segment are fitted to the old
/// curve by least squares (Schneider 1990, An algorithm for automatically fitting digitized curves), and then moved so that
/// the largest error falls, by reweighting the samples (Lawson 1961). They reach two fifths of the segment in time or
/// somewhat more, where the cubic that evaluation solves is well conditioned. The difference between the old and the new
/// curve is then bounded over intervals of time, which are halved until each is decided. The bounds come from the hulls of
/// the control points about their chords (Sederberg and Nishita 1990, Curve intersection using Bezier clipping; Lane and
/// Riesenfeld 1980). They include an allowance for the rounding of an evaluation: about a millionth, plus four tenths of a
/// millionth of the values themselves, or two millionths for a curve of straight lines. With a tolerance below that, only
/// held keys that repeat a value are removed.
///
/// What stays. Keys that stay keep their time and value; the first and the last key always stay. A key that the curve
/// passes smoothly is still passed smoothly, also where a cycle starts again or a constant extension begins. Steps stay
/// steps: a held segment is removed only where it repeats the value before it. Some segments stay as they are: those beside
/// a pinned key, the outermost ones of a curve that extends linearly, the first one of a curve that cycles, and segments
/// that evaluation cannot solve well. A curve of straight lines (`ForceLinearInterpolation`) stays one. Fitted tangents no
/// longer follow their neighbours.
///
/// The guarantee is for nodes without offset and scale. A node that moves or stretches the curve in time adds the error of
/// rounding times. There is no guarantee for a node that flips the curve in time, or shrinks it until tangents are shorter
/// than 0.0001 s: this can turn segments into held ones, before the reduction or after it.
class KNANIM_API knCurveReduction {
 public:
  knCurveReduction() = delete;

  /// Computes the keys that a reduction would leave, and changes nothing: `keys` is replaced by them, or by all keys of the
  /// curve when none can be removed. Any thread, while nobody writes. Usually n log n in the number of keys.
  static knCurveReductionResult compute(osg::AnimCurve const& curve, float tolerance,
                                        std::vector<osg::UInt32> const& pinned,
                                        std::vector<osg::CCPnt>& keys);

  /// Reduces curves in place and announces those that lost keys. Returns a result for each job, in the order of the jobs.
  /// The curves are computed in parallel, all of them before the first is written. A curve that is listed twice gets the
  /// keys of its last job. Main thread.
  static std::vector<knCurveReductionResult> reduce(std::vector<knCurveReductionJob> const& jobs);
};
