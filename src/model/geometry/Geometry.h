#pragma once

#include "model/geometry/GeoProperty.h"
#include "model/materials/Material.h"
#include "model/scenegraph/Transform3D.h"

namespace osg {
inline namespace knscene {

class Geometry;

/// The fields of a Geometry.
class KNSCENE_API GeometryBase : public NodeCore {
  KN_CONTAINER(GeometryBase, Geometry, NodeCore)
 public:
  /// Bits that say what kind of geometry this is; see `Geometry::Component`.
  KN_SFIELD(UInt32, GeometryType, geometryType, 0U)
  /// Where the shape stands in the space of its node; null for the origin.
  KN_FIELD_BARE(SField<Transform3DPtr>, Transform, transform, Owned)
  /// The points, or null.
  KN_SFIELD_OWNED(GeoPositionsPtr, Positions, positions)
  /// One normal per position, or null.
  KN_SFIELD_OWNED(GeoNormalsPtr, Normals, normals)
  /// What the surface looks like; null leaves that to the groups above.
  KN_SFIELD_OWNED(MaterialPtr, Material, material)
  /// The corners of all faces, one after the other, as indices into `Positions`.
  KN_MFIELD(UInt32, Indices, indices)
  /// How many corners each face takes from `Indices`: 1 for a point, 2 for a line, more for a polygon.
  KN_MFIELD(UInt32, FaceSizes, faceSizes)
  KN_CONTAINER_END
};

/// A shape made of points, lines and polygons, with a place of its own where it has a transform.
class KNSCENE_API Geometry : public GeometryBase {
 public:
  /// Bit of the geometry type: a component of a larger shape, whose children are not walked for animations.
  static constexpr UInt32 Component = 2;

  /// Whether the geometry is a part of a larger one.
  bool isComponent() const { return (getGeometryType() & Component) != 0; }

  /// The transform between the node and the shape, null when there is none. A kind of geometry that computes
  /// its place may give another one than the stored.
  virtual Transform3DPtr getTransform() const { return _fTransform.getValue(); }
  /// Stores a transform and takes a reference to it; null takes it away.
  void setTransform(Transform3DPtr const& transform) { detail::replaceOwned(*this, _fTransform, transform); }

  /// Appends a face. Its corners may be indices of positions that are added later.
  void addFace(std::span<UInt32 const> corners);
  /// The number of faces that have all their corners: sizes past the end of the indices do not count.
  UInt32 getFaceCount() const;

  void accumulateMatrix(Matrix& matrix) const override;
  /// The box around all positions, whether a face uses them or not.
  void extendVolume(BoxVolume& volume) const override;
};

using GeometryPtr = Geometry::Ptr;

}  // namespace knscene
}  // namespace osg
