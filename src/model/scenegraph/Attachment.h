#pragma once

#include "model/fields/FieldContainer.h"

namespace osg {
inline namespace knscene {

/// One attachment of a container: the attachment, and the two numbers that it is found by.
struct AttachmentSlot {
  /// The type's group and the binding; see AttachmentContainer::findAttachment.
  UInt32 groupId = 0;
  UInt16 binding = 0;
  /// The attachment.
  AttachmentPtr attachment;
  UInt32 placeAmongParents = 0;  ///< in the attachment's list of containers; kept by the scene layer
};

/// Base of what can be hung on nodes, cores and materials. One attachment may hang on several containers.
class KNSCENE_API Attachment : public FieldContainer {
  KN_CONTAINER(Attachment, Attachment, FieldContainer)
 public:
  /// The containers that this attachment hangs on, once for each binding, in no particular order.
  KN_MFIELD_READ(AttachmentContainerPtr, Parents, parents, Derived)
  KN_CONTAINER_END

  /// The field that notes the parents.
  static constexpr UInt16 ParentEntryPosition = ParentsFieldId;

  /// Whether this attachment can hold animations. Nodes keep account of which subtrees carry such an attachment.
  virtual bool marksAnimation() const { return false; }

 protected:
  /// The attachment was hung on a container, or taken away from one, which may be dying.
  virtual void parentsChanged() {}
  void onDestroy() override;

 private:
  friend class AttachmentContainer;
};

/// Base of containers that carry attachments.
class KNSCENE_API AttachmentContainer : public FieldContainer {
  KN_CONTAINER(AttachmentContainer, AttachmentContainer, FieldContainer)
 public:
  /// The attachments, in the order of adding.
  KN_MFIELD_READ(AttachmentSlot, Attachments, attachments, Owned)
  KN_CONTAINER_END

  /// The attachment of that group (`SomeAttachmentBase::_type.getGroupId()`) and binding; null when absent.
  AttachmentPtr findAttachment(UInt32 groupId, UInt16 binding = 0) const;
  /// Whether an attachment that can hold animations hangs here. Linear in the attachments.
  bool holdsAnimation() const;
  /// Hangs an attachment on this container and takes a reference to it. One of the same group and binding is
  /// replaced; its reference is dropped last, when the new one hangs. A null or dead handle is ignored.
  void addAttachment(AttachmentPtr const& attachment, UInt16 binding = 0);
  /// Takes the attachment away if it hangs here with that binding, and drops the reference. Linear in the
  /// attachments of this container, whatever else the attachment hangs on.
  void subAttachment(AttachmentPtr const& attachment, UInt16 binding = 0);

 protected:
  /// The set of attachments has changed.
  virtual void attachmentsChanged() {}
  void fieldsAssigned() override;
  void onDestroy() override;

 private:
  friend class Attachment;
  std::vector<AttachmentSlot>::iterator findSlot(AttachmentPtr const& attachment, UInt16 binding);
  void link(AttachmentSlot& slot);
  void unlink(AttachmentSlot const& slot);
  static void tell(AttachmentContainerPtr const& container, std::span<AttachmentPtr const> attachments);
};

template <>
struct KNSCENE_API FieldDataTraits<AttachmentSlot> {
  static constexpr std::size_t MinBytes = sizeof(UInt16) + sizeof(UInt32);
  static std::string typeName() { return "AttachmentSlot"; }
  static void putToString(AttachmentSlot const& slot, std::string& text);
  static void write(FieldWriter& writer, AttachmentSlot const& slot);
  static void read(FieldReader& reader, AttachmentSlot& slot);
  static bool isEqual(AttachmentSlot const& a, AttachmentSlot const& b) {
    return a.binding == b.binding && a.attachment == b.attachment;
  }
  static void visitHandles(AttachmentSlot& slot, HandleVisitor const& visitor) {
    slot.attachment = dcast<AttachmentPtr>(visitor(slot.attachment));
  }
};

}  // namespace knscene
}  // namespace osg
