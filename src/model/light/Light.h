#pragma once

#include "model/scenegraph/Node.h"

namespace osg {
inline namespace knscene {

class Light;

/// Colours are linear sRGB with an unused fourth component.
class KNSCENE_API LightBase : public NodeCore {
  KN_CONTAINER(LightBase, Light, NodeCore)
 public:
  /// The colours of the light.
  KN_SFIELD(Color4f, Ambient, ambient, Color4f(0, 0, 0, 1))
  KN_SFIELD(Color4f, Diffuse, diffuse, Color4f(1, 1, 1, 1))
  KN_SFIELD(Color4f, Specular, specular, Color4f(1, 1, 1, 1))
  /// Multiplies all three colours; 1 leaves them as they are.
  KN_SFIELD(Real32, Intensity, intensity, 1.F)
  /// Whether the light shines.
  KN_SFIELD(bool, Active, active, true)
  KN_CONTAINER_END
};

/// A light as older scenes have it: plain colours without physical units, shining from the origin of its node
/// in all directions.
class KNSCENE_API Light : public LightBase {
 public:
  /// What the light adds to a surface that is turned to it fully: the diffuse colour by the intensity. Black
  /// while it does not shine.
  Color3f getRadiance() const;
};

using LightPtr = Light::Ptr;

}  // namespace knscene
}  // namespace osg
