// mimalloc by its own functions, beside the general heap and not in its place.

#ifndef BENCH_SUPPORT_MIMALLOC_API_H
#define BENCH_SUPPORT_MIMALLOC_API_H

#include <cstddef>

namespace bench {

struct MimallocApi {
  void* (*allocate)(std::size_t size);
  void (*free)(void* block);
  // Whether mimalloc handed out the block.
  bool (*owns)(const void* block);
};

// Ends the program when the library can't be loaded.
const MimallocApi& Mimalloc();

}  // namespace bench

#endif  // BENCH_SUPPORT_MIMALLOC_API_H
