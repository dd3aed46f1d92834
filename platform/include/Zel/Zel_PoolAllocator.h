#ifndef ZEL_ZEL_POOLALLOCATOR_H
#define ZEL_ZEL_POOLALLOCATOR_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>

#include "TreePlatform_Export.h"

namespace zel_page_map {
struct Block;
}

// What a pool holds.  Exact when no other thread is at work on the pool,
// otherwise a close guess.
struct Zel_PoolStats {
  std::uint64_t elements_in_use;  // handed out and not given back
  std::uint64_t elements_total;   // in all blocks, in use or free
  std::uint64_t elements_cached;  // free, in the caches of live threads
  std::uint64_t blocks;           // blocks taken from the heap
  std::uint64_t bytes;            // of those blocks
};

// Zel_PoolAllocator: elements of one size, handed out in constant time.
//
// USE     Allocate() and AddToFreeList() may be called from any thread; an
//         element may be given back by another thread than took it.  Exist()
//         and AddToFreeList() take any pointer whatever, null included, and
//         find out without reading the memory it points at.
//
//         A pool has blocks of elements, which it takes from the general heap
//         as they are needed and keeps until it is destroyed.  When the heap
//         has none, or the pool was told to take no more, Allocate() yields
//         null and the caller goes to the heap itself:
//
//           void* p = pool.Allocate();
//           if (p == nullptr) p = ::operator new(size);
//           ...
//           if (!pool.AddToFreeList(p)) ::operator delete(p);
//
//         Destroying a pool frees all of its blocks, elements still in use
//         included, and runs no destructor.  Nobody may use the pool or its
//         elements then; threads that used it before may still run or end.
//
//         Pools work while static objects are constructed and destroyed.
//
// INSIDE  A block is exactly the requested number of elements, in whole pages
//         of its own.  A process-wide map from page to block answers Exist()
//         with three dependent loads, a multiplication and a comparison.
//
//         Every thread keeps, per pool, up to two lists of free elements (the
//         one in use and a spare) and a range of free neighbours.  It trades whole
//         batches with the pool, under the pool's lock, so a thread that takes and
//         returns at the edge of a batch does not go to the pool each time.  When a
//         thread ends, all it has cached goes back to the pool.
//
//         The pool keeps a bit for every free element of a block and hands
//         them out in the order of their addresses, one block after the other.
//         A tree that was dropped in an order unlike that of its making
//         therefore leaves no scattered memory to the next one.
//
//         Invariant: elements in use + free in the pool + cached by threads
//         == elements of all blocks.
class TREE_PLATFORM_API Zel_PoolAllocator {
 public:
  // `name`            for statistics; copied, null is the empty name.
  // `element_size`    bytes per element; rounded up to a multiple of
  //                   `alignment`, and no padding is added beyond that.
  // `expected_blocks` how many blocks the caller expects the pool to grow to;
  //                   never a limit.  It states what callers know and has no
  //                   effect: the bookkeeping needs no room ahead.
  // `block_elements`  elements per block.  0 or less: the pool takes no block,
  //                   so Allocate() yields null.
  // `alignment`       of every element, in bytes: 8 at least, 4096 at most;
  //                   other values are raised to the next power of two.
  // `thread_caches`   true: threads keep caches, as described above.  False:
  //                   every call takes the pool's lock, and no free element is
  //                   out of the reach of another thread.
  //
  // At most 64 pools have caches at a time; pools made beyond that work as if
  // `thread_caches` were false.
  Zel_PoolAllocator(const char* name, short element_size, short expected_blocks, int block_elements,
                    int alignment, bool thread_caches);
  ~Zel_PoolAllocator();
  Zel_PoolAllocator(const Zel_PoolAllocator&) = delete;
  Zel_PoolAllocator& operator=(const Zel_PoolAllocator&) = delete;

  // Memory for one element, uninitialised; null when there is none.
  void* Allocate() noexcept;

  // Takes an element back.  False, and nothing happens, when `element` is not
  // one of this pool.  An element must not be given back twice.
  bool AddToFreeList(void* element) noexcept;

  // Memory for neighbouring elements, `most` of them at most, the first one at `first`;
  // returns their number.  0 when there are none, for a pool without caches, in a thread
  // that has no cache of it yet, and while failures are ordered; call Allocate() then.
  // See Zel_PoolSupply.
  std::size_t AllocateNeighbours(std::size_t most, void*& first) noexcept;

  // Takes back the rest of such neighbours, from `begin` on up to their end.  See
  // Zel_PoolReturns for others.
  void ReturnNeighbours(void* begin, void* end) noexcept;

  // Whether `element` is the address of an element of this pool, in use or
  // not.  An address inside an element is not.
  bool Exist(const void* element) const noexcept;

  // Elements per block of the blocks to come, as last set.
  int GetCurrElementsInBlock() const noexcept;

  // Sets the elements per block of the blocks to come, and the number of them
  // that the caller expects; the meaning is that of the constructor's
  // `block_elements` and `expected_blocks`.  Blocks that exist stay as they
  // are and are used up first.
  void ResetBlockInfo(int elements, int expected_blocks) noexcept;

  Zel_PoolStats GetStats() const;

  // Calls `visit` for every pool of the process, in the order in which they
  // were made.  `visit` must not make or destroy a pool; that of other threads
  // waits until all are visited.
  static void VisitAll(const std::function<void(Zel_PoolAllocator&)>& visit);

  // For tests: the next `n` calls of Allocate(), by whatever thread, yield
  // null.  A later call replaces what is left of an earlier one; 0 ends it.
  void FailNextAllocations(int n) noexcept;

  const char* GetName() const noexcept;
  // Bytes from one element to the next: the size given, rounded up.
  std::size_t GetElementSize() const noexcept { return m_element_size; }

 private:
  friend struct Zel_PoolList;
  friend struct Zel_PoolThreads;
  friend class Zel_PoolReturns;
  struct Central;

  const zel_page_map::Block* BlockOf(const void* element) const noexcept;
  std::uint64_t IndexIn(std::uintptr_t base, const void* element) const noexcept;
  void* AllocateSlowly() noexcept;
  void AddSlowly(void* element) noexcept;

  // What every call reads stands in the object itself, within one cache line,
  // and is next to never written.

  // Where Allocate() finds this pool in a thread's cache.  While failures are
  // pending it names a slot that never holds anything, which sends every call
  // to AllocateSlowly() and costs the usual calls nothing.
  std::atomic<std::uint32_t> m_allocate_slot;
  std::uint32_t m_slot;
  // Exact division by the element size is a multiplication by the inverse of
  // its odd part and a rotation by the number of its even factors.
  std::uint64_t m_odd_inverse;
  std::uint32_t m_twos;
  std::uint32_t m_element_size;
  Central* m_central;
};

#endif  // ZEL_ZEL_POOLALLOCATOR_H
