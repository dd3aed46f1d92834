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

#endif  // _WIN32
