#ifndef THREADAPI_MUTEX_H
#define THREADAPI_MUTEX_H

#include <mutex>

#include "TreePlatform_Export.h"

// A plain, non-recursive mutex.
//
// The constructor is constexpr and the destructor trivial: a static Mutex is
// unlocked and usable before any constructor of a static object has run and
// after the last destructor.
//
// Every operation has two names: those of the product (acquire, release,
// tryAcquire), and the standard ones, which make it work with std::lock_guard.
class Mutex {
 public:
  constexpr Mutex() noexcept = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

#if defined(_WIN32)
  // std::mutex is no constant on every compiler for Windows; the system's slim
  // lock is.
  TREE_PLATFORM_API void acquire() noexcept;
  TREE_PLATFORM_API void release() noexcept;
  TREE_PLATFORM_API bool tryAcquire() noexcept;
#else
  // Waits until the mutex is free and takes it.
  void acquire() {
    if (!m_mutex.try_lock()) AcquireBusy();
  }
  // Gives the mutex up; only for the thread that took it.
  void release() {
    m_mutex.unlock();
  }
  // Takes the mutex when it is free; true when it was taken.
  bool tryAcquire() {
    return m_mutex.try_lock();
  }
#endif

  void lock() {
    acquire();
  }
  void unlock() {
    release();
  }
  bool try_lock() {
    return tryAcquire();
  }

 private:
#if defined(_WIN32)
  void* m_slim_lock = nullptr;  // an SRWLOCK
#else
  TREE_PLATFORM_API void AcquireBusy();

  std::mutex m_mutex;
#endif
};

#endif  // THREADAPI_MUTEX_H
