// Pools used by many threads at once.  Every test also makes sense without a
// sanitizer, but ThreadSanitizer sees the most.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "Zel/Zel_PoolAllocator.h"

namespace {

std::uint64_t InUse(const Zel_PoolAllocator& pool) {
  return pool.GetStats().elements_in_use;
}

void InThreads(int count, const std::function<void(int)>& work) {
  std::vector<std::thread> threads;
  for (int t = 0; t < count; ++t) threads.emplace_back(work, t);
  for (std::thread& thread : threads) thread.join();
}

// A thread that does what it is told and stays alive in between.
class Worker {
 public:
  Worker() : m_thread([this] { Run(); }) {}
  ~Worker() {
    Post(nullptr);
    m_thread.join();
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // Runs `task` on the worker and waits for its end.
  void Do(const std::function<void()>& task) {
    Post(&task);
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_done; });
  }

 private:
  void Post(const std::function<void()>* task) {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_task = task;
    m_posted = true;
    m_done = false;
    m_changed.notify_all();
  }

  void Run() {
    for (;;) {
      std::unique_lock<std::mutex> lock(m_mutex);
      m_changed.wait(lock, [this] { return m_posted; });
      m_posted = false;
      if (m_task == nullptr) return;
      (*m_task)();
      m_done = true;
      m_changed.notify_all();
    }
  }

  std::mutex m_mutex;
  std::condition_variable m_changed;
  const std::function<void()>* m_task = nullptr;
  bool m_posted = false;
  bool m_done = false;
  std::thread m_thread;  // last: it uses the others
};

TEST(Zel_PoolAllocatorThreads, EachThreadsElementsAreItsOwn) {
  Zel_PoolAllocator pool("own", 24, -1, 2000, 8, true);
  std::vector<std::vector<void*>> taken(4);
  InThreads(4, [&](int t) {
    std::vector<void*>& mine = taken[static_cast<std::size_t>(t)];
    for (int i = 0; i < 5000; ++i) {
      mine.push_back(pool.Allocate());
      std::memset(mine.back(), t, 24);
    }
    for (void* const element : mine) {
      const auto* const bytes = static_cast<const char*>(element);
      if (std::count(bytes, bytes + 24, static_cast<char>(t)) != 24) ADD_FAILURE();
    }
  });
  std::set<void*> all;
  for (const std::vector<void*>& mine : taken) all.insert(mine.begin(), mine.end());
  EXPECT_EQ(20000u, all.size());
  EXPECT_EQ(20000u, InUse(pool));
  for (void* const element : all) ASSERT_TRUE(pool.AddToFreeList(element));
  EXPECT_EQ(0u, InUse(pool));
}

TEST(Zel_PoolAllocatorThreads, ElementsMayBeReturnedByOtherThreads) {
  for (const bool caches : {true, false}) {
    SCOPED_TRACE(caches);
    Zel_PoolAllocator pool("crosswise", 32, -1, 1000, 8, caches);
    std::mutex mutex;
    std::deque<void*> passed;
    std::atomic<int> producers{2};
    InThreads(4, [&](int t) {
      if (t < 2) {
        for (int i = 0; i < 20000; ++i) {
          void* const element = pool.Allocate();
          std::memset(element, 0x5A, 32);
          const std::lock_guard<std::mutex> guard(mutex);
          passed.push_back(element);
        }
        --producers;
        return;
      }
      for (;;) {
        const bool is_last_look = producers == 0;
        std::deque<void*> mine;
        {
          const std::lock_guard<std::mutex> guard(mutex);
          mine.swap(passed);
        }
        for (void* const element : mine) {
          if (static_cast<unsigned char*>(element)[31] != 0x5A) ADD_FAILURE();
          if (!pool.AddToFreeList(element)) ADD_FAILURE();
        }
        if (mine.empty()) {
          if (is_last_look) return;
          std::this_thread::yield();
        }
      }
    });
    EXPECT_TRUE(passed.empty());
    EXPECT_EQ(0u, InUse(pool));
    EXPECT_EQ(0u, pool.GetStats().elements_cached) << "all threads ended";
  }
}

TEST(Zel_PoolAllocatorThreads, AThreadsEndGivesBackWhatItCached) {
  Zel_PoolAllocator pool("ended", 40, -1, 10000, 8, true);
  std::thread([&] {
    std::vector<void*> elements;
    for (int i = 0; i < 3000; ++i) elements.push_back(pool.Allocate());
    for (void* const element : elements) pool.AddToFreeList(element);
    EXPECT_NE(0u, pool.GetStats().elements_cached);
  }).join();
  const Zel_PoolStats stats = pool.GetStats();
  EXPECT_EQ(0u, stats.elements_in_use);
  EXPECT_EQ(0u, stats.elements_cached);
  // All 10,000 are to be had by another thread, without another block.
  std::set<void*> all;
  for (int i = 0; i < 10000; ++i) all.insert(pool.Allocate());
  EXPECT_EQ(10000u, all.size());
  EXPECT_EQ(1u, pool.GetStats().blocks);
}

TEST(Zel_PoolAllocatorThreads, ElementsOutliveTheThreadThatTookThem) {
  Zel_PoolAllocator pool("outlive", 40, -1, 10000, 8, true);
  std::vector<void*> elements;
  std::thread([&] {
    for (int i = 0; i < 777; ++i) {
      elements.push_back(pool.Allocate());
      std::memset(elements.back(), i & 0x7F, 40);
    }
  }).join();
  EXPECT_EQ(777u, InUse(pool));
  for (int i = 0; i < 777; ++i) {
    void* const element = elements[static_cast<std::size_t>(i)];
    EXPECT_EQ(i & 0x7F, static_cast<char*>(element)[39]);
    EXPECT_TRUE(pool.AddToFreeList(element));
  }
  EXPECT_EQ(0u, InUse(pool));
}

TEST(Zel_PoolAllocatorThreads, AThousandShortThreadsLoseNothing) {
  Zel_PoolAllocator pool("short threads", 16, -1, 4000, 8, true);
  std::vector<void*> kept;
  for (int t = 0; t < 1000; ++t) {
    std::thread([&, t] {
      // Odd counts on all sides of a batch, in part given back at once, in
      // part by the next thread, in part at the end.
      const int count = 1 + (t * 37) % 700;
      std::vector<void*> mine;
      for (int i = 0; i < count; ++i) mine.push_back(pool.Allocate());
      for (int i = 0; i < count; i += 2) pool.AddToFreeList(mine[static_cast<std::size_t>(i)]);
      for (int i = 1; i < count; i += 2) kept.push_back(mine[static_cast<std::size_t>(i)]);
      while (kept.size() > 500) {
        pool.AddToFreeList(kept.back());
        kept.pop_back();
      }
    }).join();
    ASSERT_EQ(kept.size(), InUse(pool));
    ASSERT_EQ(0u, pool.GetStats().elements_cached);
  }
  // Never more than 1,200 were in use, so the first block did for all.
  EXPECT_EQ(1u, pool.GetStats().blocks);
  const std::set<void*> distinct(kept.begin(), kept.end());
  EXPECT_EQ(kept.size(), distinct.size());
  for (void* const element : kept) pool.AddToFreeList(element);
  EXPECT_EQ(0u, InUse(pool));
  std::set<void*> all;
  for (int i = 0; i < 4000; ++i) all.insert(pool.Allocate());
  EXPECT_EQ(4000u, all.size());
  EXPECT_EQ(1u, pool.GetStats().blocks);
}

TEST(Zel_PoolAllocatorThreads, ThreadsThatComeAndGoTogetherLoseNothing) {
  Zel_PoolAllocator pool("waves", 48, -1, 1000, 8, true);
  for (int wave = 0; wave < 30; ++wave) {
    InThreads(8, [&](int t) {
      std::vector<void*> mine;
      for (int i = 0; i < 100 + 50 * t; ++i) mine.push_back(pool.Allocate());
      for (void* const element : mine) pool.AddToFreeList(element);
    });
    ASSERT_EQ(0u, InUse(pool));
    ASSERT_EQ(0u, pool.GetStats().elements_cached);
  }
  // 2,200 in use at most, and no thread holds back more than three batches.
  EXPECT_LE(pool.GetStats().elements_total, 2200u + 8 * 3 * 125 + 1000);
}

TEST(Zel_PoolAllocatorThreads, OrderedFailuresAreTakenOnceEach) {
  for (const bool caches : {true, false}) {
    Zel_PoolAllocator pool("failing", 32, -1, 10000, 8, caches);
    std::atomic<int> failed{0};
    pool.FailNextAllocations(1000);
    InThreads(4, [&](int) {
      for (int i = 0; i < 2000; ++i) {
        void* const element = pool.Allocate();
        if (element == nullptr) {
          ++failed;
        } else {
          pool.AddToFreeList(element);
        }
      }
    });
    EXPECT_EQ(1000, failed);
    EXPECT_EQ(0u, InUse(pool));
  }
}

TEST(Zel_PoolAllocatorThreads, SettingsMayChangeWhileThreadsAreAtWork) {
  Zel_PoolAllocator pool("settings", 24, -1, 500, 8, true);
  std::atomic<bool> stop{false};
  std::thread settings([&] {
    int i = 0;
    while (!stop) {
      ++i;
      pool.ResetBlockInfo(1 + (i * 97) % 3000, i % 4);
      pool.FailNextAllocations(i % 3);
      const Zel_PoolStats stats = pool.GetStats();
      if (stats.elements_in_use > stats.elements_total) ADD_FAILURE();
      int visited = 0;
      Zel_PoolAllocator::VisitAll([&](Zel_PoolAllocator&) { ++visited; });
      if (visited == 0) ADD_FAILURE();
      std::this_thread::yield();
    }
  });
  InThreads(3, [&](int t) {
    std::mt19937 random(static_cast<unsigned>(t));
    std::vector<void*> mine;
    for (int i = 0; i < 20000; ++i) {
      if (random() % 2 == 0) {
        if (void* const element = pool.Allocate()) mine.push_back(element);
      } else if (!mine.empty()) {
        if (!pool.AddToFreeList(mine.back())) ADD_FAILURE();
        mine.pop_back();
      }
    }
    for (void* const element : mine) pool.AddToFreeList(element);
  });
  stop = true;
  settings.join();
  EXPECT_EQ(0u, InUse(pool));
}

TEST(Zel_PoolAllocatorThreads, ManyThreadsMakeAndDestroyPoolsOfTheirOwn) {
  Zel_PoolAllocator shared("shared", 32, -1, 1000, 8, true);
  InThreads(4, [&](int t) {
    for (int i = 0; i < 300; ++i) {
      Zel_PoolAllocator local("local", 40, 3, 1 + (i * 13) % 500, 8, true);
      std::vector<void*> elements;
      for (int k = 0; k < 200; ++k) {
        elements.push_back(local.Allocate());
        std::memset(elements.back(), t, 40);
      }
      void* const foreign = shared.Allocate();
      if (local.Exist(foreign) || local.AddToFreeList(foreign)) ADD_FAILURE();
      for (std::size_t k = 0; k < elements.size(); ++k) {
        if (shared.Exist(elements[k])) ADD_FAILURE();
        if (static_cast<char*>(elements[k])[39] != static_cast<char>(t)) ADD_FAILURE();
        if (k % 3 == 0 && !local.AddToFreeList(elements[k])) ADD_FAILURE();
      }
      if (!shared.AddToFreeList(foreign)) ADD_FAILURE();
    }
  });
  EXPECT_EQ(0u, InUse(shared));
}

TEST(Zel_PoolAllocatorThreads, APoolMayGoWhileThreadsThatUsedItLive) {
  Worker first;
  Worker second;
  for (int round = 0; round < 50; ++round) {
    auto pool =
        std::make_unique<Zel_PoolAllocator>("short-lived", short{32}, short{-1}, 1000, 8, true);
    void* taken = nullptr;
    first.Do([&] {
      taken = pool->Allocate();
      pool->AddToFreeList(pool->Allocate());
    });
    // This one only ever returns.
    second.Do([&] { EXPECT_TRUE(pool->AddToFreeList(taken)); });
    EXPECT_EQ(0u, InUse(*pool));
    pool.reset();

    // The next pool takes over the place of the last in every thread's caches,
    // and must find it empty.
    Zel_PoolAllocator next("next", 48, -1, 500, 8, true);
    std::set<void*> all;
    for (Worker* const worker : {&first, &second}) {
      worker->Do([&] {
        for (int i = 0; i < 300; ++i) {
          void* const element = next.Allocate();
          EXPECT_TRUE(next.Exist(element));
          std::memset(element, 1, 48);
          all.insert(element);
        }
      });
    }
    EXPECT_EQ(600u, all.size());
  }
}

TEST(Zel_PoolAllocatorThreads, AThreadMayEndWhileAPoolItUsedGoes) {
  for (int round = 0; round < 200; ++round) {
    auto pool = std::make_unique<Zel_PoolAllocator>("racing", short{32}, short{-1}, 100, 8, true);
    std::atomic<bool> used{false};
    std::thread user([&] {
      pool->AddToFreeList(pool->Allocate());
      used = true;
      // The thread ends from here on, and gives back what it cached.
    });
    while (!used) std::this_thread::yield();
    pool.reset();
    user.join();
  }
}

TEST(Zel_PoolAllocatorThreads, LookUpsMayRunWhileOtherPoolsComeAndGo) {
  Zel_PoolAllocator pool("stays", 32, -1, 1000, 8, true);
  void* const mine = pool.Allocate();
  std::atomic<std::uintptr_t> address{0};
  std::atomic<bool> stop{false};
  std::thread looker([&] {
    while (!stop) {
      // The other pool's page, which may be just coming or just going.
      if (pool.Exist(reinterpret_cast<void*>(address.load()))) ADD_FAILURE();
      if (!pool.Exist(mine)) ADD_FAILURE();
    }
  });
  for (int i = 0; i < 3000; ++i) {
    Zel_PoolAllocator other("other", 64, -1, 100, 8, true);
    address = reinterpret_cast<std::uintptr_t>(other.Allocate());
  }
  stop = true;
  looker.join();
}

#if defined(__MINGW32__)
TEST(Zel_PoolAllocatorThreads, ThreadLocalObjectsMayUsePoolsWhenTheyGo) {
  GTEST_SKIP() << "mingw frees thread_local objects before it destroys them";
}
#else
// An object of a thread that outlives the thread's caches: it is made before
// the thread's first use of a pool, so it goes after them.
struct LateInThread {
  ~LateInThread() {
    if (pool == nullptr) return;
    for (int i = 0; i < 100; ++i) {
      void* const late = pool->Allocate();
      if (late == nullptr || !pool->AddToFreeList(late)) std::abort();
    }
    if (!pool->AddToFreeList(element)) std::abort();
  }
  Zel_PoolAllocator* pool = nullptr;
  void* element = nullptr;
};
thread_local LateInThread t_late;

TEST(Zel_PoolAllocatorThreads, ThreadLocalObjectsMayUsePoolsWhenTheyGo) {
  Zel_PoolAllocator pool("late", 32, -1, 1000, 8, true);
  InThreads(4, [&](int) {
    t_late.pool = &pool;
    t_late.element = pool.Allocate();
  });
  EXPECT_EQ(0u, InUse(pool));
  EXPECT_EQ(0u, pool.GetStats().elements_cached);
}
#endif

}  // namespace
