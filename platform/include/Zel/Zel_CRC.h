#ifndef ZEL_ZEL_CRC_H
#define ZEL_ZEL_CRC_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "TreePlatform_Export.h"

// An accumulator for CRC-32: reflected, polynomial EDB88320, all-ones start,
// complemented result.  The nine bytes "123456789" give CBF43926.
//
// The result depends only on the bytes fed, not on how they are split over
// calls.  Values are 32 bits wide whatever the size of `unsigned long`, which
// is only the result's type.
//
// Threads: an accumulator belongs to one thread at a time.
class TREE_PLATFORM_API Zel_CRC {
 public:
  Zel_CRC() noexcept = default;

  // Feeds a zero-terminated text without its zero; null feeds nothing.
  void AddString(const char* text) noexcept;
  // Feeds `length` bytes, zero bytes included.
  void AddBytes(const char* bytes, std::size_t length) noexcept;

  void AddByte(std::uint8_t byte) noexcept {
    m_register = (m_register >> 8) ^ crc32_table[(m_register & 0xFFu) ^ byte];
  }

  // Feeds a number as a run of letters, 'A' to 'P' for the nibbles 0 to 15,
  // the lowest nibble first, and ends with the highest nibble that is not
  // zero; zero feeds nothing.
  // Intended: no fixed width and no separator.  Stored checksums depend on it.
  void AddNibbles(std::uint32_t value) noexcept;

  // The CRC of what was fed so far; feeding may go on afterwards.
  unsigned long Finish() const noexcept {
    return static_cast<unsigned long>(m_register ^ 0xFFFFFFFFu);
  }

 private:
  // First member, ahead of anything else: clients that carry a number feed of
  // their own compiled in find the register here.
  std::uint32_t m_register = 0xFFFFFFFFu;

 public:
  // One entry per byte value.  Constant data, usable from constructors of
  // static objects.
  static const std::array<std::uint32_t, 256> crc32_table;
};

#endif  // ZEL_ZEL_CRC_H
