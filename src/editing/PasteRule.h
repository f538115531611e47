#pragma once

#include "model/materials/Material.h"
#include "model/sceneext/AnimNode.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

/// Whether animations of `source` fit on `target`. Null and dead handles fit nowhere. A tree fits into clips and below
/// the root of the clip structure. Nodes fit when what their animations drive is of the very same type: the material
/// of a geometry that has one, otherwise the core. Materials fit when their types are of one group.
bool isPasteValid(osg::FieldContainerPtr const& source, osg::AttachmentContainerPtr const& target);

/// The name of a container, else of its type; "<noname>" for a null or dead handle.
std::string getContainerName(osg::AttachmentContainerPtr const& container);

/// The node or material whose animations a tree belongs to; null when there is none. Of several nodes of the scene it
/// is the first in tree order, a node comes before a material, and of materials it is the first in the host's list.
/// The cost is that of the way from the tree up to the scene's root, not of the scene; only a tree with several owners
/// costs a walk.
osg::FieldContainerPtr findOwningContainer(osg::AnimNodePtr const& tree);

/// The same for many trees, while nothing else changes: the host is asked for its materials at most once.
class OwnerSearch {
 public:
  osg::FieldContainerPtr find(osg::AnimNodePtr const& tree);

 private:
  osg::MaterialPtr findFirst(std::vector<osg::MaterialPtr> const& candidates);

  std::optional<std::unordered_map<osg::MaterialPtr, std::size_t>> _places;  ///< in the host's list
};
