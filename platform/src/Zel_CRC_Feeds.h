#ifndef ZEL_ZEL_CRC_FEEDS_H
#define ZEL_ZEL_CRC_FEEDS_H

#include <array>
#include <cstddef>
#include <cstdint>

// Two ways to feed bytes to the register of a Zel_CRC, with the same result: by tables, on any
// machine, and by carry-less products, on processors that have an instruction for them.
//
// Both take the register and return it as it is after the bytes.

namespace zel_crc {

// The polynomial without its highest power, the next one as the lowest bit.
constexpr std::uint32_t kPolynomial = 0xEDB88320u;

// The register after eight zero bits have pushed out `byte`.
constexpr std::array<std::uint32_t, 256> MakeByteTable() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t value = byte;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1u) != 0 ? kPolynomial : 0u);
    table[byte] = value;
  }
  return table;
}

namespace tables {

std::uint32_t Feed(std::uint32_t crc, const char* bytes, std::size_t length) noexcept;

// `count` bytes, 1 to 8 of them, as a number, the first byte lowest.
std::uint32_t FeedNumber(std::uint32_t crc, std::uint64_t bytes, std::size_t count) noexcept;

}  // namespace tables

namespace products {

#if defined(__GNUC__) && defined(__x86_64__)

// Whether this processor has the instruction; the others must not be called without it.
// False, too, before the C run-time library has looked, which is no harm.
inline bool Available() noexcept {
  return __builtin_cpu_supports("pclmul") != 0;
}

std::uint32_t Feed(std::uint32_t crc, const char* bytes, std::size_t length) noexcept;
std::uint32_t FeedNumber(std::uint32_t crc, std::uint64_t bytes, std::size_t count) noexcept;

#else

inline bool Available() noexcept {
  return false;
}
using tables::Feed;
using tables::FeedNumber;

#endif

}  // namespace products

}  // namespace zel_crc

#endif  // ZEL_ZEL_CRC_FEEDS_H
