#include "Zel/Zel_PoolReturns.h"

#include "ThreadAPI/ThreadAPI_LockGuard.h"
#include "Zel_PageMap.h"
#include "Zel_PoolCentral.h"
#include "Zel_PoolLinks.h"

namespace {

// So few are better kept by the thread, which may need some soon.
constexpr std::size_t kFew = 64;

// Ranges that are shorter on average cost more than they spare.
constexpr std::size_t kShort = 3;
constexpr std::size_t kHandedOn = 256;

}  // namespace

// Ends the present range.  There is room for it.
inline void Zel_PoolReturns::Close() noexcept {
  if (m_begin != m_end) m_ranges[m_closed++] = {m_begin, m_end};
  m_begin = m_end = m_block_begin = m_block_end = 0;
}

// Begins another range.
bool Zel_PoolReturns::AddElsewhere(void* element) noexcept {
  if (m_to_hand_on > 0) {
    --m_to_hand_on;
    return m_pool.AddToFreeList(element);
  }
  const zel_page_map::Block* const block = m_pool.BlockOf(element);
  if (block == nullptr) return false;
  Close();
  if (m_closed == kMostRanges) GiveBack();
  m_block_begin = block->base.load(std::memory_order_relaxed);
  m_block_end = m_block_begin + block->elements.load(std::memory_order_relaxed) * m_element_size;
  m_begin = reinterpret_cast<std::uintptr_t>(element);
  m_end = m_begin + m_element_size;
  return true;
}

void Zel_PoolReturns::GiveBack() noexcept {
  Close();
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < m_closed; ++i) {
    bytes += m_ranges[i].end - m_ranges[i].begin;
  }
  const std::size_t elements = bytes / m_element_size;
  if (elements < m_closed * kShort) m_to_hand_on = kHandedOn;
  if (elements <= kFew) {
    GiveBackOneByOne();
  } else {
    Zel_PoolAllocator::Central& central = *m_pool.m_central;
    ThreadAPI_LockGuard guard(central.mutex);
    for (std::size_t i = 0; i < m_closed; ++i) {
      const Range& range = m_ranges[i];
      central.PutRange(reinterpret_cast<char*>(range.begin), range.end - range.begin);
    }
  }
  m_closed = 0;
}

void Zel_PoolReturns::GiveBackOneByOne() noexcept {
  for (std::size_t i = 0; i < m_closed; ++i) {
    for (std::uintptr_t at = m_ranges[i].begin; at != m_ranges[i].end; at += m_element_size) {
      m_pool.AddToFreeList(reinterpret_cast<void*>(at));
    }
  }
}
