#include "support/measure.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <regex>
#include <sstream>
#include <utility>

namespace bench {

namespace {

#if defined(__clang__)
constexpr const char* kCompiler = "clang " __clang_version__;
#elif defined(__GNUC__)
constexpr const char* kCompiler = "gcc " __VERSION__;
#else
constexpr const char* kCompiler = "another compiler";
#endif

std::vector<Measurement>& All() {
  static std::vector<Measurement> all;
  return all;
}

std::string NameOf(const Measurement& m) {
  return m.subject + '/' + m.operation + '/' + m.variant + "/threads:" + std::to_string(m.threads) +
         '/' + m.contestant;
}

// Collects what Google Benchmark measures, for the JSON file, and shows that it is alive.
class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& context) override {
    if (!m_context.empty()) return true;
    std::ostringstream out;
    char date[64];
    const std::time_t now = std::time(nullptr);
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S%z", std::localtime(&now));
    out << "\"date\": \"" << date << "\", \"num_cpus\": " << context.cpu_info.num_cpus
        << ", \"mhz_per_cpu\": " << context.cpu_info.cycles_per_second / 1e6 << ", \"load_avg\": [";
    for (std::size_t i = 0; i < context.cpu_info.load_avg.size(); ++i) {
      out << (i == 0 ? "" : ", ") << context.cpu_info.load_avg[i];
    }
    out << "]";
    m_context = out.str();
    return true;
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Aggregate) continue;
      if (run.error_occurred) {
        std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
        std::exit(1);
      }
      // "subject/.../contestant/iterations:n/manual_time/repeats:n"
      std::ostringstream out;
      out << "{\"name\": \"" << run.run_name.function_name << '"';
      for (const auto& [name, counter] : run.counters) {
        out << ", \"" << name << "\": " << counter.value;
      }
      out << "}";
      m_runs.push_back(out.str());
    }
  }

  void Write(const Plan& plan, const std::string& file) const {
    std::ofstream out(file);
    out << "{\n\"context\": {" << m_context << ", \"compiler\": \"" << kCompiler
        << "\", \"mode\": \""
        << (plan.smoke   ? "smoke"
            : plan.quick ? "quick"
                         : "full")
        << "\"},\n"
        << "\"benchmarks\": [\n";
    for (std::size_t i = 0; i < m_runs.size(); ++i) {
      out << m_runs[i] << (i + 1 < m_runs.size() ? ",\n" : "\n");
    }
    out << "]\n}\n";
    Require(out.good(), "the results can't be written");
  }

 private:
  std::string m_context;
  std::vector<std::string> m_runs;
};

void RunRounds(const Measurement& m, benchmark::State& state) {
  double seconds = 0;
  for (auto _ : state) {
    const double spent = m.round();
    state.SetIterationTime(spent);
    seconds += spent;
  }
  const std::size_t operations = m.count_operations ? m.count_operations() : m.operations;
  const double thread_ns = seconds * 1e9 * m.threads / static_cast<double>(state.iterations());
  state.counters["ns_per_op"] = thread_ns / static_cast<double>(operations);
  if (m.user_code) state.counters["user_code"] = 1;
  if (m.frees_at_once) state.counters["frees_at_once"] = 1;
}

}  // namespace

void Register(Measurement measurement) {
  All().push_back(std::move(measurement));
}

std::size_t RunAll(const Plan& plan, const std::string& filter, const std::string& json_file,
                   const std::function<void()>& between) {
  const std::regex wanted(filter);
  std::vector<std::vector<const Measurement*>> groups;
  const auto same_group = [](const Measurement& a, const Measurement& b) {
    return a.subject == b.subject && a.operation == b.operation && a.variant == b.variant;
  };
  std::vector<std::pair<std::string, std::vector<const Measurement*>>> cases;
  std::size_t count = 0;
  for (const Measurement& m : All()) {
    if (!filter.empty() && !std::regex_search(NameOf(m), wanted)) continue;
    ++count;
    const std::string name = m.subject + '/' + m.variant;
    const auto found = std::find_if(cases.begin(), cases.end(),
                                    [&](const auto& entry) { return entry.first == name; });
    if (found == cases.end()) {
      cases.push_back({name, {&m}});
    } else {
      found->second.push_back(&m);
    }
  }

  Collector collector;
  for (const auto& [name, members] : cases) {
    between();
    groups.clear();
    for (const Measurement* m : members) {
      const auto group = std::find_if(groups.begin(), groups.end(), [&](const auto& other) {
        return same_group(*other.front(), *m);
      });
      if (group == groups.end()) {
        groups.push_back({m});
      } else {
        group->push_back(m);
      }
    }
    for (const auto& group : groups) {
      std::fprintf(stderr, "%s %s\n", name.c_str(), group.front()->operation.c_str());
      benchmark::ClearRegisteredBenchmarks();
      for (const Measurement* m : group) {
        benchmark::RegisterBenchmark(NameOf(*m).c_str(),
                                     [m](benchmark::State& state) { RunRounds(*m, state); })
            ->UseManualTime()
            ->Iterations(m->rounds);
      }
      benchmark::RunSpecifiedBenchmarks(&collector);
    }
  }
  if (count != 0 && !json_file.empty()) collector.Write(plan, json_file);
  return count;
}

int RoundsFor(std::size_t operations, std::size_t target) {
  return static_cast<int>(std::max<std::size_t>(1, target / std::max<std::size_t>(1, operations)));
}

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "tree_bench: wrong answer: %s\n", what);
  std::exit(1);
}

}  // namespace bench
