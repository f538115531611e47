#pragma once

#include "model/fields/ContainerMacros.h"
#include "model/fields/FieldContainerPtr.h"
#include "model/fields/FieldContainerType.h"

#include <span>

namespace osg {
inline namespace knscene {

class FieldContainerFactory;

/// One channel that a container declares about itself, where the container and not the list of keyable names
/// decides what can be animated.
struct ChannelDescription {
  std::vector<UInt32>
      containerIds;         ///< the container to write first, then the further parents of the channel
  std::string fieldName;    ///< the field to write
  std::string channelName;  ///< the name to show and to store in the curve
};

/// Base of everything that lives in a scene. A container has a type, an id, a reference count, and fields.
/// Containers are made by their class's `create` or by `FieldContainerType::createFieldContainer`, are reached
/// through handles, and die when their last reference is dropped.
class KNSCENE_API FieldContainer {
 public:
  /// The handle, the type, and where the field ids of derived classes begin.
  using Ptr = FieldContainerPtr;
  static FieldContainerType _type;
  static constexpr UInt32 NextFieldId = 1;
  /// The id of the field that notes a container's parents, or InvalidParentEPos where there is none.
  static constexpr UInt16 ParentEntryPosition = FieldContainerPtrBase::InvalidParentEPos;

  FieldContainer(FieldContainer const&) = delete;
  FieldContainer& operator=(FieldContainer const&) = delete;

  /// The most derived type.
  virtual FieldContainerType const& getType() const { return _type; }
  /// The process-wide id, from 1 up.
  UInt32 getContainerId() const { return _containerId; }
  /// How many references are held.
  Int32 getRefCount() const { return _refCount; }

  /// The field of that name or id, null when absent.
  Field* getField(char const* name);
  Field* getField(UInt32 fieldId);

  /// Called when fields have been written. `mask` tells which, `origin` is 1 for a change from outside. What
  /// follows from the fields is brought up to date here; an override calls its parent's.
  virtual void changed(BitVector const& mask, UInt32 origin);
  /// Called in the place of `changed` while `FieldContainerPtr::_ignore_change` is set. Only what the scene layer
  /// itself keeps in step with the fields is brought up to date here; an override calls its parent's.
  virtual void followChange(BitVector const& mask);

  /// The channels that this container declares; none by default. `out` is appended to.
  virtual void getChannelDescriptions(std::vector<ChannelDescription>& out) const;
  /// Whether the declared channels decide what can be keyed, rather than the field names.
  virtual bool hasChannelDescriptions() const { return false; }

 protected:
  FieldContainer();
  virtual ~FieldContainer() = default;

  /// Fields were filled without their setters, by a file or a copy: take the references and make the links that
  /// the setters would have made. An override calls its parent's first.
  virtual void fieldsAssigned();
  /// The container dies: drop the links that others have to it. Its fields are still there, its handles are not
  /// dead yet. An override calls its parent's last.
  virtual void onDestroy();

 private:
  friend class FieldContainerFactory;
  friend class FieldContainerPtrBase;
  friend class StructureCounter;
  friend KNSCENE_API void linkAssignedFields(FieldContainer& container);

  StoreEntry* _entry = nullptr;  ///< null for an object that no handle leads to
  UInt32 _containerId = 0;
  Int32 _refCount = 0;
  bool _isSafeFromDropping = false;  ///< being made, or dying already
  mutable bool _isWatched = false;   ///< see StructureCounter
  mutable bool _childrenAreWatched = false;
};

/// For code that fills fields through `Field` alone: call once per container when all its fields are set. Counts as
/// a structural change.
KNSCENE_API void linkAssignedFields(FieldContainer& container);

/// Announces fields after they were written: notes them in the thread's change list, if there is one, and calls
/// the container's `changed` with origin 1 unless `FieldContainerPtr::_ignore_change` is set (`followChange` then).
/// A null or dead handle is left alone. Every write to a field ends with this.
KNSCENE_API void announce(FieldContainerPtr const& container, BitVector const& mask);

}  // namespace knscene
}  // namespace osg
