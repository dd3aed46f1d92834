#include "ThreadAPI/ThreadAPI_RWSpinLock.h"

#include <system_error>
#include <thread>

#include "Pause.h"

namespace {

constexpr std::uint32_t kWriterHolds = 1;
constexpr std::uint32_t kWriterWaits = 2;
constexpr std::uint32_t kOneReader = 4;

// Looks at the lock before a waiter starts to yield: longer than the sections
// it guards take, far shorter than a time slice.
constexpr int kSpins = 64;

constinit std::atomic<int> g_read_locks_to_fail{0};

class Waiter {
 public:
  void Pause() noexcept {
    if (m_spins < kSpins) {
      ++m_spins;
      thread_api::Pause();
    } else {
      std::this_thread::yield();
    }
  }

 private:
  int m_spins = 0;
};

bool TakeOrderedFailure() noexcept {
  int pending = g_read_locks_to_fail.load(std::memory_order_relaxed);
  while (pending > 0) {
    if (g_read_locks_to_fail.compare_exchange_weak(pending, pending - 1)) return true;
  }
  return false;
}

}  // namespace

bool ThreadAPI_RWSpinLock::tryAcquireRead() noexcept {
  // The look before the increment keeps waiting readers from writing to the
  // lock, which would hold up the writer they wait for.
  if ((m_state.load(std::memory_order_relaxed) & (kWriterHolds | kWriterWaits)) != 0) return false;
  if ((m_state.fetch_add(kOneReader, std::memory_order_acquire) & kWriterHolds) == 0) return true;
  m_state.fetch_sub(kOneReader, std::memory_order_relaxed);
  return false;
}

void ThreadAPI_RWSpinLock::acquireRead() {
  if (TakeOrderedFailure()) {
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again),
                            "ThreadAPI_RWSpinLock::acquireRead");
  }
  for (Waiter waiter; !tryAcquireRead();) waiter.Pause();
}

void ThreadAPI_RWSpinLock::releaseRead() noexcept {
  m_state.fetch_sub(kOneReader, std::memory_order_release);
}

bool ThreadAPI_RWSpinLock::tryAcquireWrite() noexcept {
  // Taking the lock clears the mark of a waiting writer.  Others that wait
  // set it again with their next look.
  std::uint32_t state = m_state.load(std::memory_order_relaxed);
  return (state & ~kWriterWaits) == 0 &&
         m_state.compare_exchange_strong(state, kWriterHolds, std::memory_order_acquire,
                                         std::memory_order_relaxed);
}

void ThreadAPI_RWSpinLock::acquireWrite() noexcept {
  for (Waiter waiter; !tryAcquireWrite();) {
    if ((m_state.load(std::memory_order_relaxed) & kWriterWaits) == 0) {
      m_state.fetch_or(kWriterWaits, std::memory_order_relaxed);
    }
    waiter.Pause();
  }
}

void ThreadAPI_RWSpinLock::releaseWrite() noexcept {
  // A reader that came upon the writer may be about to take its increment
  // back, so the state is not simply overwritten.
  m_state.fetch_and(~kWriterHolds, std::memory_order_release);
}

void ThreadAPI_RWSpinLock::FailNextReadLocks(int n) noexcept {
  g_read_locks_to_fail.store(n > 0 ? n : 0);
}
