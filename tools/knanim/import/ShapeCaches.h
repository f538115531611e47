#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/import/ModelContent.h"
#include "model/sceneext/TimeShapeCache.h"
#include "model/scenegraph/Node.h"

#include <span>
#include <string>
#include <vector>

namespace knanim {

/// The most that the morphs of a model, or its baked skins, may take.
inline constexpr double kMostShapeBytes = 1024.0 * 1024 * 1024;

/// What shapes of a number of vertices take, positions and normals. A double, as files can ask for any number.
double shapeBytes(std::size_t shapes, std::size_t vertices);
/// "1.5 MiB".
std::string mebibytes(double bytes);

/// Normals of unit length for vertices at `positions`, as the faces of the mesh around each of them stand on
/// average; faces of less than three corners do not count, and a vertex without a face has (0, 1, 0).
std::vector<osg::Vec3f> normalsOfFaces(ImportedMesh const& mesh, std::span<osg::Pnt3f const> positions);

osg::TimeShapeDataPtr makeShape(double time, std::vector<osg::Pnt3f> positions,
                                std::vector<osg::Vec3f> normals);

/// One shape for each key of the morph. Positions depend on the weights linearly, and so do normals, which are not
/// made unit vectors again: blending two shapes gives what the weights in between would. Only normals of a mesh
/// that has none of its own, taken from its faces, differ between keys.
osg::TimeShapeCachePtr makeMorphCache(ImportedMesh const& mesh, ImportedMorph const& morph);

/// Makes the geometry at a node fit to be written by a cache: it is no other node's as well, and has normals.
void prepareForCache(osg::NodePtr const& node, ImportedMesh const& mesh);

}  // namespace knanim
