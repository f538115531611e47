#include "model/scenegraph/Name.h"

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(NameBase, Name, "Name")

char const* NodeUtils::getName(AttachmentContainerPtr const& container) {
  if (!container.isAlive()) return nullptr;
  Name const* const name = dcastTo<Name>(container->findAttachment(NameBase::_type.getGroupId()));
  return name != nullptr ? name->getName().c_str() : nullptr;
}

bool NodeUtils::setName(AttachmentContainerPtr const& container, char const* text, bool announceChange) {
  if (!container.isAlive() || text == nullptr) return false;
  NamePtr name = dcast<NamePtr>(container->findAttachment(NameBase::_type.getGroupId()));
  if (!name) {
    name = NameBase::create();
    container->addAttachment(name);
    if (announceChange) announce(container, AttachmentContainer::AttachmentsFieldMask);
  }
  name->setName(text);
  if (announceChange) announce(name, NameBase::NameFieldMask);
  return true;
}

}  // namespace knscene
}  // namespace osg
