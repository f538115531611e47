#include "model/utils/knAlignedMemory.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <vector>

namespace knAlignedMemoryTest {

bool isAligned(void const* pointer, std::size_t alignment) {
  return reinterpret_cast<std::uintptr_t>(pointer) % alignment == 0;
}

TEST(KnAlignedMemory, RefusesWhatIsNoAlignmentOrDoesNotFitInMemory) {
  for (std::size_t const alignment : {0U, 1U, 4U, 12U, 24U, 129U})
    EXPECT_EQ(kn_aligned_malloc(8, alignment), nullptr);
  constexpr std::size_t Most = std::numeric_limits<std::size_t>::max();
  constexpr std::size_t TopBit = Most / 2 + 1;
  for (std::size_t const size : {Most, Most - 16, Most - 128, Most - 144, Most / 2, Most / 2 - 16})
    EXPECT_EQ(kn_aligned_malloc(size, 128), nullptr) << size;
  EXPECT_EQ(kn_aligned_malloc(0, TopBit), nullptr);
  EXPECT_EQ(kn_aligned_malloc(TopBit, TopBit), nullptr);
}

TEST(KnAlignedMemory, GivesAlignedBlocksThatAreAllUsable) {
  for (std::size_t alignment = sizeof(void*); alignment <= 65536; alignment *= 2) {
    for (std::size_t const size : {0U, 1U, 7U, 128U, 4097U}) {
      auto* const block = static_cast<unsigned char*>(kn_aligned_malloc(size, alignment));
      ASSERT_NE(block, nullptr);
      EXPECT_TRUE(isAligned(block, alignment)) << alignment;
      std::fill_n(block, size, static_cast<unsigned char>(0xAB));
      kn_aligned_free(block);
    }
  }
  kn_aligned_free(nullptr);
}

TEST(KnAlignedMemory, ResizingKeepsTheContent) {
  std::vector<unsigned char> expected(300);
  std::iota(expected.begin(), expected.end(), static_cast<unsigned char>(0));
  auto* bytes = static_cast<unsigned char*>(kn_aligned_realloc(nullptr, expected.size(), 64));
  ASSERT_NE(bytes, nullptr);
  std::copy(expected.begin(), expected.end(), bytes);
  struct Step {
    std::size_t size, alignment, kept;
  };
  for (Step const step : {Step{5000, 4096, 300}, Step{200, 8, 200}, Step{300, 256, 200}}) {
    EXPECT_EQ(kn_aligned_realloc(bytes, std::numeric_limits<std::size_t>::max() - 8, 16), nullptr);
    EXPECT_EQ(kn_aligned_realloc(bytes, 10, 3), nullptr);  // a refusal leaves the block as it is
    bytes = static_cast<unsigned char*>(kn_aligned_realloc(bytes, step.size, step.alignment));
    ASSERT_NE(bytes, nullptr);
    EXPECT_TRUE(isAligned(bytes, step.alignment));
    EXPECT_TRUE(std::equal(bytes, bytes + step.kept, expected.begin())) << step.size;
  }
  kn_aligned_free(bytes);
}

}  // namespace knAlignedMemoryTest
