// Tree_Node::BuildSubTree with pools and a heap that yield nothing.
//
// Trees are drawn as in support/TreeText.h, records written as in support/TreeRecords.h.

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "Zel/Zel_PoolAllocator.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeBuilding.h"
#include "support/TreeRecords.h"
#include "support/TreeText.h"

namespace {

using namespace building;

const Texts kManyKinds = {"a=1", "a=2",         "p",         "p|q=2", "p\\r\\s|t=3",
                          "u",   "u\\v\\w|x=4", "u\\v|y=5*", "z",     "z|long name of a leaf=6"};
const char* const kTreeOfManyKinds =
    "top(a=1,p(q=2,r(s(t=3))),u(v(w(x=4),y=5*)),z(long name of a leaf=6))";

std::vector<Zel_PoolAllocator*> AllPools() {
  return {&NodesPool(), &VectorsPool(), &ElementsPool(), &ValuesPool(), &RecordsPool()};
}

void FailAllPools(int times) {
  for (Zel_PoolAllocator* pool : AllPools()) pool->FailNextAllocations(times);
}

TEST(BuildSubTree, FallsBackToTheHeapWhenPoolsYieldNothing) {
  LogCapture log(3);
  for (Zel_PoolAllocator* pool : AllPools()) {
    for (int times : {1, 3, 1000}) {
      SCOPED_TRACE(testing::Message() << pool->GetName() << " " << times);
      RecordList* const list = NewList(kManyKinds);
      pool->FailNextAllocations(times);
      Tree_NodePtr built = Build(list);
      pool->FailNextAllocations(0);
      EXPECT_EQ(kTreeOfManyKinds, Draw(built));
    }
  }
  RecordList* const list = NewList(kManyKinds);
  const PoolFigures before = PoolFigures::Now();
  FailAllPools(1000);
  Tree_NodePtr built = Build(list);
  FailAllPools(0);
  EXPECT_EQ(before, PoolFigures::Now());
  EXPECT_EQ(kTreeOfManyKinds, Draw(built));
}

// Fails the building after every number of allocations, and counts how often it failed.
int FailEveryAllocationOf(const Texts& records, const std::string& tree, int pool_failures) {
  Tree_NodePtr asked = Inner("asked");
  RWCString root_path("sys\\main\\top");
  for (int allowed = 0;; ++allowed) {
    SCOPED_TRACE(testing::Message() << allowed << " allocations");
    const PoolFigures figures = PoolFigures::Now();
    const std::int64_t blocks = HeapLiveBlocks();
    RecordList* const list = NewList(records);
    bool is_built = false;
    std::string drawn;
    try {
      FailAllPools(pool_failures);
      Tree_NodePtr built;
      {
        HeapDenied denied(allowed);
        built = asked->BuildSubTree(list, root_path);
      }
      is_built = true;
      drawn = Draw(built);
    } catch (const std::bad_alloc&) {
    }
    FailAllPools(0);
    // The list is gone either way, and so are its records.
    EXPECT_EQ(figures, PoolFigures::Now());
    if (is_built) {
      EXPECT_EQ(tree, drawn);
      return allowed;
    }
    EXPECT_EQ(blocks, HeapLiveBlocks());
  }
}

TEST(BuildSubTree, LetsGoOfEverythingWhenMemoryRunsOut) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  LogCapture silence(0);
  Build(NewList(kManyKinds), "sys\\main\\top");            // interns the names
  FailEveryAllocationOf(kManyKinds, kTreeOfManyKinds, 0);  // needs few blocks, if any
  EXPECT_GT(FailEveryAllocationOf(kManyKinds, kTreeOfManyKinds, 1'000'000), 15);
}

TEST(BuildSubTree, LetsGoOfEverythingWhenMemoryRunsOutAndRecordsGoAstray) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  LogCapture silence(0);
  Texts records = kManyKinds;
  records.insert(records.end(), {"z\\long name of a leaf|m=1", "zz=1", "zz|m=2", "zzz=3"});
  // The last inner node takes the first of them; zz\m goes there as well.
  const Texts failing = {"a\\b|c=1", "m=1", "m|n=2", "z=3"};
  Build(NewList(records));
  Build(NewList(failing));
  FailEveryAllocationOf(records,
                        "top(a=1,p(q=2,r(s(t=3))),u(v(w(x=4),y=5*)),"
                        "z(long name of a leaf=6,m=1),zz=1,zzz=3)",
                        1'000'000);
  FailEveryAllocationOf(failing, "null", 1'000'000);
}

}  // namespace
