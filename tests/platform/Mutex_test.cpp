#include "ThreadAPI/Mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "ThreadAPI/ThreadAPI_LockGuard.h"

namespace {

// Whether another thread could take the mutex now.
bool IsFree(Mutex& mutex) {
  bool taken = false;
  std::thread([&] {
    taken = mutex.tryAcquire();
    if (taken) mutex.release();
  }).join();
  return taken;
}

TEST(Mutex, HasTwoNamesForEveryOperation) {
  Mutex mutex;
  mutex.acquire();
  EXPECT_FALSE(IsFree(mutex));
  mutex.release();
  EXPECT_TRUE(IsFree(mutex));

  mutex.lock();
  EXPECT_FALSE(IsFree(mutex));
  mutex.unlock();
  EXPECT_TRUE(IsFree(mutex));

  ASSERT_TRUE(mutex.try_lock());
  EXPECT_FALSE(IsFree(mutex));
  mutex.unlock();
}

TEST(Mutex, WorksWithStandardGuards) {
  Mutex mutex;
  {
    const std::lock_guard<Mutex> guard(mutex);
    EXPECT_FALSE(IsFree(mutex));
  }
  EXPECT_TRUE(IsFree(mutex));
}

TEST(ThreadAPI_LockGuard, HoldsTheMutexForItsScope) {
  Mutex mutex;
  {
    ThreadAPI_LockGuard guard(mutex);
    EXPECT_FALSE(IsFree(mutex));
  }
  EXPECT_TRUE(IsFree(mutex));
}

TEST(ThreadAPI_LockGuard, LetsGoWhenAnExceptionPasses) {
  Mutex mutex;
  EXPECT_THROW(
      {
        ThreadAPI_LockGuard guard(mutex);
        throw std::runtime_error("passing");
      },
      std::runtime_error);
  EXPECT_TRUE(IsFree(mutex));
}

TEST(Mutex, ExcludesThreads) {
  Mutex mutex;
  long counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 10000; ++i) {
        ThreadAPI_LockGuard guard(mutex);
        ++counter;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(40000, counter);
}

// Longer than a thread looks again before it sleeps.
TEST(Mutex, IsWaitedForAsLongAsItTakes) {
  Mutex mutex;
  std::atomic<bool> given_up{false};
  std::atomic<int> early{0};
  mutex.acquire();
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&] {
      ThreadAPI_LockGuard guard(mutex);
      if (!given_up) ++early;
    });
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  given_up = true;
  mutex.release();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, early);
  EXPECT_TRUE(IsFree(mutex));
}

// A static mutex needs no constructor to have run: one that is defined behind
// its first use works.
bool UseLateMutex();
const bool g_late_mutex_worked = UseLateMutex();
Mutex g_late_mutex;
bool UseLateMutex() {
  ThreadAPI_LockGuard guard(g_late_mutex);
  return true;
}

TEST(Mutex, WorksWhileStaticObjectsAreMade) {
  EXPECT_TRUE(g_late_mutex_worked);
}

}  // namespace
