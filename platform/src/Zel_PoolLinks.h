#ifndef ZEL_POOLLINKS_H
#define ZEL_POOLLINKS_H

#include <cstddef>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define ZEL_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZEL_ADDRESS_SANITIZER 1
#endif
#endif

#if defined(ZEL_ADDRESS_SANITIZER)
#include <sanitizer/asan_interface.h>
#endif

// The free elements of a pool, for its own sources.
namespace zel_pool {

// A free element; the link stands in the element's own memory.
struct Link {
  Link* next;
};

// ------------------------------------------------------- Address sanitizer
//
// Free elements are poisoned, so that whoever uses an element that he gave
// back, or runs from one element into a free one, is reported.  The links
// inside are read and written by functions that the sanitizer does not check.

#if defined(ZEL_ADDRESS_SANITIZER)
#define ZEL_UNCHECKED [[maybe_unused]] static __attribute__((no_sanitize("address"), noinline))

inline void Poison(const void* memory, std::size_t bytes) noexcept {
  ASAN_POISON_MEMORY_REGION(memory, bytes);
}
inline void Unpoison(const void* memory, std::size_t bytes) noexcept {
  ASAN_UNPOISON_MEMORY_REGION(memory, bytes);
}
// An element that is poisoned when it comes back was given back before: the
// read makes the sanitizer say so.
inline void ReportIfFree(const void* element) noexcept {
  static_cast<void>(*static_cast<const volatile char*>(element));
}
#else
#define ZEL_UNCHECKED inline

inline void Poison(const void*, std::size_t) noexcept {}
inline void Unpoison(const void*, std::size_t) noexcept {}
inline void ReportIfFree(const void*) noexcept {}
#endif

ZEL_UNCHECKED Link* NextOf(const Link* link) noexcept {
  return link->next;
}
ZEL_UNCHECKED Link* MakeLink(void* element, Link* next) noexcept {
  return new (element) Link{next};
}

// A list of free elements that changes hands as a whole.
struct Batch {
  Link* head = nullptr;
  std::size_t count = 0;
};

}  // namespace zel_pool

#endif  // ZEL_POOLLINKS_H
