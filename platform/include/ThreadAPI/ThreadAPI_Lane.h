#ifndef THREADAPI_THREADAPI_LANE_H
#define THREADAPI_THREADAPI_LANE_H

#include <atomic>

// The calling thread's number, which never changes.  Threads that were started one after the
// other have numbers that follow one another, so that as many of them as there are parts of
// something shared can each keep to a part of its own.  Two threads may meet in one part all
// the same: it still needs a lock, but one that hardly anybody has to wait for.
//
// Each library that calls this numbers the threads for itself.
inline unsigned ThreadAPI_Lane() noexcept {
  static std::atomic<unsigned> last{0};
  static thread_local unsigned mine = 0;
  if (mine == 0) mine = last.fetch_add(1, std::memory_order_relaxed) + 1;
  return mine;
}

#endif  // THREADAPI_THREADAPI_LANE_H
