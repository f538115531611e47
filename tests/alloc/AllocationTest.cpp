// What must not allocate in a playing scene. A program of its own, because it replaces operator new.
#include "knFramePlayer.h"
#include "support/SceneStage.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

std::atomic<std::size_t> allocations = 0;
std::atomic<std::ptrdiff_t> bytesInUse = 0;
std::atomic<std::ptrdiff_t> mostBytesInUse = 0;

void* allocate(std::size_t size, std::size_t alignment) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  std::size_t const rounded = (size + alignment - 1) / alignment * alignment;
  void* const memory = std::aligned_alloc(alignment, rounded > 0 ? rounded : alignment);
  if (memory == nullptr) throw std::bad_alloc();
  auto const bytes = static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
  std::ptrdiff_t const now = bytesInUse.fetch_add(bytes) + bytes;
  for (std::ptrdiff_t most = mostBytesInUse;
       now > most && !mostBytesInUse.compare_exchange_weak(most, now);) {
  }
  return memory;
}

void release(void* memory) {
  if (memory != nullptr) bytesInUse.fetch_sub(static_cast<std::ptrdiff_t>(malloc_usable_size(memory)));
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size, __STDCPP_DEFAULT_NEW_ALIGNMENT__); }
void* operator new[](std::size_t size) { return allocate(size, __STDCPP_DEFAULT_NEW_ALIGNMENT__); }
void* operator new(std::size_t size, std::align_val_t align) {
  return allocate(size, static_cast<std::size_t>(align));
}
void* operator new[](std::size_t size, std::align_val_t align) {
  return allocate(size, static_cast<std::size_t>(align));
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { release(memory); }
[[gnu::noinline]] void operator delete[](void* memory) noexcept { release(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { release(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept { release(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::align_val_t) noexcept { release(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::align_val_t) noexcept { release(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  release(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
  release(memory);
}

namespace {

using namespace osg;
using kntest::Held;

using AllocationTest = kntest::SceneTest;

/// How many allocations all threads together make while `run` runs.
template <class Run>
std::size_t allocationsIn(Run run) {
  std::size_t const before = allocations.load();
  run();
  return allocations.load() - before;
}

TEST_F(AllocationTest, TheCounterCounts) {
  EXPECT_EQ(allocationsIn([] {}), 0U);
  EXPECT_GT(allocationsIn([] { Held const node(Node::create()); }), 0U);
}

class FrameAllocationTest : public kntest::SceneStage {};

TEST_F(FrameAllocationTest, TheSameFrameAgain) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the stand-in for TBB's entry points allocates with every task";
#endif
  for (int i = 0; i < 200; ++i) {
    NodePtr const owner = addNode(Transform3D::create());
    for (char const* const field : {"translation", "eulerRotation", "scale"}) {
      for (UInt32 component = 0; component < 3; ++component)
        kntest::animate(owner, kntest::newCurveNode(field, component, {{0, 1}, {1, 5}}));
    }
  }
  changes.clear();
  evaluate(0.25F);
  EXPECT_EQ(changes.getEntries().size(), 200U);
  // The workers' memory grows while they warm up.
  for (int round = 0; round < 50; ++round) evaluate(0.25F);
  changes.clear();
  EXPECT_EQ(allocationsIn([] { evaluate(0.25F); }), 0U);
  EXPECT_EQ(changes.getAnnouncementCount(), 0U);

  knAnimEvaluator::the()->freeMemory();
  std::ptrdiff_t const before = bytesInUse;
  mostBytesInUse = before;
  evaluate(0.5F);
  EXPECT_EQ(changes.getEntries().size(), 200U);
  EXPECT_GT(bytesInUse, before) << "memory is kept for the next frame";
  std::ptrdiff_t const perChannel = (mostBytesInUse - before) / (200 * 9);
  RecordProperty("bytesPerChannel", static_cast<int>(perChannel));
  EXPECT_LE(perChannel, 400);
}

TEST_F(FrameAllocationTest, PlayingBetweenFrames) {
  kntest::animate(addNode(Transform3D::create()), kntest::newCurveNode("translation", 0, {{0, 1}, {1, 5}}));
  knFramePlayer& player = knFramePlayer::the();
  for (bool const external : {true, false}) {
    player.start({.loop = true, .rangeEnd = 9, .fps = 1.0e-6}, external, nullptr);
    player.tick();
    player.apply();
    std::size_t const made = allocationsIn([&] {
      for (int pass = 0; pass < 1000; ++pass) {
        player.tick();
        player.apply();
        knAnimEvaluator::the()->loop();
      }
    });
    EXPECT_EQ(made, 0U);
  }
  player.stop(nullptr);
}

}  // namespace
