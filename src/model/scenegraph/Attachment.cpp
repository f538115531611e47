#include "model/scenegraph/Attachment.h"

#include <algorithm>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE_ABSTRACT(Attachment, "Attachment")
KN_CONTAINER_TYPE_ABSTRACT(AttachmentContainer, "AttachmentContainer")

void FieldDataTraits<AttachmentSlot>::putToString(AttachmentSlot const& slot, std::string& text) {
  text += std::to_string(slot.binding) + ' ';
  FieldDataTraits<AttachmentPtr>::putToString(slot.attachment, text);
}

void FieldDataTraits<AttachmentSlot>::write(FieldWriter& writer, AttachmentSlot const& slot) {
  writer.put(slot.binding);
  writer.putHandle(slot.attachment);
}

void FieldDataTraits<AttachmentSlot>::read(FieldReader& reader, AttachmentSlot& slot) {
  slot.binding = reader.get<UInt16>();
  slot.attachment = dcast<AttachmentPtr>(reader.getHandle());
}

void Attachment::onDestroy() {
  // Whoever still shows this attachment loses it: nothing may point at a dead one.
  std::vector<AttachmentContainerPtr> const parents = std::move(_fParents.getValues());
  _fParents.clear();
  AttachmentPtr const self(this);
  for (AttachmentContainerPtr const& parent : parents) {
    if (!parent.isAlive()) continue;
    std::erase_if(parent->_fAttachments.getValues(),
                  [&](AttachmentSlot const& slot) { return slot.attachment == self; });
  }
  StructureCounter::advanceFor(*this);
  for (AttachmentContainerPtr const& parent : parents) {
    if (parent.isAlive()) parent->attachmentsChanged();
  }
  Inherited::onDestroy();
}

AttachmentPtr AttachmentContainer::findAttachment(UInt32 groupId, UInt16 binding) const {
  for (AttachmentSlot const& slot : _fAttachments) {
    if (slot.groupId == groupId && slot.binding == binding) return slot.attachment;
  }
  return {};
}

bool AttachmentContainer::holdsAnimation() const {
  return std::any_of(_fAttachments.begin(), _fAttachments.end(), [](AttachmentSlot const& slot) {
    return slot.attachment.isAlive() && slot.attachment->marksAnimation();
  });
}

std::vector<AttachmentSlot>::iterator AttachmentContainer::findSlot(AttachmentPtr const& attachment,
                                                                    UInt16 binding) {
  auto& slots = _fAttachments.getValues();
  return std::find_if(slots.begin(), slots.end(), [&](AttachmentSlot const& slot) {
    return slot.attachment == attachment && slot.binding == binding;
  });
}

void AttachmentContainer::addAttachment(AttachmentPtr const& attachmentArgument, UInt16 binding) {
  AttachmentPtr const attachment = attachmentArgument;
  if (!attachment.isAlive()) return;
  UInt32 const groupId = attachment->getType().getGroupId();
  AttachmentPtr const former = findAttachment(groupId, binding);
  if (former == attachment) return;
  attachment.addRef();
  auto& slots = _fAttachments.getValues();
  if (former.isAlive()) {
    auto const slot = findSlot(former, binding);
    unlink(*slot);
    slots.erase(slot);
  }
  slots.push_back({groupId, binding, attachment});
  link(slots.back());
  StructureCounter::advanceFor(*this, former, attachment);
  AttachmentPtr const both[] = {former, attachment};
  tell(AttachmentContainerPtr(this), both);
  former.subRef();
}

void AttachmentContainer::subAttachment(AttachmentPtr const& attachmentArgument, UInt16 binding) {
  AttachmentPtr const attachment = attachmentArgument;
  auto& slots = _fAttachments.getValues();
  auto const slot = findSlot(attachment, binding);
  if (!attachment.isAlive() || slot == slots.end()) return;
  unlink(*slot);
  slots.erase(slot);
  StructureCounter::advanceFor(*this, attachment, {});
  tell(AttachmentContainerPtr(this), {&attachment, 1});
  attachment.subRef();
}

/// Overrides may do anything, so each is asked whether it still lives.
void AttachmentContainer::tell(AttachmentContainerPtr const& container,
                               std::span<AttachmentPtr const> attachments) {
  if (container.isAlive()) container->attachmentsChanged();
  for (AttachmentPtr const& attachment : attachments) {
    if (attachment.isAlive()) attachment->parentsChanged();
  }
}

void AttachmentContainer::link(AttachmentSlot& slot) {
  slot.placeAmongParents = static_cast<UInt32>(slot.attachment->_fParents.size());
  slot.attachment->_fParents.push_back(AttachmentContainerPtr(this));
}

/// The last of the attachment's containers takes the place that becomes free.
void AttachmentContainer::unlink(AttachmentSlot const& slot) {
  auto& parents = slot.attachment->_fParents.getValues();
  UInt32 const place = slot.placeAmongParents;
  // A slot that was filled in without being linked is not known to the attachment.
  if (place >= parents.size() || parents[place] != AttachmentContainerPtr(this)) return;
  auto const last = static_cast<UInt32>(parents.size() - 1);
  for (AttachmentSlot& other : parents[last]->_fAttachments) {
    if (other.attachment == slot.attachment && other.placeAmongParents == last)
      other.placeAmongParents = place;
  }
  parents[place] = parents[last];
  parents.pop_back();
}

void AttachmentContainer::fieldsAssigned() {
  Inherited::fieldsAssigned();
  std::erase_if(_fAttachments.getValues(),
                [](AttachmentSlot const& slot) { return !slot.attachment.isAlive(); });
  std::vector<AttachmentPtr> attachments;
  for (AttachmentSlot& slot : _fAttachments) {
    slot.groupId = slot.attachment->getType().getGroupId();
    link(slot);
    attachments.push_back(slot.attachment);
  }
  tell(AttachmentContainerPtr(this), attachments);
}

void AttachmentContainer::onDestroy() {
  std::vector<AttachmentPtr> attachments;
  for (AttachmentSlot const& slot : _fAttachments) {
    if (!slot.attachment.isAlive()) continue;
    unlink(slot);
    attachments.push_back(slot.attachment);
    StructureCounter::advanceFor(*this, slot.attachment, {});
  }
  for (AttachmentPtr const& attachment : attachments) {
    if (attachment.isAlive()) attachment->parentsChanged();
  }
  Inherited::onDestroy();
}

}  // namespace knscene
}  // namespace osg
