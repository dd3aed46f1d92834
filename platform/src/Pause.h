#ifndef PAUSE_H
#define PAUSE_H

#if defined(__x86_64__) || defined(__i386__) || defined(_M_X64) || defined(_M_IX86)
#include <immintrin.h>
#endif

namespace thread_api {

// Between two looks at something that another thread is about to change: leaves the
// processor's resources to others for a moment.
inline void Pause() noexcept {
#if defined(__x86_64__) || defined(__i386__) || defined(_M_X64) || defined(_M_IX86)
  _mm_pause();
#elif defined(__aarch64__) && defined(__GNUC__)
  __asm__ __volatile__("yield");
#endif
}

}  // namespace thread_api

#endif  // PAUSE_H
