#pragma once

#include "knAnimExport.h"
#include "model/sceneext/AnimCurve.h"
#include "model/sceneext/AnimNode.h"

#include <optional>
#include <span>

/// How the tangents of keys are made. The first three are the types that keys carry (`osg::TangentType`), which follow
/// when a neighbour comes, goes or moves. The last two set plain vectors, for the keys as they stand: set them again
/// after an edit.
enum class knTangents {
  Step,      ///< the value holds until the next key
  Straight,  ///< straight lines from key to key
  Flat,      ///< the curve eases out of and into every key
  /// A key is passed in the direction from the key before it to the key after it (Catmull and Rom 1974, for keys at any
  /// distances), the first and the last one straight. Smooth, but swings beyond the keys where they turn.
  Smooth,
  /// The same, held back so that no segment leaves the span of its two keys' values: flat where the keys turn or repeat
  /// a value, elsewhere at most three times as steep as the flatter of its two segments by the measure of the segment's
  /// control points (Fritsch and Carlson 1980, Monotone piecewise cubic interpolation). Rising keys give a rising curve.
  Clamped,
};

/// Reading and editing single curves. Times are in seconds, slopes per second, values in the unit of the channel.
///
/// A curve stands in its own time, or where a node puts it: operations for a node read the curve that is its core, under
/// the offsets and scales of the node and all above it, as evaluation does. Repetitions (`PostCycles`) take no part, as
/// in the evaluation of a scene.
class KNANIM_API knCurves {
 public:
  knCurves() = delete;

  // --- Reading ------------------------------------------------------------------------------------------------
  // Nothing for a null or dead handle, a curve without keys, an inactive node, and one whose core is no curve. Any
  // thread, while nobody writes.

  /// The value that an evaluation would write, bit for bit, infinity modes included: 0 (and what the mode adds) where a
  /// segment has no solution. Costs what a record of an evaluation costs.
  static std::optional<float> getValue(osg::AnimCurvePtr const& curve, float time);
  static std::optional<float> getValue(osg::AnimNodePtr const& node, float time);
  /// The same for many times, into `values`, which is at least as long. False, with nothing written, where there is no
  /// value or `values` is too short. Times in any order; ascending ones between the keys cost least, as a segment is
  /// prepared once for all times in it.
  static bool getValues(osg::AnimCurvePtr const& curve, std::span<float const> times,
                        std::span<float> values);
  static bool getValues(osg::AnimNodePtr const& node, std::span<float const> times, std::span<float> values);
  /// The derivative of the value by the time. On a key it is that of the segment behind it, on the last one that of the
  /// segment before; infinite where the curve stands upright. Nothing also where a segment has no solution.
  static std::optional<float> getSlope(osg::AnimCurvePtr const& curve, float time);
  static std::optional<float> getSlope(osg::AnimNodePtr const& node, float time);

  // --- Keys ---------------------------------------------------------------------------------------------------
  // Keys stay in order of time; among equal times the one that was put there last comes last. Tangents that follow
  // (see `AnimCurve::addPoint`) do so, those of the neighbours as well; vectors that were given stay. Each call
  // announces the keys once. Null and dead handles, indices out of range and times that are not finite change nothing:
  // false, or -1. Main thread.

  static bool removePoint(osg::AnimCurvePtr const& curve, osg::UInt32 index);
  /// Moves a key to a time and value, tangents with it. Returns its new index.
  static osg::Int32 movePoint(osg::AnimCurvePtr const& curve, osg::UInt32 index, osg::Pnt2f const& position);
  /// Replaces a key with all that it has. Returns its new index.
  static osg::Int32 setPoint(osg::AnimCurvePtr const& curve, osg::UInt32 index, osg::CCPnt const& key);
  /// Puts a key on the curve and leaves the curve's shape as it is: the segment is divided (de Casteljau's algorithm),
  /// which sets the tangents on both sides of the new key and those of its neighbours that point to it. Returns the
  /// key's index, that of the present key where one stands at this very time. -1 before the first and behind the last
  /// key, in a segment that turns back in time or has no solution, and where a part would get a tangent shorter than
  /// 0.0001 s, with which it would hold its value.
  ///
  /// Values differ by less than a millionth of the range of values, plus what the rounding of times makes: floats near
  /// 100 s are 0.000008 s apart.
  static osg::Int32 insertPoint(osg::AnimCurvePtr const& curve, float time);

  // --- Tangents -----------------------------------------------------------------------------------------------

  /// Makes the tangents of all keys, or of some, and announces the keys once. Indices out of range are passed over;
  /// segments without width or with numbers that are not finite count as ends. False when nothing was there to set.
  /// Linear in the keys. Main thread.
  static bool setTangents(osg::AnimCurvePtr const& curve, knTangents tangents);
  static bool setTangents(osg::AnimCurvePtr const& curve, knTangents tangents,
                          std::span<osg::UInt32 const> indices);
};
