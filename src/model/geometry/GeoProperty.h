#pragma once

#include "model/fields/FieldContainer.h"

namespace osg {
inline namespace knscene {

class GeoPositions3f;
class GeoNormals3f;

/// The vertex positions of a geometry, however they are stored.
class KNSCENE_API GeoPositions : public FieldContainer {
  KN_CONTAINER(GeoPositions, GeoPositions, FieldContainer)
  KN_CONTAINER_END

  /// The number of vertices.
  virtual UInt32 getSize() const = 0;
};

using GeoPositionsPtr = GeoPositions::Ptr;

/// The vertex normals of a geometry, however they are stored.
class KNSCENE_API GeoNormals : public FieldContainer {
  KN_CONTAINER(GeoNormals, GeoNormals, FieldContainer)
  KN_CONTAINER_END

  /// The number of normals.
  virtual UInt32 getSize() const = 0;
};

using GeoNormalsPtr = GeoNormals::Ptr;

/// Positions as a contiguous array of `Pnt3f`.
class KNSCENE_API GeoPositions3f : public GeoPositions {
  KN_CONTAINER(GeoPositions3f, GeoPositions3f, GeoPositions)
 public:
  /// One value for each vertex.
  KN_MFIELD(Pnt3f, Values, values)
  KN_CONTAINER_END

  UInt32 getSize() const override { return static_cast<UInt32>(_fValues.size()); }
  /// The value at an index; zero past the end.
  Pnt3f getValue(UInt32 index) const { return index < getSize() ? _fValues[index] : Pnt3f(); }
  /// Stores a value; an index past the end is ignored. Announces nothing.
  void setValue(Pnt3f const& value, UInt32 index) {
    if (index < getSize()) _fValues[index] = value;
  }
  /// Cuts off at the end, or adds zeros there.
  void resize(UInt32 size) { _fValues.getValues().resize(size); }
};

using GeoPositions3fPtr = GeoPositions3f::Ptr;

/// Normals as a contiguous array of `Vec3f`.
class KNSCENE_API GeoNormals3f : public GeoNormals {
  KN_CONTAINER(GeoNormals3f, GeoNormals3f, GeoNormals)
 public:
  /// One value for each vertex.
  KN_MFIELD(Vec3f, Values, values)
  KN_CONTAINER_END

  UInt32 getSize() const override { return static_cast<UInt32>(_fValues.size()); }
  /// The value at an index; zero past the end.
  Vec3f getValue(UInt32 index) const { return index < getSize() ? _fValues[index] : Vec3f(); }
  /// Stores a value; an index past the end is ignored. Announces nothing.
  void setValue(Vec3f const& value, UInt32 index) {
    if (index < getSize()) _fValues[index] = value;
  }
  /// Cuts off at the end, or adds zeros there.
  void resize(UInt32 size) { _fValues.getValues().resize(size); }
};

using GeoNormals3fPtr = GeoNormals3f::Ptr;

/// What the elements of a vertex property are, and the class that stores them.
struct GeoPositions3fPropertyDesc {
  /// The type of a value, and the container of a list of them.
  using ValueType = Pnt3f;
  using Property = GeoPositions3f;
};
/// The same for normals.
struct GeoNormals3fPropertyDesc {
  /// The type of a value, and the container of a list of them.
  using ValueType = Vec3f;
  using Property = GeoNormals3f;
};

/// The class of the vertex property with that description.
template <class Desc>
using GeoProperty = typename Desc::Property;

}  // namespace knscene
}  // namespace osg
