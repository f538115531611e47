#pragma once

#include "model/scenegraph/Node.h"

#include <atomic>
#include <optional>

namespace osg {
inline namespace knscene {

class AnimObject;

/// A range of time in seconds.
struct TimeRange {
  /// Start and end in seconds.
  Real32 min;
  Real32 max;

  /// Equal at both ends.
  friend bool operator==(TimeRange const&, TimeRange const&) = default;
};

/// The fields that all cores of animation nodes have.
class KNSCENE_API AnimObjectBase : public NodeCore {
  KN_CONTAINER(AnimObjectBase, AnimObject, NodeCore)
 public:
  /// False leaves a curve out where inactive curves are ignored.
  KN_SFIELD(bool, Active, active, true)
  /// Object-level placement in time, read by statistics only: evaluation takes that of the node.
  KN_SFIELD(Vec2f, Offset, offset)
  KN_SFIELD(Real32, Scale, scale, 1.F)
  KN_SFIELD(Vec2f, AccumulatedOffset, accumulatedOffset)
  KN_SFIELD(Real32, AccumulatedScale, accumulatedScale, 1.F)
  // Last, so that a curve has all that an evaluation reads side by side.
  /// For a curve, the name of the scene field that it drives; for others, the name to show.
  KN_SFIELD(std::string, Name, name)
  KN_CONTAINER_END
};

using AnimObjectPtr = AnimObjectBase::Ptr;

/// Base of the cores of animation nodes.
class KNSCENE_API AnimObject : public AnimObjectBase {
 public:
  /// The time that the core itself spans, in its own time, before any node's offset and scale. Nothing for a core that
  /// spans no time by itself, such as a block or an empty curve.
  virtual std::optional<TimeRange> getTimeRange() const { return std::nullopt; }
  /// The same for a caller that keeps the result and is told when it may have changed.
  std::optional<TimeRange> measureTimeRange() const {
    _isMeasured.store(true, std::memory_order_relaxed);
    return getTimeRange();
  }

  void changed(BitVector const& mask, UInt32 origin) override;
  void followChange(BitVector const& mask) override;

 protected:
  /// The result of getTimeRange may have changed: whatever measured this core measures it again. Constant time while
  /// nobody has, else linear in the nodes of this core.
  void timeRangeChanged();

 private:
  friend class TimeRangeUsers;
  /// Passes the news on to what measured this core without being a node of it.
  virtual void tellTimeRangeUsers() const {}

  mutable std::atomic<bool> _isMeasured = false;
};

/// The cores whose time range rests on a container that they hold: the vertex curves that a curve is part of, the
/// cache that a shape is in. Takes the room of one pointer while there is none.
class KNSCENE_API TimeRangeUsers {
 public:
  TimeRangeUsers();
  ~TimeRangeUsers();
  TimeRangeUsers(TimeRangeUsers const&) = delete;
  TimeRangeUsers& operator=(TimeRangeUsers const&) = delete;

  /// A core may hold the container several times; each time counts.
  void add(AnimObjectPtr const& user);
  void sub(AnimObjectPtr const& user);
  void timeRangeChanged() const;

 private:
  struct Counts;
  Counts* _counts = nullptr;
};

}  // namespace knscene
}  // namespace osg
