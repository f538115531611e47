#pragma once

#include "model/materials/Material.h"
#include "model/sceneext/AnimNode.h"

#include <string>
#include <vector>

/// One scene object that has animations: a node or a material.
struct knAnimNodeData {
  osg::NodePtr node;                         ///< null for a material
  osg::MaterialPtr material;                 ///< null for a node
  std::vector<osg::AnimNodePtr> animations;  ///< the object's top-level animations
  osg::MField<std::string> tags;             ///< the object's tags
};
