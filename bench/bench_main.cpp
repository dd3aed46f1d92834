// tree_bench: how fast the library is, beside what its users could take instead.
//
//   tree_bench [--quick] [any option of Google Benchmark]
//
// bench/run.sh runs it and prints the tables.

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "support/measure.h"

namespace {

// A thread that does nothing until it is destroyed.  The library's users have many
// threads, and the C library takes cheaper ways through locks and the heap while a process
// has never had a second one.
class IdleThread {
 public:
  IdleThread()
      : m_thread([this] {
          std::unique_lock<std::mutex> lock(m_mutex);
          m_wake.wait(lock, [this] { return m_ending; });
        }) {}
  ~IdleThread() {
    {
      const std::lock_guard<std::mutex> guard(m_mutex);
      m_ending = true;
    }
    m_wake.notify_one();
    m_thread.join();
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_wake;
  bool m_ending = false;
  std::thread m_thread;
};

// Removes `option` from the arguments; true when it was there.
bool TakeOption(int& argc, char** argv, const char* option) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], option) != 0) continue;
    for (int k = i; k < argc; ++k) argv[k] = argv[k + 1];
    --argc;
    return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  bench::Plan plan;
  plan.quick = TakeOption(argc, argv, "--quick");
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

  bench::RegisterPool(plan);
  bench::RegisterInterning(plan);
  bench::RegisterTree(plan);
  bench::RegisterWide(plan);
  bench::RegisterDeep(plan);

  const IdleThread second_thread;
  benchmark::AddCustomContext("mode", plan.quick ? "quick" : "full");
  const std::size_t run = benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return run == 0 ? 1 : 0;
}
