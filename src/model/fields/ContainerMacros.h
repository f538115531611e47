#pragma once

#include "model/fields/BitVector.h"
#include "model/fields/Field.h"
#include "model/fields/FieldContainerType.h"
#include "model/fields/StructureCounter.h"

#include <type_traits>
#include <utility>

// How a container class is declared. One KN_..FIELD line gives the stored member, its getters and setter, the
// FieldId and FieldMask constants, and the description (name, id, content type, role), and with it reading and
// writing in files, cloning, comparing and printing. There is no other list of a class's fields.
//
// This is a whole core of a host's own, with the header model/scenegraph/Node.h included:
//
//   class Spin;
//
//   class SpinBase : public osg::NodeCore {
//     KN_CONTAINER(SpinBase, Spin, osg::NodeCore)
//    public:
//     /// Turns per second.
//     KN_SFIELD(osg::Real32, Speed, speed, 1.F)
//     KN_CONTAINER_END
//   };
//
//   class Spin : public SpinBase {
//    public:
//     osg::Real32 secondsPerTurn() const { return 1.F / getSpeed(); }
//   };
//
//   KN_CONTAINER_TYPE(SpinBase, Spin, "Spin")
//
// The last line stands in one source file, in the namespace of the class. A class of which there are no further
// operations needs no split: it is its own base, as in KN_CONTAINER(Spin, Spin, osg::NodeCore).
//
// Field ids are counted by the preprocessor's counter, so nothing else may use that counter inside a class. A
// container has at most 127 fields, those of its ancestors included.

/// Opens a container class. `Base` is the class being declared, `Concrete` the class that users meet (the same,
/// where there is no split), `Parent` the C++ base class. `create` makes a new container with no reference
/// taken; for an abstract class it gives null.
#define KN_CONTAINER(Base, Concrete, Parent)                                      \
 public:                                                                          \
  using Self = Base;                                                              \
  using Inherited = Parent;                                                       \
  using Ptr = ::osg::FCPtr<typename Parent::Ptr, Concrete>;                       \
  static ::osg::FieldContainerType _type;                                         \
  ::osg::FieldContainerType const& getType() const override { return _type; }     \
  static Ptr create() { return ::osg::dcast<Ptr>(_type.createFieldContainer()); } \
  static constexpr ::osg::UInt32 FirstFieldId = Parent::NextFieldId;              \
                                                                                  \
 private:                                                                         \
  static constexpr ::osg::UInt32 FieldCounter = __COUNTER__;                      \
                                                                                  \
 public:

/// Closes a container class.
#define KN_CONTAINER_END                                                                        \
 public:                                                                                        \
  static constexpr ::osg::UInt32 NextFieldId = FirstFieldId + (__COUNTER__ - FieldCounter - 1); \
  static_assert(NextFieldId <= ::osg::BitVector::Bits, "a container has at most 127 fields");   \
  static void describeFields([[maybe_unused]] std::vector<::osg::FieldDescription>& out) {      \
    [&]<::osg::UInt32... Index>(std::integer_sequence<::osg::UInt32, Index...>) {               \
      (out.push_back(describeField(::osg::detail::FieldTag<FirstFieldId + Index>{})), ...);     \
    }                                                                                           \
    (std::make_integer_sequence<::osg::UInt32, NextFieldId - FirstFieldId>{});                  \
  }

/// A field without accessors. `FieldClass` is SField<T> or MField<T>, `text` the field's name in the scene.
#define KN_FIELD_BARE(FieldClass, Name, text, role, ...)                                          \
 public:                                                                                          \
  static constexpr ::osg::UInt32 Name##FieldId = FirstFieldId + (__COUNTER__ - FieldCounter - 1); \
  static constexpr ::osg::BitVector Name##FieldMask = ::osg::BitVector::bit(Name##FieldId);       \
                                                                                                  \
 protected:                                                                                       \
  FieldClass _f##Name{__VA_ARGS__};                                                               \
  static ::osg::FieldDescription describeField(::osg::detail::FieldTag<Name##FieldId>) {          \
    return {#text, Name##FieldId, ::osg::FieldRole::role, FieldClass::getClassType(),             \
            [](::osg::FieldContainer& container) -> ::osg::Field* {                               \
              return &static_cast<Self&>(container)._f##Name;                                     \
            }};                                                                                   \
  }                                                                                               \
                                                                                                  \
 public:

/// A single value with getters (the stored value by reference) and setter; the last arguments are the default.
#define KN_SFIELD(T, Name, text, ...)                             \
  KN_FIELD_BARE(::osg::SField<T>, Name, text, Plain, __VA_ARGS__) \
  T const& get##Name() const { return _f##Name.getValue(); }      \
  T& get##Name() { return _f##Name.getValue(); }                  \
  void set##Name(T const& value) { _f##Name.setValue(value); }

/// A single value with a getter only: one that the class sets by operations of its own.
#define KN_SFIELD_READ(T, Name, text, role, ...)                 \
  KN_FIELD_BARE(::osg::SField<T>, Name, text, role, __VA_ARGS__) \
  T const& get##Name() const { return _f##Name.getValue(); }

/// A handle of which the container holds a reference: the setter takes one and drops the former one's.
#define KN_SFIELD_OWNED(Handle, Name, text) \
  KN_SFIELD_READ(Handle, Name, text, Owned) \
  void set##Name(Handle const& value) { ::osg::detail::replaceOwned(*this, _f##Name, value); }

/// A list of values; the getters give the field.
#define KN_MFIELD(T, Name, text)                                 \
  KN_FIELD_BARE(::osg::MField<T>, Name, text, Plain)             \
  ::osg::MField<T> const& get##Name() const { return _f##Name; } \
  ::osg::MField<T>& get##Name() { return _f##Name; }

/// A list of values with a constant getter only.
#define KN_MFIELD_READ(T, Name, text, role)         \
  KN_FIELD_BARE(::osg::MField<T>, Name, text, role) \
  ::osg::MField<T> const& get##Name() const { return _f##Name; }

/// Defines and registers a container type; stands once, in a source file, in the namespace of the class.
#define KN_CONTAINER_TYPE(Base, Concrete, name) \
  KN_CONTAINER_TYPE_IMPL(Base, Concrete, name, []() -> ::osg::FieldContainer* { return new Concrete; })
/// The same for a type of which there are no objects, only of types derived from it.
#define KN_CONTAINER_TYPE_ABSTRACT(Base, name) KN_CONTAINER_TYPE_IMPL(Base, Base, name, nullptr)

#define KN_CONTAINER_TYPE_IMPL(Base, Concrete, name, creator)                      \
  constinit ::osg::FieldContainerType Base::_type{name,                            \
                                                  &Base::Inherited::_type,         \
                                                  creator,                         \
                                                  &Base::describeFields,           \
                                                  sizeof(Concrete),                \
                                                  Base::ParentEntryPosition};      \
  namespace {                                                                      \
  [[maybe_unused]] bool const Base##Registered = (Base::_type.initialise(), true); \
  }

namespace osg {
inline namespace knscene {
namespace detail {

template <UInt32 FieldId>
struct FieldTag {};

template <class Handle>
void replaceOwned(FieldContainer const& container, SField<Handle>& field, Handle value) {
  Handle const former = field.getValue();
  value.addRef();
  field.setValue(value);
  StructureCounter::advanceFor(container, former, value);
  former.subRef();
}

}  // namespace detail
}  // namespace knscene
}  // namespace osg
