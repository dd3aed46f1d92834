// The typical tree: what do building, looking up, copying and letting go cost per leaf, and
// does that grow with the tree?
//
// The tree has services of 10 sections of 10 groups of 10 leaves each (see data.h) and
// 10,000, 100,000 or 1,000,000 leaves.  All names and values are interned before the clock
// starts, as they are in a process that has run for a while; what new strings cost is the
// subject of interning_bench.cpp.
//
//   build_random, build_sorted    Every leaf by its path, in random order or in that of the
//                                 paths.  An operation is one leaf; cutting the path in two
//                                 and dropping handles are part of it.
//   build_new_values              As build_sorted, but every value is new to the process.
//   value_hit                     GetValue(path): path to text.
//   node_hit, node_ref_hit        GetRelativeNode and GetRelativeNodeByRef, a Tree_Path
//                                 included: what the counted handle costs is the difference.
//   node_miss_known, _unknown     The last name is absent here, but is another node's; or no
//                                 string in the process equals it.
//   duplicate_*, destroy_*        An operation is one node.  Whether the tree was built in
//                                 sorted or random order decides where its nodes lie in
//                                 memory.
//   count                         GetNodeNum: the bare walk over all nodes.
//
// Measurements take turns, and the pools keep what they were given back: elements of a tree
// that is built lie where those of earlier trees lay, scattered after a while, as in a
// process that has run for days.  The figures of a fresh process are lower.
//
// The reference is no tree at all: one std::unordered_map from whole path to value, which
// has no structure to walk, but is what many would write.  Figures per leaf should stay
// equal from size to size but for the caches: 10,000 leaves fit a core's own cache,
// 1,000,000 do not.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "rw/RWCString.h"
#include "support/data.h"
#include "support/measure.h"
#include "support/tree_data.h"

namespace bench {

namespace {

using PathMap = std::unordered_map<std::string, std::string>;

enum class Order { kSorted, kRandom };

const std::vector<Entry>& Entries(std::size_t leaves, Order order) {
  return order == Order::kSorted ? TypicalTree(leaves) : TypicalTreeShuffled(leaves);
}

Tree_NodePtr BuildTree(std::size_t leaves, Order order) {
  Tree_NodePtr top = NewTop();
  const std::vector<Entry>& entries = Entries(leaves, order);
  PutLeaves(top, FreshPaths(entries), FreshValues(entries));
  return top;
}

// Every path leads to its value, and there is nothing else.
void CheckTree(Tree_NodePtr& top, std::size_t leaves) {
  Require(static_cast<std::size_t>(top->GetNodeNum()) == TypicalNodes(leaves), "number of nodes");
  for (const Entry& entry : TypicalTree(leaves)) {
    RWCString path(entry.path.data(), entry.path.size());
    Require(top->GetValue(path, top) == entry.value.c_str(), "value at a path");
  }
}

// A checked tree that stays to be read and copied.
Tree_NodePtr& StandingTree(std::size_t leaves, Order order) {
  static std::map<std::pair<std::size_t, Order>, Tree_NodePtr> made;
  Tree_NodePtr& top = made[{leaves, order}];
  if (top.isNull()) {
    top = BuildTree(leaves, order);
    CheckTree(top, leaves);
  }
  return top;
}

PathMap& StandingMap(std::size_t leaves) {
  static std::map<std::size_t, PathMap> made;
  PathMap& map = made[leaves];
  if (map.empty()) {
    for (const Entry& entry : TypicalTreeShuffled(leaves)) map.emplace(entry.path, entry.value);
    Require(map.size() == leaves, "paths in the map");
  }
  return map;
}

// --- Building ----------------------------------------------------------------

// Two threads build a tree each, from strings of their own.
double BuildRound(std::size_t leaves, Order order, int threads) {
  StandingTree(leaves, order);  // has checked the answer and interned all strings
  const std::vector<Entry>& entries = Entries(leaves, order);
  struct Work {
    std::vector<RWCString> paths, values;
    Tree_NodePtr top;
  };
  std::vector<Work> works;
  for (int i = 0; i < threads; ++i) {
    works.push_back({FreshPaths(entries), FreshValues(entries), NewTop()});
  }
  const double seconds = OnThreads(threads, [&](int i) {
    Work& work = works[static_cast<std::size_t>(i)];
    PutLeaves(work.top, work.paths, work.values);
  });
  for (Work& work : works) {
    Require(static_cast<std::size_t>(work.top->GetNodeNum()) == TypicalNodes(leaves),
            "number of nodes built");
  }
  return seconds;
}

double BuildNewValuesRound(std::size_t leaves) {
  StandingTree(leaves, Order::kSorted);
  // Interned strings stay, so every round needs values that no round before it had.
  static int round = 0;
  ++round;
  const std::vector<Entry>& entries = TypicalTree(leaves);
  std::vector<RWCString> values;
  for (std::size_t i = 0; i < leaves; ++i) {
    const std::string value = "new" + std::to_string(round) + "." + std::to_string(i);
    values.emplace_back(value.data(), value.size());
  }
  const std::vector<RWCString> paths = FreshPaths(entries);
  Tree_NodePtr top = NewTop();
  return OnThreads(1, [&](int) { PutLeaves(top, paths, values); });
}

double BuildMapRound(std::size_t leaves, Order order) {
  const std::vector<Entry>& entries = Entries(leaves, order);
  PathMap map;
  const double seconds = OnThreads(1, [&](int) {
    for (const Entry& entry : entries) map.emplace(entry.path, entry.value);
  });
  Require(map.size() == leaves, "paths in the map built");
  return seconds;
}

// --- Looking up --------------------------------------------------------------

enum class LookUp { kValue, kNode, kNodeByRef };

template <LookUp kWay>
void FindAll(Tree_NodePtr& top, std::vector<RWCString>& paths) {
  for (RWCString& path : paths) {
    if constexpr (kWay == LookUp::kValue) {
      RWCString value = top->GetValue(path, top);
      benchmark::DoNotOptimize(value);
    } else if constexpr (kWay == LookUp::kNode) {
      Tree_Path way(path);
      Tree_NodePtr node = top->GetRelativeNode(way, top);
      benchmark::DoNotOptimize(node);
    } else {
      Tree_Path way(path);
      benchmark::DoNotOptimize(&top->GetRelativeNodeByRef(way, top));
    }
  }
}

// Every thread looks up all paths in a tree that they share.  Each has an order and strings
// of its own.
template <LookUp kWay>
double HitRound(std::size_t leaves, int threads) {
  Tree_NodePtr& top = StandingTree(leaves, Order::kRandom);
  std::vector<std::vector<RWCString>> paths;
  for (int i = 0; i < threads; ++i) {
    paths.push_back(Fresh(AskedPaths(leaves, static_cast<std::uint64_t>(4 + i))));
  }
  // Handles are counted ones: each thread holds one of its own, but they share the count.
  return OnThreads(threads, [&](int i) {
    Tree_NodePtr own(top);
    FindAll<kWay>(own, paths[static_cast<std::size_t>(i)]);
  });
}

double MissRound(std::size_t leaves, Missing kind) {
  Tree_NodePtr& top = StandingTree(leaves, Order::kRandom);
  std::vector<RWCString> paths = Fresh(MissingPaths(leaves, kind));
  static std::set<std::pair<std::size_t, Missing>> checked;
  if (checked.insert({leaves, kind}).second) {
    for (const RWCString& path : paths) {
      Tree_Path way(path);
      Require(top->GetRelativeNode(way, top).isNull(), "a missing path is found");
    }
  }
  return OnThreads(1, [&](int) { FindAll<LookUp::kNode>(top, paths); });
}

double MapLookUpRound(std::size_t leaves, const std::vector<std::string>& paths, bool present) {
  const PathMap& map = StandingMap(leaves);
  static std::set<std::pair<std::size_t, bool>> checked;
  if (checked.insert({leaves, present}).second) {
    for (const std::string& path : paths) {
      Require((map.find(path) != map.end()) == present, "a path in the map");
    }
  }
  return OnThreads(1, [&](int) {
    for (const std::string& path : paths) benchmark::DoNotOptimize(map.find(path));
  });
}

// --- Whole trees -------------------------------------------------------------

double DuplicateRound(std::size_t leaves, Order order) {
  Tree_NodePtr& top = StandingTree(leaves, order);
  Tree_NodePtr copy;
  const double seconds = OnThreads(1, [&](int) { copy = top->DuplicateFromHereDown(true); });
  static std::set<std::pair<std::size_t, Order>> checked;
  if (checked.insert({leaves, order}).second) CheckTree(copy, leaves);
  return seconds;
}

// The standing tree must not be what is destroyed, nor a copy of it, which lies in memory as
// copies do.
double DestroyRound(std::size_t leaves, Order order) {
  StandingTree(leaves, order);
  const auto in_use = Tree_Node::m_NodesPool.GetStats().elements_in_use;
  Tree_NodePtr top = BuildTree(leaves, order);
  const double seconds = OnThreads(1, [&](int) { top = Tree_NodePtr(); });
  Require(Tree_Node::m_NodesPool.GetStats().elements_in_use == in_use, "a node is left");
  return seconds;
}

double CountRound(std::size_t leaves) {
  Tree_NodePtr& top = StandingTree(leaves, Order::kRandom);
  return OnThreads(1, [&](int) { benchmark::DoNotOptimize(top->GetNodeNum()); });
}

double DuplicateMapRound(std::size_t leaves) {
  const PathMap& map = StandingMap(leaves);
  PathMap copy;
  return OnThreads(1, [&](int) { copy = map; });
}

double DestroyMapRound(std::size_t leaves) {
  auto map = std::make_unique<PathMap>(StandingMap(leaves));
  return OnThreads(1, [&](int) { map.reset(); });
}

// --- Registration ------------------------------------------------------------

// Adds measurements of the typical tree of one size.
class Registrar {
 public:
  // `target` is the number of leaves that all rounds of a repetition go over.
  Registrar(std::size_t leaves, std::size_t target) : m_leaves(leaves), m_target(target) {}

  // For operations that are counted by the leaf, and by the node.
  void PerLeaf(const std::string& operation, const char* contestant, int threads,
               std::function<double()> round) const {
    Add(operation, contestant, threads, m_leaves, std::move(round));
  }
  void PerNode(const std::string& operation, const char* contestant,
               std::function<double()> round) const {
    Add(operation, contestant, 1, TypicalNodes(m_leaves), std::move(round));
  }

 private:
  void Add(const std::string& operation, const char* contestant, int threads,
           std::size_t operations, std::function<double()> round) const {
    const auto crew = static_cast<std::size_t>(threads);
    Register({.subject = "tree",
              .operation = operation,
              .variant = "leaves:" + std::to_string(m_leaves),
              .threads = threads,
              .contestant = contestant,
              .operations = operations * crew,
              .nodes = TypicalNodes(m_leaves) * crew,
              .rounds = RoundsFor(m_leaves, m_target),
              .round = std::move(round)});
  }

  std::size_t m_leaves;
  std::size_t m_target;
};

constexpr const char* kMap = "unordered_map";

// What matters most.
void RegisterMain(const Registrar& add, std::size_t leaves) {
  for (const Order order : {Order::kSorted, Order::kRandom}) {
    const char* const build = order == Order::kSorted ? "build_sorted" : "build_random";
    add.PerLeaf(build, kOurs, 1, [=] { return BuildRound(leaves, order, 1); });
    add.PerLeaf(build, kMap, 1, [=] { return BuildMapRound(leaves, order); });
  }
  add.PerLeaf("value_hit", kOurs, 1, [=] { return HitRound<LookUp::kValue>(leaves, 1); });
  add.PerLeaf("value_hit", kMap, 1,
              [=] { return MapLookUpRound(leaves, AskedPaths(leaves, 4), true); });
  add.PerNode("duplicate_random", kOurs, [=] { return DuplicateRound(leaves, Order::kRandom); });
  add.PerNode("duplicate_random", kMap, [=] { return DuplicateMapRound(leaves); });
  add.PerNode("destroy_random", kOurs, [=] { return DestroyRound(leaves, Order::kRandom); });
  add.PerNode("destroy_random", kMap, [=] { return DestroyMapRound(leaves); });
  add.PerNode("count", kOurs, [=] { return CountRound(leaves); });
}

void RegisterMiss(const Registrar& add, std::size_t leaves, Missing kind) {
  const char* const miss = kind == Missing::kNameInUse ? "node_miss_known" : "node_miss_unknown";
  add.PerLeaf(miss, kOurs, 1, [=] { return MissRound(leaves, kind); });
  add.PerLeaf(miss, kMap, 1,
              [=] { return MapLookUpRound(leaves, MissingPaths(leaves, kind), false); });
}

void RegisterMore(const Registrar& add, std::size_t leaves) {
  add.PerLeaf("build_sorted", kOurs, 2, [=] { return BuildRound(leaves, Order::kSorted, 2); });
  add.PerLeaf("value_hit", kOurs, 2, [=] { return HitRound<LookUp::kValue>(leaves, 2); });
  RegisterMiss(add, leaves, Missing::kNameInUse);
  add.PerNode("duplicate_sorted", kOurs, [=] { return DuplicateRound(leaves, Order::kSorted); });
  add.PerNode("destroy_sorted", kOurs, [=] { return DestroyRound(leaves, Order::kSorted); });
}

// Other ways to do the same.
void RegisterVariants(const Registrar& add, std::size_t leaves) {
  add.PerLeaf("build_random", kOurs, 2, [=] { return BuildRound(leaves, Order::kRandom, 2); });
  add.PerLeaf("build_new_values", kOurs, 1, [=] { return BuildNewValuesRound(leaves); });
  for (const int threads : {1, 2}) {
    add.PerLeaf("node_hit", kOurs, threads,
                [=] { return HitRound<LookUp::kNode>(leaves, threads); });
    add.PerLeaf("node_ref_hit", kOurs, threads,
                [=] { return HitRound<LookUp::kNodeByRef>(leaves, threads); });
  }
  RegisterMiss(add, leaves, Missing::kNameUnknown);
}

}  // namespace

void RegisterTree(const Plan& plan) {
  const std::size_t target = plan.quick ? 50000 : 100000;
  constexpr std::size_t kLargest = 1000000;
  for (const std::size_t leaves : {std::size_t{10000}, std::size_t{100000}, kLargest}) {
    const Registrar add(leaves, target);
    RegisterMain(add, leaves);
    // One pass over the largest tree takes as long as everything else together.
    if (!plan.quick || leaves < kLargest) RegisterMore(add, leaves);
    if (leaves < kLargest) RegisterVariants(add, leaves);
  }
}

}  // namespace bench
