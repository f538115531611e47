// Shows the thread sanitizer how TBB orders memory.
//
// TBB's shared library comes without the sanitizer's instrumentation: that a task starts after it was spawned,
// that a wait ends after all tasks it waited for, and that memory is handed from one thread to the other, happens
// out of sight, and every parallel loop would be reported. The entry points below take the place of TBB's own in
// every library and program under test. They call TBB and repeat the same order in instrumented code. They have to be
// hidden: if TBB's own calls came here as well, its memory would change hands out of sight once more.
//
// What TBB itself frees or copies is not looked at: a worker thread that outlives main() may be the one to free TBB's
// global state, which was written in order, but out of sight. A race between two bodies of a loop is reported as ever.
//
// The order of task_arena::enqueue and of the flow graph is not repeated here.

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <dlfcn.h>
#include <tbb/cache_aligned_allocator.h>
#include <tbb/task_group.h>

namespace tbb::detail {

namespace {

template <class Function>
Function* next(char const* mangledName) {
  void* const address = dlsym(RTLD_NEXT, mangledName);
  if (address == nullptr) std::abort();
  return reinterpret_cast<Function*>(address);
}

constexpr std::size_t CacheLine = 128;

void* alignedMemory(std::size_t size) {
  void* const memory = std::aligned_alloc(CacheLine, (size + CacheLine - 1) / CacheLine * CacheLine);
  if (memory == nullptr) std::abort();
  return memory;
}

/// Runs another task: on the thread that executes it, the other one's spawning is seen to come first.
class Envelope final : public d1::task {
 public:
  explicit Envelope(d1::task& inner) { _inner.store(&inner, std::memory_order_release); }

  // Not the program's operator new, which a test may have replaced to count.
  static void* operator new(std::size_t size) { return alignedMemory(size); }
  static void operator delete(void* memory) { std::free(memory); }

  d1::task* execute(d1::execution_data& data) override { return open()->execute(data); }
  d1::task* cancel(d1::execution_data& data) override { return open()->cancel(data); }

 private:
  d1::task* open() {
    d1::task* const inner = _inner.load(std::memory_order_acquire);
    delete this;
    return inner;
  }

  std::atomic<d1::task*> _inner;
};

/// The counter that finished tasks have written is read once more, as an addition of nothing.
void seeFinishedTasks(d1::wait_context& finished) { finished.reserve(0); }

}  // namespace

namespace r1 {

void spawn(d1::task& task, d1::task_group_context& context) {
  static auto* const real = next<void(d1::task&, d1::task_group_context&)>(
      "_ZN3tbb6detail2r15spawnERNS0_2d14taskERNS2_18task_group_contextE");
  real(*new Envelope(task), context);
}

void spawn(d1::task& task, d1::task_group_context& context, d1::slot_id slot) {
  static auto* const real = next<void(d1::task&, d1::task_group_context&, d1::slot_id)>(
      "_ZN3tbb6detail2r15spawnERNS0_2d14taskERNS2_18task_group_contextEt");
  real(*new Envelope(task), context, slot);
}

void execute_and_wait(d1::task& task, d1::task_group_context& taskContext, d1::wait_context& finished,
                      d1::task_group_context& waitContext) {
  static auto* const real = next<void(d1::task&, d1::task_group_context&, d1::wait_context&,
                                      d1::task_group_context&)>(
      "_ZN3tbb6detail2r116execute_and_waitERNS0_2d14taskERNS2_18task_group_contextERNS2_12wait_contextES6_");
  real(task, taskContext, finished, waitContext);
  seeFinishedTasks(finished);
}

void wait(d1::wait_context& finished, d1::task_group_context& context) {
  static auto* const real = next<void(d1::wait_context&, d1::task_group_context&)>(
      "_ZN3tbb6detail2r14waitERNS0_2d112wait_contextERNS2_18task_group_contextE");
  real(finished, context);
  seeFinishedTasks(finished);
}

// Memory comes from the allocator that the sanitizer watches. The pool is only a name that TBB's headers pass on.

void* allocate(d1::small_object_pool*& pool, std::size_t size) {
  static std::max_align_t name;
  pool = reinterpret_cast<d1::small_object_pool*>(&name);
  return alignedMemory(size);
}

void* allocate(d1::small_object_pool*& pool, std::size_t size, d1::execution_data const&) {
  return allocate(pool, size);
}

void deallocate(d1::small_object_pool&, void* memory, std::size_t) { std::free(memory); }

void deallocate(d1::small_object_pool&, void* memory, std::size_t, d1::execution_data const&) {
  std::free(memory);
}

void* cache_aligned_allocate(std::size_t size) { return alignedMemory(size); }

void cache_aligned_deallocate(void* memory) { std::free(memory); }

}  // namespace r1
}  // namespace tbb::detail

/// Read by the sanitizer when the program starts.
extern "C" __attribute__((visibility("default"))) char const* __tsan_default_suppressions() {
  return "called_from_lib:libtbb.so\n";
}
