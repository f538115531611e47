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
  AttachmentPtr const self(this);
  for (AttachmentContainerPtr const& parent : parents) {
    if (!parent.isAlive()) continue;
    std::erase_if(parent->_fAttachments.getValues(),
                  [&](AttachmentSlot const& slot) { return slot.attachment == self; });
    parent->attachmentsChanged();
  }
  Inherited::onDestroy();
}

AttachmentPtr AttachmentContainer::findAttachment(UInt32 groupId, UInt16 binding) const {
  for (AttachmentSlot const& slot : _fAttachments) {
    if (slot.groupId == groupId && slot.binding == binding) return slot.attachment;
  }
  return {};
}

void AttachmentContainer::addAttachment(AttachmentPtr const& attachmentArgument, UInt16 binding) {
  AttachmentPtr const attachment = attachmentArgument;
  if (!attachment.isAlive()) return;
  UInt32 const groupId = attachment->getType().getGroupId();
  AttachmentPtr const former = findAttachment(groupId, binding);
  if (former == attachment) return;
  attachment.addRef();
  subAttachment(former, binding);
  _fAttachments.push_back({groupId, binding, attachment});
  link(_fAttachments.getValues().back());
  attachmentsChanged();
  attachment->parentsChanged();
}

void AttachmentContainer::subAttachment(AttachmentPtr const& attachmentArgument, UInt16 binding) {
  AttachmentPtr const attachment = attachmentArgument;
  auto& slots = _fAttachments.getValues();
  auto const found = std::find_if(slots.begin(), slots.end(), [&](AttachmentSlot const& slot) {
    return slot.attachment == attachment && slot.binding == binding;
  });
  if (!attachment || found == slots.end()) return;
  unlink(*found);
  slots.erase(found);
  attachmentsChanged();
  attachment->parentsChanged();
  attachment.subRef();
}

void AttachmentContainer::link(AttachmentSlot& slot) {
  MField<AttachmentContainerPtr>& parents = slot.attachment->_fParents;
  slot.useIndex = static_cast<UInt32>(parents.size());
  parents.push_back(AttachmentContainerPtr(this));
}

void AttachmentContainer::unlink(AttachmentSlot const& slot) {
  // The last entry takes the place that gets free, so that one of very many parents leaves in constant time.
  std::vector<AttachmentContainerPtr>& parents = slot.attachment->_fParents.getValues();
  UInt32 const free = slot.useIndex;
  if (free >= parents.size() || parents[free] != AttachmentContainerPtr(this)) return;
  auto const last = static_cast<UInt32>(parents.size()) - 1;
  if (free != last) {
    parents[free] = parents[last];
    for (AttachmentSlot& moved : parents[free]->_fAttachments) {
      if (moved.attachment == slot.attachment && moved.useIndex == last) moved.useIndex = free;
    }
  }
  parents.pop_back();
}

void AttachmentContainer::fieldsAssigned() {
  Inherited::fieldsAssigned();
  std::erase_if(_fAttachments.getValues(),
                [](AttachmentSlot const& slot) { return !slot.attachment.isAlive(); });
  for (AttachmentSlot& slot : _fAttachments) {
    slot.groupId = slot.attachment->getType().getGroupId();
    link(slot);
    slot.attachment->parentsChanged();
  }
  attachmentsChanged();
}

void AttachmentContainer::onDestroy() {
  for (AttachmentSlot const& slot : _fAttachments) {
    if (!slot.attachment.isAlive()) continue;
    unlink(slot);
    slot.attachment->parentsChanged();
  }
  Inherited::onDestroy();
}

}  // namespace knscene
}  // namespace osg
