#include "support/measure.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace bench {

void Register(Measurement measurement) {
  const std::string name = measurement.subject + '/' + measurement.operation + '/' +
                           measurement.variant + "/threads:" + std::to_string(measurement.threads) +
                           '/' + measurement.contestant;
  const int rounds = measurement.rounds;
  const auto run = [m = std::move(measurement)](benchmark::State& state) {
    double seconds = 0;
    for (auto _ : state) {
      const double spent = m.round();
      state.SetIterationTime(spent);
      seconds += spent;
    }
    const double thread_ns = seconds * 1e9 * m.threads / static_cast<double>(state.iterations());
    state.counters["ns_per_op"] = thread_ns / static_cast<double>(m.operations);
    if (m.nodes != 0) state.counters["ns_per_node"] = thread_ns / static_cast<double>(m.nodes);
  };
  benchmark::RegisterBenchmark(name.c_str(), run)->UseManualTime()->Iterations(rounds);
}

int RoundsFor(std::size_t operations, std::size_t target) {
  return static_cast<int>(std::max<std::size_t>(1, target / operations));
}

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "tree_bench: wrong answer: %s\n", what);
  std::exit(1);
}

}  // namespace bench
