#pragma once

#include "model/sceneext/AnimObject.h"

namespace osg {
inline namespace knscene {

class AnimSequence;

/// The fields of an AnimSequence.
class KNSCENE_API AnimSequenceBase : public AnimObject {
  KN_CONTAINER(AnimSequenceBase, AnimSequence, AnimObject)
 public:
  /// The trigger activates the viewpoint of the core's name.
  KN_SFIELD(bool, IsViewpoint, isViewpoint, false)
  /// The trigger selects the variant set of the core's name.
  KN_SFIELD(bool, IsVariant, isVariant, false)
  KN_CONTAINER_END
};

/// A timed trigger of a viewpoint, a variant set, or with neither flag of a named sequence. It fires when an evaluation
/// of its clip passes the second that the offset of its node names, whatever the nodes above say.
class KNSCENE_API AnimSequence : public AnimSequenceBase {
 public:
  std::optional<TimeRange> getTimeRange() const override { return TimeRange{0.F, 0.F}; }
};

using AnimSequencePtr = AnimSequence::Ptr;

}  // namespace knscene
}  // namespace osg
