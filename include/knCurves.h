#pragma once

#include "knAnimExport.h"
#include "model/sceneext/AnimCurve.h"
#include "model/sceneext/AnimNode.h"

#include <optional>
#include <span>

/// How the tangents of keys are made. The first three are the types that keys have (`osg::TangentType`): such tangents
/// are computed again when a neighbouring key is added, removed or moved. The last two set plain vectors for the keys as
/// they are now: set them again after an edit. Vectors that are made here reach over 0.4 of the time to the next key: a
/// flat one from a key at 1 s to one at 3 s is (0.8, 0).
enum class knTangents {
  Step,      ///< the value holds until the next key
  Straight,  ///< straight lines from key to key
  Flat,      ///< the curve eases out of and into every key
  /// The curve passes each key in the direction from the key before it to the key after it (Catmull and Rom 1974, for
  /// keys at any distances), and the first and last key straight. Smooth, but overshoots at peaks.
  Smooth,
  /// The same without overshooting: no segment leaves the range of its two keys' values. The curve is flat at peaks and
  /// at keys that repeat a value. Elsewhere the slope is limited to three times that of the flatter of the two segments,
  /// measured at the control points (Fritsch and Carlson 1980, Monotone piecewise cubic interpolation). Rising keys give
  /// a rising curve.
  Clamped,
};

/// Reading and editing single curves. Times are in seconds, slopes per second, values in the unit of the channel.
///
/// Operations on a curve use the curve's own time. Operations on a node read the curve that is the node's core, with the
/// offsets and scales of the node and all nodes above it, as an evaluation does. Repetitions (`PostCycles`) do not count,
/// as in the evaluation of a scene.
class KNANIM_API knCurves {
 public:
  knCurves() = delete;

  // --- Reading ------------------------------------------------------------------------------------------------
  // No value for a null or dead handle, a curve without keys, an inactive node, and a node whose core is not a curve. Any
  // thread, while nobody writes.

  /// The value that an evaluation would write, bit for bit, infinity modes included. Where a segment has no solution that
  /// is 0, plus what the mode adds. Costs as much as one curve in an evaluation.
  static std::optional<float> getValue(osg::AnimCurvePtr const& curve, float time);
  static std::optional<float> getValue(osg::AnimNodePtr const& node, float time);
  /// The same for many times. `values` must have room for them; if it does not, or if there is no value, nothing is
  /// written and the result is false. Times may be in any order. Ascending ones cost least, because each segment is
  /// prepared once for all times in it.
  static bool getValues(osg::AnimCurvePtr const& curve, std::span<float const> times,
                        std::span<float> values);
  static bool getValues(osg::AnimNodePtr const& node, std::span<float const> times, std::span<float> values);
  /// The derivative of the value by time. On a key it is that of the segment after the key, on the last key that of the
  /// segment before. Infinite where the curve is vertical; no value where a segment has no solution.
  static std::optional<float> getSlope(osg::AnimCurvePtr const& curve, float time);
  static std::optional<float> getSlope(osg::AnimNodePtr const& node, float time);

  // --- Keys ---------------------------------------------------------------------------------------------------
  // Keys stay in order of time; among equal times the one that was added last comes last. Tangents that the curve
  // computed (see `AnimCurve::addPoint`) are computed again, those of the neighbours too; vectors that were given stay.
  // Each call announces the keys once. Null and dead handles, indices out of range, and times, values and tangents that
  // are not finite change nothing and return false, or -1; numbers that are not finite are also told to the log. Main
  // thread.

  /// Removes a key.
  static bool removePoint(osg::AnimCurvePtr const& curve, osg::UInt32 index);
  /// Moves a key with its tangents to a time and value. Returns its new index.
  static osg::Int32 movePoint(osg::AnimCurvePtr const& curve, osg::UInt32 index, osg::Pnt2f const& position);
  /// Replaces a key by another one, tangents included. Returns the new index.
  static osg::Int32 setPoint(osg::AnimCurvePtr const& curve, osg::UInt32 index, osg::CCPnt const& key);
  /// Adds a key on the curve without changing the curve's shape: the segment is divided (de Casteljau's algorithm), which
  /// sets both tangents of the new key and the tangents of its neighbours that point to it. Returns the index of the new
  /// key, or of the key that is already at exactly this time. Returns -1 before the first key and after the last one, in
  /// a segment that turns back in time or has no solution, and where a part would get a tangent shorter than 0.0001 s,
  /// which would make it hold its value.
  ///
  /// Values differ by less than a millionth of the range of values, plus the effect of rounding the time: floats near
  /// 100 s are 0.000008 s apart.
  static osg::Int32 insertPoint(osg::AnimCurvePtr const& curve, float time);

  // --- Tangents -----------------------------------------------------------------------------------------------

  /// Sets the tangents of all keys, or of the given ones, and announces the keys once. Indices out of range are skipped.
  /// At a segment without width, or with numbers that are not finite, the curve counts as ended. Returns false when
  /// there was nothing to set. Linear in the keys. Main thread.
  static bool setTangents(osg::AnimCurvePtr const& curve, knTangents tangents);
  static bool setTangents(osg::AnimCurvePtr const& curve, knTangents tangents,
                          std::span<osg::UInt32 const> indices);
};
