#pragma once

#include "model/utils/knAlignedMemory.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <new>
#include <type_traits>

/// Where a knDynBlockArray takes its memory from. Null tells that there is none.
struct knAlignedMemory {
  /// Memory at a multiple of `alignment`, and giving it back.
  static void* allocate(std::size_t size, std::size_t alignment) {
    return kn_aligned_malloc(size, alignment);
  }
  static void release(void* pointer) { kn_aligned_free(pointer); }
};

/// A growing array in blocks of 128 elements, for small plain values such as handles. Elements never move, so
/// that many threads can append at once, without a lock as long as the block they need exists.
///
/// Threads: push_back and size may be called from any number of threads at once. An element may be read by
/// whoever knows that its push_back has returned; reading all of them wants the appending threads joined.
/// clear and destruction want the array to themselves.
///
/// Memory: destructors of elements are not run. When memory runs out, a line is printed and the program goes on, but
/// elements are lost: a lost element reads as a value-initialised one.
template <class T, class Memory = knAlignedMemory>
class knDynBlockArray {
  static_assert(std::is_trivially_copyable_v<T> && std::is_nothrow_default_constructible_v<T>);
  static_assert(alignof(T) <= sizeof(void*), "every block alignment must do for an element");

 public:
  /// An array without elements. `blockAlignment` is that of each block in bytes, a power of two of at least
  /// sizeof(void*); with any other no block can be allocated.
  explicit knDynBlockArray(std::uint64_t blockAlignment) : _blockAlignment(blockAlignment) {
    makeFirstTable();
  }
  ~knDynBlockArray() { release(); }
  knDynBlockArray(knDynBlockArray const&) = delete;
  knDynBlockArray& operator=(knDynBlockArray const&) = delete;

  /// Appends a copy of `value` and gives its index. One thread's indexes ascend.
  std::uint64_t push_back(T const& value) {
    std::uint64_t const index = _size.fetch_add(1, std::memory_order_relaxed);
    std::uint64_t const block = index >> _blockShift;
    if (block < _publishedBlocks.load(std::memory_order_acquire)) {
      write(index, value);
      return index;
    }
    SpinGuard const guard(_lock);
    while (block >= _publishedBlocks.load(std::memory_order_relaxed) && addBlock()) {
    }
    write(index, value);
    return index;
  }

  /// The element `index`, which must be below size(): no test is made. A lost element gives a stand-in of the
  /// calling thread, whose value is forgotten.
  T& operator[](std::uint64_t index) {
    T* const block = findBlock(index >> _blockShift);
    return block != nullptr ? block[index & _blockMask] : lostElement();
  }
  T const& operator[](std::uint64_t index) const {
    T const* const block = findBlock(index >> _blockShift);
    return block != nullptr ? block[index & _blockMask] : lostElement();
  }

  /// The number of elements handed out, those whose appending still runs in another thread included.
  std::uint64_t size() const { return _size.load(std::memory_order_relaxed); }

  /// The number of blocks allocated, and how many the block table has room for. Not while any thread appends.
  std::uint64_t blockCount() const { return _blockCount; }
  std::uint64_t tableCapacity() const { return _tableCapacity; }

  /// Drops all elements and frees all memory but that of a new table of one entry.
  void clear() {
    release();
    makeFirstTable();
  }

 private:
  class SpinGuard {
   public:
    explicit SpinGuard(std::atomic_flag& flag) : _flag(flag) {
      while (_flag.test_and_set(std::memory_order_acquire)) _flag.wait(true, std::memory_order_relaxed);
    }
    SpinGuard(SpinGuard const&) = delete;
    SpinGuard& operator=(SpinGuard const&) = delete;
    ~SpinGuard() {
      _flag.clear(std::memory_order_release);
      _flag.notify_one();
    }

   private:
    std::atomic_flag& _flag;
  };

  /// Heads the entries of a block table.
  struct alignas(16) Table {
    std::uint64_t capacity;
    Table* retired;  // the table that this one replaced

    T** entries() { return reinterpret_cast<T**>(this + 1); }
  };

  /// Null for a block without memory, and for one that the table has no room for.
  T* findBlock(std::uint64_t block) const {
    Table* const table = _table.load(std::memory_order_acquire);
    return table != nullptr && block < table->capacity ? table->entries()[block] : nullptr;
  }

  void write(std::uint64_t index, T const& value) {
    if (T* const block = findBlock(index >> _blockShift)) block[index & _blockMask] = value;
  }

  static T& lostElement() {
    static thread_local T element;
    return element = T();
  }

  static Table* allocateTable(std::uint64_t capacity) {
    void* const memory = Memory::allocate(sizeof(Table) + capacity * sizeof(T*), _tableAlignment);
    if (memory == nullptr) return nullptr;
    auto* const table = new (memory) Table{capacity, nullptr};
    for (std::uint64_t i = 0; i < capacity; ++i) new (table->entries() + i) T*(nullptr);
    return table;
  }

  void makeFirstTable() {
    Table* const table = allocateTable(1);
    if (table == nullptr) std::fputs("Allocation failed\n", stdout);
    _tableCapacity = table != nullptr ? 1 : 0;
    _table.store(table, std::memory_order_relaxed);
  }

  /// Under the lock. False when the table has no room and can't get any: the next append that needs a block
  /// tries again.
  bool addBlock() {
    if (_blockCount == _tableCapacity && !growTable()) return false;
    void* const memory = Memory::allocate(_blockSize * sizeof(T), _blockAlignment);
    if (memory == nullptr) std::fputs("allocation failed\n", stderr);
    T* const block = static_cast<T*>(memory);
    for (std::uint64_t i = 0; block != nullptr && i < _blockSize; ++i) new (block + i) T();
    _table.load(std::memory_order_relaxed)->entries()[_blockCount] = block;
    ++_blockCount;
    _publishedBlocks.store(_blockCount, std::memory_order_release);
    return true;
  }

  /// Under the lock. Appenders without it may be reading the old table, which therefore stays until the array
  /// is cleared; all retired tables together are smaller than the current one.
  bool growTable() {
    Table* const old = _table.load(std::memory_order_relaxed);
    Table* const grown = allocateTable(_tableCapacity > 0 ? 2 * _tableCapacity : 1);
    if (grown == nullptr) {
      std::fputs("allocation failed\n", stderr);
      return false;
    }
    for (std::uint64_t i = 0; old != nullptr && i < _tableCapacity; ++i)
      grown->entries()[i] = old->entries()[i];
    grown->retired = old;
    _tableCapacity = grown->capacity;
    _table.store(grown, std::memory_order_release);
    return true;
  }

  void release() {
    Table* table = _table.load(std::memory_order_relaxed);
    for (std::uint64_t block = 0; block < _blockCount; ++block) Memory::release(table->entries()[block]);
    while (table != nullptr) {
      Table* const retired = table->retired;
      Memory::release(table);
      table = retired;
    }
    _table.store(nullptr, std::memory_order_relaxed);
    _size.store(0, std::memory_order_relaxed);
    _publishedBlocks.store(0, std::memory_order_relaxed);
    _blockCount = 0;
  }

  std::atomic_flag _lock;  // taken only to add blocks
  std::atomic<std::uint64_t> _size = 0;
  std::atomic<std::uint64_t> _publishedBlocks = 0;  // those that may be used without the lock
  std::uint64_t const _blockAlignment;
  static constexpr std::uint64_t _blockShift = 7;
  static constexpr std::uint64_t _blockMask = 127;
  static constexpr std::uint64_t _blockSize = 128;
  std::uint64_t _blockCount = 0;
  std::uint64_t _tableCapacity = 0;
  static constexpr std::uint64_t _tableAlignment = 16;
  std::atomic<Table*> _table = nullptr;
};
