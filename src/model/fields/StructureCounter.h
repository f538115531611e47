#pragma once

#include "model/utils/BaseTypes.h"
#include "model/utils/Export.h"

#include <atomic>

namespace osg {
inline namespace knscene {

/// Counts the structural changes of everything that lives in a scene: children, cores, attachments, animation roots,
/// lists of materials, shapes and vertex curves, handles that a container holds a reference to, fields filled by
/// files and copies, and every death. Whoever keeps something that rests on structure keeps the number with it, and
/// knows by one comparison whether it still holds.
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

 private:
  static std::atomic<UInt64> _count;
};

}  // namespace knscene
}  // namespace osg
