// tree_bench: how fast the library is, beside what its users could take instead.
//
//   tree_bench [--quick | --smoke] [--filter=EXPRESSION] [--json=FILE]
//              [any option of Google Benchmark about repetitions]
//
// --quick    up to 100,000 leaves instead of 1,000,000, and a part of the real files
// --smoke    every operation of every contestant once, at tiny sizes: do they all work?
// --filter   a regular expression for names as subject/operation/variant/threads:n/contestant
// --json     where the figures go
//
// Answers are checked before they count; a wrong one ends the program with code 1.
// bench/run.sh runs it and prints the tables.

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <regex>
#include <string>
#include <thread>

#include "support/cases.h"
#include "support/compare.h"
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

// Removes `option`=text from the arguments and returns the text, empty when it isn't there.
std::string TakeText(int& argc, char** argv, const std::string& option) {
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument.compare(0, option.size() + 1, option + '=') != 0) continue;
    TakeOption(argc, argv, argv[i]);
    return argument.substr(option.size() + 1);
  }
  return "";
}

}  // namespace

int main(int argc, char** argv) try {
  bench::Plan plan;
  plan.quick = TakeOption(argc, argv, "--quick");
  plan.smoke = TakeOption(argc, argv, "--smoke");
  const std::string filter = TakeText(argc, argv, "--filter");
  const std::string json_file = TakeText(argc, argv, "--json");
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

  bench::RegisterBuilding(plan);
  bench::RegisterReading(plan);
  bench::RegisterWholeTrees(plan);
  bench::RegisterLayers(plan);
  bench::RegisterInterning(plan);
  bench::RegisterPool(plan);

  const IdleThread second_thread;
  const std::size_t run = bench::RunAll(plan, filter, json_file, bench::DropStanding);
  if (run == 0) std::fprintf(stderr, "tree_bench: nothing matches the filter\n");
  bench::DropStanding();
  benchmark::Shutdown();
  return run == 0 ? 1 : 0;
} catch (const std::regex_error&) {
  std::fprintf(stderr, "tree_bench: the filter is no regular expression\n");
  return 1;
}
