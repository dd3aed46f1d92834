// Threads that build, read and drop trees of their own.
//
// Different trees are independent, although names, values and pools are shared.  Threads
// come and go here: what a thread kept of a pool comes back when it ends.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/TreeMaking.h"
#include "thread/Crew.h"

namespace {

constexpr int kWorkers = 4;

RWCString Number(const char* prefix, int number) {
  return RWCString((prefix + std::to_string(number)).c_str());
}

// Builds a tree in every way there is, asks it about everything, changes it and drops
// it.  The result is the number of wrong answers.
int LiveThrough(int seed) {
  constexpr int kChildren = 40;
  int wrong = 0;
  const auto expect = [&](bool right) { wrong += right ? 0 : 1; };

  Tree_NodePtr top = Inner(Number("top", seed));
  for (int i = 0; i < kChildren; ++i) {
    Tree_Path path(RWCString("a\\b\\") + Number("n", i));
    Tree_NodePtr node = top->GetOrCreateRelativeNode(path, top);
    Tree_NodePtr leaf(new Tree_Node("value", new Tree_Value(Number("v", i + seed), i)));
    expect(node->Add(leaf) == 1);
  }
  for (int i = 0; i < kChildren; ++i) {
    RWCString path = RWCString("a\\b\\") + Number("n", i) + RWCString("\\value");
    expect(top->GetValue(path, top) == Number("v", i + seed));
  }
  RWCString wide("a\\b");
  expect(top->GetSubTreeNum(wide, top) == kChildren);
  expect(top->GetSubTreeEntriesCount(wide, top) == 2 * kChildren);
  const std::unique_ptr<String_Arr> found(top->Search("n3\\value", top, 1));
  expect(found != nullptr && std::string(found->GetStr(0)) == "a\\b\\n3\\value");

  Tree_Path to_wide(wide);
  Tree_NodePtr node = top->GetRelativeNode(to_wide, top);
  Tree_NodePtr copy = top->DuplicateFromHereDown(true);
  for (int i = 0; i < kChildren; i += 2) node->GetChildAt(i)->SetKeyName(Number("r", i));
  for (int i = 0; i < kChildren; ++i) {
    const RWCString name = Number(i % 2 == 0 ? "r" : "n", i);
    expect(node->Get(name, node) == node->GetChildAt(i));
  }
  for (int i = kChildren - 1; i >= 0; i -= 3) expect(node->Remove(i) == 1);
  expect(node->GetChildCount() == kChildren - (kChildren + 2) / 3);
  for (int i = 0; i < node->GetChildCount(); ++i) node->GetChildAt(i)->Remove("value");
  expect(!top->RemoveEmptyBranches());
  expect(top->GetNodeNum() == 1);
  expect(copy->GetNodeNum() == 3 + 2 * kChildren);
  expect(Text(copy->GetPath()) == "top" + std::to_string(seed));
  return wrong;
}

TEST(ThreadsWithTreesOfTheirOwn, DoNotDisturbEachOther) {
  const PoolFigures before = PoolFigures::Now();
  {
    Crew crew(kWorkers);
    std::vector<int> wrong(kWorkers, 0);
    crew.Run([&](int worker) {
      for (int i = 0; i < 100; ++i) wrong[static_cast<std::size_t>(worker)] += LiveThrough(i);
    });
    EXPECT_EQ(std::vector<int>(kWorkers, 0), wrong);
    EXPECT_EQ(before, PoolFigures::Now());
  }
  EXPECT_EQ(before, PoolFigures::Now());
}

// The figures are exact when the threads have ended, whatever they had put aside.
TEST(ThreadsWithTreesOfTheirOwn, LeaveNothingWhenTheyEnd) {
  const PoolFigures before = PoolFigures::Now();
  for (int generation = 0; generation < 10; ++generation) {
    std::vector<std::thread> threads;
    std::vector<int> wrong(kWorkers, 0);
    for (int worker = 0; worker < kWorkers; ++worker) {
      threads.emplace_back([&wrong, worker, generation] {
        wrong[static_cast<std::size_t>(worker)] = LiveThrough(generation + worker);
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::vector<int>(kWorkers, 0), wrong);
    ASSERT_EQ(before, PoolFigures::Now());
  }
}

// What ended threads had put aside is used again: the pools stay as large as the work of
// one generation needs, however many there are.
TEST(ThreadsWithTreesOfTheirOwn, HandWhatTheyKeptToThoseWhoFollow) {
  constexpr int kGenerations = 25;
  constexpr int kNodes = 3000;
  const auto live_one_generation = [] {
    std::vector<std::thread> threads;
    for (int worker = 0; worker < kWorkers; ++worker) {
      threads.emplace_back([] {
        Tree_NodePtr top = Inner("top");
        for (int i = 1; i < kNodes; ++i) {
          Tree_NodePtr leaf = Leaf("leaf", "value");
          top->Add(leaf);
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  };
  const std::uint64_t before = NodesPool().GetStats().elements_total;
  for (int i = 0; i < kGenerations; ++i) live_one_generation();
  const std::uint64_t growth = NodesPool().GetStats().elements_total - before;
  const auto block = static_cast<std::uint64_t>(NodesPool().GetCurrElementsInBlock());
  EXPECT_LE(growth, std::uint64_t{kWorkers} * kNodes + kWorkers * block);
  EXPECT_LT(growth, std::uint64_t{kGenerations} * kNodes) << "the test would prove nothing";
}

// Trees outlive the thread that built them, and its share of the pools.
TEST(ThreadsWithTreesOfTheirOwn, MayEndBeforeTheirTrees) {
  const PoolFigures before = PoolFigures::Now();
  std::vector<Tree_NodePtr> trees(kWorkers);
  std::vector<std::thread> builders;
  for (int worker = 0; worker < kWorkers; ++worker) {
    builders.emplace_back([&trees, worker] {
      Tree_NodePtr top = Inner("top");
      for (int i = 0; i < 2500; ++i) {
        Tree_NodePtr leaf = Leaf(Number("n", i), Number("v", worker));
        top->Add(leaf);
      }
      trees[static_cast<std::size_t>(worker)] = top;
    });
  }
  for (std::thread& thread : builders) thread.join();
  EXPECT_EQ(
      (PoolFigures{2501 * kWorkers, kWorkers, 2500 * kWorkers, 2500 * kWorkers, 2501 * kWorkers}),
      PoolFigures::Now() - before);
  for (int worker = 0; worker < kWorkers; ++worker) {
    Tree_NodePtr& top = trees[static_cast<std::size_t>(worker)];
    RWCString path("n2499");
    EXPECT_EQ(Number("v", worker), top->GetValue(path, top));
  }
  std::vector<std::thread> heirs;
  for (int worker = 0; worker < kWorkers; ++worker) {
    heirs.emplace_back(
        [&trees, worker] { trees[static_cast<std::size_t>(worker)] = Tree_NodePtr(); });
  }
  for (std::thread& thread : heirs) thread.join();
  EXPECT_EQ(before, PoolFigures::Now());
}

// Pools may be sized while others take from them.
TEST(ThreadsWithTreesOfTheirOwn, AllowThePoolsToBeResizedMeanwhile) {
  const PoolFigures before = PoolFigures::Now();
  {
    Crew crew(kWorkers);
    std::vector<int> wrong(kWorkers, 0);
    crew.Run([&](int worker) {
      for (int i = 0; i < 30; ++i) {
        if (worker == 0) Tree_Node::InitNodesPool(10'000 + i);
        wrong[static_cast<std::size_t>(worker)] += LiveThrough(i);
      }
    });
    EXPECT_EQ(std::vector<int>(kWorkers, 0), wrong);
  }
  EXPECT_EQ(before, PoolFigures::Now());
}

}  // namespace
