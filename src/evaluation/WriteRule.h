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
  bool isOfCamera = false;                        ///< the container is one
  osg::FieldDescription const* field = nullptr;   ///< with Kind::Field
  osg::BitVector mask;                            ///< of that field
  osg::FieldContainerType const* type = nullptr;  ///< of the container; null in a rule that skips

  /// The rule for a field name on a type, made at the first call and good for ever. Any thread.
  static WriteRule const& find(osg::FieldContainerType const& type, std::string const& name);
  /// What a field of that type holds; lists count as `Other`. Any thread.
  static Content contentOf(osg::FieldType const& type);
};

/// Stores one component, or one bit, of a field by its content. False when it has that value already, or when there
/// is no such component or vertex; content that nothing can be stored in counts as changed each time.
/// `inDegrees`: vectors and colours take the value turned into radians.
bool writeToField(osg::Field& field, WriteRule::Content content, osg::UInt32 valueIndex,
                  osg::UInt32 vertexIndex, float value, bool inDegrees);

/// To the nearest whole number, halves away from zero. What fits no 32 bits, NaN included, gives the lowest one.
osg::Int32 roundToInt(float value);
/// The same cut off towards zero.
osg::Int32 truncateToInt(float value);
