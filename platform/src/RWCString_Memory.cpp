#include "RWCString_Memory.h"

#include <cstdint>
#include <cstdlib>

#include "ThreadAPI/Mutex.h"
#include "ThreadAPI/ThreadAPI_LockGuard.h"
#include "Zel_Regions.h"

namespace rwcstring_memory {

// ------------------------------------------------------------------- Pools

constinit std::atomic<Zel_PoolAllocator*> g_pools[kPools] = {};

namespace {

constexpr int kAlignment = 8;
constexpr short kUnknownBlockNumber = -1;

// A program with few strings should not pay for many, and eight pages are enough to go
// to the heap seldom.
constexpr std::size_t kBlockBytes = std::size_t{32} * 1024;

constinit Mutex g_making_mutex;

}  // namespace

// All at once, so that they are made early: only so many pools can have thread caches.
void MakePools() {
  ThreadAPI_LockGuard guard(g_making_mutex);
  for (std::size_t i = 0; i < kPools; ++i) {
    if (g_pools[i].load(std::memory_order_relaxed) != nullptr) continue;
    const std::size_t size = kSmallestSize + i * kSizeStep;
    auto* const pool =
        new Zel_PoolAllocator("RWCString", static_cast<short>(size), kUnknownBlockNumber,
                              static_cast<int>(kBlockBytes / size), kAlignment, true);
    g_pools[i].store(pool, std::memory_order_release);
  }
}

namespace {

// Whoever visits all pools may make strings meanwhile, but no pool.
[[maybe_unused]] const bool g_made_at_load = (kFromHeap ? void() : MakePools(), true);

// ------------------------------------------------------ Permanent memory
//
// Chunks are chained from a static, so that leak checkers see them as reachable.

struct Chunk {
  Chunk* next;
};

constexpr std::size_t kChunkBytes = std::size_t{64} * 1024;

// Larger pieces get a chunk of their own: they would waste the rest of the
// present chunk.
constexpr std::size_t kLargePiece = kChunkBytes / 8;

constinit Mutex g_arena_mutex;
constinit Chunk* g_chunks = nullptr;
constinit char* g_arena_next = nullptr;
constinit std::size_t g_arena_left = 0;

// `bytes`, the link included.
char* NewChunk(std::size_t bytes) {
  // Not the plain operator new: whoever counts its calls looks for what has to be given back.
  void* const memory = bytes == kChunkBytes ? zel_regions::Take(bytes) : std::malloc(bytes);
  Chunk* const chunk = static_cast<Chunk*>(memory);
  if (chunk == nullptr) throw std::bad_alloc();
  chunk->next = g_chunks;
  g_chunks = chunk;
  return reinterpret_cast<char*>(chunk + 1);
}

}  // namespace

void* TakePermanent(std::size_t bytes, std::size_t alignment) {
  ThreadAPI_LockGuard guard(g_arena_mutex);
  if (bytes > kLargePiece) return NewChunk(sizeof(Chunk) + bytes);
  const std::size_t skipped = -reinterpret_cast<std::uintptr_t>(g_arena_next) & (alignment - 1);
  if (bytes + skipped > g_arena_left) {
    g_arena_left = 0;
    g_arena_next = NewChunk(kChunkBytes);
    g_arena_left = kChunkBytes - sizeof(Chunk);
  } else {
    g_arena_next += skipped;
    g_arena_left -= skipped;
  }
  char* const memory = g_arena_next;
  g_arena_next += bytes;
  g_arena_left -= bytes;
  return memory;
}

}  // namespace rwcstring_memory
