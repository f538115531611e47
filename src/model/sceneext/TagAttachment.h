#pragma once

#include "model/scenegraph/Attachment.h"

namespace osg {
inline namespace knscene {

class TagAttachment;

/// The fields of a TagAttachment.
class KNSCENE_API TagAttachmentBase : public Attachment {
  KN_CONTAINER(TagAttachmentBase, TagAttachment, Attachment)
 public:
  /// The tags.
  KN_MFIELD(std::string, Tags, tags)
  KN_CONTAINER_END
};

/// The tags of a node or material.
class KNSCENE_API TagAttachment : public TagAttachmentBase {};

using TagAttachmentPtr = TagAttachment::Ptr;

}  // namespace knscene
}  // namespace osg
