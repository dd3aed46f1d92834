// Searches for single bytes in short texts, sixteen bytes at a time.

#ifndef TREE_TREE_BYTES_H
#define TREE_TREE_BYTES_H

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__) || defined(_M_X64)
#define TREE_HAS_SSE2 1
#include <emmintrin.h>
#endif

namespace tree_bytes {

inline constexpr std::ptrdiff_t kStep = 16;

// Bit i is set where byte i of the sixteen at `at` is `c`.
inline unsigned Equal(const char* at, char c) noexcept {
#if defined(TREE_HAS_SSE2)
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(c))));
#else
  unsigned bits = 0;
  for (unsigned i = 0; i < kStep; ++i) bits |= static_cast<unsigned>(at[i] == c) << i;
  return bits;
#endif
}

// The first of the bytes from `at` to `end` for which `is_wanted` holds, `end` when there is
// none.  `wanted_of_16` answers the same for sixteen bytes, as Equal() does.  `text` is where
// the whole text begins: fewer than sixteen bytes at its end are read together with bytes before
// them, if any, since none behind the end may be read.
template <class OfSixteen, class OfOne>
inline const char* FindFirst(const char* text, const char* at, const char* end,
                             OfSixteen wanted_of_16, OfOne is_wanted) noexcept {
  for (; end - at >= kStep; at += kStep) {
    if (const unsigned bits = wanted_of_16(at)) return at + std::countr_zero(bits);
  }
  if (end - text >= kStep) {
    const unsigned bits = wanted_of_16(end - kStep) >> (kStep - (end - at));
    return bits != 0 ? at + std::countr_zero(bits) : end;
  }
  while (at != end && !is_wanted(*at)) ++at;
  return at;
}

// Where the name that begins at `at` ends: at a backslash, a zero byte or the end.
inline const char* EndOfName(const char* text, const char* at, const char* end) noexcept {
  return FindFirst(
      text, at, end, [](const char* p) { return Equal(p, '\\') | Equal(p, '\0'); },
      [](char c) { return c == '\\' || c == '\0'; });
}

// The length of the name that begins at `at` and ends at a zero byte or at `end`.
inline std::size_t LengthOf(const char* text, const char* at, const char* end) noexcept {
  const char* const stop = FindFirst(
      text, at, end, [](const char* p) { return Equal(p, '\0'); },
      [](char c) { return c == '\0'; });
  return static_cast<std::size_t>(stop - at);
}

// Whether one of the eight bytes is zero.
inline bool HasZeroByte(std::uint64_t eight) noexcept {
  return ((eight - 0x0101010101010101u) & ~eight & 0x8080808080808080u) != 0;
}

inline bool HasZeroByte(const char* text, std::size_t length) noexcept {
  const char* const end = text + length;
  if (length < sizeof(std::uint64_t)) return std::find(text, end, '\0') != end;
  const auto has_zero_at = [](const char* p) {
    std::uint64_t eight;
    std::memcpy(&eight, p, sizeof eight);
    return HasZeroByte(eight);
  };
  for (; end - text > 8; text += 8) {
    if (has_zero_at(text)) return true;
  }
  return has_zero_at(end - 8);
}

// Overwrites every `c` from `text` to `end` with a zero byte; the number of them.
inline int Zero(char* text, char* end, char c) noexcept {
  int count = 0;
  char* at = text;
  const auto zero_in_16 = [&count, c](char* p) {
    for (unsigned bits = Equal(p, c); bits != 0; bits &= bits - 1) {
      p[std::countr_zero(bits)] = '\0';
      ++count;
    }
  };
  for (; end - at >= kStep; at += kStep) zero_in_16(at);
  if (end - text >= kStep) {
    zero_in_16(end - kStep);
    return count;
  }
  for (; at != end; ++at) {
    if (*at != c) continue;
    *at = '\0';
    ++count;
  }
  return count;
}

}  // namespace tree_bytes

#endif  // TREE_TREE_BYTES_H
