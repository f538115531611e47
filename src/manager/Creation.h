#pragma once

#include "model/sceneext/AnimAttachment.h"

/// The animation attachment of a node, a material or another container, which gets a new one, announced, when it has
/// none. Null for a null or dead handle, and where a `changed` handler destroyed the new one.
osg::AnimAttachmentPtr findOrCreateAttachment(osg::AttachmentContainerPtr const& container);
