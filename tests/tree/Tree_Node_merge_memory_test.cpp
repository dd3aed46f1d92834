// Merge and MergeOneLevel with pools and a heap that yield nothing.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include "Tree/Tree_Node.h"
#include "Zel/Zel_PoolAllocator.h"
#include "support/LeakCheck.h"
#include "support/TreeMerging.h"
#include "support/TreeText.h"

namespace {

using namespace merging;

constexpr const char* kBaseInShortage =
    "t(a(x=1,y(z=1)),b=1,v(blobencoding=b,chunk0000=1,chunk0001=2),n(o(p=1)),a(w=1))";
constexpr const char* kOverrideInShortage =
    "t(v(blobencoding=z,chunk0000=9),a(x=2,y(q=2)),k=2,m(n))";
constexpr const char* kMergedInShortage =
    "t(k=2,m(n),b=1,v(blobencoding=z,chunk0000=9),n(o(p=1)),a(x=2,y(q=2,z=1),w=1))";

class MergeInShortage : public testing::Test {
 protected:
  ~MergeInShortage() override {
    for (Zel_PoolAllocator* pool : m_pools) pool->FailNextAllocations(0);
  }
  const std::vector<Zel_PoolAllocator*> m_pools = {&NodesPool(), &VectorsPool(), &ElementsPool(),
                                                   &ValuesPool(), &RecordsPool()};
};

TEST_F(MergeInShortage, TakesFromTheHeapWhatThePoolsDoNotYield) {
  Tree_NodePtr base = Plant(kBaseInShortage);
  Tree_NodePtr override = Plant(kOverrideInShortage);
  const PoolFigures before = PoolFigures::Now();
  for (std::size_t failing = 0; failing <= m_pools.size(); ++failing) {
    SCOPED_TRACE(failing);
    for (std::size_t i = 0; i < m_pools.size(); ++i) {
      if (i == failing || failing == m_pools.size()) m_pools[i]->FailNextAllocations(1000000);
    }
    Tree_NodePtr merged = Tree_Node::Merge(base, override);
    Tree_NodePtr one_level = Tree_Node::MergeOneLevel(base, override);
    if (failing == m_pools.size()) {
      EXPECT_EQ(before, PoolFigures::Now());
    }
    for (Zel_PoolAllocator* pool : m_pools) pool->FailNextAllocations(0);
    EXPECT_EQ(kMergedInShortage, Draw(merged));
    EXPECT_EQ("t(v(blobencoding=z,chunk0000=9),a(x=2,y(q=2)),k=2,m(n),b=1,n(o(p=1)))",
              Draw(one_level));
  }
  EXPECT_EQ(before, PoolFigures::Now());
}

// Every pool and then the heap, after each number of allocations that may be.
TEST_F(MergeInShortage, LetsTheFailureThroughAndLosesNothing) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Tree_NodePtr base = Plant(kBaseInShortage);
  Tree_NodePtr override = Plant(kOverrideInShortage);
  for (const Operation operation : {Tree_Node::Merge, Tree_Node::MergeOneLevel}) {
    const PoolFigures before = PoolFigures::Now();
    const std::vector<Place> base_places = Places(base);
    const std::vector<Place> override_places = Places(override);
    int failures = 0;
    for (bool done = false; !done;) {
      for (Zel_PoolAllocator* pool : m_pools) pool->FailNextAllocations(1000000);
      const std::int64_t heap_before = HeapLiveBlocks();
      try {
        const HeapDenied denied(failures);
        operation(base, override);
        done = true;
      } catch (const std::bad_alloc&) {
        ++failures;
      }
      for (Zel_PoolAllocator* pool : m_pools) pool->FailNextAllocations(0);
      ASSERT_EQ(heap_before, HeapLiveBlocks()) << failures;
      ASSERT_EQ(before, PoolFigures::Now()) << failures;
      ASSERT_EQ(base_places, Places(base));
      ASSERT_EQ(override_places, Places(override));
      ASSERT_LT(failures, 10000);
    }
    // At the least each node of the copies.
    EXPECT_GT(failures, 20);
    EXPECT_EQ(kBaseInShortage, Draw(base));
    EXPECT_EQ(kOverrideInShortage, Draw(override));
  }
}

}  // namespace
