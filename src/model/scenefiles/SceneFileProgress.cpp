#include "model/scenefiles/SceneFileProgress.h"

#include <utility>

namespace osg {
inline namespace knscene {

namespace {

thread_local SceneFileProgress* latest = nullptr;

}  // namespace

SceneFileProgress::SceneFileProgress(Watch watch)
    : _watch(std::move(watch)), _former(std::exchange(latest, this)) {}

SceneFileProgress::~SceneFileProgress() { latest = _former; }

bool SceneFileProgress::tell(char const* step, UInt64 done, UInt64 total) {
  if (latest == nullptr) return true;
  if (!latest->_isInterrupted && latest->_watch) latest->_isInterrupted = !latest->_watch(step, done, total);
  return !latest->_isInterrupted;
}

bool SceneFileProgress::isInterrupted() { return latest != nullptr && latest->_isInterrupted; }

}  // namespace knscene
}  // namespace osg
