#pragma once

#include "model/scenegraph/Attachment.h"

namespace osg {
inline namespace knscene {

class Name;

/// The attachment that names a node or another container.
class KNSCENE_API NameBase : public Attachment {
  KN_CONTAINER(NameBase, Name, Attachment)
 public:
  KN_SFIELD(std::string, Name, name)
  KN_CONTAINER_END
};

class KNSCENE_API Name : public NameBase {};

using NamePtr = Name::Ptr;

/// Names of nodes, kept in `Name` attachments at binding 0.
class KNSCENE_API NodeUtils {
 public:
  /// The container's name, or null when the handle is null or dead, or the container has no name. The text
  /// lives until the name changes.
  static char const* getName(AttachmentContainerPtr const& container);
  /// Names the container, making the attachment when it has none, and returns true. With `announceChange` the
  /// changed field is announced. A null or dead container, or a null text, gives false. An empty text is a name.
  static bool setName(AttachmentContainerPtr const& container, char const* name, bool announceChange);
  static bool setName(AttachmentContainerPtr const& container, std::string const& name, bool announceChange) {
    return setName(container, name.c_str(), announceChange);
  }
};

}  // namespace knscene
}  // namespace osg
