#pragma once

#include "model/fields/FieldContainer.h"
#include "model/fields/FieldContainerPtr.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <tbb/concurrent_vector.h>
#include <vector>

namespace osg {
inline namespace knscene {

/// The process-wide register of container types and of all living containers.
class KNSCENE_API FieldContainerFactory {
 public:
  /// Containers by id.
  using Store = tbb::concurrent_vector<FieldContainerPtr>;
  /// Told of each container that dies, just before it does: the container can still be read, and its handles
  /// are still alive. It must take no reference.
  using DeathHook = std::function<void(FieldContainerPtr const& dying, UInt32 containerId)>;

  /// Made at first use, never destroyed. Any thread.
  static FieldContainerFactory& the();

  /// The type of that name, null when unknown or null. Any thread.
  FieldContainerType* findType(char const* name) const;
  /// All types in order of registration, ancestors before descendants.
  std::vector<FieldContainerType*> getTypes() const;

  /// How many containers must have died after a container before another one gets its id and its place.
  static constexpr UInt32 RestOfIds = 1U << 19;

  /// All containers by id. The slot of an id that was never used, or whose container is gone, is null. The store
  /// is as long as the most containers that have lived at once, and a few times RestOfIds.
  Store const* getFieldContainerStore() const { return &_store; }
  /// The container of that id, or null for an id that was never used or whose container is gone. The id of a dead
  /// container names no other one until RestOfIds more containers have died. Code that keeps ids for longer must also
  /// keep the handles, which always tell dead containers from living ones, or use a death hook. Any thread, while no
  /// other creates or destroys containers.
  FieldContainerPtr getContainer(UInt32 containerId) const {
    return containerId < _store.size() ? _store[containerId] : FieldContainerPtr();
  }
  /// How many containers live.
  std::size_t getLivingCount() const { return _living.load(std::memory_order_relaxed); }

  /// Registers a hook, called in order of registration on the thread that destroys. Returns the number to remove
  /// it by. Hooks may add and remove hooks; main thread.
  UInt32 addDeathHook(DeathHook hook);
  /// Removes a hook; a number of no hook does nothing.
  void removeDeathHook(UInt32 number);

 private:
  friend class FieldContainer;
  friend class FieldContainerType;
  friend class FieldContainerPtrBase;

  FieldContainerFactory();

  UInt32 registerType(FieldContainerType& type);
  FieldContainerPtr create(FieldContainerType const& type);
  void beginLife(FieldContainer& container);
  StoreEntry& takePlace();
  void wakePlaces();
  void giveBack(StoreEntry& place);
  void destroy(FieldContainer& container);
  void bury(FieldContainer& container);
  void tellDeathHooks(FieldContainerPtr const& dying);

  struct NumberedHook {
    UInt32 number;
    DeathHook hook;
  };

  mutable std::mutex _typesMutex;
  std::mutex _placesMutex;
  std::vector<FieldContainerType*> _types;
  Store _store;
  tbb::concurrent_vector<StoreEntry> _entries;  ///< by id, as the store
  // Ids of places that are free.
  std::vector<UInt32> _resting;  ///< since the last batch was full
  std::vector<UInt32> _rested;   ///< the batch before
  std::vector<UInt32> _ready;    ///< the one that is used up now, the next place last
  std::atomic<std::size_t> _living = 0;
  std::vector<NumberedHook> _deathHooks;  ///< by number
  UInt32 _nextHookNumber = 1;
};

}  // namespace knscene
}  // namespace osg
