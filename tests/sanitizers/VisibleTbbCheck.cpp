// Shows that the thread sanitizer keeps quiet about a parallel loop that is right, and reports one that is not.
// usage: VisibleTbbCheck clean|race

#include <atomic>
#include <cstddef>
#include <string_view>
#include <tbb/concurrent_vector.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <thread>
#include <vector>

namespace {

constexpr int Count = 10000;

bool sumsUp() {
  std::vector<int> values(Count, 1);
  tbb::affinity_partitioner affinity;
  for (int round = 0; round < 100; ++round) {
    tbb::task_arena arena(3);
    arena.execute([&] {
      tbb::parallel_for(
          0, Count, [&](int i) { values[static_cast<std::size_t>(i)] += i; }, affinity);
    });
    tbb::concurrent_vector<int> large;
    tbb::parallel_for(0, Count, [&](int i) {
      int const value = --values[static_cast<std::size_t>(i)];
      if (value > Count) large.push_back(value);
    });
    for (int& value : values) value += static_cast<int>(large.size()) > Count ? 1 : 0;
  }
  return values[1] == 1 && values[Count - 1] == 1 + 100 * (Count - 2);
}

// Two threads meet without any order between them, then both write.
void race() {
  std::atomic<int> arrived = 0;
  int shared = 0;
  tbb::parallel_for(
      tbb::blocked_range<int>(0, 2),
      [&](auto const&) {
        arrived.fetch_add(1, std::memory_order_relaxed);
        while (arrived.load(std::memory_order_relaxed) < 2) std::this_thread::yield();
        ++shared;
      },
      tbb::simple_partitioner());
}

}  // namespace

int main(int argc, char** argv) {
  tbb::global_control const threads(tbb::global_control::max_allowed_parallelism, 4);
  if (argc == 2 && std::string_view(argv[1]) == "race") race();
  return sumsUp() ? 0 : 1;
}
