// Handles that several threads copy, pass on and release.
//
// Each thread uses handle objects of its own; what they share are the nodes.  Whoever
// lets go last destroys the node, exactly once, with everything below it: the figures of
// the pools tell.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <random>
#include <string>
#include <utility>
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

// Two levels, wide enough for an index.
Tree_NodePtr MakeTree(int children) {
  Tree_NodePtr top = Inner("top");
  for (int i = 0; i < children; ++i) {
    Tree_NodePtr child = Inner(Number("n", i), {Leaf("leaf", Number("v", i)), Inner("empty")});
    top->Add(child);
  }
  return top;
}

constexpr int NodesOf(int children) {
  return 1 + 3 * children;
}

TEST(HandlesInThreads, AreCountedExactly) {
  const PoolFigures before = PoolFigures::Now();
  {
    Tree_NodePtr top = MakeTree(3);
    Crew crew(kWorkers);
    std::vector<std::vector<Tree_NodePtr>> kept(kWorkers);
    crew.Run([&](int worker) {
      std::vector<Tree_NodePtr>& mine = kept[static_cast<std::size_t>(worker)];
      mine.resize(10);
      for (std::size_t i = 0; i < 50'000; ++i) {
        const std::size_t slot = i % mine.size();
        // From the common handle, from one's own handles, from slots of the tree.
        if (i % 3 == 0) mine[slot] = top;
        if (i % 3 == 1) mine[slot] = mine[(slot + 3) % mine.size()];
        if (i % 3 == 2) mine[slot] = top->GetChildAt(static_cast<int>(i % 7 % 3));
        if (i % 5 == 0) mine[slot] = Tree_NodePtr();
      }
    });
    std::uint32_t handles_to_top = 1;
    std::uint32_t handles_to_children = 3;
    for (const std::vector<Tree_NodePtr>& mine : kept) {
      for (const Tree_NodePtr& handle : mine) {
        if (handle == top) ++handles_to_top;
        if (!handle.isNull() && handle != top) ++handles_to_children;
      }
    }
    EXPECT_EQ(handles_to_top, top.UseCount());
    std::uint32_t counted = 0;
    for (int i = 0; i < 3; ++i) counted += top->GetChildAt(i).UseCount();
    EXPECT_EQ(handles_to_children, counted);
  }
  EXPECT_EQ(before, PoolFigures::Now());
}

// All threads hold the tree and let go together: one of them was the last.
TEST(HandlesInThreads, DestroyTheTreeOnceWhenReleasedTogether) {
  const PoolFigures before = PoolFigures::Now();
  Crew crew(kWorkers);
  for (int round = 0; round < 300; ++round) {
    std::vector<Tree_NodePtr> held(kWorkers, MakeTree(round % 40));
    ASSERT_EQ(static_cast<std::uint32_t>(kWorkers), held[0].UseCount());
    crew.Run([&](int worker) { held[static_cast<std::size_t>(worker)] = Tree_NodePtr(); });
    ASSERT_EQ(before, PoolFigures::Now());
  }
}

// Each thread holds another node of one tree, the first of them the top.  A node that is
// still held outlives its parent and then stands alone.
TEST(HandlesInThreads, ReleaseDifferentNodesOfOneTreeTogether) {
  const PoolFigures before = PoolFigures::Now();
  Crew crew(kWorkers);
  for (int round = 0; round < 300; ++round) {
    std::vector<Tree_NodePtr> held(kWorkers);
    held[0] = MakeTree(30);
    held[1] = held[0]->GetChildAt(0);
    held[2] = held[1]->GetChildAt(0);
    held[3] = held[0]->GetChildAt(29);
    const bool keep_one = round % 2 == 0;
    crew.Run([&](int worker) {
      if (keep_one && worker == 2) return;
      held[static_cast<std::size_t>(worker)] = Tree_NodePtr();
    });
    if (keep_one) {
      ASSERT_EQ(1u, held[2].UseCount());
      ASSERT_EQ(nullptr, held[2]->GetParent());
      ASSERT_EQ(RWCString("v0"), held[2]->GetTreeValue()->GetValue());
      held[2] = Tree_NodePtr();
    }
    ASSERT_EQ(before, PoolFigures::Now());
  }
}

TEST(HandlesInThreads, PassTreesFromOneThreadToTheNext) {
  const PoolFigures before = PoolFigures::Now();
  {
    Crew crew(kWorkers);
    std::vector<Tree_NodePtr> boxes(kWorkers);
    for (int round = 0; round < 40; ++round) {
      crew.Run(
          [&](int worker) { boxes[static_cast<std::size_t>(worker)] = MakeTree(200 + worker); });
      EXPECT_EQ(NodesOf(200) * kWorkers + 3 * (0 + 1 + 2 + 3), (PoolFigures::Now() - before).nodes);
      // Another thread goes on with the tree, adds to it and destroys it.
      crew.Run([&](int worker) {
        Tree_NodePtr& box = boxes[static_cast<std::size_t>(worker + 1) % kWorkers];
        Tree_Path path("made\\elsewhere");
        box->GetOrCreateRelativeNode(path, box);
        box->Remove("n7");
        box = Tree_NodePtr();
      });
      ASSERT_EQ(before, PoolFigures::Now());
    }
  }
  EXPECT_EQ(before, PoolFigures::Now());
}

// A market: every thread puts trees on common shelves and takes others from them.
TEST(HandlesInThreads, TradeTreesInAnyOrder) {
  const PoolFigures before = PoolFigures::Now();
  {
    std::vector<Tree_NodePtr> shelves(16);
    std::mutex mutex;
    Crew crew(kWorkers);
    crew.Run([&](int worker) {
      std::mt19937 random(static_cast<unsigned>(worker));
      for (int i = 0; i < 2000; ++i) {
        Tree_NodePtr mine = MakeTree(static_cast<int>(random() % 8));
        {
          std::lock_guard<std::mutex> guard(mutex);
          shelves[random() % shelves.size()].Swap(mine);
        }
        if (mine.isNull()) continue;
        EXPECT_EQ(NodesOf(mine->GetChildCount()), mine->GetNodeNum());
      }
    });
  }
  EXPECT_EQ(before, PoolFigures::Now());
}

}  // namespace
