#include "Zel/Zel_PoolAllocator.h"

#include <algorithm>
#include <bit>
#include <new>
#include <string>
#include <utility>
#include <vector>

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
  char* fresh = nullptr;   // never used elements, in ascending order
  std::atomic<std::uint32_t> active_count{0};
  std::atomic<std::uint32_t> spare_count{0};
  std::atomic<std::uint32_t> fresh_count{0};
  // The active list takes elements up to here.  0 until the thread has
  // attached to the pool, which sends its first call to the slow path.
  std::uint32_t limit = 0;
};

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

// Stands in for a cache where a thread has none: not yet, not any more, or for
// want of memory.  All its slots stay empty, so the fast paths need no test.
constinit ThreadCache g_no_cache;

constinit thread_local ThreadCache* t_cache ZEL_NEAR_THREAD_LOCAL = &g_no_cache;
constinit thread_local bool t_is_ending ZEL_NEAR_THREAD_LOCAL = false;

// Ends a thread's cache when the thread ends.
struct CacheEnder {
  ~CacheEnder();
  // Makes the compiler construct the object, and thereby arrange its end.
  void Arm() noexcept { armed = true; }
  bool armed = false;
};
thread_local CacheEnder t_ender;

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

// Splits `list`, which holds more than `count` elements, behind its first
// `count`; the rest stays in `list`.
Batch SplitOff(Batch& list, std::size_t count) noexcept {
  Link* last = list.head;
  for (std::size_t i = 1; i < count; ++i) last = NextOf(last);
  const Batch front{list.head, count};
  list.head = NextOf(last);
  list.count -= count;
  MakeLink(last, nullptr);
  return front;
}

}  // namespace

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
    if (list.count >= batch && full.size() < full.capacity()) {
      full.push_back(list);
      return;
    }
    // An odd count, or a batch for which the bookkeeping has no room (batches
    // were larger when it was reserved): it joins the loose elements.
    Link* last = list.head;
    while (Link* const next = NextOf(last)) last = next;
    MakeLink(last, loose.head);
    loose.head = list.head;
    loose.count += list.count;
    StackLoose();
  }

  // Up to a batch of free elements; an empty list when there are none.
  Batch Take() noexcept {
    Batch taken;
    if (!full.empty()) {
      taken = full.back();
      full.pop_back();
      if (taken.count > batch) {
        full.push_back(taken);  // room is there: one was just removed
        taken = SplitOff(full.back(), batch);
      }
    } else if (loose.count > batch) {
      taken = SplitOff(loose, batch);
    } else {
      taken = std::exchange(loose, Batch());
    }
    free_elements -= taken.count;
    return taken;
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
    if (loose.head == nullptr && !full.empty()) {
      loose = full.back();
      full.pop_back();
    }
    if (Link* const link = loose.head) {
      loose.head = NextOf(link);
      --loose.count;
      --free_elements;
      return link;
    }
    char* fresh = nullptr;
    return Carve(1, fresh) != 0 ? fresh : nullptr;
  }

  void PutOne(void* element) noexcept {
    loose.head = MakeLink(element, loose.head);
    ++loose.count;
    ++free_elements;
    StackLoose();
  }

  // Reserves bookkeeping for the batches of `more_elements` elements on top of
  // what there is, in steps that keep the cost per element constant.
  bool ReserveBatches(std::size_t more_elements) noexcept {
    const std::size_t needed = (total_elements + more_elements) / batch + 1;
    if (needed <= full.capacity()) return true;
    try {
      full.reserve(std::max(needed, 2 * full.capacity()));
    } catch (...) {
      return false;
    }
    return true;
  }

  void SetBlockInfo(int elements, int expected_blocks) noexcept {
    block_elements.store(elements, std::memory_order_relaxed);
    batch = BatchFor(pool->m_element_size, elements);
    if (elements > 0 && expected_blocks > 0) {
      const std::size_t expected =
          static_cast<std::size_t>(elements) * static_cast<std::size_t>(expected_blocks);
      // An expectation is free of charge for whoever states it, so it isn't
      // taken at its word beyond reason.
      constexpr std::size_t kMostExpected = std::size_t{1} << 24;
      static_cast<void>(ReserveBatches(std::min(expected, kMostExpected)));
    }
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
  std::vector<Batch> full;  // batches; see Put for the exact meaning of full
  Batch loose;
  std::uint64_t free_elements = 0;  // in `full` and `loose`

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
  void StackLoose() noexcept {
    if (loose.count >= batch && full.size() < full.capacity()) {
      full.push_back(std::exchange(loose, Batch()));
    }
  }

  bool AddBlock() noexcept {
    const int wanted = block_elements.load(std::memory_order_relaxed);
    if (wanted <= 0) return false;
    const auto elements = static_cast<std::size_t>(wanted);
    const std::size_t bytes =
        (elements * pool->m_element_size + kPageBytes - 1) & ~(kPageBytes - 1);
    if (!ReserveBatches(elements)) return false;
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

CacheEnder::~CacheEnder() {
  // Destructors of other thread-local objects may still use pools; they do
  // without a cache from here on.
  t_is_ending = true;
  ThreadCache* const cache = std::exchange(t_cache, &g_no_cache);
  if (cache != &g_no_cache) Zel_PoolThreads::RemoveThread(cache);
}

// This thread's cache, made on its first use; null when it can have none.
ThreadCache* CacheOfThisThread() noexcept {
  if (t_cache != &g_no_cache) return t_cache;
  if (t_is_ending) return nullptr;
  ThreadCache* const cache = Zel_PoolThreads::AddThread();
  if (cache == nullptr) return nullptr;
  t_ender.Arm();
  t_cache = cache;
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

Zel_PoolAllocator::Zel_PoolAllocator(const char* name, short element_size, short expected_blocks,
                                     int block_elements, int alignment, bool thread_caches)
    : m_allocate_slot(kNoSlot),
      m_slot(kNoSlot),
      m_element_size(RoundedSize(element_size, alignment)),
      m_central(new Central(this, name)) {
  m_twos = static_cast<std::uint32_t>(std::countr_zero(m_element_size));
  m_odd_inverse = InverseOfOdd(m_element_size >> m_twos);
  m_central->SetBlockInfo(block_elements, expected_blocks);
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

inline bool Zel_PoolAllocator::Holds(const void* element) const noexcept {
  const Block* const block = zel_page_map::Find(element);
  if (block == nullptr || block->pool.load(std::memory_order_acquire) != this) return false;
  // For a multiple of the element size this is the quotient, the element's
  // index.  For any other offset it is larger than every quotient can be, so
  // one comparison answers for the boundary and for the end of the block.
  const std::uint64_t offset =
      reinterpret_cast<std::uintptr_t>(element) - block->base.load(std::memory_order_relaxed);
  const std::uint64_t index = std::rotr(offset * m_odd_inverse, static_cast<int>(m_twos));
  return index < block->elements.load(std::memory_order_relaxed);
}

void* Zel_PoolAllocator::Allocate() noexcept {
  Slot& slot = t_cache->slots[m_allocate_slot.load(std::memory_order_relaxed)];
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
    const Batch batch = central.Take();
    slot.active = batch.head;
    Set(slot.active_count, batch.count);
    if (batch.count == 0) Set(slot.fresh_count, central.Carve(central.batch, slot.fresh));
  }
  return TakeCached(slot, m_element_size);
}

bool Zel_PoolAllocator::AddToFreeList(void* element) noexcept {
  if (ZEL_UNLIKELY(!Holds(element))) return false;
  ReportIfFree(element);
  Slot& slot = t_cache->slots[m_slot];
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
  return Holds(element);
}

int Zel_PoolAllocator::GetCurrElementsInBlock() const noexcept {
  return m_central->block_elements.load(std::memory_order_relaxed);
}

void Zel_PoolAllocator::ResetBlockInfo(int elements, int expected_blocks) noexcept {
  ThreadAPI_LockGuard guard(m_central->mutex);
  m_central->SetBlockInfo(elements, expected_blocks);
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
