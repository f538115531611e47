#pragma once

#include "model/scenegraph/Attachment.h"

namespace osg {
inline namespace knscene {

class Name;

/// The attachment that names a node or another container.
class KNSCENE_API NameBase : public Attachment {
  KN_CONTAINER(NameBase, Name, Attachment)
 public:
  /// The name.
  KN_SFIELD(std::string, Name, name)
  KN_CONTAINER_END
};

/// The attachment that names a node or another container. Names of animation nodes are in the NameRegister.
class KNSCENE_API Name : public NameBase {
 public:
  /// The name. What is written through the second one is noticed when names are looked up.
  std::string const& getName() const { return NameBase::getName(); }
  /// For writing: until the name is set anew, the register reads it again at each look-up.
  std::string& getName();
  /// Sets the name; nothing is announced.
  void setName(std::string const& name);
  /// Whether this is the name of a node that keeps its name apart from those of others (Node::keepsNameApart).
  bool isNameOf(AttachmentContainerPtr const& container) const;

  void changed(BitVector const& mask, UInt32 origin) override;
  void followChange(BitVector const& mask) override;

 protected:
  void parentsChanged() override;
  void fieldsAssigned() override;
  void onDestroy() override;

 private:
  friend class NameRegister;
  static constexpr std::size_t NotRegistered = static_cast<std::size_t>(-1);

  void updateRegister();

  std::size_t _placeInRegister = NotRegistered;
  bool _isHandedOut = false;  ///< for writing, since it was set last
};

using NamePtr = Name::Ptr;

/// Names of nodes, kept in `Name` attachments at binding 0. Main thread, except reading while nobody writes.
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
