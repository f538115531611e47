#pragma once

#include "model/utils/Export.h"

#include <cstddef>

// Aligned memory of the C kind: no constructors run, nothing is thrown. Blocks made here are resized and
// freed here only. An alignment is a power of two of at least sizeof(void*). Any thread may call, and free
// what another one allocated.

/// A block of `size` bytes, uninitialised, at a multiple of `alignment`. Null when there is no memory for it
/// or the alignment is none. A size of 0 gives a block of its own that holds nothing and must be freed like
/// any other. Costs `alignment` and a few bytes on top of `size`.
KNSCENE_API void* kn_aligned_malloc(std::size_t size, std::size_t alignment);

/// A block of the new size and alignment with the content of `pointer`, up to the smaller of both sizes;
/// `pointer` is freed. Null when that fails, for the reasons above: then `pointer` is left as it was, still
/// to be freed. A null `pointer` makes this kn_aligned_malloc. The content always moves.
KNSCENE_API void* kn_aligned_realloc(void* pointer, std::size_t size, std::size_t alignment);

/// Frees a block. Null is ignored.
KNSCENE_API void kn_aligned_free(void* pointer);
