#pragma once

#include "model/sceneext/AnimObject.h"

#include <algorithm>

namespace osg {
inline namespace knscene {

class AnimShot;

/// Durations are in seconds, positions in scene units.
class KNSCENE_API AnimShotBase : public AnimObject {
  KN_CONTAINER(AnimShotBase, AnimShot, AnimObject)
 public:
  /// The view at the start and at the end: position, what is looked at, up vector.
  KN_SFIELD(Pnt3f, StartFrom, startFrom)
  KN_SFIELD(Pnt3f, EndFrom, endFrom)
  KN_SFIELD(Pnt3f, StartAt, startAt)
  KN_SFIELD(Pnt3f, EndAt, endAt)
  KN_SFIELD(Vec3f, StartUp, startUp, Vec3f(0, 1, 0))
  KN_SFIELD(Vec3f, EndUp, endUp, Vec3f(0, 1, 0))
  /// Length of the shot without its transition.
  KN_SFIELD(Real32, ShotDuration, shotDuration, 0.F)
  /// Length of the transition, which comes before the shot or runs beside it.
  KN_SFIELD(Real32, TransitionDuration, transitionDuration, 0.F)
  /// 1: a moving shot with an end position of its own. Any other value: a still shot.
  KN_SFIELD(UInt32, ShotType, shotType, 0U)
  /// 0: none. 1: the camera flies from where it stands to the start. 2: a fade through exposure.
  KN_SFIELD(UInt32, TransitionType, transitionType, 0U)
  /// How keys are reached and left: 1 eases into them, 2 out of them, 3 both; any other value goes straight, or holds
  /// where the shot is still and has no transition.
  KN_SFIELD(UInt32, Interpolation, interpolation, 0U)
  KN_CONTAINER_END
};

/// One shot of a camera: a stored description of a move, from which curves are made.
class KNSCENE_API AnimShot : public AnimShotBase {
 public:
  /// What `TransitionType` may be besides 0, for none.
  enum Transition : UInt32 { FlightTransition = 1, FadeTransition = 2 };

  /// Sets a field, and notes that the time range has changed.
  void setShotDuration(Real32 const& seconds) {
    AnimShotBase::setShotDuration(seconds);
    timeRangeChanged();
  }
  void setTransitionDuration(Real32 const& seconds) {
    AnimShotBase::setTransitionDuration(seconds);
    timeRangeChanged();
  }
  void setTransitionType(UInt32 const& type) {
    AnimShotBase::setTransitionType(type);
    timeRangeChanged();
  }

  /// The shot, after the flight to its start where it has one. A fade runs beside the shot: the longer of the two
  /// counts. Curves below the shot's node are not part of it.
  std::optional<TimeRange> getTimeRange() const override {
    Real32 const shot = getShotDuration();
    Real32 const transition = getTransitionDuration();
    if (getTransitionType() == FlightTransition) return TimeRange{0.F, shot + transition};
    return TimeRange{0.F, getTransitionType() == FadeTransition ? std::max(shot, transition) : shot};
  }
};

using AnimShotPtr = AnimShot::Ptr;

}  // namespace knscene
}  // namespace osg
