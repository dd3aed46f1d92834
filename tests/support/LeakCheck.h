// Every test leaves the pools and the heap as it found them.
//
// USE     Link test_main.cpp, which runs all tests through RunAllTests().  A test
//         that leaves more or less behind than it found fails.  The few operations
//         that are meant to lose something are declared by their tests:
//
//           EXPECT_THROW(vec.insertAt(7, child), RWBoundsErr);
//           ExpectLost({.nodes = 1, .elements = 1, .records = 1});
//
//         The declaration must be exact: losing less is a failure as well.
//
// INSIDE  Pools are compared by their elements in use, each pool for itself.  The
//         heap is compared by the number of live blocks, which replacements of the
//         global operator new and delete count, or on Windows what RuntimeHeap.h puts
//         behind them, and of short strings, whose memory comes from pools.
//         Strings that were interned stay, and so do the blocks of a pool that grew
//         and whatever a library makes on first use.  Each of these happens once: a
//         test whose heap differs is run again, up to two times, when its strings are
//         known and its pools are large enough.  It fails when its heap differs every
//         time.  (Once again is not always enough: a test that loses an element may
//         have used up the last one that the next test needs.)
//
// Under a sanitizer the heap is not counted, since the sanitizer looks after it; nor
// with a compiler for Windows other than mingw's gcc.

#ifndef TREE_TESTS_SUPPORT_LEAKCHECK_H
#define TREE_TESTS_SUPPORT_LEAKCHECK_H

#include <cstdint>

#include "Zel/Zel_PoolAllocator.h"

struct LostElements {
  int nodes = 0;
  int vectors = 0;
  int elements = 0;  // of children vectors
  int values = 0;
  int records = 0;  // of handles
};

// Declares what the running test loses.  Declarations of one test add up.
void ExpectLost(const LostElements& lost);

// Appends the leak-checking listener, runs all tests, and those again whose heap
// differed.  The result is that of RUN_ALL_TESTS().
int RunAllTests();

// --- The pools of the tree ----------------------------------------------------

Zel_PoolAllocator& NodesPool();
Zel_PoolAllocator& VectorsPool();
Zel_PoolAllocator& ElementsPool();
Zel_PoolAllocator& ValuesPool();
Zel_PoolAllocator& RecordsPool();

// Elements in use in each of them.
struct PoolFigures {
  std::int64_t nodes;
  std::int64_t vectors;
  std::int64_t elements;
  std::int64_t values;
  std::int64_t records;

  static PoolFigures Now();

  friend PoolFigures operator-(const PoolFigures& a, const PoolFigures& b) {
    return {a.nodes - b.nodes, a.vectors - b.vectors, a.elements - b.elements, a.values - b.values,
            a.records - b.records};
  }
  friend bool operator==(const PoolFigures& a, const PoolFigures& b) {
    return a.nodes == b.nodes && a.vectors == b.vectors && a.elements == b.elements &&
           a.values == b.values && a.records == b.records;
  }
};

// So that a failed comparison prints its figures.
template <class Stream>
Stream& operator<<(Stream& out, const PoolFigures& figures) {
  out << "nodes " << figures.nodes << ", vectors " << figures.vectors << ", elements "
      << figures.elements << ", values " << figures.values << ", records " << figures.records;
  return out;
}

// --- The heap -------------------------------------------------------------------

bool HeapIsCounted();

// Blocks that are live now, and blocks that were ever made; 0 when not counted.
std::int64_t HeapLiveBlocks();
std::int64_t HeapBlocksMade();

// While one lives, operator new on this thread throws std::bad_alloc, after the first
// `allowed` calls (where the heap is counted; elsewhere it has no effect).  One at a
// time.
class HeapDenied {
 public:
  explicit HeapDenied(int allowed = 0);
  ~HeapDenied();
  HeapDenied(const HeapDenied&) = delete;
  HeapDenied& operator=(const HeapDenied&) = delete;
};

#endif  // TREE_TESTS_SUPPORT_LEAKCHECK_H
