#ifndef ZEL_PAGEMAP_H
#define ZEL_PAGEMAP_H

#include <atomic>
#include <cstddef>
#include <cstdint>

class Zel_PoolAllocator;

// Which block of which pool a page of memory belongs to.
//
// The map is a radix tree of two levels over the page numbers of 48-bit
// addresses.  Its first level is static memory that the system backs only
// where it is touched (2 MiB of address space); a second level covers 1 GiB
// of addresses and is made, and kept, when the first block lies there.
//
// Threads: look-ups take no lock and may run while entries come and go.
namespace zel_page_map {

inline constexpr std::size_t kPageBytes = 4096;
inline constexpr unsigned kPageShift = 12;

// Which elements of a block are free, for the pool under its lock.  It is written all the time
// and therefore has memory of its own, away from what look-ups read.
struct FreeBits {
  std::uint64_t* Words() noexcept { return reinterpret_cast<std::uint64_t*>(this + 1); }

  std::uint64_t elements;    // bits that are set
  std::uint64_t first_word;  // none is set before this word
  const struct Block* block;
  FreeBits* next;  // in the pool's queue of those that have some
};

// A block of a pool.  Descriptors are recycled but never freed, so a look-up
// of a page that another thread is just removing reads a descriptor, if
// perhaps no longer that page's: the answer "not in this pool" stays right,
// since the blocks of a pool stay while the pool lives.
struct Block {
  std::atomic<const Zel_PoolAllocator*> pool{nullptr};
  std::atomic<std::uintptr_t> base{0};
  std::atomic<std::uint64_t> elements{0};
  std::size_t bytes = 0;
  Block* next = nullptr;  // of the same pool, or of the free descriptors
  FreeBits* free = nullptr;
};

inline constexpr unsigned kLevelBits = 18;
inline constexpr std::size_t kLevelEntries = std::size_t{1} << kLevelBits;

struct Leaf {
  std::atomic<Block*> blocks[kLevelEntries];
};

extern constinit std::atomic<Leaf*> g_root[kLevelEntries];

// The block that the page of `address` belongs to; null when it is no pool's.
inline const Block* Find(const void* address) noexcept {
  const std::uint64_t page = reinterpret_cast<std::uintptr_t>(address) >> kPageShift;
  if ((page >> (2 * kLevelBits)) != 0) return nullptr;
  const Leaf* const leaf = g_root[page >> kLevelBits].load(std::memory_order_acquire);
  if (leaf == nullptr) return nullptr;
  return leaf->blocks[page & (kLevelEntries - 1)].load(std::memory_order_acquire);
}

// The same for an address that is certainly in a block of the caller's.
inline Block* FindOwn(const void* address) noexcept {
  const std::uint64_t page = reinterpret_cast<std::uintptr_t>(address) >> kPageShift;
  return g_root[page >> kLevelBits]
      .load(std::memory_order_relaxed)
      ->blocks[page & (kLevelEntries - 1)]
      .load(std::memory_order_relaxed);
}

// Takes a block of `elements` elements, `bytes` bytes of whole pages, from
// zel_regions and enters it.  Null when memory runs out or lies beyond the map.
Block* NewBlock(const Zel_PoolAllocator* pool, std::size_t elements, std::size_t bytes) noexcept;

// Removes the block from the map and gives its memory back.
void FreeBlock(Block* block) noexcept;

}  // namespace zel_page_map

#endif  // ZEL_PAGEMAP_H
