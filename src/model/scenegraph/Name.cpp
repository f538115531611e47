#include "model/scenegraph/Name.h"

#include "model/scenegraph/NameRegister.h"
#include "model/scenegraph/Node.h"

#include <algorithm>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(NameBase, Name, "Name")

std::string& Name::getName() {
  NameRegister::the().handOut(*this);
  return NameBase::getName();
}

void Name::setName(std::string const& name) {
  NameBase::setName(name);
  _isHandedOut = false;
  updateRegister();
}

bool Name::isNameOf(AttachmentContainerPtr const& container) const {
  Node const* const node = dcastTo<Node>(container);
  return node != nullptr && node->keepsNameApart() &&
         node->findAttachment(_type.getGroupId()) == AttachmentPtr(this);
}

/// One that is not registered can have become a node's name only by the container that came last.
void Name::updateRegister() {
  auto const& parents = getParents();
  bool const isWanted =
      _placeInRegister == NotRegistered
          ? !parents.empty() && isNameOf(parents.back())
          : std::ranges::any_of(parents, [this](auto const& parent) { return isNameOf(parent); });
  if (isWanted || _placeInRegister != NotRegistered) NameRegister::the().update(*this, isWanted);
}

void Name::changed(BitVector const& mask, UInt32 origin) {
  NameBase::changed(mask, origin);
  updateRegister();
}

void Name::followChange(BitVector const& mask) {
  NameBase::followChange(mask);
  updateRegister();
}

void Name::parentsChanged() {
  NameBase::parentsChanged();
  updateRegister();
}

void Name::fieldsAssigned() {
  NameBase::fieldsAssigned();
  updateRegister();
}

void Name::onDestroy() {
  if (_placeInRegister != NotRegistered) NameRegister::the().update(*this, false);
  NameBase::onDestroy();
}

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
