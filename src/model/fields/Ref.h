#pragma once

#include "model/fields/FieldContainerPtr.h"

#include <utility>

namespace osg {
inline namespace knscene {

/// An owning reference to a container of class `T`: takes a reference on the container that it is given and
/// drops it when it ends or is given another one, so that the container lives at least that long. The plain
/// handles count nothing; hold one of these wherever a handle is kept beyond a call.
///
/// A null or dead handle gives an empty reference. A container that nobody else holds dies with its last
/// reference. References are values: copying one takes a further reference, moving one takes none. Main thread.
///
///     osg::Ref<osg::Node> door = osg::Node::create();
///     door->setTravMask(0);
///
/// The container can still be destroyed from elsewhere, by code that drops references it never took. Then
/// `isAlive()` is false.
template <class T>
class Ref {
 public:
  /// The handle that is kept.
  using Handle = typename T::Ptr;

  Ref() = default;
  /// Null, or a reference of its own to the same container; a moved one is null afterwards.
  Ref(std::nullptr_t) {}
  Ref(Handle const& handle) : _handle(handle.isAlive() ? handle : Handle()) { _handle.addRef(); }
  Ref(Ref const& other) : Ref(other._handle) {}
  Ref(Ref&& other) noexcept : _handle(std::exchange(other._handle, Handle())) {}
  /// From a reference to a derived class.
  template <class Derived>
  requires std::convertible_to<typename Derived::Ptr, Handle> Ref(Ref<Derived> const& other)
      : Ref(Handle(other.get())) {}

  /// The reference that was held is dropped last, when this one names the new container already: dropping it may
  /// run code of the host's.
  Ref& operator=(Ref other) noexcept {
    std::swap(_handle, other._handle);
    return *this;
  }
  ~Ref() { reset(); }

  /// Drops the reference.
  void reset() { std::exchange(_handle, Handle()).subRef(); }

  /// The handle.
  Handle const& get() const { return _handle; }
  operator Handle const&() const { return _handle; }
  /// The container, which must be alive.
  T* operator->() const { return _handle.operator->(); }
  T& operator*() const { return *_handle; }

  /// Whether the container lives, which it does while it is kept, unless it was null.
  bool isAlive() const { return _handle.isAlive(); }
  explicit operator bool() const { return static_cast<bool>(_handle); }

 private:
  Handle _handle;
};

/// References compare as the handles in them do, with each other and with plain handles.
template <class A, class B>
bool operator==(Ref<A> const& a, Ref<B> const& b) {
  return a.get() == b.get();
}
template <class A, class B>
auto operator<=>(Ref<A> const& a, Ref<B> const& b) {
  return a.get() <=> b.get();
}
template <class T, ContainerHandle Handle>
bool operator==(Ref<T> const& a, Handle const& b) {
  return a.get() == b;
}
template <class T>
bool operator==(Ref<T> const& a, std::nullptr_t) {
  return a.get() == nullptr;
}

}  // namespace knscene
}  // namespace osg

template <class T>
struct std::hash<osg::Ref<T>> {
  std::size_t operator()(osg::Ref<T> const& reference) const noexcept {
    return std::hash<typename osg::Ref<T>::Handle>{}(reference.get());
  }
};
