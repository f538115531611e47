#pragma once

#include "knanim/import/ModelImport.h"
#include "knanim/scene/SceneObjects.h"

#include <string>
#include <variant>

namespace knanim {

/// "translation.X", or "visible" for a channel without a suffix.
std::string channelLabel(knAnimManager::knOSGChannelData const& channel);

/// One channel of a scene. The object lives as long as the list that it was found in.
struct FoundChannel {
  SceneObject const* object = nullptr;
  knAnimManager::knOSGChannelData channel;

  /// "Hips.translation.X".
  std::string label() const { return object->name + '.' + channelLabel(channel); }
  /// The value that the scene holds now, read by the path of field and component where that can name it.
  float read() const;
};

/// Finds the channel of a path like Hips.translation.Y: a node or material, then the channel or its field,
/// then the component. Names may hold points: the longest one with such a channel wins. Fails with `Usage`,
/// each time for a reason of its own: no such object, no channel named, no such channel, no such component,
/// several of them.
std::variant<FoundChannel, Failure> findChannel(SceneObjects const& objects, std::string const& path);

}  // namespace knanim
