#ifndef ZEL_ZEL_PTRSORTEDVECTOR_H
#define ZEL_ZEL_PTRSORTEDVECTOR_H

#include <algorithm>
#include <cstddef>
#include <vector>

#include "rw/RWBoundsErr.h"

// A vector of record pointers, kept sorted by the records' operator<.
//
// Records that are equal under operator< stay in the order of their insertion,
// and duplicates are welcome.  A record's sort key must not change while it is
// in the vector.
//
// Ownership: the vector owns no record.  Null pointers are not allowed.
// Threads: like a standard container; concurrent readers are fine.
// Errors: a bad index throws RWBoundsErr, growth may throw std::bad_alloc.
template <class T>
class Zel_PtrSortedVector {
 public:
  Zel_PtrSortedVector() = default;

  std::size_t entries() const noexcept { return m_records.size(); }
  bool isEmpty() const noexcept { return m_records.empty(); }

  // The record at `i`; both forms test the index.
  T* at(std::size_t i) const { return m_records[Checked(i)]; }
  T* operator[](std::size_t i) const { return m_records[Checked(i)]; }

  // Puts `record` behind every record that is not greater than it.
  // Cost: constant when it belongs at the end, else a binary search and the
  // move of everything behind it.
  void insert(T* record) {
    if (m_records.empty() || !(*record < *m_records.back())) {
      m_records.push_back(record);
      return;
    }
    m_records.insert(std::upper_bound(m_records.begin(), m_records.end(), record,
                                      [](const T* a, const T* b) { return *a < *b; }),
                     record);
  }

  // Forgets the records and frees none of them.
  void clear() noexcept { m_records.clear(); }

  // Reserves room for `n` records; never shrinks, never changes entries().
  void resize(std::size_t n) { m_records.reserve(n); }

 private:
  std::size_t Checked(std::size_t i) const {
    if (i >= m_records.size()) RWBoundsErr::Raise(static_cast<long long>(i), m_records.size());
    return i;
  }

  std::vector<T*> m_records;
};

#endif  // ZEL_ZEL_PTRSORTEDVECTOR_H
