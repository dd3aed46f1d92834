#ifndef THREADAPI_THREADAPI_LOCKGUARD_H
#define THREADAPI_THREADAPI_LOCKGUARD_H

#include "ThreadAPI/Mutex.h"

// Holds a Mutex for the length of a scope.  The mutex must outlive the guard.
class ThreadAPI_LockGuard {
 public:
  explicit ThreadAPI_LockGuard(Mutex& mutex) : m_mutex(mutex) { m_mutex.acquire(); }
  ~ThreadAPI_LockGuard() { m_mutex.release(); }
  ThreadAPI_LockGuard(const ThreadAPI_LockGuard&) = delete;
  ThreadAPI_LockGuard& operator=(const ThreadAPI_LockGuard&) = delete;

 private:
  Mutex& m_mutex;
};

#endif  // THREADAPI_THREADAPI_LOCKGUARD_H
