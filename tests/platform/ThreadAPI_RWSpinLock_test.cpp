#include "ThreadAPI/ThreadAPI_RWSpinLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace {

TEST(ThreadAPI_RWSpinLock, TakesManyReadersOrOneWriter) {
  ThreadAPI_RWSpinLock lock;
  lock.acquireRead();
  EXPECT_TRUE(lock.tryAcquireRead());
  EXPECT_FALSE(lock.tryAcquireWrite());
  lock.releaseRead();
  EXPECT_FALSE(lock.tryAcquireWrite());
  lock.releaseRead();

  lock.acquireWrite();
  EXPECT_FALSE(lock.tryAcquireRead());
  EXPECT_FALSE(lock.tryAcquireWrite());
  lock.releaseWrite();
  ASSERT_TRUE(lock.tryAcquireWrite());
  lock.releaseWrite();
  ASSERT_TRUE(lock.tryAcquireRead());
  lock.releaseRead();
}

TEST(ThreadAPI_RWSpinLock, ScopeLocksHoldForTheirScope) {
  ThreadAPI_RWSpinLock lock;
  {
    ThreadAPI_RWReadSpinScopeLock reading(lock);
    EXPECT_FALSE(lock.tryAcquireWrite());
  }
  {
    ThreadAPI_RWWriteSpinScopeLock writing(lock);
    EXPECT_FALSE(lock.tryAcquireRead());
  }
  EXPECT_TRUE(lock.tryAcquireWrite());
  lock.releaseWrite();
}

TEST(ThreadAPI_RWSpinLock, AWaitingWriterKeepsNewReadersOut) {
  ThreadAPI_RWSpinLock lock;
  lock.acquireRead();
  std::atomic<bool> written{false};
  std::thread writer([&] {
    lock.acquireWrite();
    written = true;
    lock.releaseWrite();
  });
  // The writer waits for us, and from some moment on readers wait for it.
  while (lock.tryAcquireRead()) {
    lock.releaseRead();
    std::this_thread::yield();
  }
  EXPECT_FALSE(written);
  lock.releaseRead();
  writer.join();
  EXPECT_TRUE(written);
  EXPECT_TRUE(lock.tryAcquireRead());
  lock.releaseRead();
}

TEST(ThreadAPI_RWSpinLock, SeveralWaitingWritersAllGetTheirTurn) {
  ThreadAPI_RWSpinLock lock;
  int turns = 0;
  lock.acquireRead();
  std::vector<std::thread> writers;
  for (int t = 0; t < 4; ++t) {
    writers.emplace_back([&] {
      for (int i = 0; i < 100; ++i) {
        ThreadAPI_RWWriteSpinScopeLock writing(lock);
        ++turns;
      }
    });
  }
  lock.releaseRead();
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(400, turns);
  EXPECT_TRUE(lock.tryAcquireRead()) << "a mark of a waiting writer was left behind";
  lock.releaseRead();
}

TEST(ThreadAPI_RWSpinLock, ReadersSeeNoHalfWrittenState) {
  ThreadAPI_RWSpinLock lock;
  long a = 0;
  long b = 0;
  std::atomic<bool> stop{false};
  std::atomic<int> torn{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      while (!stop) {
        ThreadAPI_RWReadSpinScopeLock reading(lock);
        if (a != b) ++torn;
      }
    });
  }
  std::vector<std::thread> writers;
  for (int t = 0; t < 2; ++t) {
    writers.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        ThreadAPI_RWWriteSpinScopeLock writing(lock);
        ++a;
        ++b;
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  stop = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(0, torn);
  EXPECT_EQ(4000, a);
}

TEST(ThreadAPI_RWSpinLock, FailsReadLocksAsOrdered) {
  ThreadAPI_RWSpinLock lock;
  ThreadAPI_RWSpinLock other;
  ThreadAPI_RWSpinLock::FailNextReadLocks(3);
  EXPECT_THROW(lock.acquireRead(), std::system_error);
  EXPECT_THROW(ThreadAPI_RWReadSpinScopeLock reading(other), std::system_error);
  ASSERT_TRUE(lock.tryAcquireWrite()) << "a failed read lock must not hold the lock";
  lock.releaseWrite();
  EXPECT_THROW(lock.acquireRead(), std::system_error);
  EXPECT_NO_THROW(ThreadAPI_RWReadSpinScopeLock reading(lock));
}

TEST(ThreadAPI_RWSpinLock, ALaterOrderReplacesAnEarlierOne) {
  ThreadAPI_RWSpinLock lock;
  ThreadAPI_RWSpinLock::FailNextReadLocks(100);
  ThreadAPI_RWSpinLock::FailNextReadLocks(1);
  EXPECT_THROW(lock.acquireRead(), std::system_error);
  EXPECT_NO_THROW(ThreadAPI_RWReadSpinScopeLock reading(lock));
  ThreadAPI_RWSpinLock::FailNextReadLocks(5);
  ThreadAPI_RWSpinLock::FailNextReadLocks(0);
  EXPECT_NO_THROW(ThreadAPI_RWReadSpinScopeLock reading(lock));
}

TEST(ThreadAPI_RWSpinLock, OrderedFailuresAreTakenOnceEachByManyThreads) {
  ThreadAPI_RWSpinLock lock;
  ThreadAPI_RWSpinLock::FailNextReadLocks(500);
  std::atomic<int> failed{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 1000; ++i) {
        try {
          ThreadAPI_RWReadSpinScopeLock reading(lock);
        } catch (const std::system_error&) {
          ++failed;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(500, failed);
}

}  // namespace
