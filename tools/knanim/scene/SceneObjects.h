#pragma once

#include "knanim/scene/AnimatedScene.h"
#include "model/scenegraph/Attachment.h"

#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace knanim {

/// A node or a material of a scene: what has channels.
struct SceneObject {
  osg::AttachmentContainerPtr container;
  std::string name;  ///< "unnamed" where the scene has none
  /// The names from the model's root down, as /Root/Hips. Of several children of one name the later ones are
  /// told apart by a number: /Root/Hips#2. Materials stand below /materials. Of a path above 1000 bytes only the
  /// last names are kept, behind "...": otherwise the paths of a deep model would take the square of its depth.
  std::string path;
  std::string kind;       ///< the type of a node's core, or of a material
  std::size_t level = 0;  ///< how many nodes are above it
  bool isMaterial = false;
  std::vector<knAnimManager::knOSGChannelData> channels;
};

/// The curves on one channel.
struct ChannelCurves {
  std::size_t curves = 0;
  std::size_t keys = 0;
};

/// All nodes and materials of a scene as it is when this is made, and which curves are on their channels.
class SceneObjects {
 public:
  explicit SceneObjects(AnimatedScene const& scene);

  /// The nodes, parents first and depth first, then the materials.
  std::span<SceneObject const> all() const { return _objects; }
  /// The objects that a text means: a whole path, else a name or the last names of a path, as Root/Hips.
  std::vector<SceneObject const*> find(std::string_view text) const;
  /// The curves that write to a channel, on whatever node or material they hang.
  ChannelCurves curvesOn(knAnimManager::knOSGChannelData const& channel) const;
  std::vector<std::string> names() const;

 private:
  void addNodes(osg::NodePtr const& root);
  void addMaterials();
  void addCurves(osg::AttachmentContainerPtr const& owner);

  std::vector<SceneObject> _objects;
  std::unordered_map<std::string, ChannelCurves> _curves;  ///< by container id, field and component
};

}  // namespace knanim
