#include "Zel/Zel_PoolReturns.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define TEST_UNDER_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TEST_UNDER_ADDRESS_SANITIZER 1
#endif
#endif

namespace {

std::uint64_t InUse(const Zel_PoolAllocator& pool) {
  return pool.GetStats().elements_in_use;
}

std::vector<void*> Take(Zel_PoolAllocator& pool, int count) {
  std::vector<void*> elements;
  for (int i = 0; i < count; ++i) elements.push_back(pool.Allocate());
  std::sort(elements.begin(), elements.end());
  return elements;
}

// Every element came back once: the pool hands out the same ones, and needs no block for it.
void ExpectAllBack(Zel_PoolAllocator& pool, const std::vector<void*>& elements) {
  ASSERT_EQ(0u, InUse(pool));
  const std::uint64_t blocks = pool.GetStats().blocks;
  std::vector<void*> again = Take(pool, static_cast<int>(pool.GetStats().elements_total));
  EXPECT_EQ(blocks, pool.GetStats().blocks);
  EXPECT_EQ(again.end(), std::adjacent_find(again.begin(), again.end()));
  EXPECT_TRUE(std::includes(again.begin(), again.end(), elements.begin(), elements.end()));
  for (void* const element : again) ASSERT_TRUE(pool.AddToFreeList(element));
}

using Order = void (*)(std::vector<void*>&);

void Ascending(std::vector<void*>&) {}
void Descending(std::vector<void*>& elements) {
  std::reverse(elements.begin(), elements.end());
}
void Random(std::vector<void*>& elements) {
  std::shuffle(elements.begin(), elements.end(), std::mt19937(5));
}
// Children before their parent, which stands in front of them: runs that grow at both ends.
void Families(std::vector<void*>& elements) {
  for (std::size_t i = 0; i + 11 <= elements.size(); i += 11) {
    std::rotate(elements.begin() + static_cast<std::ptrdiff_t>(i),
                elements.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                elements.begin() + static_cast<std::ptrdiff_t>(i) + 11);
  }
}
void EverySecondFirst(std::vector<void*>& elements) {
  std::vector<void*> rest;
  std::vector<void*> first;
  for (std::size_t i = 0; i < elements.size(); ++i)
    (i % 2 == 0 ? first : rest).push_back(elements[i]);
  first.insert(first.end(), rest.begin(), rest.end());
  elements = first;
}

TEST(Zel_PoolReturns, TakesElementsBackInAnyOrder) {
  for (const Order order : {Order{Ascending}, Order{Descending}, Order{Random}, Order{Families},
                            Order{EverySecondFirst}}) {
    // Of the last size eight fill whole pages, so that blocks may be neighbours.
    for (const short size : {short{8}, short{16}, short{48}, short{192}, short{4096}}) {
      for (const int count : {0, 1, 2, 7, 63, 64, 65, 200, 3000}) {
        SCOPED_TRACE(testing::Message() << size << " bytes, " << count << " elements");
        Zel_PoolAllocator pool("returns", size, -1, size == 4096 ? 8 : 1000, 8, true);
        const std::vector<void*> elements = Take(pool, count);
        std::vector<void*> ordered = elements;
        order(ordered);
        {
          Zel_PoolReturns returns(pool);
          for (void* const element : ordered) ASSERT_TRUE(returns.Add(element));
        }
        ExpectAllBack(pool, elements);
      }
    }
  }
}

TEST(Zel_PoolReturns, KeepsThemUntilTold) {
  Zel_PoolAllocator pool("returns", 48, -1, 1000, 8, true);
  const std::vector<void*> elements = Take(pool, 500);
  Zel_PoolReturns returns(pool);
  for (void* const element : elements) EXPECT_TRUE(returns.Add(element));
  EXPECT_EQ(500u, InUse(pool));
  returns.GiveBack();
  EXPECT_EQ(0u, InUse(pool));
  returns.GiveBack();
  ExpectAllBack(pool, elements);
  void* const another = pool.Allocate();
  EXPECT_TRUE(returns.Add(another));
  returns.GiveBack();
  EXPECT_EQ(0u, InUse(pool));
}

TEST(Zel_PoolReturns, RefusesWhatIsNoneOfThePool) {
  constexpr short kSize = 40;
  constexpr int kCount = 50;
  Zel_PoolAllocator pool("returns", kSize, -1, kCount, 8, true);
  Zel_PoolAllocator other("other", kSize, -1, kCount, 8, true);
  const std::vector<void*> elements = Take(pool, kCount);
  void* const others = other.Allocate();
  const auto heap = std::make_unique<char[]>(1000);
  int local = 0;
  Zel_PoolReturns returns(pool);
  const auto refuse_all = [&] {
    EXPECT_FALSE(returns.Add(nullptr));
    EXPECT_FALSE(returns.Add(others));
    EXPECT_FALSE(returns.Add(heap.get()));
    EXPECT_FALSE(returns.Add(&local));
    EXPECT_FALSE(returns.Add(reinterpret_cast<void*>(std::uintptr_t{0} - kSize)));
    EXPECT_FALSE(returns.Add(static_cast<char*>(elements[7]) + 8));
    // Where the neighbours of the first and of the last element would stand.
    EXPECT_FALSE(returns.Add(static_cast<char*>(elements.front()) - kSize));
    EXPECT_FALSE(returns.Add(static_cast<char*>(elements.back()) + kSize));
  };
  refuse_all();
  EXPECT_TRUE(returns.Add(elements.front()));
  refuse_all();
  EXPECT_TRUE(returns.Add(elements.back()));
  refuse_all();
  for (int i = 1; i < kCount - 1; ++i) {
    EXPECT_TRUE(returns.Add(elements[static_cast<std::size_t>(i)]));
    refuse_all();
  }
  returns.GiveBack();
  refuse_all();
  ExpectAllBack(pool, elements);
  EXPECT_EQ(1u, InUse(other));
}

TEST(Zel_PoolReturns, RefusesForeignElementsWhereNeighboursAreFew) {
  Zel_PoolAllocator pool("returns", 48, -1, 1000, 8, true);
  Zel_PoolAllocator other("other", 48, -1, 1000, 8, true);
  const std::vector<void*> elements = Take(pool, 900);
  void* const others = other.Allocate();
  std::vector<void*> ordered = elements;
  Random(ordered);
  {
    Zel_PoolReturns returns(pool);
    for (void* const element : ordered) {
      EXPECT_FALSE(returns.Add(others));
      EXPECT_TRUE(returns.Add(element));
    }
  }
  ExpectAllBack(pool, elements);
  EXPECT_EQ(1u, InUse(other));
}

TEST(Zel_PoolReturns, WorksForPoolsWithoutCaches) {
  Zel_PoolAllocator pool("returns", 48, -1, 100, 8, false);
  for (const int count : {3, 1000}) {
    const std::vector<void*> elements = Take(pool, count);
    {
      Zel_PoolReturns returns(pool);
      for (void* const element : elements) EXPECT_TRUE(returns.Add(element));
    }
    ExpectAllBack(pool, elements);
  }
}

TEST(Zel_PoolReturnsThreads, GiveBackWhatOthersTook) {
  Zel_PoolAllocator pool("returns", 48, -1, 500, 8, true);
  for (int round = 0; round < 20; ++round) {
    std::vector<std::vector<void*>> taken(4);
    std::vector<std::thread> threads;
    for (std::vector<void*>& elements : taken) {
      threads.emplace_back([&] { elements = Take(pool, 700); });
    }
    for (std::thread& thread : threads) thread.join();
    threads.clear();
    for (std::size_t t = 0; t < taken.size(); ++t) {
      threads.emplace_back([&, t] {
        Zel_PoolReturns returns(pool);
        for (void* const element : taken[(t + 1) % taken.size()]) EXPECT_TRUE(returns.Add(element));
      });
    }
    for (std::thread& thread : threads) thread.join();
    ASSERT_EQ(0u, InUse(pool));
  }
}

#if defined(TEST_UNDER_ADDRESS_SANITIZER)
TEST(Zel_PoolReturnsDeathTest, TellsOfAnElementThatComesBackTwice) {
  Zel_PoolAllocator pool("returns", 48, -1, 1000, 8, true);
  const std::vector<void*> elements = Take(pool, 500);
  EXPECT_DEATH(
      {
        Zel_PoolReturns returns(pool);
        for (void* const element : elements) returns.Add(element);
        for (void* const element : elements) returns.Add(element);
      },
      "use-after-poison");
}
#endif

}  // namespace
