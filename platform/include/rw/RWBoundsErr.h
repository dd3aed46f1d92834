#ifndef RW_RWBOUNDSERR_H
#define RW_RWBOUNDSERR_H

#include <cstddef>
#include <stdexcept>

#include "TreePlatform_Export.h"

// The exception of a bad index: every container of this library throws it when
// an index is not below the number of its entries.
//
// what() names both numbers, as in "index 5 is out of range, count is 3".  The
// index is signed so that a caller's -1 reads as -1; an index beyond the
// signed range shows as the negative number with the same bits.
class TREE_PLATFORM_API RWBoundsErr : public std::out_of_range {
 public:
  RWBoundsErr(long long index, std::size_t count);
  RWBoundsErr(const RWBoundsErr& other) noexcept;
  RWBoundsErr& operator=(const RWBoundsErr& other) noexcept;
  ~RWBoundsErr() override;

  long long index() const noexcept { return m_index; }
  std::size_t count() const noexcept { return m_count; }

  // Throws an RWBoundsErr.  Containers call it instead of a throw expression,
  // which keeps their inline bounds tests to a compare and a branch.
  [[noreturn]] static void Raise(long long index, std::size_t count);

 private:
  long long m_index;
  std::size_t m_count;
};

#endif  // RW_RWBOUNDSERR_H
