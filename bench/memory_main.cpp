// tree_memory: how many bytes a leaf takes, and how often the heap is called for it.
//
//   tree_memory [--quick | --smoke] [--filter=TEXT] [--json=FILE]
//
// Bytes.  Every contestant and case has a process of its own (a fork of one that has only
// made the data), so that nothing is there yet: no pool has a block, no string is stored.
// Counted are all bytes of blocks that the heap has handed out (as it rounds them up, with
// its own 8 bytes for each; see counting_heap.h) when the tree stands, less those before.
// That is everything: nodes, strings, indexes, and whole blocks of pools and arenas, in use
// or not.  Pools cut theirs from regions of 2 MiB, which come from the same heap and count
// whole: read the figures of small trees with that in mind.  The arguments of building are
// not counted.
//
//   built_sorted, built_random   The tree as it stands after building by path.
//   copied                       What a copy of it adds: strings that are shared are not
//                                counted again.
//   ..._pools_in_use             For this library: the same with elements of pools that are
//                                in use alone, without what their blocks have spare.  What
//                                is free of regions still counts.
//
// Heap calls.  The steady state: in the same process the same has been done once before, so
// that pools have their blocks and strings are stored.  A call that takes or gives back a
// block counts one, a realloc too.  Figures are calls per leaf.
//
//   calls_build_sorted, calls_build_random, calls_build_records, calls_copy, calls_merge,
//   calls_flatten, calls_changes, calls_destroy

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/compare.h"
#include "support/counting_heap.h"

namespace bench {

namespace {

struct Options {
  Plan plan;
  std::string filter;
  std::string json_file;
};

// Figures of one contestant and case, as lines of the JSON file.
class Figures {
 public:
  Figures(const Peer& peer, const Case& c) : m_peer(peer), m_case(c) {}

  void Add(const char* operation, const char* unit, double count, Operation kind) {
    m_lines << "{\"name\": \"" << m_case.subject << '/' << operation << '/' << m_case.variant
            << "/threads:1/" << m_peer.Name() << "\", \"" << unit
            << "\": " << count / static_cast<double>(m_case.units);
    if (m_peer.WayOf(kind) == Way::kUserCode) m_lines << ", \"user_code\": 1";
    if (m_peer.FreesAtOnce()) m_lines << ", \"frees_at_once\": 1";
    m_lines << "}\n";
  }
  std::string Lines() const { return m_lines.str(); }

 private:
  const Peer& m_peer;
  const Case& m_case;
  std::ostringstream m_lines;
};

double BytesSince(const HeapCounts& before) {
  return static_cast<double>(CountHeap().bytes) - static_cast<double>(before.bytes);
}

double BytesOfPoolsInUse() {
  double bytes = 0;
  Zel_PoolAllocator::VisitAll([&bytes](Zel_PoolAllocator& pool) {
    bytes += static_cast<double>(pool.GetStats().elements_in_use * pool.GetElementSize());
  });
  return bytes;
}

double BytesOfPoolBlocks() {
  double bytes = 0;
  Zel_PoolAllocator::VisitAll(
      [&bytes](Zel_PoolAllocator& pool) { bytes += static_cast<double>(pool.GetStats().bytes); });
  return bytes;
}

template <class Work>
double CallsOf(Work work) {
  const HeapCounts before = CountHeap();
  work();
  return static_cast<double>(CountHeap().calls - before.calls);
}

void MeasureBytes(const Peer& peer, const Case& c, const std::vector<Entry>& entries,
                  const char* operation, Figures& figures) {
  const Strings paths = PathsOf(peer, entries);
  const Strings values = ValuesOf(peer, entries);
  const double in_use_before = BytesOfPoolsInUse();
  const double blocks_before = BytesOfPoolBlocks();
  const HeapCounts before = CountHeap();
  std::unique_ptr<Document> document = peer.New();
  document->Put(paths, values);
  const double built = BytesSince(before);
  figures.Add(operation, "bytes", built, Operation::kBuild);
  if (peer.Name() == std::string(kOurs)) {
    const double spare =
        (BytesOfPoolBlocks() - blocks_before) - (BytesOfPoolsInUse() - in_use_before);
    figures.Add((std::string(operation) + "_pools_in_use").c_str(), "bytes", built - spare,
                Operation::kBuild);
  }
  CheckHolds(peer, *document, c.sorted, "build");
}

void MeasureCopy(const Peer& peer, const Case& c, Figures& figures) {
  if (peer.WayOf(Operation::kCopy) == Way::kNone) return;
  std::unique_ptr<Document> document = Build(peer, c.sorted);
  const HeapCounts before = CountHeap();
  const std::unique_ptr<Document> copy = document->Copy();
  figures.Add("copied", "bytes", BytesSince(before), Operation::kCopy);
}

void MeasureCalls(const Peer& peer, const Case& c, Figures& figures) {
  const auto can = [&](Operation operation) { return peer.WayOf(operation) != Way::kNone; };
  const auto build = [&](const std::vector<Entry>& entries, const char* operation) {
    const Strings paths = PathsOf(peer, entries);
    const Strings values = ValuesOf(peer, entries);
    std::unique_ptr<Document> made;
    double calls = 0;
    for (int round = 0; round < 2; ++round) {
      made = peer.New();
      calls = CallsOf([&] { made->Put(paths, values); });
    }
    figures.Add(operation, "calls", calls, Operation::kBuild);
    return made;
  };
  const std::unique_ptr<Document> base = build(c.sorted, "calls_build_sorted");
  if (c.subject == "typical") build(c.shuffled, "calls_build_random");

  if (can(Operation::kBuildRecords)) {
    const Strings paths = PathsOf(peer, c.sorted);
    const Strings values = ValuesOf(peer, c.sorted);
    double calls = 0;
    for (int round = 0; round < 2; ++round) {
      std::unique_ptr<Records> records = peer.RecordsOf(paths, values);
      std::unique_ptr<Document> made;
      calls = CallsOf([&] { made = peer.FromRecords(std::move(records)); });
    }
    figures.Add("calls_build_records", "calls", calls, Operation::kBuildRecords);
  }

  // The second time counts: the first has let the pools grow.
  const auto twice = [&](const char* operation, Operation kind, auto work) {
    if (!can(kind)) return;
    double calls = 0;
    for (int round = 0; round < 2; ++round) {
      decltype(work()) result;
      calls = CallsOf([&] { result = work(); });
    }
    figures.Add(operation, "calls", calls, kind);
  };
  twice("calls_copy", Operation::kCopy, [&] { return base->Copy(); });
  twice("calls_flatten", Operation::kFlatten, [&] { return base->Flatten(); });
  const std::unique_ptr<Document> layer = Build(peer, c.layer);
  twice("calls_merge", Operation::kMerge, [&] { return base->Merge(*layer); });
  const std::unique_ptr<Document> after = Build(peer, c.sorted);
  after->Change(PathsOf(peer, c.changed), ValuesOf(peer, c.changed));
  twice("calls_changes", Operation::kChanges, [&] { return after->Changes(*base); });

  std::unique_ptr<Document> gone = Build(peer, c.sorted);
  figures.Add("calls_destroy", "calls", CallsOf([&] { gone.reset(); }), Operation::kDestroy);
}

// Runs `measure` in a process of its own and returns the lines that it has to say.
template <class Measure>
std::string InAProcess(Measure measure) {
  int ends[2];
  Require(pipe(ends) == 0, "a pipe can't be made");
  const pid_t child = fork();
  Require(child >= 0, "a process can't be made");
  if (child == 0) {
    close(ends[0]);
    const std::string lines = measure();
    std::size_t written = 0;
    while (written < lines.size()) {
      const ssize_t n = write(ends[1], lines.data() + written, lines.size() - written);
      if (n <= 0) _exit(1);
      written += static_cast<std::size_t>(n);
    }
    // Taking everything down in order would take time and say nothing.
    _exit(0);
  }
  close(ends[1]);
  std::string lines;
  char buffer[4096];
  for (ssize_t n; (n = read(ends[0], buffer, sizeof buffer)) > 0;) {
    lines.append(buffer, static_cast<std::size_t>(n));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0) std::exit(1);  // the child has said why
  return lines;
}

std::string Measure(const Options& options) {
  std::string lines;
  for (const std::string& name : CaseNames(options.plan.quick, options.plan.smoke)) {
    if (SubjectOf(name) == "deep") continue;
    if (name.find(options.filter) == std::string::npos) continue;
    const Case& c = CaseNamed(name);
    if (c.units == 0) continue;
    std::fprintf(stderr, "%s memory\n", name.c_str());
    for (const Peer* peer : AllPeers()) {
      if (!TakesPart(*peer, name)) continue;
      // A merge or a comparison by name would scan all siblings for each.
      const bool scans = SubjectOf(name) == "wide" && peer->ScansSiblings() && c.units > 1000;
      const auto run = [&](auto measure) {
        lines += InAProcess([&] {
          Figures figures(*peer, c);
          measure(figures);
          return figures.Lines();
        });
      };
      run([&](Figures& figures) { MeasureBytes(*peer, c, c.sorted, "built_sorted", figures); });
      if (SubjectOf(name) == "typical") {
        run([&](Figures& figures) { MeasureBytes(*peer, c, c.shuffled, "built_random", figures); });
      }
      run([&](Figures& figures) { MeasureCopy(*peer, c, figures); });
      if (!scans) run([&](Figures& figures) { MeasureCalls(*peer, c, figures); });
    }
  }
  return lines;
}

int Main(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--quick") {
      options.plan.quick = true;
    } else if (argument == "--smoke") {
      options.plan.smoke = true;
    } else if (argument.rfind("--filter=", 0) == 0) {
      options.filter = argument.substr(std::strlen("--filter="));
    } else if (argument.rfind("--json=", 0) == 0) {
      options.json_file = argument.substr(std::strlen("--json="));
    } else {
      std::fprintf(stderr, "tree_memory: unknown option %s\n", argv[i]);
      return 1;
    }
  }
  std::istringstream lines(Measure(options));
  std::string all;
  for (std::string line; std::getline(lines, line);) all += (all.empty() ? "" : ",\n") + line;
  if (options.json_file.empty()) return 0;
  std::ofstream out(options.json_file);
  out << "{\"benchmarks\": [\n" << all << "\n]}\n";
  return out.good() ? 0 : 1;
}

}  // namespace

}  // namespace bench

int main(int argc, char** argv) {
  return bench::Main(argc, argv);
}
