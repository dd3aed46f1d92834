// Building: what does a leaf cost on its way into a tree?
//
//   build_random, build_sorted   Every leaf by its path, in random order or in that of the
//                                paths.  Cutting the path and finding the node that the leaf
//                                belongs to are part of it.
//   build_records                From a list in order of paths, which spares looking for the
//                                nodes that the last leaf has just led to.
//
// With two threads each builds a tree of its own.  Every thread, also a single one, is made for
// its round and makes its strings and its empty tree itself, before the clock starts.  Names and
// values are known to the process from the second tree on, as they are in one that has run for a
// while; for a library that stores equal strings once that matters.  What new strings cost is the
// subject of interning_bench.cpp.
//
// Figures are per leaf, in deep trees per node.

#include "support/compare.h"

namespace bench {

namespace {

double BuildRound(const Peer& peer, const Case& c, const std::vector<Entry>& entries, int threads) {
  Standing(peer, c);  // all strings are known from here on, and the answer is checked
  struct Work {
    Strings paths, values;
    std::unique_ptr<Document> document;
  };
  std::vector<Work> works(static_cast<std::size_t>(threads));
  const double seconds = OnThreads(
      threads,
      [&](int i) {
        works[static_cast<std::size_t>(i)] = {PathsOf(peer, entries), ValuesOf(peer, entries),
                                              peer.New()};
      },
      [&](int i) {
        Work& work = works[static_cast<std::size_t>(i)];
        work.document->Put(work.paths, work.values);
      });
  if (FirstTime(peer, c, "build" + std::to_string(threads))) {
    for (Work& work : works) CheckHolds(peer, *work.document, c.sorted, "build");
  }
  return seconds;
}

double RecordsRound(const Peer& peer, const Case& c) {
  Standing(peer, c);
  const Strings paths = PathsOf(peer, c.sorted);
  const Strings values = ValuesOf(peer, c.sorted);
  std::unique_ptr<Records> records = peer.RecordsOf(paths, values);
  std::unique_ptr<Document> document;
  const double seconds = Timed([&] { document = peer.FromRecords(std::move(records)); });
  if (FirstTime(peer, c, "build_records")) {
    CheckHolds(peer, *document, c.sorted, "build from records");
  }
  return seconds;
}

}  // namespace

void RegisterBuilding(const Plan& plan) {
  for (const std::string& name : CaseNames(plan.quick, plan.smoke)) {
    const std::string subject = SubjectOf(name);
    if (subject != "deep") {
      Register(plan,
               {name, Operation::kBuild, "build_random", 1, [](const Peer& peer, const Case& c) {
                  return BuildRound(peer, c, c.shuffled, 1);
                }});
    }
    for (const int threads : {1, 2}) {
      if (threads == 2 && subject != "typical") continue;
      Register(plan, {name, Operation::kBuild, "build_sorted", threads,
                      [threads](const Peer& peer, const Case& c) {
                        return BuildRound(peer, c, c.sorted, threads);
                      }});
    }
    if (subject != "deep") {
      Register(plan, {name, Operation::kBuildRecords, "build_records", 1, RecordsRound});
    }
  }
}

}  // namespace bench
