#pragma once

#include "model/sceneext/AnimObject.h"

namespace osg {
inline namespace knscene {

class AnimShot;

/// Durations are in seconds, positions in scene units.
class KNSCENE_API AnimShotBase : public AnimObject {
  KN_CONTAINER(AnimShotBase, AnimShot, AnimObject)
 public:
  KN_SFIELD(Pnt3f, StartFrom, startFrom)
  KN_SFIELD(Pnt3f, EndFrom, endFrom)
  KN_SFIELD(Pnt3f, StartAt, startAt)
  KN_SFIELD(Pnt3f, EndAt, endAt)
  KN_SFIELD(Vec3f, StartUp, startUp, Vec3f(0, 1, 0))
  KN_SFIELD(Vec3f, EndUp, endUp, Vec3f(0, 1, 0))
  /// Length of the shot without its transition.
  KN_SFIELD(Real32, ShotDuration, shotDuration, 0.F)
  KN_SFIELD(Real32, TransitionDuration, transitionDuration, 0.F)
  /// 1: a moving shot with an end position of its own. Any other value: a still shot.
  KN_SFIELD(UInt32, ShotType, shotType, 0U)
  /// 0: none. 1: the camera flies from where it stands to the start. 2: a fade through exposure.
  KN_SFIELD(UInt32, TransitionType, transitionType, 0U)
  /// 0 to 3, selects the tangent types.
  KN_SFIELD(UInt32, Interpolation, interpolation, 0U)
  KN_CONTAINER_END
};

/// One shot of a camera: a stored description of a move, from which curves are made.
class KNSCENE_API AnimShot : public AnimShotBase {
 public:
  /// The transition, when there is one, and the shot after it. Curves below the shot's node count besides.
  std::optional<TimeRange> getTimeRange() const override {
    return TimeRange{0.F, getShotDuration() + (getTransitionType() != 0 ? getTransitionDuration() : 0.F)};
  }
};

using AnimShotPtr = AnimShot::Ptr;

}  // namespace knscene
}  // namespace osg
