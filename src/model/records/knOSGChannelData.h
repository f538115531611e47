#pragma once

#include "model/utils/BaseTypes.h"

#include <string>
#include <utility>

/// One keyable channel of one scene object: one float that a curve can drive. All ids are container ids, 0 for none.
struct knOSGChannelData {
  /// An empty channel.
  knOSGChannelData() = default;
  knOSGChannelData(osg::UInt32 container, osg::UInt32 parent, osg::UInt32 owner, std::string field,
                   std::string channel, std::string shortText, std::string suffixText, osg::UInt32 index,
                   std::string object)
      : containerId(container),
        parentId(parent),
        ownerId(owner),
        fieldName(std::move(field)),
        channelName(std::move(channel)),
        shortName(std::move(shortText)),
        suffix(std::move(suffixText)),
        objectName(std::move(object)),
        valueIndex(index) {}

  /// Whether the record names no channel: all ids 0 and all texts empty.
  bool isEmpty() const {
    return containerId == 0 && parentId == 0 && ownerId == 0 && valueIndex == 0 && fieldName.empty() &&
           channelName.empty() && shortName.empty() && suffix.empty() && objectName.empty();
  }

  osg::UInt32 containerId = 0;  ///< the container that holds the field
  osg::UInt32 parentId = 0;     ///< the container that must hear of a change, too
  osg::UInt32 ownerId = 0;      ///< the scene node or material that the channel was listed for
  std::string fieldName;        ///< the field's name; a curve's `Name`
  std::string channelName;      ///< the channel's name; a curve's `ChannelName`
  std::string shortName;        ///< for display
  std::string suffix;           ///< the component, "X" or "R"; a curve's `Suffix`
  std::string objectName;       ///< the name of the object, for display
  osg::UInt32 valueIndex = 0;   ///< the component, 0 to 3, or the number of a bit plus 10
};
