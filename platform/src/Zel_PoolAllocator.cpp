#include "Zel/Zel_PoolAllocator.h"

#include <algorithm>
#include <bit>
#include <new>
#include <utility>

#include "ThreadAPI/ThreadAPI_LockGuard.h"
#include "Zel_PageMap.h"
#include "Zel_PoolCentral.h"
#include "Zel_PoolLinks.h"

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

using zel_page_map::Block;
using namespace zel_pool;

// ------------------------------------------------------------ Thread caches

namespace zel_pool {

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

}  // namespace zel_pool

namespace {

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

}  // namespace

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

  Central::Places taken;
  {
    ThreadAPI_LockGuard guard(central.mutex);
    central.NoteUser(cache);
    slot.limit = static_cast<std::uint32_t>(central.batch);
    std::size_t range = central.TakeRange(central.batch, slot.fresh);
    if (range == 0) central.Take(central.batch, taken);
    if (range == 0 && taken.IsEmpty()) range = central.Carve(central.batch, slot.fresh);
    Set(slot.fresh_count, range);
  }
  const Batch list = taken.List(*this);
  slot.active = list.head;
  Set(slot.active_count, list.count);
  return TakeCached(slot, m_element_size);
}

std::size_t Zel_PoolAllocator::AllocateNeighbours(std::size_t most, void*& first) noexcept {
  Slot& slot = CacheNow()->slots[m_allocate_slot.load(std::memory_order_relaxed)];
  if (slot.limit == 0) return 0;  // no cache, or failures are ordered
  const std::uint32_t left = Get(slot.fresh_count);
  if (left == 0) {
    // An element of the lists, or the first of a new range.
    first = Allocate();
    return first == nullptr ? 0 : 1;
  }
  const std::size_t count = std::min<std::size_t>(most, left);
  first = slot.fresh;
  slot.fresh += count * m_element_size;
  Set(slot.fresh_count, left - count);
  Unpoison(first, count * m_element_size);
  return count;
}

void Zel_PoolAllocator::ReturnNeighbours(void* begin, void* end) noexcept {
  char* const first = static_cast<char*>(begin);
  const auto bytes = static_cast<std::size_t>(static_cast<char*>(end) - first);
  Slot& slot = CacheNow()->slots[m_slot];
  if (end == slot.fresh && slot.limit != 0) {
    slot.fresh = first;
    Set(slot.fresh_count, Get(slot.fresh_count) + bytes / m_element_size);
    Poison(begin, bytes);
    return;
  }
  for (char* at = first; at != end; at += m_element_size) AddToFreeList(at);
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
    const Central::Places places(*this,
                                 {std::exchange(slot.spare, nullptr), Get(slot.spare_count)});
    ThreadAPI_LockGuard guard(central.mutex);
    central.NoteUser(cache);
    slot.limit = static_cast<std::uint32_t>(central.batch);
    central.Put(places);
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
