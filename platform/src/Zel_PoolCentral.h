#ifndef ZEL_POOLCENTRAL_H
#define ZEL_POOLCENTRAL_H

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>

#include "ThreadAPI/Mutex.h"
#include "Zel/Zel_PoolAllocator.h"
#include "Zel_PageMap.h"
#include "Zel_PoolLinks.h"

namespace zel_pool {

struct ThreadCache;

// Elements per batch.  Large enough that the pool's lock is rarely taken, but
// two lists of a thread never hold more than 128 KiB, nor more than a quarter
// of a block: a small pool must not vanish into caches.
inline constexpr std::size_t kMostPerBatch = 256;
inline constexpr std::size_t kMostBatchBytes = std::size_t{64} * 1024;

inline std::size_t BatchFor(std::size_t element_size, int block_elements) noexcept {
  const std::size_t by_bytes = std::max<std::size_t>(1, kMostBatchBytes / element_size);
  const std::size_t elements = block_elements > 0 ? static_cast<std::size_t>(block_elements) : 0;
  const std::size_t by_block = std::max<std::size_t>(1, elements / 8);
  return std::min({kMostPerBatch, by_bytes, by_block});
}

}  // namespace zel_pool

// For the address of an element this is its index in the block.  For any other
// address it is larger than every index can be, so one comparison with the number
// of elements answers for their boundaries and for the end of the block.
inline std::uint64_t Zel_PoolAllocator::IndexIn(std::uintptr_t base,
                                                const void* element) const noexcept {
  const std::uint64_t offset = reinterpret_cast<std::uintptr_t>(element) - base;
  // The quotient for a multiple of the element size.
  return std::rotr(offset * m_odd_inverse, static_cast<int>(m_twos));
}

// The block that `element` is an element of; null when it is none of this pool.
inline const zel_page_map::Block* Zel_PoolAllocator::BlockOf(const void* element) const noexcept {
  const zel_page_map::Block* const block = zel_page_map::Find(element);
  if (block == nullptr || block->pool.load(std::memory_order_acquire) != this) return nullptr;
  const std::uint64_t index = IndexIn(block->base.load(std::memory_order_relaxed), element);
  return index < block->elements.load(std::memory_order_relaxed) ? block : nullptr;
}

// The part of a pool that all threads share; everything in it belongs to the
// holder of the lock unless it is atomic.
//
// Lock order: the list of pools, the list of threads, a pool, the page map.

struct Zel_PoolAllocator::Central {
  using Batch = zel_pool::Batch;
  using Block = zel_page_map::Block;
  using Link = zel_pool::Link;

  Central(Zel_PoolAllocator* owner, const char* pool_name)
      : pool(owner), name(pool_name == nullptr ? "" : pool_name) {}

  // Takes back a list of any length; never allocates.
  void Put(Batch list) noexcept {
    free_elements += list.count;
    Block* block = nullptr;
    std::uintptr_t base = 0;
    std::uint64_t elements = 0;
    // Neighbours often come one after the other; their bits are set together.
    std::uint64_t word = 0;
    std::uint64_t bits = 0;
    std::uint64_t bit_count = 0;
    for (Link* link = list.head; link != nullptr;) {
      Link* const next = zel_pool::NextOf(link);
      std::uint64_t index = pool->IndexIn(base, link);
      if (index / kWordBits != word || index >= elements) {
        if (bits != 0) PutIntoBlock(*block, word, bits, bit_count);
        bits = bit_count = 0;
        if (index >= elements) {
          block = zel_page_map::FindOwn(link);
          base = block->base.load(std::memory_order_relaxed);
          elements = block->elements.load(std::memory_order_relaxed);
          index = pool->IndexIn(base, link);
        }
        word = index / kWordBits;
      }
      bits |= std::uint64_t{1} << (index % kWordBits);
      ++bit_count;
      link = next;
    }
    if (bits != 0) PutIntoBlock(*block, word, bits, bit_count);
  }

  // Takes back neighbours of one block, the first one at `begin`.
  void PutRange(char* begin, std::size_t bytes) noexcept {
    Block& block = *zel_page_map::FindOwn(begin);
    const std::size_t size = pool->m_element_size;
    const std::uint64_t count = bytes / size;
    for (std::size_t at = 0; at != bytes; at += size) zel_pool::ReportIfFree(begin + at);
    VisitWords(pool->IndexIn(block.base.load(std::memory_order_relaxed), begin), count,
               [this, &block](std::uint64_t word, std::uint64_t bits, std::uint64_t bit_count) {
                 PutIntoBlock(block, word, bits, bit_count);
               });
    free_elements += count;
    zel_pool::Poison(begin, bytes);
  }

  // Up to a batch of free elements, in ascending order as far as they are of one block; an
  // empty list when there are none.
  Batch Take() noexcept { return TakeUpTo(batch); }

  // Sets `fresh` to a range of free neighbours and returns how many they are, `most` at
  // most; 0, and nothing happens, when the next free elements are no longer a range than it
  // takes a list to be as good.
  std::size_t TakeRange(std::size_t most, char*& fresh) noexcept {
    if (first_with_free == nullptr) return 0;
    Block& block = *first_with_free;
    const std::uint64_t first = FirstFree(block);
    std::uint64_t end = first;
    for (;;) {
      const std::uint64_t rest = block.free[end / kWordBits] >> (end % kWordBits);
      const auto ones = static_cast<std::uint64_t>(std::countr_one(rest));
      end += ones;
      // A word that is full up to its end may go on in the next one.
      if (ones == 0 || end % kWordBits != 0 || end - first >= most ||
          end >= block.elements.load(std::memory_order_relaxed)) {
        break;
      }
    }
    const std::uint64_t count = std::min<std::uint64_t>(end - first, most);
    if (count < kShortestRange) return 0;
    VisitWords(first, count, [&block](std::uint64_t word, std::uint64_t bits, std::uint64_t) {
      block.free[word] &= ~bits;
    });
    fresh = ElementAt(block, first);
    TookFrom(block, count);
    free_elements -= count;
    return static_cast<std::size_t>(count);
  }

  // Sets `fresh` to a range of never used elements and returns how many they
  // are, `most` at most; 0 when there are none and no block is to be had.
  std::size_t Carve(std::size_t most, char*& fresh) noexcept {
    if (fresh_elements == 0 && !AddBlock()) return 0;
    const std::size_t taken = std::min(most, fresh_elements);
    fresh = next_fresh;
    next_fresh += taken * pool->m_element_size;
    fresh_elements -= taken;
    return taken;
  }

  // Takes back a range that Carve handed out, or what is left of it.
  void Uncarve(char* range, std::size_t count) noexcept {
    if (count == 0) return;
    const std::size_t size = pool->m_element_size;
    if (range + count * size == next_fresh && range >= block_start) {
      next_fresh = range;
      fresh_elements += count;
      return;
    }
    Batch list;
    for (std::size_t i = count; i > 0; --i) {
      list.head = zel_pool::MakeLink(range + (i - 1) * size, list.head);
    }
    list.count = count;
    Put(list);
  }

  // One element, for calls without a cache.
  void* TakeOne() noexcept {
    const Batch one = TakeUpTo(1);
    if (one.count != 0) return one.head;
    char* fresh = nullptr;
    return Carve(1, fresh) != 0 ? fresh : nullptr;
  }

  void PutOne(void* element) noexcept { Put({zel_pool::MakeLink(element, nullptr), 1}); }

  void SetBlockInfo(int elements) noexcept {
    block_elements.store(elements, std::memory_order_relaxed);
    batch = zel_pool::BatchFor(pool->m_element_size, elements);
  }

  void NoteUser(const zel_pool::ThreadCache* cache) noexcept {
    if (only_user == nullptr) only_user = cache;
    if (only_user != cache) has_many_users = true;
  }

  Mutex mutex;
  Zel_PoolAllocator* const pool;
  const std::string name;
  std::atomic<int> block_elements{0};
  std::atomic<int> failures{0};  // ordered by FailNextAllocations
  bool has_caches = false;

  std::size_t batch = 1;

  // Free elements are kept as one bit each in their block, so that they are handed out in the
  // order of their addresses, in whatever order they came back.  Blocks that have some stand
  // in a queue.
  Block* first_with_free = nullptr;
  Block* last_with_free = nullptr;
  std::uint64_t free_elements = 0;

  char* block_start = nullptr;  // of the youngest block
  char* next_fresh = nullptr;
  std::size_t fresh_elements = 0;  // from next_fresh on

  Block* blocks = nullptr;
  std::uint64_t block_count = 0;
  std::uint64_t block_bytes = 0;
  std::uint64_t total_elements = 0;

  // Whose caches may hold elements of this pool: destroying a short-lived pool
  // that one thread used need not look through the caches of all threads.
  const zel_pool::ThreadCache* only_user = nullptr;
  bool has_many_users = false;

  // Neighbours in the list of all pools, which has a lock of its own.
  Zel_PoolAllocator* previous_pool = nullptr;
  Zel_PoolAllocator* next_pool = nullptr;

 private:
  static constexpr std::uint64_t kWordBits = 64;

  // Fewer neighbours are handed out as a list.
  static constexpr std::uint64_t kShortestRange = 8;

  // Calls `visit` for the words that hold the `count` bits from `first` on, with these bits
  // set, and with their number.
  template <class Visit>
  static void VisitWords(std::uint64_t first, std::uint64_t count, Visit visit) noexcept {
    for (std::uint64_t at = first; at < first + count;) {
      const std::uint64_t bit = at % kWordBits;
      const std::uint64_t bits = std::min(kWordBits - bit, first + count - at);
      visit(at / kWordBits, (~std::uint64_t{0} >> (kWordBits - bits)) << bit, bits);
      at += bits;
    }
  }

  // `bits` are those of elements that come back, of the 64 that `word` is for.
  void PutIntoBlock(Block& block, std::uint64_t word, std::uint64_t bits,
                    std::uint64_t bit_count) noexcept {
    block.free[word] |= bits;
    block.first_free_word = std::min(block.first_free_word, word);
    const bool had_none = block.free_elements == 0;
    block.free_elements += bit_count;
    if (!had_none) return;
    block.next_with_free = nullptr;
    (first_with_free == nullptr ? first_with_free : last_with_free->next_with_free) = &block;
    last_with_free = &block;
  }

  // To be called when elements of the first block of the queue were taken.
  void TookFrom(Block& block, std::uint64_t count) noexcept {
    block.free_elements -= count;
    if (block.free_elements == 0) first_with_free = block.next_with_free;
  }

  // Of a block that has free elements.
  static std::uint64_t FirstFree(Block& block) noexcept {
    while (block.free[block.first_free_word] == 0) ++block.first_free_word;
    return block.first_free_word * kWordBits +
           static_cast<unsigned>(std::countr_zero(block.free[block.first_free_word]));
  }

  char* ElementAt(const Block& block, std::uint64_t index) const noexcept {
    return reinterpret_cast<char*>(block.base.load(std::memory_order_relaxed)) +
           index * pool->m_element_size;
  }

  Batch TakeUpTo(std::size_t most) noexcept {
    Batch taken;
    Link* last = nullptr;
    while (taken.count < most && first_with_free != nullptr) {
      Block& block = *first_with_free;
      const std::uint64_t index = FirstFree(block);
      block.free[index / kWordBits] &= ~(std::uint64_t{1} << (index % kWordBits));
      TookFrom(block, 1);
      Link* const link = zel_pool::MakeLink(ElementAt(block, index), nullptr);
      if (last == nullptr) {
        taken.head = link;
      } else {
        zel_pool::SetNext(last, link);
      }
      last = link;
      ++taken.count;
    }
    free_elements -= taken.count;
    return taken;
  }

  bool AddBlock() noexcept {
    const int wanted = block_elements.load(std::memory_order_relaxed);
    if (wanted <= 0) return false;
    const auto elements = static_cast<std::size_t>(wanted);
    const std::size_t bytes = (elements * pool->m_element_size + zel_page_map::kPageBytes - 1) &
                              ~(zel_page_map::kPageBytes - 1);
    Block* const block = zel_page_map::NewBlock(pool, elements, bytes);
    if (block == nullptr) return false;
    block->next = blocks;
    blocks = block;
    ++block_count;
    block_bytes += bytes;
    total_elements += elements;
    block_start = reinterpret_cast<char*>(block->base.load(std::memory_order_relaxed));
    next_fresh = block_start;
    fresh_elements = elements;
    zel_pool::Poison(block_start, bytes);
    return true;
  }
};

#endif  // ZEL_POOLCENTRAL_H
