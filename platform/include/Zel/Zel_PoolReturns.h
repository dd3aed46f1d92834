#ifndef ZEL_ZEL_POOLRETURNS_H
#define ZEL_ZEL_POOLRETURNS_H

#include <cstddef>
#include <cstdint>

#include "TreePlatform_Export.h"
#include "Zel/Zel_PoolAllocator.h"

// Zel_PoolReturns: gives many elements back to a pool.
//
// USE     Add() is AddToFreeList(), except that the pool has the elements only when GiveBack()
//         is called or the object goes.
//
//           Zel_PoolReturns returns(pool);
//           if (!returns.Add(p)) ::operator delete(p);
//
// INSIDE  Elements that were neighbours mostly come back one after the other.  They make up a
//         range, which costs a comparison and an addition for each; ranges go to the pool
//         some at a time.  Where neighbours are few it hands the next elements on as they come.
//
// Threads: an object belongs to the thread that made it.
class TREE_PLATFORM_API Zel_PoolReturns {
 public:
  explicit Zel_PoolReturns(Zel_PoolAllocator& pool) noexcept
      : m_pool(pool), m_element_size(pool.GetElementSize()) {}
  ~Zel_PoolReturns() {
    if (m_begin != m_end || m_closed != 0) GiveBack();
  }
  Zel_PoolReturns(const Zel_PoolReturns&) = delete;
  Zel_PoolReturns& operator=(const Zel_PoolReturns&) = delete;

  // Takes an element back.  False, and nothing happens, when `element` is not one of the
  // pool.  An element must not be given back twice.
  bool Add(void* element) noexcept {
    const auto at = reinterpret_cast<std::uintptr_t>(element);
    if (at == m_end && at != m_block_end) {
      m_end += m_element_size;
      return true;
    }
    if (at + m_element_size == m_begin && at >= m_block_begin && at < m_block_end) {
      m_begin = at;
      return true;
    }
    return AddElsewhere(element);
  }

  void GiveBack() noexcept;

 private:
  struct Range {
    std::uintptr_t begin;
    std::uintptr_t end;
  };
  static constexpr std::size_t kMostRanges = 16;

  void Close() noexcept;
  bool AddElsewhere(void* element) noexcept;
  void GiveBackOneByOne() noexcept;

  Zel_PoolAllocator& m_pool;
  const std::size_t m_element_size;
  // The addresses of the present range and of the block that it is in; all 0 when there is
  // none.
  std::uintptr_t m_begin = 0;
  std::uintptr_t m_end = 0;
  std::uintptr_t m_block_begin = 0;
  std::uintptr_t m_block_end = 0;
  std::size_t m_closed = 0;      // ranges before it
  std::size_t m_to_hand_on = 0;  // elements, before it looks for ranges again
  Range m_ranges[kMostRanges];
};

#endif  // ZEL_ZEL_POOLRETURNS_H
