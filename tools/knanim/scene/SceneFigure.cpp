#include "knanim/scene/SceneFigure.h"

#include "knanim/scene/ClosedSurface.h"
#include "knanim/scene/Skinning.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace knanim {
namespace {

constexpr std::size_t kMostEnds = 5;
constexpr float kNearestEnds = 0.18F;  ///< as a part of the figure's size

osg::Pnt3f origin(osg::Matrix const& world) { return {world(0, 3), world(1, 3), world(2, 3)}; }

Side sideOf(std::string name) {
  for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (name.find("left") != std::string::npos) return Side::Left;
  if (name.find("right") != std::string::npos) return Side::Right;
  // "lHipJoint", "l_arm", "arm.l", as many rigs write it.
  auto const marks = [&name](char letter) {
    std::size_t const end = name.size() - 1;
    return (name.size() > 2 && name[0] == letter && (name[1] == '_' || name[1] == '.')) ||
           (name.size() > 2 && name[end] == letter && (name[end - 1] == '_' || name[end - 1] == '.'));
  };
  if (marks('l') || name.starts_with("lhip") || name.starts_with("lthumb")) return Side::Left;
  if (marks('r') || name.starts_with("rhip") || name.starts_with("rthumb")) return Side::Right;
  return Side::Middle;
}

}  // namespace

SceneFigure::SceneFigure(ImportedModel const& model, ModelContent const& content, AnimatedScene const& scene)
    : _model(model), _content(content), _scene(scene) {
  _hasMeshes = std::any_of(scene.meshes().begin(), scene.meshes().end(), [&](SceneMesh const& shown) {
    return !content.meshes[shown.mesh].faceSizes.empty();
  });
  for (ImportedMesh const& mesh : content.meshes) _isClosed.push_back(knanim::isClosed(mesh));
  if (!_hasMeshes) findSticks();
}

/// From every node that moves, with what is above it, to its parent: what only holds the figure is no part of it.
void SceneFigure::findSticks() {
  std::vector<bool> moves(_model.nodes.size(), false);
  for (ImportedCurve const& curve : _model.curves) moves[curve.node] = true;
  std::vector<Side> sides(_model.nodes.size(), Side::Middle);
  for (std::size_t i = 0; i < _model.nodes.size(); ++i) {
    ImportedNode const& node = _model.nodes[i];
    bool const hasParent = node.parent != ImportedNode::NoParent;
    sides[i] = sideOf(node.name);
    if (!hasParent) continue;
    if (sides[i] == Side::Middle) sides[i] = sides[node.parent];
    if (!moves[node.parent]) continue;
    moves[i] = true;
    // The first stick of a limb only reaches from the middle to where the limb begins.
    _sticks.push_back({node.parent, i, sides[node.parent]});
  }
}

std::vector<std::size_t> SceneFigure::ends(Pose const& pose) const {
  std::vector<bool> isInner(pose.joints.size(), false);
  osg::BoxVolume box;
  for (Stick const& stick : _sticks) {
    isInner[stick.from] = true;
    box.extendBy(pose.joints[stick.to]);
  }
  osg::Pnt3f low;
  osg::Pnt3f high;
  box.getBounds(low, high);
  float const nearest = kNearestEnds * osg::length(high - low);
  std::vector<std::size_t> result;
  for (Stick const& stick : _sticks) {
    if (isInner[stick.to] || result.size() == kMostEnds) continue;
    bool const isFar = std::all_of(result.begin(), result.end(), [&](std::size_t other) {
      return osg::length(pose.joints[other] - pose.joints[stick.to]) > nearest;
    });
    if (isFar) result.push_back(stick.to);
  }
  return result;
}

std::vector<osg::Pnt3f> SceneFigure::placeMesh(SceneMesh const& shown,
                                               std::span<osg::Matrix const> worlds) const {
  std::span<osg::Pnt3f const> const positions = positionsAt(shown.node);
  osg::Matrix const toWorld = shown.node->getToWorld();
  if (!shown.isBaked) return Skinning(_content.meshes[shown.mesh], worlds, toWorld).movePositions(positions);
  std::vector<osg::Pnt3f> places;
  places.reserve(positions.size());
  for (osg::Pnt3f const& position : positions) places.push_back(toWorld.multMatrixPnt(position));
  return places;
}

Pose SceneFigure::capture() const {
  std::vector<osg::Matrix> const worlds = worldMatrices(_model, _scene.nodes());
  Pose pose;
  pose.joints.reserve(worlds.size());
  for (osg::Matrix const& world : worlds) pose.joints.push_back(origin(world));
  if (!_hasMeshes) return pose;
  for (SceneMesh const& shown : _scene.meshes()) pose.meshes.push_back(placeMesh(shown, worlds));
  return pose;
}

void SceneFigure::addPoints(Pose const& pose, std::vector<osg::Pnt3f>& points) const {
  for (Stick const& stick : _sticks) {
    points.push_back(pose.joints[stick.from]);
    points.push_back(pose.joints[stick.to]);
  }
  for (std::size_t i = 0; i < pose.meshes.size(); ++i) {
    for (osg::UInt32 const index : _content.meshes[_scene.meshes()[i].mesh].indices)
      points.push_back(pose.meshes[i][index]);
  }
  if (_sticks.empty() && !_hasMeshes) points.insert(points.end(), pose.joints.begin(), pose.joints.end());
}

}  // namespace knanim
