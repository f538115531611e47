#pragma once

#include "model/scenegraph/Node.h"

#include <optional>

namespace osg {
inline namespace knscene {

class AnimObject;

/// A range of time in seconds.
struct TimeRange {
  Real32 min;
  Real32 max;

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

/// Base of the cores of animation nodes.
class KNSCENE_API AnimObject : public AnimObjectBase {
 public:
  /// The time that the core itself spans, in its own axis: before any node's placement. Nothing for a core that
  /// spans no time by itself, as a block or an empty curve.
  virtual std::optional<TimeRange> getTimeRange() const { return std::nullopt; }

  void changed(BitVector const& mask, UInt32 origin) override;

 protected:
  /// The result of getTimeRange may be another one: the nodes of this core measure themselves again.
  void timeRangeChanged();
};

using AnimObjectPtr = AnimObject::Ptr;

}  // namespace knscene
}  // namespace osg
