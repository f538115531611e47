#pragma once

#include "model/scenegraph/Node.h"

namespace osg {
inline namespace knscene {

class CameraTrack;

/// Durations in seconds, for each viewpoint of the track.
class KNSCENE_API CameraTrackBase : public NodeCore {
  KN_CONTAINER(CameraTrackBase, CameraTrack, NodeCore)
 public:
  /// Seconds for each viewpoint that has none of its own: the move to it, the fade-in, the pause at it.
  KN_SFIELD(Real32, AnimationDuration, animationDuration, 0.F)
  KN_SFIELD(Real32, FadeInDuration, fadeInDuration, 0.F)
  KN_SFIELD(Real32, PauseDuration, pauseDuration, 0.F)
  KN_CONTAINER_END
};

/// The core of a scene node below a camera's node; the node's children are the viewpoints of the track.
class KNSCENE_API CameraTrack : public CameraTrackBase {};

using CameraTrackPtr = CameraTrack::Ptr;

}  // namespace knscene
}  // namespace osg
