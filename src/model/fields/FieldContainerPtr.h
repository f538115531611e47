#pragma once

#include "model/utils/BaseTypes.h"
#include "model/utils/Export.h"

#include <compare>
#include <concepts>
#include <functional>

namespace osg {
inline namespace knscene {

class Attachment;
class AttachmentContainer;
class FieldContainer;
class FieldContainerType;
class Node;

/// A container's place in the store. Long after a container's death its place is used again, by one container after
/// the other. The generation counts them, so that a handle of a dead container can be told from every living one for
/// as long as the process runs.
struct StoreEntry {
  FieldContainer* object = nullptr;  ///< null while no container has the place
  FieldContainerType const* type =
      nullptr;            ///< of the container that has the place, else of the last one that had it
  UInt32 id = 0;          ///< the id of whichever container has the place
  UInt32 generation = 0;  ///< how many containers have had the place and died
};

/// The three parts of every handle: the container's size, the field that notes its parents, and its store address.
/// A handle is a plain value: copying it counts nothing. The store address is that of the container's place, together
/// with the generation of the place; handles are equal when both are, and are ordered by address first. The address of
/// a null handle is null.
class KNSCENE_API FieldContainerPtrBase {
 public:
  /// The parent entry position of a null handle, and of containers that note no parents.
  static constexpr UInt16 InvalidParentEPos = 0xFFFF;

  constexpr FieldContainerPtrBase() = default;

  /// Takes a reference. Null and dead handles are left alone.
  void addRef() const;
  /// Drops a reference; the last one destroys the container, and with it what it alone holds. A container that
  /// nobody ever took a reference to is destroyed too. Null and dead handles are left alone.
  void subRef() const;

  /// Whether the container that this handle was made for still lives. False for null.
  bool isAlive() const { return _store != nullptr && _store->generation == _generation; }
  /// The container's process-wide id, or 0 when the handle is null or dead.
  UInt32 getContainerId() const { return isAlive() ? _store->id : 0; }
  /// The container's most derived type, or null when the handle is null or dead.
  FieldContainerType const* findType() const { return isAlive() ? _store->type : nullptr; }

  /// The three parts of the handle.
  UInt16 getContainerSize() const { return _containerSize; }
  UInt16 getParentEPos() const { return _parentEPos; }
  StoreEntry const* getStoreAddress() const { return _store; }

  /// False for null only: ask `isAlive` for the dead. Handles are ordered by address, then by generation.
  explicit operator bool() const { return _store != nullptr; }
  friend bool operator==(FieldContainerPtrBase const& a, FieldContainerPtrBase const& b) {
    return a._store == b._store && a._generation == b._generation;
  }
  friend std::strong_ordering operator<=>(FieldContainerPtrBase const& a, FieldContainerPtrBase const& b) {
    if (a._store != b._store) return std::compare_three_way{}(a._store, b._store);
    return a._generation <=> b._generation;
  }
  friend bool operator==(FieldContainerPtrBase const& a, std::nullptr_t) { return a._store == nullptr; }

 protected:
  /// For derived handles.
  explicit FieldContainerPtrBase(FieldContainer const* container);
  FieldContainer* object() const {
#ifndef NDEBUG
    if (!isAlive()) stopAtDeadHandle();
#endif
    return _store->object;
  }
  /// Ends the program with an error in the log that names the type of the container that is gone, or says that the
  /// handle is null. Called where code that is built without NDEBUG goes through such a handle.
  [[noreturn]] void stopAtDeadHandle() const;

 private:
  UInt16 _containerSize = 0;
  UInt16 _parentEPos = InvalidParentEPos;
  UInt32 _generation = 0;
  StoreEntry const* _store = nullptr;
};

/// The untyped handle.
class KNSCENE_API FieldContainerPtr : public FieldContainerPtrBase {
 public:
  /// What the handle points to.
  using StoredObject = FieldContainer;

  /// While set, announcing a field calls the container's `followChange` instead of its `changed`. Main thread only.
  static bool _ignore_change;

  /// Null.
  constexpr FieldContainerPtr() = default;
  constexpr FieldContainerPtr(std::nullptr_t) {}
  /// The handle of a living container; null gives the null handle. In a container's constructor `this` gives the
  /// handle that `create` will return, which nothing can destroy before `create` has returned. In its destructor,
  /// and for an object that was not made by `create`, the handle is null.
  explicit FieldContainerPtr(FieldContainer const* container) : FieldContainerPtrBase(container) {}

  /// The container. The handle must be alive: a build without NDEBUG ends the program otherwise, and says in the log
  /// what the handle was of.
  FieldContainer* operator->() const { return object(); }
  FieldContainer& operator*() const { return *object(); }
};

/// The typed handle: derived from the handle `Base`, it gives `Type` as its target.
template <class Base, class Type>
class FCPtr : public Base {
 public:
  /// What the handle points to.
  using StoredObject = Type;

  /// Null.
  constexpr FCPtr() = default;
  constexpr FCPtr(std::nullptr_t) {}
  /// The handle of a living container; see FieldContainerPtr.
  explicit FCPtr(Type const* container) : Base(container) {}

  /// The container. The handle must be alive.
  Type* operator->() const { return static_cast<Type*>(this->object()); }
  Type& operator*() const { return *static_cast<Type*>(this->object()); }
};

/// Handles of the classes that the others derive from.
using AttachmentContainerPtr = FCPtr<FieldContainerPtr, AttachmentContainer>;
using AttachmentPtr = FCPtr<FieldContainerPtr, Attachment>;
using NodePtr = FCPtr<AttachmentContainerPtr, Node>;

/// Any handle of a container.
template <class Handle>
concept ContainerHandle = std::derived_from<Handle, FieldContainerPtr>;

}  // namespace knscene
}  // namespace osg

/// Handles as keys of unordered containers.
template <osg::ContainerHandle Handle>
struct std::hash<Handle> {
  std::size_t operator()(Handle const& handle) const noexcept {
    return std::hash<osg::StoreEntry const*>{}(handle.getStoreAddress());
  }
};
