#include "model/utils/knAlignedMemory.h"

#include "support/Testing.h"

#include <cstdint>
#include <numeric>

namespace knAlignedMemoryTest {

TEST(KnAlignedMemory, RefusesWhatIsNoAlignmentOrDoesNotFitInMemory) {
  for (std::size_t const alignment : {0U, 1U, 4U, 12U, 24U, 129U})
    EXPECT_EQ(kn_aligned_malloc(8, alignment), nullptr);
  constexpr std::size_t Most = std::numeric_limits<std::size_t>::max();
  for (std::size_t const size : {Most, Most - 16, Most - 128, Most - 144, Most / 2, Most / 2 - 16})
    EXPECT_EQ(kn_aligned_malloc(size, 128), nullptr) << size;
  EXPECT_EQ(kn_aligned_malloc(0, Most / 2 + 1), nullptr);
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
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes) % step.alignment, 0U);
    std::fill(bytes + step.kept, bytes + step.size, static_cast<unsigned char>(0xAB));
    EXPECT_TRUE(std::equal(bytes, bytes + step.kept, expected.begin())) << step.size;
  }
  kn_aligned_free(bytes);
}

}  // namespace knAlignedMemoryTest
