#include "Zel/Zel_PoolSupply.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

namespace {

constexpr short kSize = 48;

std::uint64_t InUse(const Zel_PoolAllocator& pool) {
  return pool.GetStats().elements_in_use;
}

// What users do who need `count` elements.
std::vector<void*> TakeFrom(Zel_PoolSupply& supply, Zel_PoolAllocator& pool, int count) {
  std::vector<void*> elements;
  for (int i = 0; i < count; ++i) {
    elements.push_back(supply.IsReady() ? supply.Take() : pool.Allocate());
  }
  return elements;
}

void GiveBack(Zel_PoolAllocator& pool, const std::vector<void*>& elements) {
  for (void* const element : elements) ASSERT_TRUE(pool.AddToFreeList(element));
}

// Writes all over the elements and finds each as it was left: no two overlap.
void ExpectApart(const Zel_PoolAllocator& pool, const std::vector<void*>& elements) {
  unsigned char mark = 0;
  for (void* const element : elements) {
    ASSERT_TRUE(pool.Exist(element));
    std::memset(element, mark++, pool.GetElementSize());
  }
  mark = 0;
  for (void* const element : elements) {
    const auto* const bytes = static_cast<const unsigned char*>(element);
    for (std::size_t i = 0; i < pool.GetElementSize(); ++i) ASSERT_EQ(mark, bytes[i]);
    ++mark;
  }
}

TEST(Zel_PoolSupply, HandsOutElementsOfThePool) {
  Zel_PoolAllocator pool("supply", kSize, -1, 1000, 8, true);
  std::vector<void*> elements;
  {
    Zel_PoolSupply supply(pool);
    elements = TakeFrom(supply, pool, 5000);
  }
  EXPECT_EQ(elements.size(), std::set<void*>(elements.begin(), elements.end()).size());
  ExpectApart(pool, elements);
  EXPECT_EQ(5000u, InUse(pool));
  EXPECT_EQ(5u, pool.GetStats().blocks);
  GiveBack(pool, elements);
  EXPECT_EQ(0u, InUse(pool));
}

TEST(Zel_PoolSupply, GivesBackWhatIsLeft) {
  Zel_PoolAllocator pool("supply", kSize, -1, 10000, 8, true);
  // A thread's first element shows the pool to the thread.
  void* const first = pool.Allocate();
  for (int count = 0; count < 700; ++count) {
    std::vector<void*> elements;
    {
      Zel_PoolSupply supply(pool);
      ASSERT_TRUE(supply.IsReady());
      elements = TakeFrom(supply, pool, count);
    }
    ASSERT_EQ(1u + static_cast<std::uint64_t>(count), InUse(pool));
    GiveBack(pool, elements);
    ASSERT_EQ(1u, InUse(pool));
  }
  EXPECT_EQ(1u, pool.GetStats().blocks);
  EXPECT_TRUE(pool.AddToFreeList(first));
}

TEST(Zel_PoolSupply, GivesBackWhatIsLeftInAnyOrder) {
  Zel_PoolAllocator pool("supply", kSize, -1, 10000, 8, true);
  void* const first = pool.Allocate();
  std::vector<void*> elements;
  {
    // Each has elements of its own; the one that goes first stands in the way of the other's.
    Zel_PoolSupply one(pool);
    ASSERT_TRUE(one.IsReady());
    Zel_PoolSupply other(pool);
    ASSERT_TRUE(other.IsReady());
    for (int i = 0; i < 5; ++i) {
      ASSERT_TRUE(one.IsReady());
      elements.push_back(one.Take());
      ASSERT_TRUE(other.IsReady());
      elements.push_back(other.Take());
      elements.push_back(pool.Allocate());
    }
  }
  ExpectApart(pool, elements);
  EXPECT_EQ(16u, InUse(pool));
  GiveBack(pool, elements);
  EXPECT_TRUE(pool.AddToFreeList(first));
  EXPECT_EQ(0u, InUse(pool));
  EXPECT_EQ(1u, pool.GetStats().blocks);
}

TEST(Zel_PoolSupply, TakesWhatCameBackBeforeItTakesANewBlock) {
  Zel_PoolAllocator pool("supply", kSize, -1, 1000, 8, true);
  for (int round = 0; round < 20; ++round) {
    std::vector<void*> elements;
    {
      Zel_PoolSupply supply(pool);
      elements = TakeFrom(supply, pool, 1000);
    }
    ExpectApart(pool, elements);
    // In another order each time.
    for (int step = 0; step < 7; ++step) {
      for (std::size_t i = static_cast<std::size_t>(step); i < elements.size(); i += 7) {
        ASSERT_TRUE(pool.AddToFreeList(elements[i]));
      }
    }
    ASSERT_EQ(1u, pool.GetStats().blocks) << round;
  }
}

TEST(Zel_PoolSupply, IsNotReadyWhenThePoolHasNothing) {
  Zel_PoolAllocator pool("supply", kSize, -1, 100, 8, true);
  std::vector<void*> elements{pool.Allocate()};
  pool.ResetBlockInfo(0, -1);
  Zel_PoolSupply supply(pool);
  for (int i = 0; i < 99; ++i) {
    void* const element = supply.IsReady() ? supply.Take() : pool.Allocate();
    ASSERT_NE(nullptr, element) << i;
    elements.push_back(element);
  }
  EXPECT_FALSE(supply.IsReady());
  EXPECT_EQ(nullptr, pool.Allocate());
  EXPECT_FALSE(supply.IsReady());
  GiveBack(pool, elements);
}

TEST(Zel_PoolSupply, LeavesOrderedFailuresToAllocate) {
  Zel_PoolAllocator pool("supply", kSize, -1, 100, 8, true);
  void* const first = pool.Allocate();
  pool.FailNextAllocations(2);
  Zel_PoolSupply supply(pool);
  EXPECT_FALSE(supply.IsReady());
  EXPECT_EQ(nullptr, pool.Allocate());
  EXPECT_FALSE(supply.IsReady());
  EXPECT_EQ(nullptr, pool.Allocate());
  ASSERT_TRUE(supply.IsReady());
  EXPECT_TRUE(pool.AddToFreeList(supply.Take()));
  EXPECT_TRUE(pool.AddToFreeList(first));
}

TEST(Zel_PoolSupply, HasNothingToDoWithPoolsWithoutCaches) {
  Zel_PoolAllocator pool("supply", kSize, -1, 100, 8, false);
  Zel_PoolSupply supply(pool);
  const std::vector<void*> elements = TakeFrom(supply, pool, 250);
  EXPECT_FALSE(supply.IsReady());
  ExpectApart(pool, elements);
  EXPECT_EQ(250u, InUse(pool));
  GiveBack(pool, elements);
  EXPECT_EQ(0u, InUse(pool));
}

TEST(Zel_PoolSupplyThreads, EachHasItsOwn) {
  Zel_PoolAllocator pool("supply", kSize, -1, 500, 8, true);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&pool, t] {
      for (int round = 0; round < 50; ++round) {
        std::vector<void*> elements;
        {
          Zel_PoolSupply supply(pool);
          elements = TakeFrom(supply, pool, 10 + 37 * t + round);
        }
        ExpectApart(pool, elements);
        GiveBack(pool, elements);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0u, InUse(pool));
}

}  // namespace
