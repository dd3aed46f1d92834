#ifndef THREADAPI_MUTEX_H_
#define THREADAPI_MUTEX_H_

#include <mutex>

// A plain, non-recursive mutex.
//
// The constructor is constexpr, so a static Mutex is unlocked and usable
// before any constructor of a static object has run.
//
// Every operation has two names: those of the product (acquire, release,
// tryAcquire), and the standard ones, which make it work with std::lock_guard.
class Mutex {
 public:
  constexpr Mutex() noexcept = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  // Waits until the mutex is free and takes it.
  void acquire() { m_mutex.lock(); }
  // Gives the mutex up; only for the thread that took it.
  void release() { m_mutex.unlock(); }
  // Takes the mutex when it is free; true when it was taken.
  bool tryAcquire() { return m_mutex.try_lock(); }

  void lock() { acquire(); }
  void unlock() { release(); }
  bool try_lock() { return tryAcquire(); }

 private:
  std::mutex m_mutex;
};

#endif  // THREADAPI_MUTEX_H_
