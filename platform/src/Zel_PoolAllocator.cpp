#include "Zel/Zel_PoolAllocator.h"

#include <algorithm>
#include <bit>
#include <new>
#include <string>
#include <utility>

#include "ThreadAPI/ThreadAPI_LockGuard.h"
#include "Zel_PageMap.h"

#if defined(__SANITIZE_ADDRESS__)
#define ZEL_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZEL_ADDRESS_SANITIZER 1
#endif
#endif

#if defined(ZEL_ADDRESS_SANITIZER)
#include <sanitizer/asan_interface.h>
#endif

#if defined(_WIN32)
#if !defined(WIN32_LEAN_AND_MEAN)
#define WIN32_LEAN_AND_MEAN
#endif
#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <windows.h>
#endif

// The pointer to a thread's caches is read by every call, so it is placed
// where one instruction finds it.
#if defined(__GNUC__) && !defined(_WIN32)
#define ZEL_NEAR_THREAD_LOCAL __attribute__((tls_model("initial-exec")))
#else
#define ZEL_NEAR_THREAD_LOCAL
#endif

#if defined(__GNUC__)
#define ZEL_UNLIKELY(condition) __builtin_expect(!!(condition), 0)
#else
#define ZEL_UNLIKELY(condition) (condition)
#endif

namespace {

using zel_page_map::Block;
using zel_page_map::kPageBytes;

// A free element; the link stands in the element's own memory.
struct Link {
  Link* next;
};

// ------------------------------------------------------- Address sanitizer
//
// Free elements are poisoned, so that whoever uses an element that he gave
// back, or runs from one element into a free one, is reported.  The links
// inside are read and written by functions that the sanitizer does not check.

#if defined(ZEL_ADDRESS_SANITIZER)
#define ZEL_UNCHECKED __attribute__((no_sanitize("address"), noinline))

inline void Poison(const void* memory, std::size_t bytes) noexcept {
  ASAN_POISON_MEMORY_REGION(memory, bytes);
}
inline void Unpoison(const void* memory, std::size_t bytes) noexcept {
  ASAN_UNPOISON_MEMORY_REGION(memory, bytes);
}
// An element that is poisoned when it comes back was given back before: the
// read makes the sanitizer say so.
inline void ReportIfFree(const void* element) noexcept {
  static_cast<void>(*static_cast<const volatile char*>(element));
}
#else
#define ZEL_UNCHECKED inline

inline void Poison(const void*, std::size_t) noexcept {}
inline void Unpoison(const void*, std::size_t) noexcept {}
inline void ReportIfFree(const void*) noexcept {}
#endif

ZEL_UNCHECKED Link* NextOf(const Link* link) noexcept {
  return link->next;
}
ZEL_UNCHECKED void SetNext(Link* link, Link* next) noexcept {
  link->next = next;
}
ZEL_UNCHECKED Link* MakeLink(void* element, Link* next) noexcept {
  return new (element) Link{next};
}

// ------------------------------------------------------------ Thread caches

constexpr unsigned kCachedPools = 64;
// The slot of pools without caches, and of every pool while failures are
// ordered: it never holds anything.
constexpr unsigned kNoSlot = kCachedPools;

// What one thread has cached of one pool.  Only that thread touches the lists;
// the counts are atomic because statistics read them from outside.
struct alignas(64) Slot {
  Link* active = nullptr;  // taken from and returned to
  Link* spare = nullptr;   // a whole batch, or nothing
  char* fresh = nullptr;   // free neighbours, in ascending order
  std::atomic<std::uint32_t> active_count{0};
  std::atomic<std::uint32_t> spare_count{0};
  std::atomic<std::uint32_t> fresh_count{0};
  // The active list takes elements up to here.  0 until the thread has
  // attached to the pool, which sends its first call to the slow path.
  std::uint32_t limit = 0;
  // The block of the last element that came back; the next one is mostly of it.
  std::uintptr_t home_base = 0;
  std::uint64_t home_elements = 0;
};
static_assert(sizeof(Slot) == 64);

// Plain loads and stores in effect: nobody else writes the counts.
inline std::uint32_t Get(const std::atomic<std::uint32_t>& count) noexcept {
  return count.load(std::memory_order_relaxed);
}
inline void Set(std::atomic<std::uint32_t>& count, std::size_t value) noexcept {
  count.store(static_cast<std::uint32_t>(value), std::memory_order_relaxed);
}

struct ThreadCache {
  Slot slots[kCachedPools + 1];
  ThreadCache* previous = nullptr;  // in the list of all threads' caches
  ThreadCache* next = nullptr;
};

// Stand in for a cache where a thread has none: not yet or for want of memory, and not any
// more.  All their slots stay empty, so the fast paths need no test.
constinit ThreadCache g_no_cache;
constinit ThreadCache g_ended_cache;

// Gives up what stood in for, or was, the cache of a thread that ends.
void EndCache(ThreadCache* cache) noexcept;

#if defined(_WIN32)

// A slot of the system's, and word from the system when a thread ends.  gcc keeps
// thread_local objects in memory that it frees before their destructors run, so that a
// destructor would not find the cache again.

constinit std::atomic<DWORD> g_cache_slot{TLS_OUT_OF_INDEXES};
constinit bool g_is_unloading = false;

inline ThreadCache* CacheNow() noexcept {
  const DWORD slot = g_cache_slot.load(std::memory_order_relaxed);
  if (slot == TLS_OUT_OF_INDEXES) return g_is_unloading ? &g_ended_cache : &g_no_cache;
  // Reading a slot clears the error that a caller may be about to ask for.
  const DWORD error = GetLastError();
  void* const cache = TlsGetValue(slot);
  SetLastError(error);
  return cache != nullptr ? static_cast<ThreadCache*>(cache) : &g_no_cache;
}

// The caller holds the lock of the list of threads.
bool ReserveCacheSlot() noexcept {
  if (g_cache_slot.load(std::memory_order_relaxed) != TLS_OUT_OF_INDEXES) return true;
  g_cache_slot.store(TlsAlloc(), std::memory_order_relaxed);
  return g_cache_slot.load(std::memory_order_relaxed) != TLS_OUT_OF_INDEXES;
}

bool KeepCache(ThreadCache* cache) noexcept {
  return TlsSetValue(g_cache_slot.load(std::memory_order_relaxed), cache) != 0;
}

void NTAPI OnThreadOrModule(void* /*module*/, DWORD reason, void* process_ends) {
  const DWORD slot = g_cache_slot.load(std::memory_order_relaxed);
  if (slot == TLS_OUT_OF_INDEXES) return;
  if (reason == DLL_THREAD_DETACH) {
    ThreadCache* const cache = CacheNow();
    // Whoever uses a pool later on this thread does without a cache.
    TlsSetValue(slot, &g_ended_cache);
    EndCache(cache);
  } else if (reason == DLL_PROCESS_DETACH && process_ends == nullptr) {
    // Unloaded under threads that go on; nobody will tell when they end.
    g_is_unloading = true;
    g_cache_slot.store(TLS_OUT_OF_INDEXES, std::memory_order_relaxed);
    TlsFree(slot);
  }
}

#else

constinit thread_local ThreadCache* t_cache ZEL_NEAR_THREAD_LOCAL = &g_no_cache;

inline ThreadCache* CacheNow() noexcept {
  return t_cache;
}

bool ReserveCacheSlot() noexcept {
  return true;
}

// Ends a thread's cache when the thread ends.
struct CacheEnder {
  // Destructors of other thread-local objects may still use pools; they do
  // without a cache from here on.
  ~CacheEnder() { EndCache(std::exchange(t_cache, &g_ended_cache)); }
  // Makes the compiler construct the object, and thereby arrange its end.
  void Arm() noexcept { armed = true; }
  bool armed = false;
};
thread_local CacheEnder t_ender;

bool KeepCache(ThreadCache* cache) noexcept {
  t_ender.Arm();
  t_cache = cache;
  return true;
}

#endif

// A list of free elements that changes hands as a whole.
struct Batch {
  Link* head = nullptr;
  std::size_t count = 0;
};

// Elements per batch.  Large enough that the pool's lock is rarely taken, but
// two lists of a thread never hold more than 128 KiB, nor more than a quarter
// of a block: a small pool must not vanish into caches.
constexpr std::size_t kMostPerBatch = 256;
constexpr std::size_t kMostBatchBytes = std::size_t{64} * 1024;

std::size_t BatchFor(std::size_t element_size, int block_elements) noexcept {
  const std::size_t by_bytes = std::max<std::size_t>(1, kMostBatchBytes / element_size);
  const std::size_t elements = block_elements > 0 ? static_cast<std::size_t>(block_elements) : 0;
  const std::size_t by_block = std::max<std::size_t>(1, elements / 8);
  return std::min({kMostPerBatch, by_bytes, by_block});
}

}  // namespace

// For the address of an element this is its index in the block.  For any other
// address it is larger than every index can be, so one comparison with the number
// of elements answers for their boundaries and for the end of the block.
inline std::uint64_t Zel_PoolAllocator::IndexIn(std::uintptr_t base,
                                                const void* element) const noexcept {
  const std::uint64_t offset = reinterpret_cast<std::uintptr_t>(element) - base;
  // The quotient for a multiple of the element size.
  return std::rotr(offset * m_odd_inverse, static_cast<int>(m_twos));
}

// ------------------------------------------------------------------- Central
//
// The part of a pool that all threads share; everything in it belongs to the
// holder of the lock unless it is atomic.
//
// Lock order: the list of pools, the list of threads, a pool, the page map.

struct Zel_PoolAllocator::Central {
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
      Link* const next = NextOf(link);
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
    for (std::uint64_t at = first; at < first + count;) {
      const std::uint64_t bit = at % kWordBits;
      const std::uint64_t bits = std::min(kWordBits - bit, first + count - at);
      block.free[at / kWordBits] &= ~((~std::uint64_t{0} >> (kWordBits - bits)) << bit);
      at += bits;
    }
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
      list.head = MakeLink(range + (i - 1) * size, list.head);
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

  void PutOne(void* element) noexcept { Put({MakeLink(element, nullptr), 1}); }

  void SetBlockInfo(int elements) noexcept {
    block_elements.store(elements, std::memory_order_relaxed);
    batch = BatchFor(pool->m_element_size, elements);
  }

  void NoteUser(const ThreadCache* cache) noexcept {
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
  const ThreadCache* only_user = nullptr;
  bool has_many_users = false;

  // Neighbours in the list of all pools, which has a lock of its own.
  Zel_PoolAllocator* previous_pool = nullptr;
  Zel_PoolAllocator* next_pool = nullptr;

 private:
  static constexpr std::uint64_t kWordBits = 64;

  // Fewer neighbours are handed out as a list.
  static constexpr std::uint64_t kShortestRange = 8;

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
      Link* const link = MakeLink(ElementAt(block, index), nullptr);
      if (last == nullptr) {
        taken.head = link;
      } else {
        SetNext(last, link);
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
    const std::size_t bytes =
        (elements * pool->m_element_size + kPageBytes - 1) & ~(kPageBytes - 1);
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
    Poison(block_start, bytes);
    return true;
  }
};

// --------------------------------------------------- Lists of pools and threads

// All pools, in the order in which they were made.
struct Zel_PoolList {
  static constinit Mutex mutex;
  static constinit Zel_PoolAllocator* first;
  static constinit Zel_PoolAllocator* last;

  static void Add(Zel_PoolAllocator* pool) noexcept {
    ThreadAPI_LockGuard guard(mutex);
    pool->m_central->previous_pool = last;
    (last == nullptr ? first : last->m_central->next_pool) = pool;
    last = pool;
  }

  static void Remove(Zel_PoolAllocator* pool) noexcept {
    ThreadAPI_LockGuard guard(mutex);
    Zel_PoolAllocator* const previous = pool->m_central->previous_pool;
    Zel_PoolAllocator* const next = pool->m_central->next_pool;
    (previous == nullptr ? first : previous->m_central->next_pool) = next;
    (next == nullptr ? last : next->m_central->previous_pool) = previous;
  }
};

constinit Mutex Zel_PoolList::mutex;
constinit Zel_PoolAllocator* Zel_PoolList::first = nullptr;
constinit Zel_PoolAllocator* Zel_PoolList::last = nullptr;

// All threads' caches and all pools that have slots in them.  Plain data and a
// mutex, constant initialised and never destroyed.
struct Zel_PoolThreads {
  static constinit Mutex mutex;
  static constinit ThreadCache* caches;
  static constinit std::uint64_t used_slots;  // bit i: pools[i] is a pool
  static constinit Zel_PoolAllocator* pools[kCachedPools];

  static unsigned AddPool(Zel_PoolAllocator* pool) noexcept {
    ThreadAPI_LockGuard guard(mutex);
    if (used_slots == ~std::uint64_t{0}) return kNoSlot;
    const auto slot = static_cast<unsigned>(std::countr_one(used_slots));
    used_slots |= std::uint64_t{1} << slot;
    pools[slot] = pool;
    return slot;
  }

  // Makes every thread forget what it has cached of the pool.
  static void RemovePool(const Zel_PoolAllocator& pool) noexcept {
    const unsigned slot = pool.m_slot;
    ThreadAPI_LockGuard guard(mutex);
    for (ThreadCache* cache = caches; cache != nullptr; cache = cache->next) {
      if (pool.m_central->has_many_users || cache == pool.m_central->only_user) {
        Clear(cache->slots[slot]);
      }
    }
    used_slots &= ~(std::uint64_t{1} << slot);
    pools[slot] = nullptr;
  }

  static ThreadCache* AddThread() noexcept {
    ThreadCache* const cache = new (std::nothrow) ThreadCache;
    if (cache == nullptr) return nullptr;
    ThreadAPI_LockGuard guard(mutex);
    if (!ReserveCacheSlot()) {
      delete cache;
      return nullptr;
    }
    cache->next = caches;
    if (caches != nullptr) caches->previous = cache;
    caches = cache;
    return cache;
  }

  // Gives all that a thread has cached back to the pools.
  static void RemoveThread(ThreadCache* cache) noexcept {
    {
      ThreadAPI_LockGuard guard(mutex);
      for (unsigned i = 0; i < kCachedPools; ++i) {
        if (cache->slots[i].limit != 0) Return(*pools[i], *cache, cache->slots[i]);
      }
      if (cache->previous != nullptr) cache->previous->next = cache->next;
      if (cache->next != nullptr) cache->next->previous = cache->previous;
      if (caches == cache) caches = cache->next;
    }
    delete cache;
  }

  static std::uint64_t CachedElements(unsigned slot) noexcept {
    std::uint64_t sum = 0;
    for (const ThreadCache* cache = caches; cache != nullptr; cache = cache->next) {
      const Slot& cached = cache->slots[slot];
      sum += Get(cached.active_count);
      sum += Get(cached.spare_count);
      sum += Get(cached.fresh_count);
    }
    return sum;
  }

 private:
  static void Clear(Slot& slot) noexcept {
    slot.active = nullptr;
    slot.spare = nullptr;
    slot.fresh = nullptr;
    Set(slot.active_count, 0);
    Set(slot.spare_count, 0);
    Set(slot.fresh_count, 0);
    slot.limit = 0;
    slot.home_elements = 0;
  }

  static void Return(const Zel_PoolAllocator& pool, const ThreadCache& cache, Slot& slot) noexcept {
    Zel_PoolAllocator::Central& central = *pool.m_central;
    ThreadAPI_LockGuard guard(central.mutex);
    if (slot.active != nullptr) central.Put({slot.active, Get(slot.active_count)});
    if (slot.spare != nullptr) central.Put({slot.spare, Get(slot.spare_count)});
    central.Uncarve(slot.fresh, Get(slot.fresh_count));
    if (central.only_user == &cache && !central.has_many_users) central.only_user = nullptr;
    Clear(slot);
  }
};

constinit Mutex Zel_PoolThreads::mutex;
constinit ThreadCache* Zel_PoolThreads::caches = nullptr;
constinit std::uint64_t Zel_PoolThreads::used_slots = 0;
constinit Zel_PoolAllocator* Zel_PoolThreads::pools[kCachedPools] = {};

namespace {

void EndCache(ThreadCache* cache) noexcept {
  if (cache != &g_no_cache && cache != &g_ended_cache) Zel_PoolThreads::RemoveThread(cache);
}

// This thread's cache, made on its first use; null when it can have none.
ThreadCache* CacheOfThisThread() noexcept {
  ThreadCache* const now = CacheNow();
  if (now == &g_ended_cache) return nullptr;
  if (now != &g_no_cache) return now;
  ThreadCache* const cache = Zel_PoolThreads::AddThread();
  if (cache == nullptr) return nullptr;
  if (!KeepCache(cache)) {
    Zel_PoolThreads::RemoveThread(cache);
    return nullptr;
  }
  return cache;
}

// An element that the thread has cached; null when it has none.
inline void* TakeCached(Slot& slot, std::size_t element_size) noexcept {
  if (Link* const link = slot.active) {
    slot.active = NextOf(link);
    Set(slot.active_count, Get(slot.active_count) - 1);
    Unpoison(link, element_size);
    return link;
  }
  if (const std::uint32_t left = Get(slot.fresh_count)) {
    char* const element = slot.fresh;
    slot.fresh = element + element_size;
    Set(slot.fresh_count, left - 1);
    Unpoison(element, element_size);
    return element;
  }
  return nullptr;
}

inline void PutCached(Slot& slot, void* element) noexcept {
  slot.active = MakeLink(element, slot.active);
  Set(slot.active_count, Get(slot.active_count) + 1);
}

std::size_t AlignmentFor(int alignment) noexcept {
  const auto wanted = static_cast<unsigned>(std::clamp(alignment, 8, 4096));
  return std::bit_ceil(wanted);
}

std::uint32_t RoundedSize(short element_size, int alignment) noexcept {
  const auto size = static_cast<std::size_t>(std::max<short>(element_size, 1));
  const std::size_t mask = AlignmentFor(alignment) - 1;
  return static_cast<std::uint32_t>((size + mask) & ~mask);
}

// The number x with odd * x == 1 modulo 2^64.
std::uint64_t InverseOfOdd(std::uint64_t odd) noexcept {
  // odd * odd == 1 modulo 8, so three bits are right; each step doubles them.
  std::uint64_t inverse = odd;
  for (int right_bits = 3; right_bits < 64; right_bits *= 2) inverse *= 2 - odd * inverse;
  return inverse;
}

}  // namespace

// ------------------------------------------------------------------ The pool

Zel_PoolAllocator::Zel_PoolAllocator(const char* name, short element_size,
                                     short /*expected_blocks*/, int block_elements, int alignment,
                                     bool thread_caches)
    : m_allocate_slot(kNoSlot),
      m_slot(kNoSlot),
      m_element_size(RoundedSize(element_size, alignment)),
      m_central(new Central(this, name)) {
  m_twos = static_cast<std::uint32_t>(std::countr_zero(m_element_size));
  m_odd_inverse = InverseOfOdd(m_element_size >> m_twos);
  m_central->SetBlockInfo(block_elements);
  if (thread_caches) m_slot = Zel_PoolThreads::AddPool(this);
  m_allocate_slot.store(m_slot, std::memory_order_relaxed);
  Zel_PoolList::Add(this);
}

Zel_PoolAllocator::~Zel_PoolAllocator() {
  Zel_PoolList::Remove(this);
  if (m_slot != kNoSlot) Zel_PoolThreads::RemovePool(*this);
  for (Block* block = m_central->blocks; block != nullptr;) {
    Block* const next = block->next;
    Unpoison(reinterpret_cast<void*>(block->base.load(std::memory_order_relaxed)), block->bytes);
    zel_page_map::FreeBlock(block);
    block = next;
  }
  delete m_central;
}

// The block that `element` is an element of; null when it is none of this pool.
inline const Block* Zel_PoolAllocator::BlockOf(const void* element) const noexcept {
  const Block* const block = zel_page_map::Find(element);
  if (block == nullptr || block->pool.load(std::memory_order_acquire) != this) return nullptr;
  const std::uint64_t index = IndexIn(block->base.load(std::memory_order_relaxed), element);
  return index < block->elements.load(std::memory_order_relaxed) ? block : nullptr;
}

void* Zel_PoolAllocator::Allocate() noexcept {
  Slot& slot = CacheNow()->slots[m_allocate_slot.load(std::memory_order_relaxed)];
  void* const element = TakeCached(slot, m_element_size);
  return ZEL_UNLIKELY(element == nullptr) ? AllocateSlowly() : element;
}

void* Zel_PoolAllocator::AllocateSlowly() noexcept {
  Central& central = *m_central;
  if (central.failures.load(std::memory_order_relaxed) > 0) {
    ThreadAPI_LockGuard guard(central.mutex);
    const int pending = central.failures.load(std::memory_order_relaxed);
    if (pending > 0) {
      central.failures.store(pending - 1, std::memory_order_relaxed);
      if (pending == 1) m_allocate_slot.store(m_slot, std::memory_order_relaxed);
      return nullptr;
    }
  }

  ThreadCache* const cache = m_slot != kNoSlot ? CacheOfThisThread() : nullptr;
  if (cache == nullptr) {
    ThreadAPI_LockGuard guard(central.mutex);
    void* const element = central.TakeOne();
    if (element != nullptr) Unpoison(element, m_element_size);
    return element;
  }

  Slot& slot = cache->slots[m_slot];
  if (slot.active == nullptr && slot.spare != nullptr) {
    slot.active = std::exchange(slot.spare, nullptr);
    Set(slot.active_count, Get(slot.spare_count));
    Set(slot.spare_count, 0);
  }
  if (void* const element = TakeCached(slot, m_element_size)) return element;

  {
    ThreadAPI_LockGuard guard(central.mutex);
    central.NoteUser(cache);
    slot.limit = static_cast<std::uint32_t>(central.batch);
    std::size_t range = central.TakeRange(central.batch, slot.fresh);
    if (range == 0) {
      const Batch batch = central.Take();
      slot.active = batch.head;
      Set(slot.active_count, batch.count);
      if (batch.count == 0) range = central.Carve(central.batch, slot.fresh);
    }
    Set(slot.fresh_count, range);
  }
  return TakeCached(slot, m_element_size);
}

bool Zel_PoolAllocator::AddToFreeList(void* element) noexcept {
  Slot& slot = CacheNow()->slots[m_slot];
  if (ZEL_UNLIKELY(IndexIn(slot.home_base, element) >= slot.home_elements)) {
    const Block* const block = BlockOf(element);
    if (block == nullptr) return false;
    // What stands in for a missing cache belongs to all threads and is never written.
    if (slot.limit != 0) {
      slot.home_base = block->base.load(std::memory_order_relaxed);
      slot.home_elements = block->elements.load(std::memory_order_relaxed);
    }
  }
  ReportIfFree(element);
  if (ZEL_UNLIKELY(Get(slot.active_count) >= slot.limit)) {
    AddSlowly(element);
    return true;
  }
  PutCached(slot, element);
  Poison(element, m_element_size);
  return true;
}

void Zel_PoolAllocator::AddSlowly(void* element) noexcept {
  Central& central = *m_central;
  ThreadCache* const cache = m_slot != kNoSlot ? CacheOfThisThread() : nullptr;
  if (cache == nullptr) {
    ThreadAPI_LockGuard guard(central.mutex);
    central.PutOne(element);
    Poison(element, m_element_size);
    return;
  }

  Slot& slot = cache->slots[m_slot];
  if (slot.limit == 0 || slot.spare != nullptr) {
    ThreadAPI_LockGuard guard(central.mutex);
    central.NoteUser(cache);
    slot.limit = static_cast<std::uint32_t>(central.batch);
    if (slot.spare != nullptr) central.Put({slot.spare, Get(slot.spare_count)});
    slot.spare = nullptr;
    Set(slot.spare_count, 0);
  }
  if (Get(slot.active_count) >= slot.limit) {
    slot.spare = std::exchange(slot.active, nullptr);
    Set(slot.spare_count, Get(slot.active_count));
    Set(slot.active_count, 0);
  }
  PutCached(slot, element);
  Poison(element, m_element_size);
}

bool Zel_PoolAllocator::Exist(const void* element) const noexcept {
  return BlockOf(element) != nullptr;
}

int Zel_PoolAllocator::GetCurrElementsInBlock() const noexcept {
  return m_central->block_elements.load(std::memory_order_relaxed);
}

void Zel_PoolAllocator::ResetBlockInfo(int elements, int /*expected_blocks*/) noexcept {
  ThreadAPI_LockGuard guard(m_central->mutex);
  m_central->SetBlockInfo(elements);
}

void Zel_PoolAllocator::FailNextAllocations(int n) noexcept {
  ThreadAPI_LockGuard guard(m_central->mutex);
  m_central->failures.store(std::max(n, 0), std::memory_order_relaxed);
  m_allocate_slot.store(n > 0 ? kNoSlot : m_slot, std::memory_order_relaxed);
}

Zel_PoolStats Zel_PoolAllocator::GetStats() const {
  ThreadAPI_LockGuard threads_guard(Zel_PoolThreads::mutex);
  ThreadAPI_LockGuard guard(m_central->mutex);
  const std::uint64_t cached = m_slot != kNoSlot ? Zel_PoolThreads::CachedElements(m_slot) : 0;
  const std::uint64_t free = cached + m_central->free_elements + m_central->fresh_elements;
  // Elements that change hands meanwhile may be counted twice.
  const std::uint64_t total = m_central->total_elements;
  return {total - std::min(free, total), total, cached, m_central->block_count,
          m_central->block_bytes};
}

void Zel_PoolAllocator::VisitAll(const std::function<void(Zel_PoolAllocator&)>& visit) {
  ThreadAPI_LockGuard guard(Zel_PoolList::mutex);
  for (Zel_PoolAllocator* pool = Zel_PoolList::first; pool != nullptr;
       pool = pool->m_central->next_pool) {
    visit(*pool);
  }
}

const char* Zel_PoolAllocator::GetName() const noexcept {
  return m_central->name.c_str();
}

// ------------------------------------------------------ Word from the system

#if defined(_WIN32)
// The system calls what stands in this section when a thread ends and when the module goes.
#if defined(_MSC_VER)
#pragma comment(linker, "/INCLUDE:_tls_used")
#pragma comment(linker, "/INCLUDE:zel_pool_on_thread_or_module")
#pragma section(".CRT$XLF", long, read)
extern "C" __declspec(allocate(".CRT$XLF")) const PIMAGE_TLS_CALLBACK zel_pool_on_thread_or_module =
    OnThreadOrModule;
#else
extern "C" const PIMAGE_TLS_CALLBACK zel_pool_on_thread_or_module
    __attribute__((section(".CRT$XLF"), used)) = OnThreadOrModule;
#endif
#endif
