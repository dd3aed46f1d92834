// A chain of nodes, each the only child of the one above: does a step cost more further
// down?
//
// The chain has 10,000 or 1,000,000 nodes.  An operation is one node, also where the whole
// chain is one call: a path of a million segments that is created or looked up.
//
//   create_by_path   GetOrCreateRelativeNode with one path to the bottom.
//   append           The chain is made from above, one Add after another.
//   node_by_path     GetRelativeNode with the path to the bottom.
//   path             GetPath of the bottom node.
//   duplicate, destroy, count
//
// Figures per node that grow by more than caches explain are work that grows with depth.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "rw/RWCString.h"
#include "support/data.h"
#include "support/measure.h"
#include "support/tree_data.h"

namespace bench {

namespace {

// The path from below the top to the bottom of a chain of `depth` nodes.
const RWCString& ChainPath(std::size_t depth) {
  static std::map<std::size_t, RWCString> made;
  RWCString& path = made[depth];
  if (path.isNull()) {
    for (std::size_t i = 0; i < depth; ++i) {
      if (i != 0) path.append('\\');
      path.append(KeyNames()[i % KeyNames().size()].c_str());
    }
  }
  return path;
}

Tree_NodePtr CreateChain(std::size_t depth) {
  Tree_NodePtr top = NewTop();
  Tree_Path path(ChainPath(depth));
  top->GetOrCreateRelativeNode(path, top);
  return top;
}

Tree_NodePtr Bottom(Tree_NodePtr& top, std::size_t depth) {
  Tree_Path path(ChainPath(depth));
  return top->GetRelativeNode(path, top);
}

void CheckChain(Tree_NodePtr& top, std::size_t depth) {
  Require(static_cast<std::size_t>(top->GetNodeNum()) == depth + 1, "number of nodes");
  const Tree_NodePtr bottom = Bottom(top, depth);
  Require(!bottom.isNull() && bottom->GetPath() == "top\\" + ChainPath(depth),
          "path of the bottom");
}

Tree_NodePtr& StandingChain(std::size_t depth) {
  static std::map<std::size_t, Tree_NodePtr> made;
  Tree_NodePtr& top = made[depth];
  if (top.isNull()) {
    top = CreateChain(depth);
    CheckChain(top, depth);
  }
  return top;
}

double CreateRound(std::size_t depth) {
  StandingChain(depth);
  Tree_NodePtr top;
  const double seconds = OnThreads(1, [&](int) { top = CreateChain(depth); });
  CheckChain(top, depth);
  return seconds;
}

double AppendRound(std::size_t depth) {
  std::vector<RWCString> names;
  for (std::size_t i = 0; i < depth; ++i) {
    names.emplace_back(KeyNames()[i % KeyNames().size()].c_str());
  }
  Tree_NodePtr top = NewTop();
  const double seconds = OnThreads(1, [&](int) {
    Tree_Node* above = top.get();
    for (const RWCString& name : names) {
      Tree_NodePtr below(new Tree_Node(name));
      above->Add(below);
      above = below.get();
    }
  });
  CheckChain(top, depth);
  return seconds;
}

double NodeByPathRound(std::size_t depth) {
  Tree_NodePtr& top = StandingChain(depth);
  return OnThreads(1, [&](int) { benchmark::DoNotOptimize(Bottom(top, depth).get()); });
}

double PathRound(std::size_t depth) {
  const Tree_NodePtr bottom = Bottom(StandingChain(depth), depth);
  return OnThreads(1, [&](int) { benchmark::DoNotOptimize(bottom->GetPath().data()); });
}

double DuplicateRound(std::size_t depth) {
  Tree_NodePtr& top = StandingChain(depth);
  Tree_NodePtr copy;
  const double seconds = OnThreads(1, [&](int) { copy = top->DuplicateFromHereDown(true); });
  CheckChain(copy, depth);
  return seconds;
}

double DestroyRound(std::size_t depth) {
  Tree_NodePtr copy = StandingChain(depth)->DuplicateFromHereDown(true);
  return OnThreads(1, [&](int) { copy = Tree_NodePtr(); });
}

double CountRound(std::size_t depth) {
  Tree_NodePtr& top = StandingChain(depth);
  return OnThreads(1, [&](int) { benchmark::DoNotOptimize(top->GetNodeNum()); });
}

}  // namespace

void RegisterDeep(const Plan& plan) {
  const std::size_t target = plan.quick ? 300000 : 1000000;
  for (const std::size_t depth : {std::size_t{10000}, std::size_t{1000000}}) {
    const auto add = [=](const char* operation, double (*round)(std::size_t)) {
      Register({.subject = "deep",
                .operation = operation,
                .variant = "depth:" + std::to_string(depth),
                .threads = 1,
                .contestant = kOurs,
                .operations = depth,
                .nodes = depth,
                .rounds = RoundsFor(depth, target),
                .round = [=] { return round(depth); }});
    };
    add("create_by_path", CreateRound);
    add("append", AppendRound);
    add("node_by_path", NodeByPathRound);
    add("path", PathRound);
    add("duplicate", DuplicateRound);
    add("destroy", DestroyRound);
    add("count", CountRound);
  }
}

}  // namespace bench
