#pragma once

#include "model/fields/BitVector.h"
#include "model/fields/FieldContainerPtr.h"
#include "model/fields/FieldDataTraits.h"
#include "model/fields/FieldType.h"

#include <array>
#include <atomic>
#include <span>
#include <vector>

namespace osg {
inline namespace knscene {

class Field;

/// What a field is to the code that handles containers without knowing them.
enum class FieldRole : UInt8 {
  Plain,    ///< a value, or a handle that counts no reference
  Owned,    ///< handles of which the container holds one reference each
  Derived,  ///< kept by the scene layer; not written to files, not cloned, not compared
};

/// One field of a container type: its name, its number, and the way to it.
class FieldDescription {
 public:
  /// Gives the field of a container of that type.
  using Access = Field* (*)(FieldContainer&);

  /// `name` must live as long as the process.
  FieldDescription(char const* name, UInt32 fieldId, FieldRole role, FieldType const& type, Access access)
      : _name(name), _fieldId(fieldId), _role(role), _type(type), _access(access) {}

  /// The name of the field.
  char const* getCName() const { return _name.c_str(); }
  IDString const& getName() const { return _name; }
  /// The field's id in its container: 1 for the first field of the outermost ancestor.
  UInt32 getFieldId() const { return _fieldId; }
  /// The mask with the bit of this field alone.
  BitVector getFieldMask() const { return BitVector::bit(_fieldId); }
  /// What the field holds, and what it is to files, copies and comparisons.
  FieldType const& getFieldType() const { return _type; }
  FieldRole getRole() const { return _role; }
  /// The field in a container of this type.
  Field* getField(FieldContainer& container) const { return _access(container); }

 private:
  IDString _name;
  UInt32 _fieldId;
  FieldRole _role;
  FieldType _type;
  Access _access;
};

/// The type of a field container: its place in the tree of types, its fields, and the way to make one.
/// Types are static objects that exist before any code runs; they take their number and their place at load.
class KNSCENE_API FieldContainerType : public TypeBase {
 public:
  /// Makes an object of the type, and appends the descriptions of the type's fields.
  using Create = FieldContainer* (*)();
  using Describe = void (*)(std::vector<FieldDescription>&);

  /// `parent` is null for the root of the tree. A null `create` makes the type abstract. `describe` appends the
  /// descriptions of the fields that this class adds to its parent's.
  constexpr FieldContainerType(char const* name, FieldContainerType* parent, Create create, Describe describe,
                               std::size_t containerSize, UInt16 parentEPos)
      : TypeBase(0, name),
        _parent(parent),
        _create(create),
        _describe(describe),
        _containerSize(static_cast<UInt16>(containerSize)),
        _parentEPos(parentEPos) {}
  FieldContainerType(FieldContainerType const&) = delete;
  FieldContainerType& operator=(FieldContainerType const&) = delete;

  /// Registers the type and its ancestors with the factory. Repeated calls do nothing. Any thread.
  ///
  /// A type with more than 127 fields, its ancestors' included, is refused, and with it all that derive from it:
  /// it keeps its parent's fields only, is abstract, and one error line in knLog says so.
  void initialise();

  /// The type that this one derives from, null for the first of all; and whether there are no objects of this type.
  FieldContainerType const* getParent() const { return _parent; }
  bool isAbstract() const { return _create == nullptr; }
  /// Whether this type is `other` or derives from it. Any thread. Constant time, but for an `other` that lies
  /// more than 16 levels deep.
  bool isDerivedFrom(FieldContainerType const& other) const {
    if (other._depth < TableDepth) [[likely]]
      return _ancestors[other._depth] == other._id;
    return isDerivedFromDeep(other);
  }
  /// The number that attachments and cores are looked up by: a type opens a group when its parent is abstract,
  /// and otherwise belongs to its parent's. So a host's own kind of attachment is found where the kind that it
  /// derives from is looked for.
  UInt32 getGroupId() const { return _groupId; }

  /// A new container of this type, with no reference taken; null for an abstract type. Any thread.
  FieldContainerPtr createFieldContainer() const;

  /// How many fields there are, ancestors' included.
  UInt32 getNumFieldDescs() const { return static_cast<UInt32>(getFieldDescriptions().size()); }
  /// Field ids run from 1 to getNumFieldDescs(); any other gives null.
  FieldDescription const* getFieldDescription(UInt32 fieldId) const {
    return fieldId - 1 < getNumFieldDescs() ? &_fields->descriptions[fieldId - 1] : nullptr;
  }
  /// The field of that name, ancestors' fields included; null when there is none. Constant time, any thread.
  FieldDescription const* findFieldDescription(char const* name) const;
  /// All fields, in the order of their ids.
  std::span<FieldDescription const> getFieldDescriptions() const { return _fields->descriptions; }

  /// The size of an object in bytes, and the field that notes its parents, as handles keep them.
  UInt16 getContainerSize() const { return _containerSize; }
  UInt16 getParentEPos() const { return _parentEPos; }

 private:
  friend class FieldContainerFactory;
  static constexpr UInt32 TableDepth = 16;

  /// Made once and never freed, as types outlive every static object.
  struct Fields {
    std::vector<FieldDescription> descriptions;
    std::vector<UInt16> idsByHash;  ///< open addressing, 0 for an empty place
  };
  void buildFields();
  bool isDerivedFromDeep(FieldContainerType const& other) const;

  FieldContainerType* _parent;
  Create _create;
  Describe _describe;
  UInt16 _containerSize;
  UInt16 _parentEPos;
  std::atomic<bool> _ready = false;
  bool _isRefused = false;
  UInt32 _groupId = 0;
  UInt32 _depth = 0;
  std::array<UInt32, TableDepth> _ancestors = {};  ///< type ids by depth, the own id at the own depth
  Fields const* _fields = nullptr;
};

/// The container behind `handle` as the handle type `Handle`, or null when the handle is null or dead, or the
/// container neither is of that type nor derives from it. Constant time, any thread.
template <ContainerHandle Handle>
Handle dcast(FieldContainerPtr const& handle) {
  Handle result;
  FieldContainerType const* const type = handle.findType();
  if (type != nullptr && type->isDerivedFrom(Handle::StoredObject::_type)) {
    static_cast<FieldContainerPtrBase&>(result) = handle;
  }
  return result;
}

/// The living container behind `handle` as a `Type`, or null by the same rule as `dcast`. For use within a call.
template <class Type>
Type* dcastTo(FieldContainerPtr const& handle) {
  FieldContainerType const* const type = handle.findType();
  if (type == nullptr || !type->isDerivedFrom(Type::_type)) return nullptr;
  return static_cast<Type*>(handle.operator->());
}

/// Contents that are handles: in files, the number of the container that they name.
template <ContainerHandle Handle>
struct FieldDataTraits<Handle> {
  static constexpr std::size_t MinBytes = sizeof(UInt32);
  static std::string typeName() { return Handle::StoredObject::_type.getName().str() + "Ptr"; }
  static void putToString(Handle const& value, std::string& text) {
    FieldDataTraits<UInt32>::putToString(value.getContainerId(), text);
  }
  static void write(FieldWriter& writer, Handle const& value) { writer.putHandle(value); }
  static void read(FieldReader& reader, Handle& value) { value = dcast<Handle>(reader.getHandle()); }
  static bool isEqual(Handle const& a, Handle const& b) { return a == b; }
  static void visitHandles(Handle& value, HandleVisitor const& visitor) {
    value = dcast<Handle>(visitor(value));
  }
};

}  // namespace knscene
}  // namespace osg
