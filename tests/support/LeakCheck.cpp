#include "support/LeakCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "ThreadAPI/ThreadAPI_AutoPtrThreadSafe.h"
#include "Tree/Tree_Node.h"
#include "support/RuntimeHeap.h"

#if defined(__MINGW32__)
#include <malloc.h>
#endif

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define TREE_TESTS_UNDER_SANITIZER
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TREE_TESTS_UNDER_SANITIZER
#endif

// --- The counting heap ----------------------------------------------------------

namespace {

std::atomic<std::int64_t> g_live_blocks{0};
std::atomic<std::int64_t> g_blocks_made{0};

// How many calls of operator new are still allowed on this thread.
constexpr int kWithoutLimit = -1;
thread_local int t_heap_allowed = kWithoutLimit;

}  // namespace

#if defined(TREE_TESTS_UNDER_SANITIZER) || defined(_MSC_VER)

namespace {
constexpr bool kHeapIsCounted = false;
void CountTheHeap() {}
void WaitForTheHeap() {}
}  // namespace

#else

namespace {

constexpr bool kHeapIsCounted = true;

// Whether this thread may still take memory.
bool TakePermission() {
  if (t_heap_allowed == kWithoutLimit) return true;
  if (t_heap_allowed == 0) return false;
  --t_heap_allowed;
  return true;
}

void* Made(void* block) {
  if (block != nullptr) g_blocks_made.fetch_add(1, std::memory_order_relaxed);
  return block;
}

void* TakeCounted(std::size_t size) {
  if (!TakePermission()) return nullptr;
  void* const block = Made(std::malloc(std::max<std::size_t>(size, 1)));
  if (block != nullptr) g_live_blocks.fetch_add(1, std::memory_order_relaxed);
  return block;
}

void FreeCounted(void* block) noexcept {
  if (block == nullptr) return;
  g_live_blocks.fetch_sub(1, std::memory_order_relaxed);
  std::free(block);
}

// Only regions, for blocks of pools and permanent texts, ask for an alignment.  How many are
// needed depends on how threads happen to run; what is taken of blocks is counted by the pools.
void* TakeAligned(std::size_t size, std::size_t alignment) {
  if (!TakePermission()) return nullptr;
#if defined(_WIN32)
  return Made(_aligned_malloc(size, alignment));
#else
  return Made(std::aligned_alloc(
      alignment, (std::max<std::size_t>(size, 1) + alignment - 1) & ~(alignment - 1)));
#endif
}

}  // namespace

#if defined(__MINGW32__)

namespace {

// What GoogleTest has kept for a thread that ended is freed by another thread, which has one
// for this thread as well from its first use on.
int g_threads_to_stay = 0;

void CountTheHeap() {
  { SCOPED_TRACE("the first use"); }
  g_threads_to_stay = ThreadsOfThisProcess();
  RedirectRuntimeHeap({TakeCounted, FreeCounted, TakeAligned, _aligned_free});
}

void WaitForTheHeap() {
  WaitForOtherThreads(g_threads_to_stay);
}

}  // namespace

#else

namespace {

void CountTheHeap() {}
void WaitForTheHeap() {}

void* OrThrow(void* block) {
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

// The array, sized and nothrow forms of the standard library come down to these.
void* operator new(std::size_t size) {
  return OrThrow(TakeCounted(size));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return OrThrow(TakeAligned(size, static_cast<std::size_t>(alignment)));
}
void operator delete(void* block) noexcept {
  FreeCounted(block);
}
void operator delete(void* block, std::size_t) noexcept {
  FreeCounted(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  std::free(block);
}

#endif

#endif

bool HeapIsCounted() {
  return kHeapIsCounted;
}
std::int64_t HeapLiveBlocks() {
  return g_live_blocks.load(std::memory_order_relaxed);
}
std::int64_t HeapBlocksMade() {
  return g_blocks_made.load(std::memory_order_relaxed);
}

HeapDenied::HeapDenied(int allowed) {
  t_heap_allowed = allowed;
}
HeapDenied::~HeapDenied() {
  t_heap_allowed = kWithoutLimit;
}

// --- The pools ------------------------------------------------------------------

namespace {

// Two pools bear the name of the children vectors; the other one is wanted.
Zel_PoolAllocator& PoolNamed(const char* name) {
  Zel_PoolAllocator* found = nullptr;
  Zel_PoolAllocator::VisitAll([&](Zel_PoolAllocator& pool) {
    if (std::strcmp(pool.GetName(), name) != 0) return;
    if (&pool != &Tree_Node::m_sChildTreeNodeVec) found = &pool;
  });
  if (found == nullptr) std::abort();
  return *found;
}

std::int64_t InUse(const Zel_PoolAllocator& pool) {
  return static_cast<std::int64_t>(pool.GetStats().elements_in_use);
}

bool IsOfStrings(const Zel_PoolAllocator& pool) {
  return std::strcmp(pool.GetName(), "RWCString") == 0;
}

// Whether a short string stands in a pool or in the heap is all one.
std::int64_t HeapAndStrings() {
  std::int64_t sum = HeapLiveBlocks();
  Zel_PoolAllocator::VisitAll([&sum](Zel_PoolAllocator& pool) {
    if (IsOfStrings(pool)) sum += InUse(pool);
  });
  return sum;
}

}  // namespace

Zel_PoolAllocator& NodesPool() {
  return Tree_Node::m_NodesPool;
}
Zel_PoolAllocator& VectorsPool() {
  return Tree_Node::m_sChildTreeNodeVec;
}
Zel_PoolAllocator& ElementsPool() {
  static Zel_PoolAllocator& pool = PoolNamed("Tree_NodePtrVec");
  return pool;
}
Zel_PoolAllocator& ValuesPool() {
  static Zel_PoolAllocator& pool = PoolNamed("Tree_Value");
  return pool;
}
Zel_PoolAllocator& RecordsPool() {
  return autoptrthreadsafe_internal_data::Pool();
}

PoolFigures PoolFigures::Now() {
  return {InUse(NodesPool()), InUse(VectorsPool()), InUse(ElementsPool()), InUse(ValuesPool()),
          InUse(RecordsPool())};
}

// --- The listener ---------------------------------------------------------------

namespace {

LostElements g_declared;

class LeakListener : public testing::EmptyTestEventListener {
 public:
  // Begins another run.  In the last one a heap that differs is a failure.
  void BeginRun(bool is_last) {
    m_is_last = is_last;
    m_to_run_again.clear();
  }

  // "Suite.Test:Suite.Test", empty when every heap was left as it was.
  std::string TestsToRunAgain() const {
    std::string filter;
    for (const std::string& name : m_to_run_again) filter += (filter.empty() ? "" : ":") + name;
    return filter;
  }

 private:
  struct Usage {
    const Zel_PoolAllocator* pool;
    std::string name;
    std::int64_t in_use;
  };

  static std::vector<Usage> UsageOfAllPools() {
    std::vector<Usage> all;
    Zel_PoolAllocator::VisitAll([&](Zel_PoolAllocator& pool) {
      if (IsOfStrings(pool)) return;
      std::ostringstream name;
      name << pool.GetName() << " (" << pool.GetElementSize() << " bytes)";
      all.push_back({&pool, name.str(), InUse(pool)});
    });
    return all;
  }

  static std::int64_t Declared(const Zel_PoolAllocator* pool) {
    if (pool == &NodesPool()) return g_declared.nodes;
    if (pool == &VectorsPool()) return g_declared.vectors;
    if (pool == &ElementsPool()) return g_declared.elements;
    if (pool == &ValuesPool()) return g_declared.values;
    if (pool == &RecordsPool()) return g_declared.records;
    return 0;
  }

  void OnTestStart(const testing::TestInfo&) override {
    g_declared = {};
    m_before = UsageOfAllPools();
    m_heap_before = HeapAndStrings();
  }

  void OnTestEnd(const testing::TestInfo& test) override {
    WaitForTheHeap();
    const std::int64_t heap_growth = HeapAndStrings() - m_heap_before;
    if (test.result()->Failed()) return;  // it may have stopped half-way
    CheckPools();
    if (heap_growth == 0) return;
    if (m_is_last) {
      ADD_FAILURE() << "The test leaves " << heap_growth
                    << " heap blocks or strings more than it found, time after time.";
    } else {
      m_to_run_again.insert(std::string(test.test_suite_name()) + "." + test.name());
    }
  }

  void CheckPools() const {
    for (const Usage& now : UsageOfAllPools()) {
      std::int64_t in_use_before = 0;
      for (const Usage& before : m_before) {
        if (before.pool == now.pool) in_use_before = before.in_use;
      }
      const std::int64_t growth = now.in_use - in_use_before;
      const std::int64_t declared = Declared(now.pool);
      if (growth != declared) {
        ADD_FAILURE() << "The test leaves " << growth << " elements in use in the pool " << now.name
                      << " and declares " << declared << ".";
      }
    }
  }

  bool m_is_last = false;
  std::vector<Usage> m_before;
  std::int64_t m_heap_before = 0;
  std::set<std::string> m_to_run_again;
};

}  // namespace

void ExpectLost(const LostElements& lost) {
  g_declared.nodes += lost.nodes;
  g_declared.vectors += lost.vectors;
  g_declared.elements += lost.elements;
  g_declared.values += lost.values;
  g_declared.records += lost.records;
}

int RunAllTests() {
  CountTheHeap();
  // The container of interned strings is made by the first of them.
  Tree_Node first("first");

  auto* listener = new LeakListener;  // GoogleTest owns and deletes it
  testing::UnitTest::GetInstance()->listeners().Append(listener);
  int result = RUN_ALL_TESTS();

  constexpr int kRuns = 3;
  for (int run = 2; run <= kRuns; ++run) {
    const std::string again = listener->TestsToRunAgain();
    if (again.empty()) break;
    listener->BeginRun(run == kRuns);
    GTEST_FLAG_SET(filter, again);
    GTEST_FLAG_SET(repeat, 1);
    GTEST_FLAG_SET(output, "");  // the report is that of the first run
    std::printf("Again, since the heap differed (it may differ once):\n");
    if (RUN_ALL_TESTS() != 0) result = 1;
  }
  return result;
}
