// Counting heap: every block that the process takes from the general heap, whoever asks.
//
// A program that links counting_heap.cpp has its malloc, calloc, realloc, free and their
// aligned forms go through a count, those of shared libraries and operator new included.
// The C library's own heap does the work.  Counts are exact while one thread is at work.

#ifndef BENCH_SUPPORT_COUNTING_HEAP_H
#define BENCH_SUPPORT_COUNTING_HEAP_H

#include <cstdint>

namespace bench {

struct HeapCounts {
  std::uint64_t calls = 0;  // that took a block or gave one back; a realloc is one
  // Of blocks in use, as the heap rounds them up, and the 8 bytes that it keeps for each.
  std::uint64_t bytes = 0;
};

HeapCounts CountHeap();

}  // namespace bench

#endif  // BENCH_SUPPORT_COUNTING_HEAP_H
