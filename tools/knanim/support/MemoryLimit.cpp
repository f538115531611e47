#include "knanim/support/MemoryLimit.h"

#include <fstream>
#include <unistd.h>

namespace knanim {
namespace {

/// The bytes of private writable memory that the process has, 0 when that is unknown.
std::uint64_t dataSize() {
  std::ifstream status("/proc/self/statm");
  std::uint64_t pages = 0;
  for (int field = 0; field < 6; ++field) {
    if (!(status >> pages)) return 0;
  }
  return pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace

MemoryLimit::MemoryLimit(std::uint64_t bytes) {
  std::uint64_t const used = dataSize();
  if (used == 0 || getrlimit(RLIMIT_DATA, &_former) != 0) return;
  rlimit limit = _former;
  limit.rlim_cur = used + bytes;
  if (_former.rlim_cur != RLIM_INFINITY && _former.rlim_cur < limit.rlim_cur) return;
  _isSet = setrlimit(RLIMIT_DATA, &limit) == 0;
}

MemoryLimit::~MemoryLimit() {
  if (_isSet) setrlimit(RLIMIT_DATA, &_former);
}

}  // namespace knanim
