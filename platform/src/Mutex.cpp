#include "ThreadAPI/Mutex.h"

#include <type_traits>

static_assert(std::is_trivially_destructible_v<Mutex>, "static mutexes are used to the very end");

#if defined(_WIN32)

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

namespace {

// The header declares the lock without the system's headers.
static_assert(sizeof(SRWLOCK) == sizeof(void*) && alignof(SRWLOCK) == alignof(void*));

SRWLOCK* LockOf(void** slim_lock) {
  return reinterpret_cast<SRWLOCK*>(slim_lock);
}

}  // namespace

void Mutex::acquire() noexcept {
  AcquireSRWLockExclusive(LockOf(&m_slim_lock));
}
void Mutex::release() noexcept {
  ReleaseSRWLockExclusive(LockOf(&m_slim_lock));
}
bool Mutex::tryAcquire() noexcept {
  return TryAcquireSRWLockExclusive(LockOf(&m_slim_lock)) != 0;
}

#else

#include "Pause.h"

// The sections that mutexes of ours guard are short.  A thread that went to sleep at once
// would mostly be late, and the holder would pay for waking it; so it looks again a few
// times first, and ever more seldom, since each look takes the mutex's memory away from the
// holder.  In all it waits for some microseconds, which is what sleeping costs.
void Mutex::AcquireBusy() {
  constexpr int kMostPauses = 32;
  for (int pauses = 1; pauses <= kMostPauses; pauses *= 2) {
    for (int i = 0; i < pauses; ++i) thread_api::Pause();
    if (m_mutex.try_lock()) return;
  }
  m_mutex.lock();
}

#endif  // _WIN32
