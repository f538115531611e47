#include "knanim/import/ShapeCaches.h"

#include "knanim/support/Text.h"
#include "model/geometry/Geometry.h"
#include "model/scenegraph/Cloning.h"

#include <algorithm>
#include <cmath>

namespace knanim {
namespace {

/// `sums` and `weight` times `offsets`, where there are any.
template <typename Element>
void addWeighted(std::vector<Element>& sums, std::vector<osg::Vec3f> const& offsets, float weight) {
  if (weight == 0) return;
  std::size_t const count = std::min(sums.size(), offsets.size());
  for (std::size_t i = 0; i < count; ++i) sums[i] = sums[i] + offsets[i] * weight;
}

}  // namespace

double shapeBytes(std::size_t shapes, std::size_t vertices) {
  return static_cast<double>(shapes) * static_cast<double>(vertices) *
         static_cast<double>(sizeof(osg::Pnt3f) + sizeof(osg::Vec3f));
}

std::string mebibytes(double bytes) {
  double const count = bytes / (1024 * 1024);
  return brief(count < 100 ? count : std::round(count), count < 100 ? 3 : 15) + " MiB";
}

std::vector<osg::Vec3f> normalsOfFaces(ImportedMesh const& mesh, std::span<osg::Pnt3f const> positions) {
  std::vector<osg::Vec3f> normals(positions.size());
  std::size_t first = 0;
  for (osg::UInt32 const size : mesh.faceSizes) {
    std::span<osg::UInt32 const> const corners = std::span(mesh.indices).subspan(first, size);
    first += size;
    osg::Vec3f normal;
    for (std::size_t i = 2; i < corners.size(); ++i) {
      osg::Pnt3f const& origin = positions[corners[0]];
      normal = normal + osg::cross(positions[corners[i - 1]] - origin, positions[corners[i]] - origin);
    }
    for (osg::UInt32 const corner : corners) normals[corner] = normals[corner] + normal;
  }
  for (osg::Vec3f& normal : normals)
    normal = osg::length(normal) > 0 ? osg::normalized(normal) : osg::Vec3f(0, 1, 0);
  return normals;
}

osg::TimeShapeDataPtr makeShape(double time, std::vector<osg::Pnt3f> positions,
                                std::vector<osg::Vec3f> normals) {
  osg::TimeShapeDataPtr const shape = osg::TimeShapeDataBase::create();
  shape->setTime(static_cast<float>(time));
  shape->getPositions().getValues() = std::move(positions);
  shape->getNormals().getValues() = std::move(normals);
  return shape;
}

osg::TimeShapeCachePtr makeMorphCache(ImportedMesh const& mesh, ImportedMorph const& morph) {
  osg::TimeShapeCachePtr const cache = osg::TimeShapeCacheBase::create();
  for (WeightKey const& key : morph.keys) {
    std::vector<osg::Pnt3f> positions = mesh.positions;
    std::vector<osg::Vec3f> normals = mesh.normals;
    for (std::size_t i = 0; i < std::min(key.weights.size(), mesh.targets.size()); ++i) {
      addWeighted(positions, mesh.targets[i].positions, key.weights[i]);
      addWeighted(normals, mesh.targets[i].normals, key.weights[i]);
    }
    if (normals.empty()) normals = normalsOfFaces(mesh, positions);
    cache->addShape(makeShape(key.time, std::move(positions), std::move(normals)));
  }
  return cache;
}

void prepareForCache(osg::NodePtr const& node, ImportedMesh const& mesh) {
  auto geometry = osg::dcast<osg::GeometryPtr>(node->getCore());
  if (geometry->getParents().size() > 1) {
    geometry = osg::dcast<osg::GeometryPtr>(osg::deepCopyContainer(geometry, "Material"));
    node->setCore(geometry);
  }
  if (geometry->getNormals().isAlive()) return;
  osg::GeoNormals3fPtr const normals = osg::GeoNormals3f::create();
  normals->getValues().getValues() = normalsOfFaces(mesh, mesh.positions);
  geometry->setNormals(normals);
}

}  // namespace knanim
