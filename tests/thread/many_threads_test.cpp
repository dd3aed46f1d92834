// A thousand threads come and go.  What a thread keeps for itself (free elements of the
// pools, the parameters of a log line that is being written) must go with it and lose
// nothing, whichever way the system destroys such things.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "Tree/Tree_Node.h"
#include "Zel/Zel_LogFile.h"
#include "support/LeakCheck.h"
#include "support/TreeMaking.h"

namespace {

constexpr int kThreads = 1000;
constexpr int kAtATime = 8;
constexpr int kNodes = 50;

Tree_NodePtr SomeTree(int seed) {
  Tree_NodePtr top = Inner("top");
  for (int i = 1; i < kNodes; ++i) {
    Tree_NodePtr leaf = Leaf("leaf", std::to_string((seed + i) % 100).c_str());
    top->Add(leaf);
  }
  return top;
}

// Runs `life` on kThreads threads, kAtATime of them side by side, each for a number of its
// own.
template <class Life>
void RunThreads(const Life& life) {
  for (int first = 0; first < kThreads; first += kAtATime) {
    std::vector<std::thread> threads;
    for (int i = first; i < first + kAtATime; ++i) threads.emplace_back(life, i);
    for (std::thread& thread : threads) thread.join();
  }
}

std::uint64_t BlocksOfAllPools() {
  std::uint64_t blocks = 0;
  Zel_PoolAllocator::VisitAll([&](Zel_PoolAllocator& pool) { blocks += pool.GetStats().blocks; });
  return blocks;
}

std::uint64_t CachedByThreads(Zel_PoolAllocator& pool) {
  return pool.GetStats().elements_cached;
}

TEST(ManyThreads, BuildAndDropTreesAndLoseNoBlock) {
  // Strings are interned and the first blocks taken.
  RunThreads([](int seed) { SomeTree(seed); });

  const PoolFigures in_use = PoolFigures::Now();
  const std::uint64_t blocks = BlocksOfAllPools();
  const std::uint64_t cached = CachedByThreads(NodesPool());
  std::atomic<int> wrong{0};
  RunThreads([&](int seed) {
    Tree_NodePtr top = SomeTree(seed);
    Tree_NodePtr copy = top->DuplicateFromHereDown(false);
    if (top->GetNodeNum() != kNodes || copy->GetNodeNum() != kNodes) ++wrong;
  });
  EXPECT_EQ(0, wrong);
  EXPECT_EQ(in_use, PoolFigures::Now());
  // No element went with a thread: a thousand times fifty of them would be five blocks.
  EXPECT_LE(BlocksOfAllPools(), blocks + 1);
  EXPECT_EQ(cached, CachedByThreads(NodesPool())) << "a thread that ended still keeps elements";
}

TEST(ManyThreads, LeaveTheirTreesToAnother) {
  const PoolFigures before = PoolFigures::Now();
  const std::uint64_t blocks = BlocksOfAllPools();
  for (int round = 0; round < 4; ++round) {
    std::vector<Tree_NodePtr> trees(kThreads);
    RunThreads([&](int seed) { trees[static_cast<std::size_t>(seed)] = SomeTree(seed); });
    for (Tree_NodePtr& top : trees) EXPECT_EQ(kNodes, top->GetNodeNum());
    // Dropped by this thread, all of them.
    trees.clear();
    EXPECT_EQ(before, PoolFigures::Now());
    if (round > 0) continue;
    EXPECT_LE(BlocksOfAllPools(), blocks + 100) << "50,000 nodes, values, handles and records";
  }
  // The later rounds lived on what the first one gave back.
  EXPECT_LE(BlocksOfAllPools(), blocks + 100);
}

TEST(ManyThreads, WriteTheirOwnLogLines) {
  std::atomic<int> lines{0};
  std::atomic<int> strange{0};
  ZelGLog.SetSink([&](const Zel_LogRecord& record) {
    ++lines;
    // The text tells the line that the thread gave with it.
    if (record.text != std::to_string(record.line) || std::string(record.source) != "many") {
      ++strange;
    }
  });
  RunThreads([](int number) {
    for (int i = 0; i < 3; ++i) {
      const int line = 10 * number + i;
      if (ZelGLog.StoreParams("many", "threads", line, 3, 1, 1)) ZelGLog.Log("%d", line);
    }
  });
  ZelGLog.SetSink(nullptr);
  EXPECT_EQ(3 * kThreads, lines);
  EXPECT_EQ(0, strange);
}

}  // namespace
