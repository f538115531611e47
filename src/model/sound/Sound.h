#pragma once

#include "model/scenegraph/Node.h"

namespace osg {
inline namespace knscene {

class Sound;

/// Gains are factors of amplitude, angles full openings in degrees, lengths in scene units.
class KNSCENE_API SoundBase : public NodeCore {
  KN_CONTAINER(SoundBase, Sound, NodeCore)
 public:
  /// Loudness, as a factor.
  KN_SFIELD(Real32, Gain, gain, 1.F)
  /// Bounds of what distance and cone make of the gain.
  KN_SFIELD(Real32, MinGain, minGain, 0.F)
  KN_SFIELD(Real32, MaxGain, maxGain, 1.F)
  /// Factor of speed and pitch, above 0.
  KN_SFIELD(Real32, Pitch, pitch, 1.F)
  /// Up to this distance the sound keeps its full gain; beyond `MaxDistance` it falls no further.
  KN_SFIELD(Real32, ReferenceDistance, referenceDistance, 1.F)
  KN_SFIELD(Real32, MaxDistance, maxDistance, 1.0e6F)
  /// How fast the gain falls with distance; 0 not at all, 1 like the inverse of the distance.
  KN_SFIELD(Real32, RolloffFactor, rolloffFactor, 1.F)
  /// Inside the inner cone the sound has its full gain, outside the outer cone `ConeOuterGain` times that.
  KN_SFIELD(Real32, ConeInnerAngle, coneInnerAngle, 360.F)
  KN_SFIELD(Real32, ConeOuterAngle, coneOuterAngle, 360.F)
  KN_SFIELD(Real32, ConeOuterGain, coneOuterGain, 0.F)
  /// The source is a ball of this radius: distances count from its surface.
  KN_SFIELD(Real32, SourceRadius, sourceRadius, 0.F)
  /// What the host's player is asked to do.
  KN_SFIELD(bool, Play, play, false)
  KN_SFIELD(bool, Stop, stop, false)
  KN_SFIELD(bool, Loop, loop, false)
  KN_CONTAINER_END
};

/// A source of sound at the origin of its node; its cone opens down -z.
class KNSCENE_API Sound : public SoundBase {
 public:
  /// What is left of the sound for a listener, given in the space of the node's children: the gain, by the
  /// clamped inverse distance law and by the cone, held within the bounds. A place that is not a number gives
  /// the least gain.
  Real32 getGainAt(Pnt3f const& listener) const;

 private:
  Real32 distanceFactor(Real32 distance) const;
  Real32 coneFactor(Vec3f const& toListener) const;
};

using SoundPtr = Sound::Ptr;

}  // namespace knscene
}  // namespace osg
