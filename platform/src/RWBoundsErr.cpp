#include "rw/RWBoundsErr.h"

#include <string>

RWBoundsErr::RWBoundsErr(long long index, std::size_t count)
    : std::out_of_range("index " + std::to_string(index) + " is out of range, count is " +
                        std::to_string(count)),
      m_index(index),
      m_count(count) {}

// Out of line, so that the class has its type information in this library and
// is caught in every other.
RWBoundsErr::RWBoundsErr(const RWBoundsErr& other) noexcept = default;
RWBoundsErr& RWBoundsErr::operator=(const RWBoundsErr& other) noexcept = default;
RWBoundsErr::~RWBoundsErr() = default;

void RWBoundsErr::Raise(long long index, std::size_t count) {
  throw RWBoundsErr(index, count);
}
