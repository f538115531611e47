#include "model/scenegraph/Name.h"

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(NameBase, Name, "Name")

char const* NodeUtils::getName(AttachmentContainerPtr const& container) {
  if (!container.isAlive()) return nullptr;
  Name const* const name = dcastTo<Name>(container->findAttachment(NameBase::_type.getGroupId()));
  return name != nullptr ? name->getName().c_str() : nullptr;
}

bool NodeUtils::setName(AttachmentContainerPtr const& argument, char const* text, bool announceChange) {
  // Announcing may destroy everything: the text is written before, and the argument is copied.
  AttachmentContainerPtr const container = argument;
  if (!container.isAlive() || text == nullptr) return false;
  NamePtr name = dcast<NamePtr>(container->findAttachment(NameBase::_type.getGroupId()));
  bool const isNew = !name;
  if (isNew) name = NameBase::create();
  name->setName(text);
  if (isNew) {
    container->addAttachment(name);
    if (announceChange) announce(container, AttachmentContainer::AttachmentsFieldMask);
  }
  if (announceChange) announce(name, NameBase::NameFieldMask);
  return true;
}

}  // namespace knscene
}  // namespace osg
