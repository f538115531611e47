#include "knanim/scene/Skinning.h"

namespace knanim {
namespace {

/// What the normals of a surface are multiplied by when a matrix moves it: the cofactors of its linear part, which
/// are the transposed inverse but for the length.
osg::Matrix normalMatrix(osg::Matrix const& matrix) {
  osg::Matrix result;
  for (osg::UInt32 row = 0; row < 3; ++row) {
    for (osg::UInt32 column = 0; column < 3; ++column) {
      osg::UInt32 const r1 = (row + 1) % 3;
      osg::UInt32 const r2 = (row + 2) % 3;
      osg::UInt32 const c1 = (column + 1) % 3;
      osg::UInt32 const c2 = (column + 2) % 3;
      result(row, column) = matrix(r1, c1) * matrix(r2, c2) - matrix(r1, c2) * matrix(r2, c1);
    }
  }
  return result;
}

}  // namespace

std::vector<osg::Matrix> worldMatrices(ImportedModel const& model, std::span<osg::NodePtr const> nodes) {
  std::vector<osg::Matrix> worlds(nodes.size());
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    std::size_t const parent = model.nodes[i].parent;
    if (parent != ImportedNode::NoParent) worlds[i] = worlds[parent];
    if (nodes[i]->getCore().isAlive()) nodes[i]->getCore()->accumulateMatrix(worlds[i]);
  }
  return worlds;
}

std::span<osg::Pnt3f const> positionsAt(osg::NodePtr const& node) {
  auto const* const geometry = osg::dcastTo<osg::Geometry>(node->getCore());
  if (geometry == nullptr) return {};
  auto* const property = osg::dcastTo<osg::GeoPositions3f>(geometry->getPositions());
  if (property == nullptr) return {};
  return property->getValues().getValues();
}

std::span<osg::Vec3f const> normalsAt(osg::NodePtr const& node) {
  auto const* const geometry = osg::dcastTo<osg::Geometry>(node->getCore());
  if (geometry == nullptr) return {};
  auto* const property = osg::dcastTo<osg::GeoNormals3f>(geometry->getNormals());
  if (property == nullptr) return {};
  return property->getValues().getValues();
}

Skinning::Skinning(ImportedMesh const& mesh, std::span<osg::Matrix const> worlds,
                   osg::Matrix const& meshToWorld, osg::Matrix const& fromWorld)
    : _mesh(mesh), _own(fromWorld * meshToWorld) {
  for (ImportedBone const& bone : mesh.bones)
    _bones.push_back(fromWorld * worlds[bone.node] * bone.meshToBone);
}

std::vector<osg::Pnt3f> Skinning::movePositions(std::span<osg::Pnt3f const> positions) const {
  std::vector<osg::Vec3f> sums(positions.size());
  std::vector<float> weights(positions.size(), 0);
  for (std::size_t i = 0; i < _bones.size(); ++i) {
    for (ImportedBone::Weight const& each : _mesh.bones[i].weights) {
      osg::Vec3f const place(_bones[i].multMatrixPnt(positions[each.vertex]));
      sums[each.vertex] = sums[each.vertex] + place * each.weight;
      weights[each.vertex] += each.weight;
    }
  }
  std::vector<osg::Pnt3f> places(positions.size());
  for (std::size_t i = 0; i < places.size(); ++i) {
    places[i] = weights[i] > 0 ? osg::Pnt3f(sums[i] * (1 / weights[i])) : _own.multMatrixPnt(positions[i]);
  }
  return places;
}

std::vector<osg::Vec3f> Skinning::moveNormals(std::span<osg::Vec3f const> normals) const {
  std::vector<osg::Vec3f> sums(normals.size());
  for (std::size_t i = 0; i < _bones.size(); ++i) {
    osg::Matrix const matrix = normalMatrix(_bones[i]);
    for (ImportedBone::Weight const& each : _mesh.bones[i].weights) {
      osg::Vec3f const turned = osg::normalized(matrix.multMatrixVec(normals[each.vertex]));
      sums[each.vertex] = sums[each.vertex] + turned * each.weight;
    }
  }
  osg::Matrix const own = normalMatrix(_own);
  for (std::size_t i = 0; i < sums.size(); ++i) {
    if (!(osg::length(sums[i]) > 0)) sums[i] = own.multMatrixVec(normals[i]);
    sums[i] = osg::normalized(sums[i]);
  }
  return sums;
}

}  // namespace knanim
