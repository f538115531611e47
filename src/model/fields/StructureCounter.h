#pragma once

#include "model/utils/BaseTypes.h"
#include "model/utils/Export.h"

#include <atomic>

namespace osg {
inline namespace knscene {

class FieldContainer;
class FieldContainerPtr;

/// Counts the structural changes of what is watched: children, cores, attachments, animation roots, handles that a
/// container holds a reference to, and deaths. Where animation begins or ends in a subtree, lists of materials, shapes
/// and vertex curves, and fields filled by files and copies count always. Code that keeps something derived from
/// structure watches the containers that it depends on and keeps the count with it; one comparison then tells whether
/// it is still valid. Changes of other containers, such as those that a host makes and drops in each frame, are not
/// counted.
///
/// Values are not structure: placements, keys, masks and names do not count. One operation may count several times.
/// A host's own containers that hold handles in lists call `advance` where they change them.
///
/// Incremented on the main thread only, where structure is changed; read on any thread. Counting costs a plain
/// increment.
class KNSCENE_API StructureCounter {
 public:
  StructureCounter() = delete;

  /// The present count; and counting one change. Main thread.
  static UInt64 get() { return _count.load(std::memory_order_relaxed); }
  static void advance() { _count.store(get() + 1, std::memory_order_relaxed); }

  /// From now on structural changes of a container count, for as long as it lives; with `children`, also what comes and
  /// goes among its children. Main thread.
  static void watch(FieldContainer const& container, bool children = false);
  /// Counts one change if the container is watched, or either of two that it held and holds now, which may be null or
  /// dead.
  static void advanceFor(FieldContainer const& changed);
  static void advanceFor(FieldContainer const& changed, FieldContainerPtr const& former,
                         FieldContainerPtr const& present);
  /// Counts one change if the parent is watched with its children, or if the child is watched.
  static void advanceForChild(FieldContainer const& parent, FieldContainer const& child);

 private:
  static bool isWatched(FieldContainerPtr const& handle);

  static std::atomic<UInt64> _count;
};

}  // namespace knscene
}  // namespace osg
