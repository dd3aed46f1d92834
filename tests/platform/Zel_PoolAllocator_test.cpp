#include "Zel/Zel_PoolAllocator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

#if defined(__SANITIZE_ADDRESS__)
#define TEST_UNDER_ADDRESS_SANITIZER 1
#elif defined(__SANITIZE_THREAD__)
#define TEST_UNDER_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TEST_UNDER_ADDRESS_SANITIZER 1
#elif __has_feature(thread_sanitizer)
#define TEST_UNDER_THREAD_SANITIZER 1
#endif
#endif

namespace {

char* At(void* base, std::ptrdiff_t offset) {
  return static_cast<char*>(base) + offset;
}

std::uint64_t InUse(const Zel_PoolAllocator& pool) {
  return pool.GetStats().elements_in_use;
}

std::vector<void*> Take(Zel_PoolAllocator& pool, std::size_t count) {
  std::vector<void*> elements;
  for (std::size_t i = 0; i < count; ++i) elements.push_back(pool.Allocate());
  return elements;
}

void GiveBack(Zel_PoolAllocator& pool, const std::vector<void*>& elements) {
  for (void* const element : elements) ASSERT_TRUE(pool.AddToFreeList(element));
}

// --------------------------------------------------------------- Elements

struct SizeCase {
  short asked;
  int alignment;
  std::size_t size;
};

const SizeCase kSizeCases[] = {
    {1, 8, 8},
    {8, 8, 8},
    {9, 8, 16},
    {24, 8, 24},
    {40, 8, 40},
    {1000, 8, 1000},
    {32767, 8, 32768},
    // Sizes that are none count as one byte.
    {0, 8, 8},
    {-5, 8, 8},
    // Alignments are powers of two from 8 to 4096.
    {24, 0, 24},
    {24, -1, 24},
    {24, 1, 24},
    {24, 16, 32},
    {24, 17, 32},
    {24, 64, 64},
    {100, 64, 128},
    {8, 4096, 4096},
    {8, 100000, 4096},
};

TEST(Zel_PoolAllocator, ElementsAreRoundedUpToTheAlignmentAndNotFurther) {
  for (const SizeCase& c : kSizeCases) {
    SCOPED_TRACE(testing::Message() << c.asked << " aligned to " << c.alignment);
    Zel_PoolAllocator pool("sizes", c.asked, -1, 20, c.alignment, true);
    EXPECT_EQ(c.size, pool.GetElementSize());
    const std::vector<void*> elements = Take(pool, 20);
    for (std::size_t i = 0; i < 20; ++i) {
      // Never used elements come in ascending order, without a gap.
      ASSERT_EQ(At(elements[0], static_cast<std::ptrdiff_t>(i * c.size)), elements[i]);
      std::memset(elements[i], static_cast<int>(i), c.size);
    }
    const auto alignment = static_cast<std::uintptr_t>(std::clamp(c.alignment, 8, 4096));
    if ((alignment & (alignment - 1)) == 0) {
      EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(elements[1]) % alignment);
    }
    EXPECT_EQ(1u, pool.GetStats().blocks);
  }
}

TEST(Zel_PoolAllocator, HasItsName) {
  std::string name = "a name that the caller does not keep";
  const Zel_PoolAllocator pool(name.c_str(), 8, -1, 10, 8, true);
  name = "gone";
  EXPECT_STREQ("a name that the caller does not keep", pool.GetName());
  EXPECT_STREQ("", Zel_PoolAllocator(nullptr, 8, -1, 10, 8, true).GetName());
}

TEST(Zel_PoolAllocator, TakesABlockWhenTheLastIsUsedUp) {
  for (const bool caches : {true, false}) {
    SCOPED_TRACE(caches);
    Zel_PoolAllocator pool("blocks", 24, -1, 1000, 8, caches);
    EXPECT_EQ(0u, pool.GetStats().blocks) << "none before the first element";
    EXPECT_EQ(0u, pool.GetStats().bytes);
    std::vector<void*> elements = Take(pool, 1000);
    EXPECT_EQ(1u, pool.GetStats().blocks);
    EXPECT_EQ(24576u, pool.GetStats().bytes) << "24,000 in whole pages";
    elements.push_back(pool.Allocate());
    EXPECT_EQ(2u, pool.GetStats().blocks);
    EXPECT_EQ(2000u, pool.GetStats().elements_total);
    EXPECT_EQ(1001u, InUse(pool));
    EXPECT_EQ(elements.size(), std::set<void*>(elements.begin(), elements.end()).size());
    GiveBack(pool, elements);
    EXPECT_EQ(0u, InUse(pool));
    EXPECT_EQ(2u, pool.GetStats().blocks) << "blocks stay with the pool";
    // What was given back is handed out before any new block is taken.
    const std::vector<void*> again = Take(pool, 2000);
    EXPECT_EQ(2u, pool.GetStats().blocks);
    EXPECT_EQ(2000u, std::set<void*>(again.begin(), again.end()).size());
  }
}

TEST(Zel_PoolAllocator, HandsOutWhatTheThreadGaveBackLast) {
  Zel_PoolAllocator pool("recent", 64, -1, 1000, 8, true);
  const std::vector<void*> elements = Take(pool, 10);
  pool.AddToFreeList(elements[3]);
  pool.AddToFreeList(elements[7]);
  EXPECT_EQ(elements[7], pool.Allocate());
  EXPECT_EQ(elements[3], pool.Allocate());
}

TEST(Zel_PoolAllocator, HandsOutTheLowestAddressWithoutCaches) {
  Zel_PoolAllocator pool("ordered", 64, -1, 1000, 8, false);
  const std::vector<void*> elements = Take(pool, 200);
  for (const std::size_t i : {130u, 7u, 64u, 63u, 3u, 199u}) pool.AddToFreeList(elements[i]);
  for (const std::size_t i : {3u, 7u, 63u, 64u, 130u, 199u}) {
    EXPECT_EQ(elements[i], pool.Allocate());
  }
}

// What comes back in any order is handed out nearly as new: neighbours in time are
// neighbours in memory, but for what the thread's own lists hold.
TEST(Zel_PoolAllocator, IsNotScatteredByTheOrderOfReturns) {
  Zel_PoolAllocator pool("scattered", 48, -1, 10000, 8, true);
  std::vector<void*> elements = Take(pool, 50000);
  std::shuffle(elements.begin(), elements.end(), std::mt19937(7));
  GiveBack(pool, elements);
  const std::vector<void*> again = Take(pool, 50000);
  int neighbours = 0;
  for (std::size_t i = 1; i < again.size(); ++i) {
    const char* const before = static_cast<const char*>(again[i - 1]);
    const char* const after = static_cast<const char*>(again[i]);
    // Elements that a thread's lists held are missing from the sequence.
    if (after > before && after - before <= 4 * 48) ++neighbours;
  }
  EXPECT_GT(neighbours, 45000);
  GiveBack(pool, again);
}

// Around every edge at which a thread trades with its pool.
TEST(Zel_PoolAllocator, CountsStayExactAcrossBatches) {
  for (const int block : {1, 2, 7, 8, 64, 100, 2000, 10000}) {
    for (const short size : {short{8}, short{24}, short{1024}}) {
      for (const bool caches : {true, false}) {
        SCOPED_TRACE(testing::Message() << block << " of " << size << ", caches " << caches);
        Zel_PoolAllocator pool("batches", size, -1, block, 8, caches);
        for (const std::size_t count : {1u, 2u, 63u, 64u, 65u, 128u, 250u, 251u, 256u, 257u, 511u,
                                        512u, 513u, 768u, 769u, 1025u}) {
          const std::vector<void*> elements = Take(pool, count);
          ASSERT_EQ(count, InUse(pool));
          ASSERT_EQ(count, std::set<void*>(elements.begin(), elements.end()).size());
          for (std::size_t i = 0; i < count; ++i) {
            ASSERT_TRUE(pool.AddToFreeList(elements[i]));
            ASSERT_EQ(count - i - 1, InUse(pool));
          }
        }
        // 1,025 elements were in use at most, so no more blocks were needed.
        const auto per_block = static_cast<std::uint64_t>(block);
        EXPECT_EQ((1025 + per_block - 1) / per_block, pool.GetStats().blocks);
      }
    }
  }
}

TEST(Zel_PoolAllocator, AThreadKeepsLittleOfASmallPool) {
  Zel_PoolAllocator pool("small", 64, -1, 80, 8, true);
  GiveBack(pool, Take(pool, 80));
  EXPECT_LE(pool.GetStats().elements_cached, 20u);
  Zel_PoolAllocator big_elements("big elements", 32000, -1, 1000, 8, true);
  GiveBack(big_elements, Take(big_elements, 100));
  EXPECT_LE(big_elements.GetStats().elements_cached, 4u);
}

TEST(Zel_PoolAllocator, WithoutCachesNothingIsCached) {
  Zel_PoolAllocator pool("locked", 64, -1, 1000, 8, false);
  GiveBack(pool, Take(pool, 500));
  EXPECT_EQ(0u, pool.GetStats().elements_cached);
  EXPECT_EQ(0u, InUse(pool));
}

// ---------------------------------------------------------- Block sizes

TEST(Zel_PoolAllocator, BlockInfoHoldsForTheBlocksToCome) {
  Zel_PoolAllocator pool("reset", 32, -1, 100, 8, true);
  EXPECT_EQ(100, pool.GetCurrElementsInBlock());
  std::vector<void*> elements = Take(pool, 10);
  pool.ResetBlockInfo(5000, 3);
  EXPECT_EQ(5000, pool.GetCurrElementsInBlock());
  for (int i = 10; i < 100; ++i) elements.push_back(pool.Allocate());
  EXPECT_EQ(100u, pool.GetStats().elements_total) << "the block that exists is used up first";
  elements.push_back(pool.Allocate());
  EXPECT_EQ(5100u, pool.GetStats().elements_total);
  // Smaller again.
  pool.ResetBlockInfo(7, -1);
  EXPECT_EQ(7, pool.GetCurrElementsInBlock());
  while (elements.size() < 5101) elements.push_back(pool.Allocate());
  EXPECT_EQ(5107u, pool.GetStats().elements_total);
  EXPECT_EQ(3u, pool.GetStats().blocks);
  for (void* const element : elements) ASSERT_TRUE(pool.Exist(element));
  EXPECT_EQ(elements.size(), std::set<void*>(elements.begin(), elements.end()).size());
  GiveBack(pool, elements);
  EXPECT_EQ(0u, InUse(pool));
}

TEST(Zel_PoolAllocator, BatchesMadeUnderOtherBlockSizesAreStillGood) {
  Zel_PoolAllocator pool("resize", 16, -1, 10000, 8, true);
  std::vector<void*> elements = Take(pool, 10000);
  GiveBack(pool, elements);
  pool.ResetBlockInfo(8, -1);  // batches of one from here on
  elements = Take(pool, 10000);
  EXPECT_EQ(10000u, std::set<void*>(elements.begin(), elements.end()).size());
  EXPECT_EQ(10000u, InUse(pool));
  GiveBack(pool, elements);
  EXPECT_EQ(0u, InUse(pool));
  pool.ResetBlockInfo(10000, -1);
  elements = Take(pool, 10000);
  EXPECT_EQ(10000u, std::set<void*>(elements.begin(), elements.end()).size());
  EXPECT_EQ(1u, pool.GetStats().blocks);
  GiveBack(pool, elements);
}

TEST(Zel_PoolAllocator, APoolWithoutElementsPerBlockYieldsNull) {
  for (const int none : {0, -1, -10000}) {
    for (const bool caches : {true, false}) {
      Zel_PoolAllocator pool("none", 32, 3, none, 8, caches);
      EXPECT_EQ(nullptr, pool.Allocate());
      EXPECT_EQ(none, pool.GetCurrElementsInBlock());
      EXPECT_EQ(0u, pool.GetStats().blocks);
      pool.ResetBlockInfo(2, -1);
      void* const element = pool.Allocate();
      EXPECT_NE(nullptr, element);
      pool.ResetBlockInfo(none, -1);
      // The block that exists is used up first, and what comes back is reused.
      EXPECT_NE(nullptr, pool.Allocate());
      EXPECT_EQ(nullptr, pool.Allocate());
      EXPECT_TRUE(pool.AddToFreeList(element));
      EXPECT_EQ(element, pool.Allocate());
      EXPECT_EQ(nullptr, pool.Allocate());
    }
  }
}

TEST(Zel_PoolAllocator, ExpectationsAreNoLimit) {
  Zel_PoolAllocator pool("expected", 32, 1, 10, 8, true);
  pool.ResetBlockInfo(10, 2);
  const std::vector<void*> elements = Take(pool, 100);
  EXPECT_EQ(10u, pool.GetStats().blocks);
  EXPECT_EQ(0, std::count(elements.begin(), elements.end(), nullptr));
  // However wild they are.
  pool.ResetBlockInfo(10, 2147483647);
  pool.ResetBlockInfo(10, -2147483647 - 1);
  EXPECT_NE(nullptr, pool.Allocate());
}

// The sanitizers' heaps end the program when they are asked for so much.
#if !defined(TEST_UNDER_ADDRESS_SANITIZER) && !defined(TEST_UNDER_THREAD_SANITIZER)
TEST(Zel_PoolAllocator, ABlockThatTheHeapCannotGiveYieldsNull) {
  if (sizeof(void*) < 8) GTEST_SKIP() << "such blocks do not exist here";
  Zel_PoolAllocator pool("monstrous", 32767, -1, 2147483647, 8, true);
  EXPECT_EQ(nullptr, pool.Allocate());
  EXPECT_EQ(0u, pool.GetStats().elements_total);
  pool.ResetBlockInfo(1, -1);
  EXPECT_NE(nullptr, pool.Allocate());
}
#endif

// ------------------------------------------------------ Foreign addresses

TEST(Zel_PoolAllocator, KnowsItsElementsAndNothingElse) {
  for (const short size : {short{8}, short{16}, short{24}, short{40}, short{56}, short{104},
                           short{4096}, short{5000}, short{32760}}) {
    SCOPED_TRACE(size);
    constexpr std::ptrdiff_t kCount = 50;
    Zel_PoolAllocator pool("exist", size, -1, kCount, 8, true);
    char* const first = static_cast<char*>(pool.Allocate());
    for (std::ptrdiff_t i = 0; i < kCount; ++i) {
      // In use or not.
      ASSERT_TRUE(pool.Exist(first + i * size)) << i;
      for (const std::ptrdiff_t off : {1, 4, 7}) {
        ASSERT_FALSE(pool.Exist(first + i * size + off)) << i;
        ASSERT_FALSE(pool.Exist(first + i * size - off)) << i;
      }
      if (size > 8) {
        ASSERT_FALSE(pool.Exist(first + i * size + 8)) << i;
        ASSERT_FALSE(pool.AddToFreeList(first + i * size + 8)) << i;
      }
    }
    // The rest of the block's last page, and what lies around the block.
    EXPECT_FALSE(pool.Exist(first + kCount * size));
    EXPECT_FALSE(pool.AddToFreeList(first + kCount * size));
    EXPECT_FALSE(pool.Exist(first + (kCount + 1) * size));
    EXPECT_FALSE(pool.Exist(first - size));
    EXPECT_EQ(1u, InUse(pool));
    EXPECT_TRUE(pool.AddToFreeList(first));
  }
}

TEST(Zel_PoolAllocator, RejectsForeignAddressesOfAllKinds) {
  Zel_PoolAllocator pool("mine", 32, -1, 100, 8, true);
  Zel_PoolAllocator other("other", 32, -1, 100, 8, true);
  void* const mine = pool.Allocate();
  void* const others = other.Allocate();
  static int global = 0;
  int local = 0;
  const auto heap = std::make_unique<char[]>(1000);
  const std::vector<const void*> foreign = {
    nullptr,
    &global,
    &local,
    heap.get(),
    heap.get() + 1,
    others,
    &pool,
    // No memory of anybody's.
    reinterpret_cast<void*>(std::uintptr_t{1}),
    reinterpret_cast<void*>(std::uintptr_t{4096}),
    reinterpret_cast<void*>(~std::uintptr_t{0}),
    reinterpret_cast<void*>(~std::uintptr_t{7}),
#if UINTPTR_MAX > 0xFFFFFFFFu
    // Beyond 48 bits: also the address of an element with a bit set there.
    reinterpret_cast<void*>(std::uintptr_t{1} << 48),
    reinterpret_cast<void*>((std::uintptr_t{1} << 48) - 8),
    reinterpret_cast<void*>(std::uintptr_t{1} << 63),
    reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(mine) | (std::uintptr_t{1} << 48)),
    reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(mine) | (std::uintptr_t{1} << 63)),
#endif
  };
  for (const void* const address : foreign) {
    EXPECT_FALSE(pool.Exist(address)) << address;
    EXPECT_FALSE(pool.AddToFreeList(const_cast<void*>(address))) << address;
  }
  EXPECT_EQ(1u, InUse(pool));
  EXPECT_EQ(1u, InUse(other));
  EXPECT_TRUE(pool.Exist(mine));
  EXPECT_FALSE(other.Exist(mine));
}

// Three pages that nobody may read, on Linux with a hole between them.
class UnreadablePages {
 public:
  static constexpr std::size_t kPage = 4096;
  static constexpr std::size_t kBytes = 3 * kPage;

#if defined(_WIN32)
  UnreadablePages()
      : m_start(static_cast<char*>(VirtualAlloc(nullptr, kBytes, MEM_RESERVE, PAGE_NOACCESS))) {}
  ~UnreadablePages() {
    VirtualFree(m_start, 0, MEM_RELEASE);
  }
#else
  UnreadablePages() {
    void* const start = mmap(nullptr, kBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (start == MAP_FAILED) return;
    m_start = static_cast<char*>(start);
    munmap(m_start + kPage, kPage);
  }
  ~UnreadablePages() {
    if (m_start == nullptr) return;
    munmap(m_start, kPage);
    munmap(m_start + 2 * kPage, kPage);
  }
#endif
  UnreadablePages(const UnreadablePages&) = delete;
  UnreadablePages& operator=(const UnreadablePages&) = delete;

  char* Start() const {
    return m_start;
  }

 private:
  char* m_start = nullptr;
};

TEST(Zel_PoolAllocator, DoesNotReadTheMemoryOfForeignAddresses) {
  Zel_PoolAllocator pool("mine", 32, -1, 1, 8, true);
  char* const mine = static_cast<char*>(pool.Allocate());
  // Pages that nobody may read.
  const UnreadablePages unreadable;
  char* const pages = unreadable.Start();
  ASSERT_NE(nullptr, pages);
  for (std::size_t offset = 0; offset < UnreadablePages::kBytes; offset += 8) {
    ASSERT_FALSE(pool.Exist(pages + offset));
    ASSERT_FALSE(pool.AddToFreeList(pages + offset));
  }
  // The neighbours of our only page, whatever they are.
  for (std::ptrdiff_t offset = 8; offset <= 4096; offset += 8) {
    ASSERT_FALSE(pool.Exist(mine - offset));
    ASSERT_FALSE(pool.Exist(mine + offset));
    ASSERT_FALSE(pool.AddToFreeList(mine + 4096 + offset));
  }
}

TEST(Zel_PoolAllocator, AnswersForAddressesOfADestroyedPool) {
  auto gone = std::make_unique<Zel_PoolAllocator>("gone", short{64}, short{-1}, 100, 8, true);
  const std::vector<void*> elements = Take(*gone, 100);
  gone.reset();
  Zel_PoolAllocator pool("mine", 48, -1, 1, 8, true);
  for (void* const element : elements) {
    EXPECT_FALSE(pool.Exist(element)) << "the pool has no block yet";
    EXPECT_FALSE(pool.AddToFreeList(element));
  }
}

// ------------------------------------------------------- Ordered failures

TEST(Zel_PoolAllocator, FailsAsManyAllocationsAsOrdered) {
  for (const bool caches : {true, false}) {
    for (const bool warm : {true, false}) {
      SCOPED_TRACE(testing::Message() << "caches " << caches << ", warm " << warm);
      Zel_PoolAllocator pool("failing", 32, -1, 100, 8, caches);
      if (warm) GiveBack(pool, Take(pool, 30));
      for (const int n : {1, 2, 17}) {
        pool.FailNextAllocations(n);
        for (int i = 0; i < n; ++i) ASSERT_EQ(nullptr, pool.Allocate()) << i;
        void* const element = pool.Allocate();
        ASSERT_NE(nullptr, element);
        ASSERT_TRUE(pool.AddToFreeList(element));
        ASSERT_EQ(0u, InUse(pool));
      }
    }
  }
}

TEST(Zel_PoolAllocator, TakesElementsBackWhileFailuresArePending) {
  Zel_PoolAllocator pool("failing", 32, -1, 10000, 8, true);
  const std::vector<void*> elements = Take(pool, 2000);
  pool.FailNextAllocations(2);
  EXPECT_EQ(nullptr, pool.Allocate());
  GiveBack(pool, elements);
  EXPECT_EQ(0u, InUse(pool));
  EXPECT_EQ(nullptr, pool.Allocate());
  EXPECT_EQ(2000u, Take(pool, 2000).size());
  EXPECT_EQ(1u, pool.GetStats().blocks);
}

TEST(Zel_PoolAllocator, ALaterOrderReplacesAnEarlierOne) {
  Zel_PoolAllocator pool("failing", 32, -1, 100, 8, true);
  pool.FailNextAllocations(100);
  pool.FailNextAllocations(1);
  EXPECT_EQ(nullptr, pool.Allocate());
  EXPECT_NE(nullptr, pool.Allocate());
  pool.FailNextAllocations(100);
  pool.FailNextAllocations(0);
  EXPECT_NE(nullptr, pool.Allocate());
  pool.FailNextAllocations(100);
  pool.FailNextAllocations(-1);
  EXPECT_NE(nullptr, pool.Allocate());
}

TEST(Zel_PoolAllocator, FailuresAreOnePoolsOwn) {
  Zel_PoolAllocator failing("failing", 32, -1, 100, 8, true);
  Zel_PoolAllocator other("other", 32, -1, 100, 8, true);
  failing.FailNextAllocations(1);
  EXPECT_NE(nullptr, other.Allocate());
  EXPECT_EQ(nullptr, failing.Allocate());
}

// -------------------------------------------------------------- Many pools

TEST(Zel_PoolAllocator, PoolsBeyondTheCachedOnesWorkAsWell) {
  std::vector<std::unique_ptr<Zel_PoolAllocator>> pools;
  std::vector<std::vector<void*>> elements;
  for (int i = 0; i < 200; ++i) {
    pools.push_back(
        std::make_unique<Zel_PoolAllocator>("many", short{40}, short{-1}, 300, 8, true));
    elements.push_back(Take(*pools.back(), 400));
  }
  for (std::size_t i = 0; i < 200; ++i) {
    EXPECT_EQ(400u, InUse(*pools[i]));
    EXPECT_TRUE(pools[i]->Exist(elements[i][399]));
    EXPECT_FALSE(pools[i]->Exist(elements[(i + 1) % 200][0]));
    GiveBack(*pools[i], elements[i]);
    EXPECT_EQ(0u, InUse(*pools[i]));
    EXPECT_EQ(2u, pools[i]->GetStats().blocks);
  }
  // The slots of those that go serve the pools to come.
  pools.erase(pools.begin(), pools.begin() + 100);
  Zel_PoolAllocator cached("cached", 40, -1, 300, 8, true);
  GiveBack(cached, Take(cached, 100));
  EXPECT_NE(0u, cached.GetStats().elements_cached);
}

TEST(Zel_PoolAllocator, AShortLivedPoolStartsEmpty) {
  for (int i = 0; i < 1000; ++i) {
    Zel_PoolAllocator pool("local", 40, 3, 1 + i % 50, 8, true);
    const Zel_PoolStats before = pool.GetStats();
    ASSERT_EQ(0u, before.elements_total + before.elements_cached + before.blocks);
    std::vector<void*> elements = Take(pool, 30);
    for (void* const element : elements) {
      ASSERT_TRUE(pool.Exist(element));
      std::memset(element, 0xAB, 40);
    }
    if (i % 2 == 0) elements.resize(15);
    GiveBack(pool, elements);
  }
}

TEST(Zel_PoolAllocator, AllPoolsCanBeVisited) {
  const auto names = [] {
    std::vector<std::string> found;
    Zel_PoolAllocator::VisitAll([&](Zel_PoolAllocator& pool) {
      if (std::strncmp(pool.GetName(), "visit", 5) == 0) found.push_back(pool.GetName());
    });
    return found;
  };
  auto a = std::make_unique<Zel_PoolAllocator>("visit a", short{8}, short{-1}, 10, 8, true);
  auto b = std::make_unique<Zel_PoolAllocator>("visit b", short{8}, short{-1}, 10, 8, false);
  auto c = std::make_unique<Zel_PoolAllocator>("visit c", short{8}, short{-1}, 10, 8, true);
  EXPECT_EQ((std::vector<std::string>{"visit a", "visit b", "visit c"}), names());
  b.reset();
  EXPECT_EQ((std::vector<std::string>{"visit a", "visit c"}), names());
  c.reset();
  EXPECT_EQ((std::vector<std::string>{"visit a"}), names());
  b = std::make_unique<Zel_PoolAllocator>("visit d", short{8}, short{-1}, 10, 8, true);
  a.reset();
  EXPECT_EQ((std::vector<std::string>{"visit d"}), names());
  b.reset();
  EXPECT_EQ(std::vector<std::string>(), names());
}

// ------------------------------------------------------------- Random use

// An element filled with its owner's mark from end to end: two elements that
// overlap would spoil each other's.
struct Marked {
  void* element;
  unsigned char mark;
};

TEST(Zel_PoolAllocator, AgreesWithAModelOverRandomUse) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  for (const short size : {short{8}, short{24}, short{200}}) {
    Zel_PoolAllocator pool("random", size, -1, 500, 8, true);
    std::vector<Marked> held;
    std::size_t most_held = 0;
    int failing = 0;
    for (int step = 0; step < 30000; ++step) {
      const auto choice = static_cast<unsigned>(random() % 1000);
      if (choice < 2) pool.ResetBlockInfo(static_cast<int>(1 + random() % 1000), -1);
      if (choice == 2) pool.FailNextAllocations(failing = static_cast<int>(random() % 5));
      // Phases of growth and of shrinking.
      const bool take = (step / 3000) % 2 == 0 ? choice % 4 != 0 : choice % 4 == 0;
      if (take) {
        void* const element = pool.Allocate();
        if (failing > 0) {
          --failing;
          ASSERT_EQ(nullptr, element);
          continue;
        }
        ASSERT_NE(nullptr, element);
        const auto mark = static_cast<unsigned char>(random());
        std::memset(element, mark, static_cast<std::size_t>(size));
        held.push_back({element, mark});
        most_held = std::max(most_held, held.size());
      } else if (!held.empty()) {
        std::swap(held[random() % held.size()], held.back());
        const Marked last = held.back();
        held.pop_back();
        const auto* const bytes = static_cast<const unsigned char*>(last.element);
        ASSERT_EQ(size, std::count(bytes, bytes + size, last.mark));
        ASSERT_TRUE(pool.AddToFreeList(last.element));
      }
      if (step % 100 == 0) {
        ASSERT_EQ(held.size(), InUse(pool));
      }
    }
    EXPECT_EQ(held.size(), InUse(pool));
    EXPECT_GE(pool.GetStats().elements_total, most_held);
    EXPECT_LE(pool.GetStats().elements_total, most_held + 1000) << "free elements were not reused";
  }
}

#if defined(TEST_UNDER_ADDRESS_SANITIZER)
TEST(Zel_PoolAllocatorDeathTest, UseOfAReturnedElementIsReported) {
  Zel_PoolAllocator pool("poisoned", 64, -1, 100, 8, true);
  auto* const element = static_cast<volatile char*>(pool.Allocate());
  element[63] = 1;
  EXPECT_DEATH(element[64] = 1, "use-after-poison") << "the next element is free";
  pool.AddToFreeList(const_cast<char*>(element));
  EXPECT_DEATH(element[0] = 1, "use-after-poison");
  EXPECT_DEATH(element[63] = 1, "use-after-poison");
  EXPECT_DEATH(pool.AddToFreeList(const_cast<char*>(element)), "use-after-poison");
  EXPECT_EQ(element, pool.Allocate());
  element[63] = 1;
}
#endif

// ------------------------------------------------------------ Whole blocks

// Blocks of all sizes, from a page to more than a region of memory, come and go in random
// order; none may touch another.
TEST(Zel_PoolAllocator, BlocksOfAllSizesShareTheMemory) {
  struct Held {
    std::unique_ptr<Zel_PoolAllocator> pool;
    char* block;
    std::size_t bytes;
    char mark;
  };
  const std::size_t page_counts[] = {1,   2,   7,   8,   9,   64,  117, 255,
                                     256, 500, 510, 511, 512, 513, 1100};
  std::mt19937 random(7);
  std::vector<Held> held;
  const auto check = [](const Held& one) {
    return std::count(one.block, one.block + one.bytes, one.mark) ==
           static_cast<std::ptrdiff_t>(one.bytes);
  };
  for (int round = 0; round < 400; ++round) {
    const bool is_full = held.size() == 40;
    if (is_full || (!held.empty() && random() % 3 == 0)) {
      const std::size_t place = random() % held.size();
      ASSERT_TRUE(check(held[place])) << "round " << round;
      held.erase(held.begin() + static_cast<std::ptrdiff_t>(place));
      continue;
    }
    const std::size_t pages = page_counts[random() % std::size(page_counts)];
    const int elements = static_cast<int>(pages) * 2;
    Held fresh{std::make_unique<Zel_PoolAllocator>("block", 2048, -1, elements, 8, false), nullptr,
               pages * 4096, static_cast<char>(random())};
    fresh.block = static_cast<char*>(fresh.pool->Allocate());
    ASSERT_NE(nullptr, fresh.block);
    for (int i = 1; i < elements; ++i) ASSERT_EQ(fresh.block + i * 2048, fresh.pool->Allocate());
    ASSERT_EQ(0u, reinterpret_cast<std::uintptr_t>(fresh.block) % 4096);
    std::memset(fresh.block, fresh.mark, fresh.bytes);
    held.push_back(std::move(fresh));
  }
  for (const Held& one : held) EXPECT_TRUE(check(one));
}

// What came back in pieces is handed out in ranges, and what is scattered one by one.
TEST(Zel_PoolAllocator, HandsOutWhatCameBackInAnyPattern) {
  std::mt19937 random(11);
  for (const std::size_t most_in_a_row : {1u, 3u, 8u, 20u, 63u, 64u, 65u, 300u}) {
    SCOPED_TRACE(most_in_a_row);
    Zel_PoolAllocator pool("pattern", 24, -1, 2000, 8, true);
    const std::vector<void*> all = Take(pool, 2000);
    std::set<void*> free;
    bool gives_back = true;
    for (std::size_t i = 0; i < all.size(); gives_back = !gives_back) {
      for (std::size_t left = 1 + random() % most_in_a_row; left > 0 && i < all.size(); --left) {
        if (gives_back) {
          ASSERT_TRUE(pool.AddToFreeList(all[i]));
          free.insert(all[i]);
        }
        ++i;
      }
    }
    EXPECT_EQ(2000u - free.size(), InUse(pool));
    for (std::size_t left = free.size(); left > 0; --left) {
      ASSERT_EQ(1u, free.erase(pool.Allocate()));
    }
    EXPECT_EQ(1u, pool.GetStats().blocks);
    GiveBack(pool, all);
    EXPECT_EQ(0u, InUse(pool));
  }
}

// -------------------------------------------------- Before and after main

// A pool that is never destroyed, used by constructors and destructors of
// static objects.
Zel_PoolAllocator& StaticPool() {
  static auto* const pool = new Zel_PoolAllocator("static", 32, -1, 100, 8, true);
  return *pool;
}

struct StaticUser {
  StaticUser() {
    for (void*& element : elements) element = StaticPool().Allocate();
  }
  ~StaticUser() {
    for (void* const element : elements) {
      if (!StaticPool().AddToFreeList(element)) Fail("an element was refused");
    }
    void* const late = StaticPool().Allocate();
    if (late == nullptr || !StaticPool().AddToFreeList(late)) Fail("nothing is handed out");
    const Zel_PoolStats stats = StaticPool().GetStats();
    if (stats.elements_in_use != 0) Fail("elements were lost");
#if !defined(_WIN32)
    // The main thread's caches are gone by now.  On Windows they stay until the process goes.
    if (stats.elements_cached != 0) Fail("elements are cached by a thread that ended");
#endif
  }
  static void Fail(const char* what) {
    std::fprintf(stderr, "Use of a pool after main: %s\n", what);
    std::_Exit(1);
  }
  void* elements[1000];
};
StaticUser g_static_user;

TEST(Zel_PoolAllocator, WorksWhileStaticObjectsAreMade) {
  EXPECT_EQ(1000u, InUse(StaticPool()));
  for (void* const element : g_static_user.elements) EXPECT_TRUE(StaticPool().Exist(element));
}

}  // namespace
