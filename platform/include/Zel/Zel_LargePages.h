#ifndef ZEL_ZEL_LARGEPAGES_H
#define ZEL_ZEL_LARGEPAGES_H

#include <cstddef>
#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#endif

// Asks for large pages behind fresh memory that is about to be written from end to end: page by
// page it would cost a fault for every four kilobytes.  Where the system refuses, nothing
// changes.
inline void Zel_WishLargePages(char* memory, std::size_t bytes) noexcept {
#if defined(__linux__)
  constexpr std::uintptr_t kLargePage = std::uintptr_t{2} << 20;
  if (bytes < 2 * kLargePage) return;
  // Only pages that belong to this memory altogether.
  const auto address = reinterpret_cast<std::uintptr_t>(memory);
  const std::uintptr_t begin = (address + kLargePage - 1) & ~(kLargePage - 1);
  const std::uintptr_t end = (address + bytes) & ~(kLargePage - 1);
  if (begin < end) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#else
  static_cast<void>(memory);
  static_cast<void>(bytes);
#endif
}

#endif  // ZEL_ZEL_LARGEPAGES_H
