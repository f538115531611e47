#pragma once

#include "knanim/import/ModelContent.h"

#include <span>

namespace knanim {

/// Whether the faces of a mesh enclose something: along every edge as many of them run one way as the other.
/// Vertices at one place count as one.
bool isClosed(ImportedMesh const& mesh);

/// Six times the volume that the faces enclose with the vertices at `positions`; positive when they run counter
/// clockwise, seen from outside.
double signedVolume(ImportedMesh const& mesh, std::span<osg::Pnt3f const> positions);

}  // namespace knanim
