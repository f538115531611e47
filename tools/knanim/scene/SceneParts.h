#pragma once

#include "knanim/import/ImportedModel.h"
#include "model/sceneext/AnimNode.h"
#include "model/sceneext/TimeShapeCache.h"
#include "model/scenegraph/Node.h"

#include <vector>

namespace knanim {

/// A node of a scene and the node of the model that it belongs to: itself, or the one above it.
struct ScenePart {
  osg::NodePtr node;
  std::size_t owner = 0;  ///< index into `SceneParts::nodes`
};

/// What a scene consists of, as a model lists it. Geometries, cameras and lights without children count as content of the
/// node above them, all else as nodes.
struct SceneParts {
  std::vector<osg::NodePtr> nodes;   ///< parents first, depth first
  std::vector<std::size_t> parents;  ///< by node; `ImportedNode::NoParent` at the top
  std::vector<ScenePart> meshes;
  std::vector<ScenePart> cameras;
  std::vector<ScenePart> lights;
  std::vector<osg::NodePtr> all;  ///< every node once
};

/// The parts below a node, which is none of them. Linear, for trees of any depth.
SceneParts findParts(osg::NodePtr const& top);

/// A shape cache that hangs on a mesh's node.
struct HungCache {
  osg::AnimNodePtr node;
  osg::AnimNodePtr block;  ///< the block at the top of its tree; null where there is none
};

/// The shape caches on a mesh's node that are not switched off, or would not be were their block switched on.
std::vector<HungCache> findCachesInBlocks(osg::NodePtr const& mesh);

/// The shape caches that hang on a mesh's node and are not switched off, as their nodes.
std::vector<osg::AnimNodePtr> findCaches(osg::NodePtr const& mesh);

}  // namespace knanim
