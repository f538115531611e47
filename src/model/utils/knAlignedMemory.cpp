#include "model/utils/knAlignedMemory.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

/// Stands directly before every block; blocks are aligned for it, as for any pointer.
struct Header {
  void* allocation;
  std::size_t size;
};
static_assert(alignof(Header) <= sizeof(void*));

Header* headerOf(void* pointer) { return static_cast<Header*>(pointer) - 1; }

bool isAlignment(std::size_t alignment) {
  return std::has_single_bit(alignment) && alignment >= sizeof(void*);
}

}  // namespace

void* kn_aligned_malloc(std::size_t size, std::size_t alignment) {
  if (!isAlignment(alignment)) return nullptr;
  constexpr std::size_t Limit = PTRDIFF_MAX;
  if (alignment > Limit - sizeof(Header) || size > Limit - sizeof(Header) - alignment) return nullptr;
  void* const allocation = std::malloc(sizeof(Header) + alignment + size);
  if (allocation == nullptr) return nullptr;
  std::uintptr_t const first = reinterpret_cast<std::uintptr_t>(allocation) + sizeof(Header);
  std::size_t const padding = (alignment - first % alignment) % alignment;
  char* const block = static_cast<char*>(allocation) + sizeof(Header) + padding;
  *headerOf(block) = {allocation, size};
  return block;
}

void* kn_aligned_realloc(void* pointer, std::size_t size, std::size_t alignment) {
  void* const moved = kn_aligned_malloc(size, alignment);
  if (pointer == nullptr || moved == nullptr) return moved;
  std::memcpy(moved, pointer, std::min(size, headerOf(pointer)->size));
  kn_aligned_free(pointer);
  return moved;
}

void kn_aligned_free(void* pointer) {
  if (pointer != nullptr) std::free(headerOf(pointer)->allocation);
}
