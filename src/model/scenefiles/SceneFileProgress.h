#pragma once

#include "model/utils/BaseTypes.h"
#include "model/utils/Export.h"

#include <functional>

namespace osg {
inline namespace knscene {

/// While it lives, reports the progress of reading and writing scene files on the thread that made it; only the one
/// made last does. A program can show the progress to its user, and end what takes too long.
class KNSCENE_API SceneFileProgress {
 public:
  /// Called with the step, such as "reading", and how much of it is done, in bytes or objects. False ends the reading
  /// or writing, which then fails like any other, with the reason that it was interrupted. It is called often, so it
  /// should check a clock before it does anything slow, and it must not read or write scene files itself. An edit of
  /// the structure that is being written ends the writing.
  using Watch = std::function<bool(char const* step, UInt64 done, UInt64 total)>;

  /// Calls `watch` from now on; after its destruction, the former watch is called again.
  explicit SceneFileProgress(Watch watch);
  ~SceneFileProgress();
  SceneFileProgress(SceneFileProgress const&) = delete;
  SceneFileProgress& operator=(SceneFileProgress const&) = delete;

  /// For readers and writers: tells, and says whether to go on. True when nobody wants to know.
  static bool tell(char const* step, UInt64 done, UInt64 total);
  /// Whether the watch has ended the operation; it is not called any more then.
  static bool isInterrupted();

  /// The reason that the log gives.
  static constexpr char const* WhenInterrupted = "it was interrupted";

 private:
  Watch _watch;
  bool _isInterrupted = false;
  SceneFileProgress* _former;
};

}  // namespace knscene
}  // namespace osg
