#include "support/counting_heap.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstddef>

// The C library's own functions, which stay reachable under these names.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}

namespace {

constexpr std::uint64_t kHeader = 8;

std::atomic<std::uint64_t> g_calls{0};
std::atomic<std::uint64_t> g_bytes{0};

void* Taken(void* block) {
  g_calls.fetch_add(1, std::memory_order_relaxed);
  if (block != nullptr) {
    g_bytes.fetch_add(malloc_usable_size(block) + kHeader, std::memory_order_relaxed);
  }
  return block;
}

void Forget(void* block) {
  if (block == nullptr) return;
  g_bytes.fetch_sub(malloc_usable_size(block) + kHeader, std::memory_order_relaxed);
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  return Taken(__libc_malloc(size));
}
void* calloc(std::size_t count, std::size_t size) {
  return Taken(__libc_calloc(count, size));
}
void* realloc(void* block, std::size_t size) {
  Forget(block);
  return Taken(__libc_realloc(block, size));
}
void* memalign(std::size_t alignment, std::size_t size) {
  return Taken(__libc_memalign(alignment, size));
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return Taken(__libc_memalign(alignment, size));
}
int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  *block = Taken(__libc_memalign(alignment, size));
  return *block == nullptr ? ENOMEM : 0;
}
void free(void* block) {
  if (block == nullptr) return;
  g_calls.fetch_add(1, std::memory_order_relaxed);
  Forget(block);
  __libc_free(block);
}

}  // extern "C"

namespace bench {

HeapCounts CountHeap() {
  return {g_calls.load(std::memory_order_relaxed), g_bytes.load(std::memory_order_relaxed)};
}

}  // namespace bench
