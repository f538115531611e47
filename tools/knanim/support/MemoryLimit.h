#pragma once

#include <cstdint>
#include <sys/resource.h>

namespace knanim {

/// While one of these lives, the process gets no more than a given number of bytes of new memory; further
/// requests fail as if there were none left. The system may not offer this; then nothing is limited.
class MemoryLimit {
 public:
  explicit MemoryLimit(std::uint64_t bytes);
  ~MemoryLimit();
  MemoryLimit(MemoryLimit const&) = delete;
  MemoryLimit& operator=(MemoryLimit const&) = delete;

 private:
  rlimit _former = {};
  bool _isSet = false;
};

}  // namespace knanim
