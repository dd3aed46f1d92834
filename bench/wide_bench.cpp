// A node with many children: does a step cost more where there are more siblings?
//
// One node has 10, 1,000 or 100,000 leaves with names of their own.
//
//   child_hit, child_ref_hit   Get and GetByRef of every name, in random order, often
//                              enough to make the same number of look-ups at all widths.
//   child_miss                 Get of names that other nodes bear.
//   add_leaf                   Building: each leaf is made and added.
//   create_by_path             Every child as an inner node, by its path, which looks for
//                              the name first.
//   duplicate, destroy         An operation is one child.
//
// A figure that grows tenfold with ten times the siblings is a scan.  Growth by a small
// factor at 100,000 is the cost of caches: the hash map beside it pays it as well.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <map>
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

using NameMap = std::unordered_map<std::string, std::string>;

const std::vector<std::string>& Names(std::size_t width) {
  static std::map<std::size_t, std::vector<std::string>> made;
  std::vector<std::string>& names = made[width];
  if (names.empty()) names = DistinctNames(width, 10 + width);
  return names;
}

// The same names in another order.
std::vector<std::string> AskedNames(std::size_t width) {
  std::vector<std::string> order = Names(width);
  Shuffle(order, 11);
  return std::vector<std::string>(order.begin(), order.end());
}

// Names that nodes bear, though none of these children.
std::vector<std::string> AbsentNames(std::size_t width) {
  static std::map<std::size_t, Tree_NodePtr> elsewhere;
  std::vector<std::string> names = AskedNames(width);
  for (std::string& name : names) name += "~";
  Tree_NodePtr& other = elsewhere[width];
  if (other.isNull()) {
    other = NewTop();
    for (const std::string& name : names) {
      Tree_NodePtr child(new Tree_Node(name.c_str()));
      other->Add(child);
    }
  }
  return names;
}

Tree_NodePtr BuildWide(const std::vector<RWCString>& names, const RWCString& value) {
  Tree_NodePtr top = NewTop();
  for (const RWCString& name : names) {
    Tree_NodePtr leaf(new Tree_Node(name, new Tree_Value(value, 0)));
    top->Add(leaf);
  }
  return top;
}

// A tree with every name once, in the order in which they were added.
void CheckWide(Tree_NodePtr& top, std::size_t width) {
  const std::vector<std::string>& names = Names(width);
  Require(static_cast<std::size_t>(top->GetChildCount()) == width, "number of children");
  for (std::size_t i = 0; i < width; ++i) {
    const Tree_NodePtr child = top->Get(names[i].c_str(), top);
    Require(child == top->GetChildAt(static_cast<int>(i)), "child by name");
  }
}

Tree_NodePtr& StandingWide(std::size_t width) {
  static std::map<std::size_t, Tree_NodePtr> made;
  Tree_NodePtr& top = made[width];
  if (top.isNull()) {
    top = BuildWide(Fresh(Names(width)), "value");
    CheckWide(top, width);
  }
  return top;
}

const NameMap& StandingMap(std::size_t width) {
  static std::map<std::size_t, NameMap> made;
  NameMap& map = made[width];
  for (const std::string& name : Names(width)) map.emplace(name, "value");
  return map;
}

double ChildRound(std::size_t width, const std::vector<std::string>& asked, bool present,
                  std::size_t repeats) {
  Tree_NodePtr& top = StandingWide(width);
  const std::vector<RWCString> names = Fresh(asked);
  for (const RWCString& name : names) {
    Require(top->Get(name, top).isNull() != present, "a child by name");
  }
  return OnThreads(1, [&](int) {
    for (std::size_t k = 0; k < repeats; ++k) {
      for (const RWCString& name : names) {
        Tree_NodePtr child = top->Get(name, top);
        benchmark::DoNotOptimize(child);
      }
    }
  });
}

double ChildByRefRound(std::size_t width, std::size_t repeats) {
  Tree_NodePtr& top = StandingWide(width);
  std::vector<RWCString> names = Fresh(AskedNames(width));
  return OnThreads(1, [&](int) {
    for (std::size_t k = 0; k < repeats; ++k) {
      for (RWCString& name : names) benchmark::DoNotOptimize(&top->GetByRef(name, top));
    }
  });
}

double MapRound(std::size_t width, const std::vector<std::string>& names, std::size_t repeats) {
  const NameMap& map = StandingMap(width);
  return OnThreads(1, [&](int) {
    for (std::size_t k = 0; k < repeats; ++k) {
      for (const std::string& name : names) benchmark::DoNotOptimize(map.find(name));
    }
  });
}

// Narrow nodes are made many at a time.
double AddLeafRound(std::size_t width, std::size_t repeats) {
  StandingWide(width);
  const std::vector<RWCString> names = Fresh(Names(width));
  const RWCString value("value");
  std::vector<Tree_NodePtr> tops(repeats);
  return OnThreads(1, [&](int) {
    for (Tree_NodePtr& top : tops) top = BuildWide(names, value);
  });
}

double CreateRound(std::size_t width, std::size_t repeats) {
  StandingWide(width);
  const std::vector<RWCString> names = Fresh(Names(width));
  std::vector<Tree_NodePtr> tops(repeats);
  const double seconds = OnThreads(1, [&](int) {
    for (Tree_NodePtr& top : tops) {
      top = NewTop();
      for (const RWCString& name : names) {
        Tree_Path path(name);
        benchmark::DoNotOptimize(top->GetOrCreateRelativeNode(path, top).get());
      }
    }
  });
  Require(static_cast<std::size_t>(tops.back()->GetChildCount()) == width, "children created");
  return seconds;
}

double DuplicateRound(std::size_t width, std::size_t repeats) {
  Tree_NodePtr& top = StandingWide(width);
  std::vector<Tree_NodePtr> copies(repeats);
  const double seconds = OnThreads(1, [&](int) {
    for (Tree_NodePtr& copy : copies) copy = top->DuplicateFromHereDown(true);
  });
  CheckWide(copies.back(), width);
  return seconds;
}

double DestroyRound(std::size_t width, std::size_t repeats) {
  Tree_NodePtr& top = StandingWide(width);
  std::vector<Tree_NodePtr> copies(repeats);
  for (Tree_NodePtr& copy : copies) copy = top->DuplicateFromHereDown(true);
  return OnThreads(1, [&](int) { copies.clear(); });
}

}  // namespace

void RegisterWide(const Plan& plan) {
  const std::size_t lookups = plan.quick ? 500000 : 1000000;
  for (const std::size_t width : {std::size_t{10}, std::size_t{1000}, std::size_t{100000}}) {
    const auto add = [width](const char* operation, const char* contestant, std::size_t total,
                             std::function<double(std::size_t)> round) {
      const std::size_t repeats = total / width;
      Register({.subject = "wide",
                .operation = operation,
                .variant = "siblings:" + std::to_string(width),
                .threads = 1,
                .contestant = contestant,
                .operations = repeats * width,
                .nodes = 0,
                .rounds = 1,
                .round = [=] { return round(repeats); }});
    };
    const char* const map = "unordered_map";

    add("child_hit", kOurs, lookups,
        [=](std::size_t repeats) { return ChildRound(width, AskedNames(width), true, repeats); });
    add("child_hit", map, lookups,
        [=](std::size_t repeats) { return MapRound(width, AskedNames(width), repeats); });
    add("child_ref_hit", kOurs, lookups,
        [=](std::size_t repeats) { return ChildByRefRound(width, repeats); });
    add("child_miss", kOurs, lookups,
        [=](std::size_t repeats) { return ChildRound(width, AbsentNames(width), false, repeats); });
    add("child_miss", map, lookups,
        [=](std::size_t repeats) { return MapRound(width, AbsentNames(width), repeats); });

    constexpr std::size_t kMade = 200000;
    add("add_leaf", kOurs, kMade,
        [=](std::size_t repeats) { return AddLeafRound(width, repeats); });
    add("create_by_path", kOurs, kMade,
        [=](std::size_t repeats) { return CreateRound(width, repeats); });
    add("duplicate", kOurs, kMade,
        [=](std::size_t repeats) { return DuplicateRound(width, repeats); });
    add("destroy", kOurs, kMade, [=](std::size_t repeats) { return DestroyRound(width, repeats); });
  }
}

}  // namespace bench
