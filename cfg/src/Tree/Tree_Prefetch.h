#ifndef TREE_TREE_PREFETCH_H
#define TREE_TREE_PREFETCH_H

#if defined(_MSC_VER)
#include <intrin.h>
#endif

// Fetches the cache line at an address that will be read soon.  Any address may be given; the
// call has no visible effect.
inline void Tree_Prefetch(const void* address) noexcept {
#if defined(__GNUC__)
  __builtin_prefetch(address);
  // gcc takes a function that does nothing but prefetch for one without effect and leaves out
  // calls to it, unless it has a statement that must stay.
  __asm__ volatile("");
#elif defined(_MSC_VER) && defined(_M_X64)
  _mm_prefetch(static_cast<const char*>(address), _MM_HINT_T0);
#else
  static_cast<void>(address);
#endif
}

#endif  // TREE_TREE_PREFETCH_H
