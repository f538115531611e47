#pragma once

#include "model/sceneext/AnimAttachment.h"

/// The animation attachment of a node, a material or another container, which gets a new one, announced, when it has
/// none. Null for a null or dead handle, and where a `changed` handler destroyed the new one.
osg::AnimAttachmentPtr findOrCreateAttachment(osg::AttachmentContainerPtr const& container);

/// As `knAnimManager::createChannelCurveNode` without an attachment, but the log, and with it the host, hears of nothing.
osg::AnimNodePtr makeChannelCurveNode(std::string const& name, osg::UInt32 valueIndex,
                                      std::string const& suffix, std::string const& channelName);
