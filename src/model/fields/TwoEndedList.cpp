#include "model/fields/TwoEndedList.h"

#include <mutex>

namespace osg {
inline namespace knscene {

void detail::closeGapsAlone(void (*close)(void*), void* list) {
  static std::mutex mutex;
  std::lock_guard const lock(mutex);
  close(list);
}

}  // namespace knscene
}  // namespace osg
