#include "Zel_PageMap.h"

#include <cstdlib>
#include <new>

#include "ThreadAPI/ThreadAPI_LockGuard.h"
#include "Zel_Regions.h"

namespace zel_page_map {

constinit std::atomic<Leaf*> g_root[kLevelEntries] = {};

namespace {

// Guards the making of second levels and the list of free descriptors.
constinit Mutex g_mutex;
constinit Block* g_free_blocks = nullptr;

constexpr std::size_t kBlocksPerChunk = 64;

// Chunks of descriptors, chained so that leak checkers can reach them.
struct Chunk {
  Chunk* next = nullptr;
  Block blocks[kBlocksPerChunk];
};
constinit Chunk* g_chunks = nullptr;

Block* TakeDescriptor() noexcept {
  ThreadAPI_LockGuard guard(g_mutex);
  if (g_free_blocks == nullptr) {
    // Not operator new: whoever counts its calls looks for what has to be given back.
    void* const memory = std::malloc(sizeof(Chunk));
    if (memory == nullptr) return nullptr;
    Chunk* const chunk = ::new (memory) Chunk;
    chunk->next = g_chunks;
    g_chunks = chunk;
    for (Block& block : chunk->blocks) {
      block.next = g_free_blocks;
      g_free_blocks = &block;
    }
  }
  Block* const block = g_free_blocks;
  g_free_blocks = block->next;
  return block;
}

void ReturnDescriptor(Block* block) noexcept {
  block->pool.store(nullptr, std::memory_order_release);
  ThreadAPI_LockGuard guard(g_mutex);
  block->next = g_free_blocks;
  g_free_blocks = block;
}

// The second level for `page`, made when it does not exist.
Leaf* LeafOf(std::uint64_t page) noexcept {
  if ((page >> (2 * kLevelBits)) != 0) return nullptr;
  std::atomic<Leaf*>& slot = g_root[page >> kLevelBits];
  Leaf* leaf = slot.load(std::memory_order_acquire);
  if (leaf != nullptr) return leaf;
  ThreadAPI_LockGuard guard(g_mutex);
  leaf = slot.load(std::memory_order_relaxed);
  if (leaf != nullptr) return leaf;
  // Zeroed memory of this size comes straight from the system, which backs
  // only the pages that are written.  All-zero is the null pointer.
  leaf = static_cast<Leaf*>(std::calloc(1, sizeof(Leaf)));
  slot.store(leaf, std::memory_order_release);
  return leaf;
}

// Enters `block` (or null) for every page from `first` to `last`.
bool SetPages(std::uint64_t first, std::uint64_t last, Block* block) noexcept {
  for (std::uint64_t page = first; page <= last;) {
    Leaf* const leaf = LeafOf(page);
    if (leaf == nullptr) return false;
    do {
      leaf->blocks[page & (kLevelEntries - 1)].store(block, std::memory_order_release);
      ++page;
    } while (page <= last && (page & (kLevelEntries - 1)) != 0);
  }
  return true;
}

void ClearPages(std::uint64_t first, std::uint64_t last) noexcept {
  for (std::uint64_t page = first; page <= last; ++page) {
    // Entering may have stopped short of this page's second level.
    if ((page >> (2 * kLevelBits)) != 0) return;
    Leaf* const leaf = g_root[page >> kLevelBits].load(std::memory_order_acquire);
    if (leaf == nullptr) return;
    leaf->blocks[page & (kLevelEntries - 1)].store(nullptr, std::memory_order_release);
  }
}

}  // namespace

Block* NewBlock(const Zel_PoolAllocator* pool, std::size_t elements, std::size_t bytes) noexcept {
  void* const memory = zel_regions::Take(bytes);
  if (memory == nullptr) return nullptr;
  Block* const block = TakeDescriptor();
  if (block == nullptr) {
    zel_regions::Return(memory, bytes);
    return nullptr;
  }
  const auto base = reinterpret_cast<std::uintptr_t>(memory);
  block->base.store(base, std::memory_order_relaxed);
  block->elements.store(elements, std::memory_order_relaxed);
  block->bytes = bytes;
  block->next = nullptr;
  block->free = static_cast<FreeBits*>(
      std::calloc(1, sizeof(FreeBits) + (elements + 63) / 64 * sizeof(std::uint64_t)));
  if (block->free != nullptr) block->free->block = block;
  block->pool.store(pool, std::memory_order_release);
  if (block->free == nullptr ||
      !SetPages(base >> kPageShift, (base + bytes - 1) >> kPageShift, block)) {
    FreeBlock(block);
    return nullptr;
  }
  return block;
}

void FreeBlock(Block* block) noexcept {
  const std::uintptr_t base = block->base.load(std::memory_order_relaxed);
  const std::size_t bytes = block->bytes;
  ClearPages(base >> kPageShift, (base + bytes - 1) >> kPageShift);
  std::free(block->free);
  ReturnDescriptor(block);
  zel_regions::Return(reinterpret_cast<void*>(base), bytes);
}

}  // namespace zel_page_map
