#pragma once

#include "model/fields/FieldContainerType.h"

#include <string>

/// How a value reaches a field of some name on a container of some type. It depends on these two alone.
struct WriteRule {
  enum class Kind : osg::UInt8 {
    Skip,
    EulerRotation,
    EulerRotationOrientation,
    LightGlossy,  ///< the four of a light apply where the node's core is one; elsewhere `field` does, if there is one
    LightDiffuse,
    LightIntensity,
    LightTemperature,
    CameraFrom,
    CameraAt,
    CameraUp,
    CameraAim,
    CameraUpTranslation,
    TurntableAngle,
    TurntableHeight,
    TurntableDistance,
    FocalLength,
    FStop,
    Visible,
    Field
  };
  /// What a field holds, as far as it can be written.
  enum class Content : osg::UInt8 {
    Vec2f,
    Vec3f,
    Vec4f,
    Pnt2f,
    Pnt3f,
    Pnt4f,
    Color3f,
    Color4f,
    Real32,
    Real64,
    Int32,
    UInt32,
    Int64,
    UInt64,
    Bool,
    Positions,
    Normals,
    Other
  };

  /// Which components of vectors and colours come in degrees and are stored in radians.
  enum class Angles : osg::UInt8 { None, Fourth, All };

  Kind kind = Kind::Skip;
  Content content = Content::Other;
  Angles angles = Angles::None;
  bool isOfCamera = false;   ///< the container is one
  bool mayCallHost = false;  ///< writing runs what a host's class, or a callback, may have brought
  osg::FieldDescription const* field = nullptr;  ///< with Kind::Field
  osg::BitVector mask;                           ///< of that field, or of the angles of a transform
  osg::UInt32 size = 0;  ///< values of this index and above go nowhere; a number has any index
  osg::FieldContainerType const* type = nullptr;  ///< of the container; null in a rule that skips, as is
  std::string const* name = nullptr;              ///< the field's name

  /// The rule for a field name on a type, made at the first call and good for ever. Any thread.
  static WriteRule const& find(osg::FieldContainerType const& type, std::string const& name);
  /// What a field of that type holds; lists count as `Other`. Any thread.
  static Content contentOf(osg::FieldType const& type);
};
