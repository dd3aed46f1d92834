#ifndef ZEL_ZEL_POOLSUPPLY_H
#define ZEL_ZEL_POOLSUPPLY_H

#include <cstddef>

#include "Zel/Zel_PoolAllocator.h"

// Zel_PoolSupply: elements of a pool for whoever needs many, one after the other.
//
// USE     Each element that was taken is the caller's, as if Allocate() had yielded it.
//
//           Zel_PoolSupply supply(pool);
//           void* p = supply.IsReady() ? supply.Take() : pool.Allocate();
//
// INSIDE  It gets free neighbours from the pool, a few at first and more each time, so that
//         nearly every call is a comparison and an addition.  What it has left goes back
//         when it goes.
//
// Threads: a supply belongs to the thread that made it.
class Zel_PoolSupply {
 public:
  explicit Zel_PoolSupply(Zel_PoolAllocator& pool) noexcept
      : m_pool(pool), m_element_size(pool.GetElementSize()) {}
  ~Zel_PoolSupply() {
    if (m_next != m_end) m_pool.ReturnNeighbours(m_next, m_end);
  }
  Zel_PoolSupply(const Zel_PoolSupply&) = delete;
  Zel_PoolSupply& operator=(const Zel_PoolSupply&) = delete;

  // Whether there is an element to take.  When there is none the pool may still have one.
  bool IsReady() noexcept { return m_next != m_end || Refill(); }

  // Memory for one element, uninitialised.  To be called when IsReady().
  void* Take() noexcept {
    void* const element = m_next;
    m_next += m_element_size;
    return element;
  }

 private:
  static constexpr std::size_t kFirstNumber = 8;
  static constexpr std::size_t kMostAtOnce = 256;

  bool Refill() noexcept {
    void* first = nullptr;
    const std::size_t count = m_pool.AllocateNeighbours(m_number, first);
    m_next = static_cast<char*>(first);
    m_end = m_next + count * m_element_size;
    if (m_number < kMostAtOnce) m_number *= 2;
    return count != 0;
  }

  Zel_PoolAllocator& m_pool;
  const std::size_t m_element_size;
  char* m_next = nullptr;
  char* m_end = nullptr;
  std::size_t m_number = kFirstNumber;  // to ask for next time
};

#endif  // ZEL_ZEL_POOLSUPPLY_H
