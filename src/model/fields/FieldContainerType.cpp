#include "model/fields/FieldContainerType.h"

#include "model/fields/FieldContainer.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/utils/knLog.h"

#include <bit>
#include <cassert>
#include <deque>
#include <mutex>

namespace osg {
inline namespace knscene {

namespace {

UInt32 hashName(char const* name, std::size_t length) {
  // Names of one type differ in length, ends or middle far more often than not; the table is built so that a
  // name is found at the first or second place.
  auto const at = [name](std::size_t i) { return static_cast<UInt32>(static_cast<unsigned char>(name[i])); };
  if (length == 0) return 0;
  UInt32 hash = static_cast<UInt32>(length) * 0x9E3779B1U;
  hash = (hash ^ at(0)) * 0x85EBCA77U;
  hash = (hash ^ at(length / 2)) * 0xC2B2AE3DU;
  hash = (hash ^ at(length - 1)) * 0x27D4EB2FU;
  return hash ^ (hash >> 15);
}

// Recursive, since a type registers its ancestors first.
std::recursive_mutex& registrationMutex() {
  static auto* const mutex = new std::recursive_mutex;
  return *mutex;
}

}  // namespace

DataType const& DataType::byName(std::string_view name) {
  static auto* const mutex = new std::mutex;
  static auto* const types = new std::deque<DataType>;
  static auto* const names = new std::deque<std::string>;
  std::lock_guard const lock(*mutex);
  for (DataType const& type : *types) {
    if (type.getName() == name) return type;
  }
  names->emplace_back(name);
  types->push_back(DataType(static_cast<UInt32>(types->size() + 1), names->back().c_str()));
  return types->back();
}

void FieldContainerType::initialise() {
  if (_ready.load(std::memory_order_acquire)) return;
  std::lock_guard const lock(registrationMutex());
  if (_ready.load(std::memory_order_relaxed)) return;
  if (_parent != nullptr) {
    _parent->initialise();
    _depth = _parent->_depth + 1;
    _ancestors = _parent->_ancestors;
  }
  _id = FieldContainerFactory::the().registerType(*this);
  if (_depth < TableDepth) _ancestors[_depth] = _id;
  _groupId = _parent != nullptr && !_parent->isAbstract() ? _parent->_groupId : _id;
  buildFields();
  _ready.store(true, std::memory_order_release);
}

void FieldContainerType::buildFields() {
  auto* const fields = new Fields;
  if (_parent != nullptr) fields->descriptions = _parent->_fields->descriptions;
  std::size_t const inherited = fields->descriptions.size();
  if (_describe != nullptr) _describe(fields->descriptions);
  bool const isChildOfRefused = _parent != nullptr && _parent->_isRefused;
  if (isChildOfRefused || fields->descriptions.size() >= BitVector::Bits) {
    fields->descriptions.erase(fields->descriptions.begin() + static_cast<std::ptrdiff_t>(inherited),
                               fields->descriptions.end());
    _create = nullptr;
    _isRefused = true;
    std::string const reason =
        isChildOfRefused ? "its parent type is refused" : "it has more than 127 fields";
    knLog::error(("container type " + getName().str() + " cannot be used: " + reason).c_str());
  }

  std::size_t const size = std::bit_ceil(fields->descriptions.size() * 4 + 4);
  fields->idsByHash.assign(size, 0);
  for (FieldDescription const& description : fields->descriptions) {
    assert(description.getFieldId() == static_cast<UInt32>(&description - fields->descriptions.data()) + 1);
    std::string_view const name = description.getName();
    std::size_t place = hashName(name.data(), name.size()) & (size - 1);
    while (fields->idsByHash[place] != 0) place = (place + 1) & (size - 1);
    fields->idsByHash[place] = static_cast<UInt16>(description.getFieldId());
  }
  _fields = fields;
}

bool FieldContainerType::isDerivedFromDeep(FieldContainerType const& other) const {
  FieldContainerType const* type = this;
  while (type != nullptr && type->_depth > other._depth) type = type->_parent;
  return type == &other;
}

FieldDescription const* FieldContainerType::findFieldDescription(char const* name) const {
  if (name == nullptr) return nullptr;
  std::size_t const length = std::strlen(name);
  std::size_t const last = _fields->idsByHash.size() - 1;
  for (std::size_t place = hashName(name, length) & last;; place = (place + 1) & last) {
    UInt16 const id = _fields->idsByHash[place];
    if (id == 0) return nullptr;
    FieldDescription const& description = _fields->descriptions[id - 1U];
    if (std::strcmp(description.getCName(), name) == 0) return &description;
  }
}

FieldContainerPtr FieldContainerType::createFieldContainer() const {
  return FieldContainerFactory::the().create(*this);
}

}  // namespace knscene
}  // namespace osg
