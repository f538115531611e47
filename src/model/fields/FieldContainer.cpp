#include "model/fields/FieldContainer.h"

#include "model/fields/ChangeList.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/fields/StructureCounter.h"
#include "model/utils/knLog.h"

#include <cstdlib>
#include <string>

namespace osg {
inline namespace knscene {

constinit FieldContainerType FieldContainer::_type{
    "FieldContainer", nullptr, nullptr, nullptr, sizeof(FieldContainer), FieldContainer::ParentEntryPosition};
bool FieldContainerPtr::_ignore_change = false;
constinit std::atomic<UInt64> StructureCounter::_count = 0;

namespace {

[[maybe_unused]] bool const registered = (FieldContainer::_type.initialise(), true);

// Passes every handle in the container's owned fields to `use`, and leaves null in its place where `use` says so.
template <class Use>
void forEachOwned(FieldContainer& container, Use use) {
  for (FieldDescription const& description : container.getType().getFieldDescriptions()) {
    if (description.getRole() != FieldRole::Owned) continue;
    description.getField(container)->visitHandles(use);
  }
}

}  // namespace

void StructureCounter::watch(FieldContainer const& container, bool children) {
  container._isWatched = true;
  if (children) container._childrenAreWatched = true;
}

bool StructureCounter::isWatched(FieldContainerPtr const& handle) {
  return handle.isAlive() && (*handle)._isWatched;
}

void StructureCounter::advanceFor(FieldContainer const& changed) {
  if (changed._isWatched) advance();
}

void StructureCounter::advanceFor(FieldContainer const& changed, FieldContainerPtr const& former,
                                  FieldContainerPtr const& present) {
  if (changed._isWatched || isWatched(former) || isWatched(present)) advance();
}

void StructureCounter::advanceForChild(FieldContainer const& parent, FieldContainer const& child) {
  if (parent._childrenAreWatched || child._isWatched) advance();
}

FieldContainer::FieldContainer() { FieldContainerFactory::the().beginLife(*this); }

FieldContainerPtrBase::FieldContainerPtrBase(FieldContainer const* container) {
  if (container == nullptr || container->_entry == nullptr) return;
  FieldContainerType const& type = *container->_entry->type;
  _containerSize = type.getContainerSize();
  _parentEPos = type.getParentEPos();
  _generation = container->_entry->generation;
  _store = container->_entry;
}

void FieldContainerPtrBase::stopAtDeadHandle() const {
  std::string text = "a null handle is used";
  if (_store != nullptr) {
    // While the place rests its type is that of the container that died.
    bool const isKnown =
        _store->generation == _generation + 1 && _store->object == nullptr && _store->type != nullptr;
    text = "a dead handle is used: the ";
    text += isKnown ? _store->type->getName().str() : "container";
    text += " of id " + std::to_string(_store->id) + " is gone";
  }
  knLog::error(text.c_str());
  std::abort();
}

void FieldContainerPtrBase::addRef() const {
  if (isAlive()) ++object()->_refCount;
}

void FieldContainerPtrBase::subRef() const {
  if (isAlive() && --object()->_refCount <= 0) FieldContainerFactory::the().destroy(*object());
}

Field* FieldContainer::getField(char const* name) {
  FieldDescription const* const description = getType().findFieldDescription(name);
  return description != nullptr ? description->getField(*this) : nullptr;
}

Field* FieldContainer::getField(UInt32 fieldId) {
  FieldDescription const* const description = getType().getFieldDescription(fieldId);
  return description != nullptr ? description->getField(*this) : nullptr;
}

void FieldContainer::changed(BitVector const&, UInt32) {}

void FieldContainer::followChange(BitVector const&) {}

void FieldContainer::getChannelDescriptions(std::vector<ChannelDescription>&) const {}

void FieldContainer::fieldsAssigned() {
  forEachOwned(*this, [](FieldContainerPtr const& handle) {
    handle.addRef();
    return handle;
  });
}

void FieldContainer::onDestroy() {
  forEachOwned(*this, [](FieldContainerPtr const& handle) {
    handle.subRef();
    return FieldContainerPtr();
  });
}

void linkAssignedFields(FieldContainer& container) {
  StructureCounter::advance();
  container.fieldsAssigned();
  StructureCounter::advance();
}

void announce(FieldContainerPtr const& container, BitVector const& mask) {
  if (!container.isAlive()) return;
  if (ChangeList* const list = WinThreadBase::getCurrentChangeList()) list->addChanged(container, mask);
  if (FieldContainerPtr::_ignore_change) {
    container->followChange(mask);
  } else {
    container->changed(mask, 1);
  }
}

}  // namespace knscene
}  // namespace osg
