// Shows that the thread sanitizer keeps quiet about parallel loops that are right, also in a program that ends at once
// after one, and reports one that is not.
// usage: VisibleTbbCheck clean|exit|race

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <string_view>
#include <sys/wait.h>
#include <tbb/concurrent_vector.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr int Count = 10000;

bool sumsUp(int rounds) {
  tbb::global_control const threads(tbb::global_control::max_allowed_parallelism, 4);
  std::vector<int> values(Count, 1);
  tbb::affinity_partitioner affinity;
  for (int round = 0; round < rounds; ++round) {
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
  return values[1] == 1 && values[Count - 1] == 1 + rounds * (Count - 2);
}

// Programs that end while TBB's threads, just started, are still at work.
bool endsEarly() {
  int quiet = 0;
  for (int program = 0; program < 20; ++program) {
    pid_t const child = fork();
    if (child == 0) std::exit(sumsUp(1) ? 0 : 1);
    int status = 0;
    if (waitpid(child, &status, 0) == child && status == 0) ++quiet;
  }
  return quiet == 20;
}

// Two threads meet without any order between them, then both write.
void race() {
  tbb::global_control const threads(tbb::global_control::max_allowed_parallelism, 4);
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
  std::string_view const check = argc == 2 ? argv[1] : "";
  if (check == "exit") return endsEarly() ? 0 : 1;
  if (check == "race") race();
  return sumsUp(100) ? 0 : 1;
}
