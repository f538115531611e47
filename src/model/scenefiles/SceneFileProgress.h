#pragma once

#include "model/utils/BaseTypes.h"
#include "model/utils/Export.h"

#include <functional>

namespace osg {
inline namespace knscene {

/// Tells how far reading and writing of scene files is, on the thread that it was made on and as long as it lives; the one
/// made last is told. By it a program with an eye on its user shows progress, and ends what takes too long.
class KNSCENE_API SceneFileProgress {
 public:
  /// Is told the step, such as "reading", and how much of it is done, in units of its own: bytes or objects. False ends
  /// the reading or writing, which then fails like any other, with the reason that it was interrupted. Called often, so it
  /// should look at its own clock before it does more than that; it must not read or write scene files itself. An edit of
  /// the structure that is being written ends the writing.
  using Watch = std::function<bool(char const* step, UInt64 done, UInt64 total)>;

  /// Tells `watch` from now on, and its destructor the one that was told before.
  explicit SceneFileProgress(Watch watch);
  ~SceneFileProgress();
  SceneFileProgress(SceneFileProgress const&) = delete;
  SceneFileProgress& operator=(SceneFileProgress const&) = delete;

  /// For readers and writers: tells, and says whether to go on. True when nobody wants to know.
  static bool tell(char const* step, UInt64 done, UInt64 total);
  /// Whether the watch has said so; then it is asked no more.
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
