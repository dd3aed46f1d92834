#ifndef THREADAPI_THREADAPI_RWSPINLOCK_H
#define THREADAPI_THREADAPI_RWSPINLOCK_H

#include <atomic>
#include <cstdint>

#include "TreePlatform_Export.h"

// A readers-writers lock for short sections: any number of readers, or one
// writer.  Whoever has to wait spins briefly and then yields the processor
// between looks, so a waiting thread never blocks in the kernel.
//
// A waiting writer keeps new readers out, so readers that follow one another
// without a pause can't starve it.  For the same reason the lock is not
// recursive: a reader that asks a second time may wait for a writer that waits
// for that reader.
//
// The constructor is constexpr: a static lock is usable before any constructor
// of a static object has run.  The lock needs no destruction.
class TREE_PLATFORM_API ThreadAPI_RWSpinLock {
 public:
  constexpr ThreadAPI_RWSpinLock() noexcept = default;
  ThreadAPI_RWSpinLock(const ThreadAPI_RWSpinLock&) = delete;
  ThreadAPI_RWSpinLock& operator=(const ThreadAPI_RWSpinLock&) = delete;

  // Throws std::system_error, with the lock as it was, when a failure was
  // ordered by FailNextReadLocks; never for another reason.
  void acquireRead();
  void releaseRead() noexcept;
  void acquireWrite() noexcept;
  void releaseWrite() noexcept;

  // Take the lock when that needs no waiting; true when it was taken.
  bool tryAcquireRead() noexcept;
  bool tryAcquireWrite() noexcept;

  // For tests: the next `n` calls of acquireRead, on whatever lock of the
  // process, throw.  A later call replaces what is left of an earlier one.
  static void FailNextReadLocks(int n) noexcept;

 private:
  // Bit 0: a writer holds the lock.  Bit 1: a writer waits.  From bit 2 on:
  // the number of readers.
  std::atomic<std::uint32_t> m_state{0};
};

// Holds a ThreadAPI_RWSpinLock for reading for the length of a scope.
class ThreadAPI_RWReadSpinScopeLock {
 public:
  explicit ThreadAPI_RWReadSpinScopeLock(ThreadAPI_RWSpinLock& lock) : m_lock(lock) {
    m_lock.acquireRead();
  }
  ~ThreadAPI_RWReadSpinScopeLock() { m_lock.releaseRead(); }
  ThreadAPI_RWReadSpinScopeLock(const ThreadAPI_RWReadSpinScopeLock&) = delete;
  ThreadAPI_RWReadSpinScopeLock& operator=(const ThreadAPI_RWReadSpinScopeLock&) = delete;

 private:
  ThreadAPI_RWSpinLock& m_lock;
};

// Holds a ThreadAPI_RWSpinLock for writing for the length of a scope.
class ThreadAPI_RWWriteSpinScopeLock {
 public:
  explicit ThreadAPI_RWWriteSpinScopeLock(ThreadAPI_RWSpinLock& lock) noexcept : m_lock(lock) {
    m_lock.acquireWrite();
  }
  ~ThreadAPI_RWWriteSpinScopeLock() { m_lock.releaseWrite(); }
  ThreadAPI_RWWriteSpinScopeLock(const ThreadAPI_RWWriteSpinScopeLock&) = delete;
  ThreadAPI_RWWriteSpinScopeLock& operator=(const ThreadAPI_RWWriteSpinScopeLock&) = delete;

 private:
  ThreadAPI_RWSpinLock& m_lock;
};

#endif  // THREADAPI_THREADAPI_RWSPINLOCK_H
