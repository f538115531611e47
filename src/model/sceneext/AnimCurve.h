#pragma once

#include "model/sceneext/AnimObject.h"
#include "model/sceneext/CCPnt.h"

#include <atomic>

namespace osg {
inline namespace knscene {

class AnimCurve;

/// What a curve does before its first and after its last key. Any value above 4 acts as constant.
enum InfinityMode : UInt32 {
  ConstantInfinity = 0,       ///< the value of the nearest end key
  LinearInfinity = 1,         ///< extended along the end key's tangent
  CycleInfinity = 2,          ///< the curve repeats
  CycleRelativeInfinity = 3,  ///< the curve repeats, each repetition raised by its whole rise
  OscillateInfinity = 4,      ///< the curve repeats, every other repetition mirrored in time
};

/// The fields of an AnimCurve.
class KNSCENE_API AnimCurveBase : public AnimObject {
  KN_CONTAINER(AnimCurveBase, AnimCurve, AnimObject)
 public:
  // What each evaluation reads comes first, beside the name, the last field of AnimObject.
  /// The channel's name; with the suffix it finds a channel's curve.
  KN_SFIELD(std::string, ChannelName, channelName)
  /// The component of the field that the curve writes (0 to 3), or the number of a bit plus 10.
  KN_SFIELD(UInt32, ValueIndex, valueIndex, 0U)
  /// Segments are straight lines, tangents are ignored.
  KN_SFIELD(bool, ForceLinearInterpolation, forceLinearInterpolation, false)
  /// The keys, ascending in time. Whoever writes them directly keeps them so, and announces the field.
  KN_MFIELD(CCPnt, ControlPoints, controlPoints)

 protected:
  /// What evaluation remembers of the keys, to find a segment sooner.
  mutable std::atomic<UInt32> _segmentHint = 0xFFFFFFFFU;
  mutable std::atomic<Real32> _firstTime = 0.F;
  mutable std::atomic<Real32> _keyRate = 0.F;

 public:
  /// An `InfinityMode`: what comes before the first key, and after the last.
  KN_SFIELD(UInt32, PreInfinityMode, preInfinityMode, ConstantInfinity)
  KN_SFIELD(UInt32, PostInfinityMode, postInfinityMode, ConstantInfinity)
  /// The vertex that a vertex curve moves.
  KN_SFIELD(UInt32, VertexIndex, vertexIndex, 0U)
  /// The component of the channel, such as "X" or "R".
  KN_SFIELD(std::string, Suffix, suffix)
  /// The curve was made from a camera shot, and its first key follows the camera.
  KN_SFIELD(bool, IsCameraShotCurve, isCameraShotCurve, false)
  /// Display colour.
  KN_SFIELD(Color3f, Color, color, Color3f(1, 1, 1))
  KN_CONTAINER_END
};

/// A curve: keys with tangents, and what happens outside them. All operations are for the main thread, except
/// reading while nobody writes.
class KNSCENE_API AnimCurve : public AnimCurveBase {
 public:
  /// Whether there is no key.
  bool isEmpty() const { return getControlPoints().empty(); }

  /// Adds a key and returns its place. Keys are kept in order of time; among equal times the new one comes last.
  /// A time that is not finite is refused with -1; values and tangents are taken as they are. Numbers that are not
  /// finite are logged as a warning. Announces nothing: after the last key of an edit, announce `ControlPoints`.
  ///
  /// `replaceSameTime` puts the key in the place of the first one at exactly this time, if there is one.
  /// `computeTangents` computes a zero vector from its type, and again whenever a key is added beside it: type 1 points
  /// straight at the neighbour, type 2 is flat, type 0 stays zero, so that the value holds; other types stay as given.
  /// A vector that is not zero is always kept.
  Int32 addPoint(Point2f const& position, Vector2f const& inTangent, Vector2f const& outTangent,
                 UInt32 inType, UInt32 outType, bool replaceSameTime, bool computeTangents);
  /// Adds a key at each point, joined by straight lines: what addPoint does for each in turn, in one pass. Linear in
  /// the points where they ascend and come after the last key, otherwise they are sorted and merged with the keys.
  void addPoints(MField<Pnt2f> const& points);
  /// Reads the keys as (time, value) pairs; the former content of `points` is dropped.
  void points(MField<Pnt2f>& points) const;
  /// Drops all keys.
  void clear();
  /// Releases room that the keys do not need.
  void shrink();

  /// Computes a tangent anew by `type`, which becomes the key's; -1 means the type that the key has. Types 0 to 2 act
  /// as in addPoint, others leave the vector as it is. At an end of the curve, where there is no neighbour, the vector
  /// is zero. An index out of range is ignored.
  void computeIntangent(UInt32 index, Int32 type);
  void computeOuttangent(UInt32 index, Int32 type);

  /// Multiplies the times of all keys and the time parts of all tangents by a factor, in double precision. Computed
  /// tangents go on following their neighbours. A negative factor reverses the order of the keys, which the caller must
  /// then restore. Announces nothing.
  void scaleTimes(Real64 factor);

  std::optional<TimeRange> getTimeRange() const override;

  /// The keys, in order of time.
  MField<CCPnt> const& getControlPoints() const { return AnimCurveBase::getControlPoints(); }
  /// For writing: the curve no longer assumes that its keys are in order.
  MField<CCPnt>& getControlPoints() {
    setSegmentHint(NoSegment);
    return AnimCurveBase::getControlPoints();
  }

  /// What getSegmentHint answers when the keys may be out of order: before they were looked at, and after they were
  /// handed out for writing or announced.
  static constexpr UInt32 NoSegment = 0xFFFFFFFFU;
  /// The segment that was read last, as the index of its earlier key: a hint for the next search, and no more. Set it
  /// only after checking that the keys ascend. Any thread.
  UInt32 getSegmentHint() const { return _segmentHint.load(std::memory_order_relaxed); }
  void setSegmentHint(UInt32 segment) const { _segmentHint.store(segment, std::memory_order_relaxed); }
  /// An estimate of the index at `time`, with a fraction, as if keys were at equal distances: where to begin a search.
  /// It rests on the keys as they were when last checked, and may be any number.
  Real32 guessPlace(Real32 time) const {
    return (time - _firstTime.load(std::memory_order_relaxed)) * _keyRate.load(std::memory_order_relaxed);
  }
  void setPlaces(Real32 firstTime, Real32 keysPerSecond) const {
    _firstTime.store(firstTime, std::memory_order_relaxed);
    _keyRate.store(keysPerSecond, std::memory_order_relaxed);
  }

  /// Kept by cores that hold this curve without being nodes, as vertex curves do.
  TimeRangeUsers& getTimeRangeUsers() { return _timeRangeUsers; }

  void changed(BitVector const& mask, UInt32 origin) override;

 protected:
  /// Keys that a file brings out of order are put in order of time; those whose time is no number come last.
  void fieldsAssigned() override;
  void onDestroy() override;

 private:
  void followNeighbours(std::size_t index);
  void tellTimeRangeUsers() const override { _timeRangeUsers.timeRangeChanged(); }

  TimeRangeUsers _timeRangeUsers;
};

using AnimCurvePtr = AnimCurve::Ptr;

}  // namespace knscene
}  // namespace osg
