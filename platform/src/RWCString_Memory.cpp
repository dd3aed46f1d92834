#include "RWCString_Memory.h"

#include <cstdint>
#include <cstdlib>

#include "ThreadAPI/Mutex.h"
#include "ThreadAPI/ThreadAPI_Lane.h"
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

// Threads that fill memory at the same time fill different chunks: none waits for the
// other, and what one has written does not lie in the other's cache.
struct alignas(64) Arena {
  // What is behind the link in `memory`, null for none, which becomes a chunk.
  char* AddChunk(void* memory) {
    Chunk* const chunk = static_cast<Chunk*>(memory);
    if (chunk == nullptr) throw std::bad_alloc();
    chunk->next = chunks;
    chunks = chunk;
    return reinterpret_cast<char*>(chunk + 1);
  }

  Mutex mutex;
  Chunk* chunks = nullptr;
  char* next = nullptr;
  std::size_t left = 0;
};

constexpr unsigned kArenas = 16;
constinit Arena g_arenas[kArenas];

Arena& OwnArena() noexcept {
  return g_arenas[ThreadAPI_Lane() % kArenas];
}

}  // namespace

void* TakePermanent(std::size_t bytes, std::size_t alignment) {
  Arena& arena = OwnArena();
  ThreadAPI_LockGuard guard(arena.mutex);
  // Not the plain operator new: whoever counts its calls looks for what has to be given back.
  if (bytes > kLargePiece) return arena.AddChunk(std::malloc(sizeof(Chunk) + bytes));
  const std::size_t skipped = -reinterpret_cast<std::uintptr_t>(arena.next) & (alignment - 1);
  if (bytes + skipped > arena.left) {
    arena.left = 0;
    arena.next = arena.AddChunk(zel_regions::Take(kChunkBytes));
    arena.left = kChunkBytes - sizeof(Chunk);
  } else {
    arena.next += skipped;
    arena.left -= skipped;
  }
  char* const memory = arena.next;
  arena.next += bytes;
  arena.left -= bytes;
  return memory;
}

void ReturnPermanent(void* memory, std::size_t bytes) noexcept {
  Arena& arena = OwnArena();
  ThreadAPI_LockGuard guard(arena.mutex);
  if (bytes > kLargePiece) {
    Chunk* const chunk = static_cast<Chunk*>(memory) - 1;
    if (chunk != arena.chunks) return;
    arena.chunks = chunk->next;
    std::free(chunk);
  } else if (static_cast<char*>(memory) + bytes == arena.next) {
    arena.next -= bytes;
    arena.left += bytes;
  }
}

}  // namespace rwcstring_memory
