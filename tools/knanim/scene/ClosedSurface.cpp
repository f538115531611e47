#include "knanim/scene/ClosedSurface.h"

#include <algorithm>
#include <array>
#include <map>
#include <vector>

namespace knanim {
namespace {

/// Calls `visit` with the corners of every face of an area.
template <typename Visit>
void forEachFace(ImportedMesh const& mesh, Visit visit) {
  std::size_t first = 0;
  for (osg::UInt32 const size : mesh.faceSizes) {
    if (size > 2) visit(std::span(mesh.indices).subspan(first, size));
    first += size;
  }
}

}  // namespace

bool isClosed(ImportedMesh const& mesh) {
  std::map<std::array<float, 3>, std::size_t> places;
  std::vector<std::size_t> placeOf;
  for (osg::Pnt3f const& p : mesh.positions)
    placeOf.push_back(places.try_emplace({p.x(), p.y(), p.z()}, places.size()).first->second);
  std::map<std::pair<std::size_t, std::size_t>, long long> surplus;  // of one way over the other
  forEachFace(mesh, [&](std::span<osg::UInt32 const> corners) {
    for (std::size_t i = 0; i < corners.size(); ++i) {
      std::size_t const from = placeOf[corners[i]];
      std::size_t const to = placeOf[corners[(i + 1) % corners.size()]];
      if (from != to) surplus[std::minmax(from, to)] += from < to ? 1 : -1;
    }
  });
  return !surplus.empty() &&
         std::all_of(surplus.begin(), surplus.end(), [](auto const& edge) { return edge.second == 0; });
}

double signedVolume(ImportedMesh const& mesh, std::span<osg::Pnt3f const> positions) {
  double volume = 0;
  if (positions.empty()) return volume;
  osg::Pnt3f const origin = positions[0];
  forEachFace(mesh, [&](std::span<osg::UInt32 const> corners) {
    for (std::size_t i = 2; i < corners.size(); ++i) {
      osg::Vec3f const sides = osg::cross(positions[corners[i - 1]] - origin, positions[corners[i]] - origin);
      volume += static_cast<double>(osg::dot(positions[corners[0]] - origin, sides));
    }
  });
  return volume;
}

}  // namespace knanim
