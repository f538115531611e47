#include "model/records/knDynBlockArray.h"

#include "support/Testing.h"

#include <atomic>
#include <cstdint>
#include <thread>

namespace knDynBlockArrayTest {

/// Counts what is allocated and not freed, and runs out of memory on demand.
struct TestMemory {
  static inline std::atomic<int> blocks = 0;
  static inline std::atomic<int> allowed = 0;

  static void* allocate(std::size_t size, std::size_t alignment) {
    if (allowed-- <= 0) return nullptr;
    ++blocks;
    return kn_aligned_malloc(size, alignment);
  }
  static void release(void* pointer) {
    if (pointer != nullptr) --blocks;
    kn_aligned_free(pointer);
  }
};

using Array = knDynBlockArray<std::uint64_t, TestMemory>;

class KnDynBlockArrayTest : public testing::Test {
 protected:
  KnDynBlockArrayTest() { TestMemory::allowed = 1000000; }
  ~KnDynBlockArrayTest() override { EXPECT_EQ(TestMemory::blocks, 0) << "all memory is given back"; }
};

void append(Array& array, std::uint64_t count) {
  for (std::uint64_t i = 0; i < count; ++i) array.push_back(array.size() * 3);
}

/// Appends something, for which there is no room and no memory.
std::uint64_t appendInVain(auto& array) {
  testing::internal::CaptureStderr();
  std::uint64_t const index = array.push_back(7);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "allocation failed\n");
  return index;
}

/// Size, number of blocks and room in the block table.
std::vector<std::uint64_t> shape(Array const& array) {
  return {array.size(), array.blockCount(), array.tableCapacity()};
}
using Shape = std::vector<std::uint64_t>;

TEST_F(KnDynBlockArrayTest, GrowsByBlocksAndDoublesTheTable) {
  Array array(128);
  append(array, 128);
  EXPECT_EQ(shape(array), (Shape{128, 1, 1}));
  std::uint64_t const* const first = &array[0];
  append(array, 513);
  EXPECT_EQ(shape(array), (Shape{641, 6, 8}));
  EXPECT_EQ(&array[0], first) << "elements never move";
  for (std::uint64_t i = 0; i < array.size(); ++i) {
    ASSERT_EQ(std::as_const(array)[i], i * 3);
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(&array[i / 128 * 128]) % 128, 0U);
  }
  array.clear();
  EXPECT_EQ(shape(array), (Shape{0, 0, 1}));
  EXPECT_EQ(TestMemory::blocks, 1) << "the table alone";
}

TEST_F(KnDynBlockArrayTest, ManyThreadsAppendEachValueOnce) {
  constexpr std::uint64_t ThreadCount = 8;
  constexpr std::uint64_t PerThread = 20000;
  Array array(128);
  std::atomic<bool> isOpen = false;
  std::atomic<bool> isInOrder = true;
  std::vector<std::thread> threads;
  for (std::uint64_t t = 0; t < ThreadCount; ++t) {
    threads.emplace_back([&, t] {
      while (!isOpen) std::this_thread::yield();
      std::uint64_t last = 0;
      for (std::uint64_t i = 0; i < PerThread; ++i) {
        std::uint64_t const value = t * PerThread + i;
        std::uint64_t const index = array.push_back(value);
        if ((i > 0 && index <= last) || array[index] != value) isInOrder = false;
        last = index;
      }
    });
  }
  isOpen = true;
  for (std::thread& thread : threads) thread.join();

  EXPECT_TRUE(isInOrder) << "one thread's indexes ascend, and each finds its value there";
  ASSERT_EQ(shape(array)[1], ThreadCount * PerThread / 128);
  std::vector<int> seen(ThreadCount * PerThread);
  for (std::uint64_t i = 0; i < array.size(); ++i) ++seen.at(array[i]);
  EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), static_cast<std::ptrdiff_t>(seen.size()));
}

TEST_F(KnDynBlockArrayTest, WorksOnWithoutATable) {
  TestMemory::allowed = 0;
  testing::internal::CaptureStdout();
  Array array(128);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Allocation failed\n");
  EXPECT_EQ(appendInVain(array), 0U);
  EXPECT_EQ(array[0], 0U);
  TestMemory::allowed = 1000;  // an element appended later finds memory again
  append(array, 200);
  EXPECT_EQ(array[200], 600U);
}

}  // namespace knDynBlockArrayTest
