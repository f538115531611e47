#include "model/scenefiles/SceneFileProgress.h"

#include <utility>

namespace osg {
inline namespace knscene {

namespace {

thread_local SceneFileProgress* latest = nullptr;

}  // namespace

SceneFileProgress::SceneFileProgress(Watch watch)
    : _watch(std::move(watch)), _former(std::exchange(latest, this)) {}

SceneFileProgress::~SceneFileProgress() {
  // As a rule it is the latest, but they may end in any order.
  SceneFileProgress** link = &latest;
  while (*link != nullptr && *link != this) link = &(*link)->_former;
  if (*link == this) *link = _former;
}

bool SceneFileProgress::tell(char const* step, UInt64 done, UInt64 total) {
  SceneFileProgress* const told = latest;
  if (told == nullptr) return true;
  if (told->_isInterrupted || !told->_watch) return !told->_isInterrupted;
  bool const goesOn = told->_watch(step, done, total);
  // The watch may have ended itself, or begun another one.
  if (latest == told) told->_isInterrupted = !goesOn;
  return goesOn;
}

bool SceneFileProgress::isInterrupted() { return latest != nullptr && latest->_isInterrupted; }

}  // namespace knscene
}  // namespace osg
