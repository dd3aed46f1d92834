#ifndef ZEL_POOLCENTRAL_H
#define ZEL_POOLCENTRAL_H

#include <algorithm>
#include <atomic>
#include <bit>
#include <cassert>
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
  using FreeBits = zel_page_map::FreeBits;
  using Link = zel_pool::Link;

  Central(Zel_PoolAllocator* owner, const char* pool_name)
      : pool(owner), name(pool_name == nullptr ? "" : pool_name) {}

  // Free elements by the words of their blocks' bits.  Converting from or to a list looks at
  // every element.  That takes long, so it is done without the lock.
  class Places {
   public:
    Places() noexcept {}

    // Those of `list`, a batch at most.
    Places(const Zel_PoolAllocator& owner, const Batch& list) noexcept {
      assert(list.count <= zel_pool::kMostPerBatch);
      std::uintptr_t base = 0;
      std::uint64_t elements = 0;
      FreeBits* bits = nullptr;
      constexpr std::size_t kKnown = 64;
      std::uint8_t known_places[kKnown] = {};  // the last place of some words
      std::size_t count = 0;
      for (const Link* link = list.head; link != nullptr; link = zel_pool::NextOf(link)) {
        std::uint64_t index = owner.IndexIn(base, link);
        if (index >= elements) {
          const Block& block = *zel_page_map::FindOwn(link);
          base = block.base.load(std::memory_order_relaxed);
          elements = block.elements.load(std::memory_order_relaxed);
          bits = block.free;
          index = owner.IndexIn(base, link);
        }
        // Neighbours often come soon after one another; their bits are set together.
        const std::uint64_t word = index / kWordBits;
        std::uint8_t& known = known_places[word % kKnown];
        if (known >= count || m_places[known].word != word || m_places[known].free != bits) {
          known = static_cast<std::uint8_t>(count);
          m_places[count++] = {bits, word, 0, 0};
          Prefetch(bits->Words() + word);
        }
        m_places[known].bits |= std::uint64_t{1} << (index % kWordBits);
        ++m_places[known].count;
      }
      m_count = count;
    }

    bool IsEmpty() const noexcept { return m_count == 0; }

    // The elements as a list in the order of the places and, within one, of their addresses.
    Batch List(const Zel_PoolAllocator& owner) const noexcept {
      Batch list;
      for (std::size_t i = m_count; i > 0; --i) {
        const Place& place = m_places[i - 1];
        char* const first = ElementAt(owner, *place.free, place.word * kWordBits);
        for (std::uint64_t bits = place.bits; bits != 0;) {
          const auto last = static_cast<std::size_t>(std::bit_width(bits)) - 1;
          bits ^= std::uint64_t{1} << last;
          list.head = zel_pool::MakeLink(first + last * owner.m_element_size, list.head);
          ++list.count;
        }
      }
      return list;
    }

   private:
    friend struct Central;

    // Another thread may have written there last, whose cache has it then.
    static void Prefetch([[maybe_unused]] const std::uint64_t* word) noexcept {
#if defined(__GNUC__)
      __builtin_prefetch(word, 1);
#endif
    }

    struct Place {
      FreeBits* free;
      std::uint64_t word;
      std::uint64_t bits;
      std::uint64_t count;  // of the bits that are set
    };
    Place m_places[zel_pool::kMostPerBatch];
    std::size_t m_count = 0;
  };

  // Takes elements back; never allocates.
  void Put(const Places& places) noexcept {
    for (std::size_t i = 0; i < places.m_count; ++i) {
      const Places::Place& place = places.m_places[i];
      PutBits(*place.free, place.word, place.bits, place.count);
      free_elements += place.count;
    }
  }

  void Put(const Batch& list) noexcept {
    Put(Places(*pool, list));
  }

  // Takes back neighbours of one block, the first one at `begin`.
  void PutRange(char* begin, std::size_t bytes) noexcept {
    const std::size_t size = pool->m_element_size;
    for (std::size_t at = 0; at != bytes; at += size) zel_pool::ReportIfFree(begin + at);
    PutNeighbours(begin, bytes / size);
    zel_pool::Poison(begin, bytes);
  }

  // Takes `most` free elements, a batch at most, in ascending order as far as they are of one
  // block; fewer when there are no more.
  void Take(std::size_t most, Places& taken) noexcept {
    while (most > 0 && first_with_free != nullptr) {
      FreeBits& free = *first_with_free;
      const std::uint64_t word = FirstFree(free) / kWordBits;
      std::uint64_t bits = free.Words()[word];
      auto count = static_cast<std::size_t>(std::popcount(bits));
      for (; count > most; --count) bits ^= std::bit_floor(bits);
      free.Words()[word] ^= bits;
      TookFrom(free, count);
      free_elements -= count;
      taken.m_places[taken.m_count++] = {&free, word, bits, count};
      most -= count;
    }
  }

  // Sets `fresh` to a range of free neighbours and returns how many they are, `most` at
  // most; 0, and nothing happens, when the next range is so short that a list is as good.
  std::size_t TakeRange(std::size_t most, char*& fresh) noexcept {
    if (first_with_free == nullptr) return 0;
    FreeBits& free = *first_with_free;
    const std::uint64_t first = FirstFree(free);
    std::uint64_t end = first;
    for (;;) {
      const std::uint64_t rest = free.Words()[end / kWordBits] >> (end % kWordBits);
      const auto ones = static_cast<std::uint64_t>(std::countr_one(rest));
      end += ones;
      // A word that is full up to its end may go on in the next one.
      if (ones == 0 || end % kWordBits != 0 || end - first >= most ||
          end >= free.block->elements.load(std::memory_order_relaxed)) {
        break;
      }
    }
    const std::uint64_t count = std::min<std::uint64_t>(end - first, most);
    if (count < kShortestRange) return 0;
    VisitWords(first, count, [&free](std::uint64_t word, std::uint64_t bits, std::uint64_t) {
      free.Words()[word] &= ~bits;
    });
    fresh = ElementAt(*pool, free, first);
    TookFrom(free, count);
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
    // Two blocks may be neighbours too.
    while (count > 0) {
      const std::size_t put = PutNeighbours(range, count);
      range += put * size;
      count -= put;
    }
  }

  // One element, for calls without a cache.
  void* TakeOne() noexcept {
    Places one;
    Take(1, one);
    if (one.m_count != 0) return one.List(*pool).head;
    char* fresh = nullptr;
    return Carve(1, fresh) != 0 ? fresh : nullptr;
  }

  void PutOne(void* element) noexcept {
    Put({zel_pool::MakeLink(element, nullptr), 1});
  }

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
  std::size_t batch = 1;

  // Free elements are kept as one bit each in their block, so that they are handed out in the
  // order of their addresses, in whatever order they came back.  Blocks that have some stand
  // in a queue.
  FreeBits* first_with_free = nullptr;
  FreeBits* last_with_free = nullptr;
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

  // Takes back `count` neighbours, or those of them that are of the same block as the first;
  // returns how many.
  std::size_t PutNeighbours(const char* begin, std::size_t count) noexcept {
    const Block& block = *zel_page_map::FindOwn(begin);
    const std::uint64_t first = pool->IndexIn(block.base.load(std::memory_order_relaxed), begin);
    const auto put = static_cast<std::size_t>(
        std::min<std::uint64_t>(count, block.elements.load(std::memory_order_relaxed) - first));
    VisitWords(first, put,
               [this, &block](std::uint64_t word, std::uint64_t bits, std::uint64_t bit_count) {
                 PutBits(*block.free, word, bits, bit_count);
               });
    free_elements += put;
    return put;
  }

  // `bits` are those of elements that come back, of the 64 that `word` is for.
  void PutBits(FreeBits& free, std::uint64_t word, std::uint64_t bits,
               std::uint64_t bit_count) noexcept {
    free.Words()[word] |= bits;
    free.first_word = std::min(free.first_word, word);
    const bool had_none = free.elements == 0;
    free.elements += bit_count;
    if (!had_none) return;
    free.next = nullptr;
    (first_with_free == nullptr ? first_with_free : last_with_free->next) = &free;
    last_with_free = &free;
  }

  // To be called when elements of the first block of the queue were taken.
  void TookFrom(FreeBits& free, std::uint64_t count) noexcept {
    free.elements -= count;
    if (free.elements == 0) first_with_free = free.next;
  }

  // Of a block that has free elements.
  static std::uint64_t FirstFree(FreeBits& free) noexcept {
    const std::uint64_t* const words = free.Words();
    while (words[free.first_word] == 0) ++free.first_word;
    return free.first_word * kWordBits +
           static_cast<unsigned>(std::countr_zero(words[free.first_word]));
  }

  static char* ElementAt(const Zel_PoolAllocator& owner, const FreeBits& free,
                         std::uint64_t index) noexcept {
    return reinterpret_cast<char*>(free.block->base.load(std::memory_order_relaxed)) +
           index * owner.m_element_size;
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
