#ifndef TREE_TESTS_FUZZ_POOLS_H
#define TREE_TESTS_FUZZ_POOLS_H

#include <climits>

#include "support/LeakCheck.h"

namespace fuzz {

// While one lives, nodes, values and handles come from the heap, where a sanitizer sees
// each of them; blocks of pools are its blind spot.
class WithoutPools {
 public:
  WithoutPools() { FailNext(INT_MAX); }
  ~WithoutPools() { FailNext(0); }
  WithoutPools(const WithoutPools&) = delete;
  WithoutPools& operator=(const WithoutPools&) = delete;

 private:
  static void FailNext(int allocations) {
    for (Zel_PoolAllocator* pool :
         {&NodesPool(), &VectorsPool(), &ElementsPool(), &ValuesPool(), &RecordsPool()}) {
      pool->FailNextAllocations(allocations);
    }
  }
};

}  // namespace fuzz

#endif  // TREE_TESTS_FUZZ_POOLS_H
