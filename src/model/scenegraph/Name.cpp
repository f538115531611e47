#include "model/scenegraph/Name.h"

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(NameBase, Name, "Name")

char const* NodeUtils::getName(AttachmentContainerPtr const& container) {
  if (!container.isAlive()) return nullptr;
  Name const* const name = dcastTo<Name>(container->findAttachment(NameBase::_type.getGroupId()));
  return name != nullptr ? name->getName().c_str() : nullptr;
}

bool NodeUtils::setName(AttachmentContainerPtr const& containerArgument, char const* text,
                        bool announceChange) {
  AttachmentContainerPtr const container = containerArgument;
  if (!container.isAlive() || text == nullptr) return false;
  NamePtr name = dcast<NamePtr>(container->findAttachment(NameBase::_type.getGroupId()));
  if (name) {
    name->setName(text);
  } else {
    // Named before anybody hears of it, who may destroy both.
    name = NameBase::create();
    name->setName(text);
    container->addAttachment(name);
    if (announceChange) announce(container, AttachmentContainer::AttachmentsFieldMask);
  }
  if (announceChange) announce(name, NameBase::NameFieldMask);
  return true;
}

}  // namespace knscene
}  // namespace osg
