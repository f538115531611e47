#pragma once

#include "model/records/knOSGChannelData.h"
#include "model/scenegraph/Node.h"

#include <string_view>
#include <vector>

/// The channels of a node or material that a text names, in the order of their components; see knAuthoring. Where there
/// are none the log is told, with names that come near.
std::vector<knOSGChannelData> findChannels(osg::AttachmentContainerPtr const& owner, std::string_view text);
