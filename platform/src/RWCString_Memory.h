#ifndef RWCSTRING_MEMORY_H
#define RWCSTRING_MEMORY_H

#include <atomic>
#include <cstddef>
#include <new>

#include "Zel/Zel_PoolAllocator.h"

#if defined(__SANITIZE_ADDRESS__)
#define RW_STRINGS_FROM_HEAP 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define RW_STRINGS_FROM_HEAP 1
#endif
#endif

// Memory of strings: of representations that are counted, and of permanent texts.
//
// COUNTED    Small pieces come from pools, one for each size, of which every thread has
//            some at hand: programs make and drop short strings all the time.  Larger
//            pieces, and all of them when a pool yields nothing, come from the global
//            operator new.  The pools are made when the library is loaded, or by a string
//            that is made before, and never destroyed: strings may live longer than any
//            static object.
//            Under AddressSanitizer everything comes from operator new, so that it finds
//            what is used after its end, or lost, to the byte.
//
// PERMANENT  Pieces of chunks that are filled from the front and never freed.  Threads that
//            run side by side fill chunks of their own.
//
// Threads: any.  Errors: exhausted memory throws std::bad_alloc.
namespace rwcstring_memory {

inline constexpr std::size_t kSizeStep = 16;
inline constexpr std::size_t kSmallestSize = 32;
inline constexpr std::size_t kLargestPooled = 128;
inline constexpr std::size_t kPools = (kLargestPooled - kSmallestSize) / kSizeStep + 1;

// The size to ask for to get `bytes` bytes without waste: those of the pools, and what
// heaps hand out.
constexpr std::size_t GoodSize(std::size_t bytes) noexcept {
  return bytes <= kSmallestSize ? kSmallestSize : (bytes + kSizeStep - 1) & ~(kSizeStep - 1);
}

// The pool of each size; null until MakePools, which makes all that are missing.
extern constinit std::atomic<Zel_PoolAllocator*> g_pools[kPools];
void MakePools();

inline std::atomic<Zel_PoolAllocator*>& PoolOf(std::size_t size) noexcept {
  return g_pools[(size - kSmallestSize) / kSizeStep];
}

#if defined(RW_STRINGS_FROM_HEAP)
inline constexpr bool kFromHeap = true;
#else
inline constexpr bool kFromHeap = false;
#endif

// `size` is a good size, the same for both.  The memory is aligned to 8.
inline void* Take(std::size_t size) {
  if (!kFromHeap && size <= kLargestPooled) {
    Zel_PoolAllocator* pool = PoolOf(size).load(std::memory_order_acquire);
    if (pool == nullptr) {
      MakePools();
      pool = PoolOf(size).load(std::memory_order_acquire);
    }
    if (void* const memory = pool->Allocate()) return memory;
  }
  return ::operator new(size);
}

inline void GiveBack(void* memory, std::size_t size) noexcept {
  if (!kFromHeap && size <= kLargestPooled &&
      PoolOf(size).load(std::memory_order_acquire)->AddToFreeList(memory)) {
    return;
  }
  ::operator delete(memory);
}

// Permanent memory, aligned to `alignment`, which is 8 at most and a power of two.
void* TakePermanent(std::size_t bytes, std::size_t alignment);

// Takes back what this thread took last; what it took before that is left as it is.
void ReturnPermanent(void* memory, std::size_t bytes) noexcept;

}  // namespace rwcstring_memory

#endif  // RWCSTRING_MEMORY_H
