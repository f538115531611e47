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
/// and vertex curves, and fields filled by files and copies count always. Whoever keeps something that rests on structure
/// watches the containers that it rests on, keeps the number with it, and knows by one comparison whether it still holds.
/// What happens to other containers, such as a host makes and drops in each frame, is not counted.
///
/// Values are not structure: placements, keys, masks and names do not count. One operation may count several times.
/// A host's own containers that hold handles in lists call `advance` where they change them.
///
/// Grown on the main thread only, where structure is changed; read from any thread. Each costs a plain increment.
class KNSCENE_API StructureCounter {
 public:
  StructureCounter() = delete;

  /// The count as it stands, and one step more. Main thread.
  static UInt64 get() { return _count.load(std::memory_order_relaxed); }
  static void advance() { _count.store(get() + 1, std::memory_order_relaxed); }

  /// From now on structural changes of a container count, for as long as it lives; with `children`, also what comes and
  /// goes among its children. Main thread.
  static void watch(FieldContainer const& container, bool children = false);
  /// One step more if the container is watched, or one of two that it held and holds now, which may be null or dead.
  static void advanceFor(FieldContainer const& changed);
  static void advanceFor(FieldContainer const& changed, FieldContainerPtr const& former,
                         FieldContainerPtr const& present);
  /// One step more if what comes and goes among the children of the parent counts, or if the child is watched.
  static void advanceForChild(FieldContainer const& parent, FieldContainer const& child);

 private:
  static bool isWatched(FieldContainerPtr const& handle);

  static std::atomic<UInt64> _count;
};

}  // namespace knscene
}  // namespace osg
