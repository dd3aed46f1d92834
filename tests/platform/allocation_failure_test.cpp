// What the platform classes do when the general heap has nothing left.
//
// This file replaces the global operator new of its program, so that it can
// refuse memory to one thread; it can't be linked with another replacement.  On
// Windows it redirects that of the run-time library.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "ThreadAPI/ThreadAPI_AutoPtrThreadSafe.h"
#include "Zel/Zel_LogFile.h"
#include "Zel/Zel_PoolAllocator.h"
#include "rw/RWCString.h"
#include "support/RuntimeHeap.h"

#if defined(__MINGW32__)
#include <malloc.h>
#endif

#if defined(__SANITIZE_THREAD__)
#define TEST_UNDER_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define TEST_UNDER_THREAD_SANITIZER 1
#endif
#endif

// Without a run-time library that could be redirected, a replacement would not
// reach the platform library on Windows.  ThreadSanitizer brings an operator new
// that can't be replaced.
#if !defined(_MSC_VER) && !defined(TEST_UNDER_THREAD_SANITIZER)

namespace {

thread_local bool t_heap_is_empty = false;

}  // namespace

#if defined(__MINGW32__)

namespace {

void* Take(std::size_t bytes) {
  return t_heap_is_empty ? nullptr : std::malloc(bytes);
}
void* TakeAligned(std::size_t bytes, std::size_t alignment) {
  return t_heap_is_empty ? nullptr : _aligned_malloc(bytes, alignment);
}
const bool g_is_redirected = [] {
  RedirectRuntimeHeap({Take, std::free, TakeAligned, _aligned_free});
  return true;
}();

}  // namespace

#else

// Where gcc inlines only one of the two into its callers it takes them for no pair.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

namespace {

void* TakeOrNull(std::size_t bytes, std::size_t alignment) noexcept {
  if (t_heap_is_empty) return nullptr;
  bytes = (bytes + alignment - 1) & ~(alignment - 1);
  return std::aligned_alloc(alignment, bytes == 0 ? alignment : bytes);
}

void* Take(std::size_t bytes, std::size_t alignment) {
  void* const memory = TakeOrNull(bytes, alignment);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t bytes) {
  return Take(bytes, alignof(std::max_align_t));
}
void* operator new(std::size_t bytes, std::align_val_t alignment) {
  return Take(bytes, static_cast<std::size_t>(alignment));
}
// A sanitizer's own nothrow forms would not come down to the throwing ones.
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return TakeOrNull(bytes, alignof(std::max_align_t));
}
void* operator new(std::size_t bytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return TakeOrNull(bytes, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  std::free(memory);
}

#endif

namespace {

class EmptyHeap {
 public:
  EmptyHeap() { t_heap_is_empty = true; }
  ~EmptyHeap() { t_heap_is_empty = false; }
  EmptyHeap(const EmptyHeap&) = delete;
  EmptyHeap& operator=(const EmptyHeap&) = delete;
};

TEST(AllocationFailure, APoolWithoutRoomYieldsNull) {
  // Its blocks fit into no region of memory that other pools have begun.
  constexpr int kElements = 40000;
  Zel_PoolAllocator pool("large", 64, -1, kElements, 8, true);
  void* element = nullptr;
  {
    const EmptyHeap empty;
    EXPECT_EQ(nullptr, pool.Allocate());
    EXPECT_EQ(nullptr, pool.Allocate());
  }
  element = pool.Allocate();
  ASSERT_NE(nullptr, element);
  {
    // What the block still holds is handed out; a new block is not to be had.
    const EmptyHeap empty;
    for (int i = 1; i < kElements; ++i) ASSERT_NE(nullptr, pool.Allocate());
    EXPECT_EQ(nullptr, pool.Allocate());
    EXPECT_TRUE(pool.AddToFreeList(element));
    EXPECT_EQ(element, pool.Allocate());
  }
  EXPECT_EQ(std::uint64_t{kElements}, pool.GetStats().elements_in_use);
  EXPECT_EQ(1u, pool.GetStats().blocks);
}

TEST(AllocationFailure, GivingElementsBackNeedsNoMemory) {
  constexpr std::size_t kCount = 50000;
  Zel_PoolAllocator pool("large", 16, -1, 2000, 8, true);
  std::vector<void*> elements(kCount);
  for (void*& element : elements) element = pool.Allocate();
  bool all_taken = true;
  // A thread that is new to the pool can't even get its caches.
  std::thread([&] {
    const EmptyHeap empty;
    for (std::size_t i = 0; i < kCount / 2; ++i) {
      all_taken = pool.AddToFreeList(elements[i]) && all_taken;
    }
  }).join();
  {
    const EmptyHeap empty;
    for (std::size_t i = kCount / 2; i < kCount; ++i) {
      all_taken = pool.AddToFreeList(elements[i]) && all_taken;
    }
  }
  EXPECT_TRUE(all_taken);
  EXPECT_EQ(0u, pool.GetStats().elements_in_use);
}

TEST(AllocationFailure, AThreadWithoutCachesIsServed) {
  Zel_PoolAllocator pool("pool", 32, -1, 1000, 8, true);
  pool.AddToFreeList(pool.Allocate());
  std::thread([&] {
    void* elements[100];
    {
      const EmptyHeap empty;
      for (void*& element : elements) element = pool.Allocate();
    }
    for (void* const element : elements) {
      EXPECT_TRUE(pool.Exist(element));
      EXPECT_TRUE(pool.AddToFreeList(element));
    }
  }).join();
  EXPECT_EQ(0u, pool.GetStats().elements_in_use);
}

int g_live = 0;
struct Counted {
  Counted() { ++g_live; }
  ~Counted() { --g_live; }
};

TEST(AllocationFailure, AHandleWithoutARecordDeletesItsObject) {
  auto* const object = new Counted;
  EXPECT_EQ(1, g_live);
  autoptrthreadsafe_internal_data::Pool().FailNextAllocations(1);
  bool thrown = false;
  try {
    const EmptyHeap empty;
    const ThreadAPI_AutoPtrThreadSafe<Counted> handle(object);
  } catch (const std::bad_alloc&) {
    thrown = true;
  }
  EXPECT_TRUE(thrown);
  EXPECT_EQ(0, g_live);
}

TEST(AllocationFailure, AStringThatCannotGrowStaysAsItWas) {
  // Shorter ones may find memory at hand.
  const std::string long_text(200, 't');
  RWCString text(long_text.c_str());
  const RWCString shared(text);
  const std::string huge(1000, 'x');
  int thrown = 0;
  const auto expect_failure = [&thrown](auto&& change) {
    try {
      const EmptyHeap empty;
      change();
    } catch (const std::bad_alloc&) {
      ++thrown;
    }
  };
  expect_failure([&] { text.append(huge.c_str()); });
  expect_failure([&] { text.replace(2, 4, huge.c_str()); });
  expect_failure([&] { text[0] = 'A'; });
  expect_failure([&] { text.resize(190); });
  expect_failure([&] { text = huge.c_str(); });
  expect_failure([&] { RWCString::Permanent(RWCString()); });  // needs no memory
  EXPECT_EQ(5, thrown);
  EXPECT_STREQ(long_text.c_str(), text.data());
  EXPECT_EQ(text.data(), shared.data());
}

TEST(AllocationFailure, LoggingLosesTheLineAndNothingElse) {
  int lines = 0;
  ZelGLog.SetSink([&lines](const Zel_LogRecord&) { ++lines; });
  const std::string huge(1000, 'x');
  {
    const EmptyHeap empty;
    ZelGLog.StoreParams("s", "f", 1, 3, 1, 1);
    ZelGLog.Log("%s", huge.c_str());
  }
  EXPECT_EQ(0, lines);
  ZelGLog.Log("%s", huge.c_str());
  EXPECT_EQ(1, lines);
  ZelGLog.SetSink(nullptr);
}

}  // namespace

#else

TEST(AllocationFailure, IsTestedWhereTheHeapCanBeReplaced) {
  GTEST_SKIP() << "a replacement of operator new does not reach the platform library here";
}

#endif
