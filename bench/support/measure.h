// Measure: what every file of measurements needs.
//
// A measurement is one row of the printed table for one contestant: this library or a
// peer that does the same work in the same run.  It is made of rounds.  A round sets up
// what it needs, times its work and nothing else, cleans up, and returns the seconds of
// the work.
//
// Measurements of one subject, operation and variant make a group.  Groups run one after
// another; within a group Google Benchmark repeats the contestants in an order that mixes
// them, so that a busy spell of the machine does not fall on one of them alone.  Every
// figure goes to a JSON file; table.py makes medians and tables of it.

#ifndef BENCH_SUPPORT_MEASURE_H
#define BENCH_SUPPORT_MEASURE_H

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace bench {

// How much is measured: everything, what fits into a coffee break, or each operation once
// at tiny sizes, to see that all of them work.
struct Plan {
  bool quick = false;
  bool smoke = false;
};

// The contestant that table.py compares with all others.
inline constexpr const char* kOurs = "ours";

struct Measurement {
  std::string subject;    // a table of its own
  std::string operation;  // together with the case, a row
  std::string variant;    // "bytes:16", "leaves:10000"; what stands behind the colon of a
                          // number is a size over which growth is looked at
  int threads = 1;
  std::string contestant;  // a column
  std::size_t operations;  // of one round, of all threads together
  int rounds = 1;          // per repetition
  std::function<double()> round;
  // Where set, what `operations` is, asked after the first round.
  std::function<std::size_t()> count_operations = nullptr;
  bool user_code = false;      // the contestant has no operation for it
  bool frees_at_once = false;  // an arena
};

// Adds a measurement to the run.  Its name is subject/operation/variant/threads:n/contestant.
//
// Its figure: ns_per_op, the nanoseconds for which a thread is busy with one operation
// (with two threads that do not hinder each other it is what it is with one).
void Register(Measurement measurement);

// Runs all measurements whose name `filter`, a regular expression, finds (all when it is
// empty), and writes their figures to `json_file` (nowhere when it is empty).  Calls
// `between` before the first group and between groups of different subject or variant.
// Returns how many measurements there were.
std::size_t RunAll(const Plan& plan, const std::string& filter, const std::string& json_file,
                   const std::function<void()>& between);

// How many rounds of `operations` each it takes to do `target` operations; at least one.
// Short rounds are repeated until the clock's own cost does not show.
int RoundsFor(std::size_t operations, std::size_t target);

// Ends the program with a message unless `holds`: a figure for a wrong answer is worse
// than none.
void Require(bool holds, const char* what);

class Stopwatch {
 public:
  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
  }

 private:
  std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

// Calls work() on the calling thread and returns its seconds.
template <class Work>
double Timed(Work work) {
  const Stopwatch watch;
  work();
  return watch.Seconds();
}

// For i from 0 to threads - 1, calls prepare(i) and then work(i) on a thread of its own, and
// returns the seconds from the moment when all of them are prepared until the last one is
// done.  A single one gets a thread of its own too, and each prepares what only it will use,
// as a server's thread works on what it has read itself: with two threads as with one, all
// of that lies in the cache of the core and in the heap of the thread that goes on with it.
template <class Prepare, class Work>
double OnThreads(int threads, Prepare prepare, Work work) {
  struct Span {
    std::chrono::steady_clock::time_point begin, end;
  };
  std::vector<Span> spans(static_cast<std::size_t>(threads));
  std::atomic<int> missing{threads};
  std::vector<std::thread> crew;
  for (int i = 0; i < threads; ++i) {
    crew.emplace_back([&, i] {
      Span& span = spans[static_cast<std::size_t>(i)];
      prepare(i);
      missing.fetch_sub(1);
      while (missing.load() > 0) std::this_thread::yield();
      span.begin = std::chrono::steady_clock::now();
      work(i);
      span.end = std::chrono::steady_clock::now();
    });
  }
  for (std::thread& thread : crew) thread.join();
  Span whole = spans.front();
  for (const Span& span : spans) {
    whole.begin = std::min(whole.begin, span.begin);
    whole.end = std::max(whole.end, span.end);
  }
  return std::chrono::duration<double>(whole.end - whole.begin).count();
}

// The same with nothing to prepare.
template <class Work>
double OnThreads(int threads, Work work) {
  return OnThreads(
      threads, [](int) {}, work);
}

// Each file of measurements registers its own.
void RegisterPool(const Plan& plan);
void RegisterInterning(const Plan& plan);
void RegisterBuilding(const Plan& plan);
void RegisterReading(const Plan& plan);
void RegisterWholeTrees(const Plan& plan);
void RegisterLayers(const Plan& plan);

}  // namespace bench

#endif  // BENCH_SUPPORT_MEASURE_H
