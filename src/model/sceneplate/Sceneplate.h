#pragma once

#include "model/scenegraph/Node.h"

namespace osg {
inline namespace knscene {

class Sceneplate;

/// Lengths are fractions of the picture: (0, 0) is its lower left corner, (1, 1) the upper right.
class KNSCENE_API SceneplateBase : public NodeCore {
  KN_CONTAINER(SceneplateBase, Sceneplate, NodeCore)
 public:
  /// The lower left corner of the plate.
  KN_SFIELD(Vec2f, Position, position)
  /// Width and height of the plate.
  KN_SFIELD(Vec2f, Size, size, Vec2f(1, 1))
  /// How much of what lies behind shines through, per colour: 0 nothing, 1 everything.
  KN_SFIELD(Vec3f, SeeThrough, seeThrough)
  /// Whether the plate is shown.
  KN_SFIELD(bool, Active, active, true)
  /// Whether the plate stands in front of the scene or behind it.
  KN_SFIELD(bool, InFront, inFront, true)
  KN_CONTAINER_END
};

/// A flat picture before or behind the scene, such as a logo or a backdrop.
class KNSCENE_API Sceneplate : public SceneplateBase {
 public:
  /// Whether the plate is shown and covers that point of the picture; the lower and left edges belong to it.
  bool covers(Pnt2f const& point) const;
};

using SceneplatePtr = Sceneplate::Ptr;

}  // namespace knscene
}  // namespace osg
