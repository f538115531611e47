// What must not allocate in a playing scene. A program of its own, because it replaces operator new.
#include "knAnimManager.h"
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

class Curves {
 public:
  explicit Curves(unsigned int keyCount) {
    for (unsigned int key = 0; key < keyCount; ++key)
      _curve->addPoint({static_cast<float>(key), static_cast<float>(key % 3)}, {}, {}, 1, 2, false, true);
    _curve->setPostInfinityMode(CycleRelativeInfinity);
    _node->setCore(_curve);
  }
  std::vector<knCurveData> records(std::size_t count) const {
    std::vector<knCurveData> records(count, knCurveData(*_node, _curve));
    float const length = _curve->getControlPoints().back().x();
    for (std::size_t i = 0; i < count; ++i)
      records[i].time = 1.5F * length * static_cast<float>(i) / static_cast<float>(count);
    return records;
  }

 private:
  Held<AnimNodePtr> const _node{AnimNode::create()};
  AnimCurvePtr const _curve = AnimCurve::create();
};

TEST_F(AllocationTest, TheBodyOfTheLoopOverCurves) {
  for (unsigned int const keyCount : {1U, 2U, 20U, 1000U}) {
    Curves const curves(keyCount);
    auto records = curves.records(10'000);
    knAnimComputeCurveValueTask const task(&records, 0);
    EXPECT_EQ(allocationsIn([&] { task(tbb::blocked_range<unsigned int>(0, 10'000)); }), 0U) << keyCount;
  }
}

TEST_F(AllocationTest, ComputingCurveValuesInParallel) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the stand-in for TBB's entry points allocates with every task";
#endif
  auto& manager = *knAnimManager::the();
  for (unsigned int const keyCount : {2U, 1000U}) {
    Curves const curves(keyCount);
    // TBB makes its threads and its pools while it warms up.
    for (int round = 0; round < 20; ++round) {
      auto records = curves.records(20'000);
      manager.computeCurveValues(records, 0);
    }
    for (std::size_t const count : {std::size_t{1}, std::size_t{10'000}, std::size_t{20'000}}) {
      auto records = curves.records(count);
      EXPECT_EQ(allocationsIn([&] { manager.computeCurveValues(records, 0); }), 0U) << count << " records";
    }
  }
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

TEST_F(AllocationTest, AnnouncingWhatTheListHoldsAlready) {
  Held const first(Node::create());
  Held const second(Node::create());
  ChangeList list;
  list.addChanged(first, Node::TravMaskFieldMask);
  list.addChanged(second, Node::TravMaskFieldMask);
  auto const announceBoth = [&] {
    for (int i = 0; i < 1000; ++i) {
      list.addChanged(first, Node::CoreFieldMask);
      list.addChanged(second, Node::CoreFieldMask);
    }
  };
  EXPECT_EQ(allocationsIn(announceBoth), 0U);
  list.clear();
  EXPECT_EQ(allocationsIn(announceBoth), 0U) << "a list that is cleared once a frame keeps its room";
  EXPECT_EQ(list.getAnnouncementCount(), 2000U);
}

TEST_F(AllocationTest, LookingUpTypesAndFields) {
  Held const node(AnimNode::create());
  FieldContainerPtr const untyped = *node;
  std::size_t found = 0;
  std::size_t const made = allocationsIn([&] {
    for (int i = 0; i < 1000; ++i) {
      found += dcast<AnimNodePtr>(untyped) != nullptr ? 1 : 0;
      found += dcast<AnimCurvePtr>(untyped) != nullptr ? 1000 : 0;
      found += untyped->getType().findFieldDescription("accumulatedParentOffset") != nullptr ? 1 : 0;
      found +=
          untyped->getType().findFieldDescription("no such field, and a long name") != nullptr ? 1000 : 0;
      found += knAnimManager::getAnimAttachment(*node) != nullptr ? 1000 : 0;
    }
  });
  EXPECT_EQ(made, 0U);
  EXPECT_EQ(found, 2000U);
}

TEST_F(AllocationTest, MessagesThatNobodyWaitsFor) {
  knMessage message;
  EXPECT_EQ(allocationsIn([&] {
              for (int i = 0; i < 1000; ++i) {
                knUtils::call("pyAnimationFinishedWithALongName", message, 0);
                knUtils::call("pyAnimationFinishedWithALongName", 0);
              }
            }),
            0U);
  {
    auto const subscription = knUtils::listen("something else", [](auto...) {});
  }
  EXPECT_EQ(allocationsIn([&] { knUtils::call("pyAnimationFinishedWithALongName", message, 0); }), 0U);
}

}  // namespace
