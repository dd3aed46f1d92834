#include "Zel_CRC_Feeds.h"

#if defined(__GNUC__) && defined(__x86_64__)

#include <wmmintrin.h>

#include <cstring>

#define ZEL_CRC_TARGET [[gnu::target("pclmul")]]

// Feeding bits is arithmetic with polynomials whose coefficients are bits, modulo the CRC's
// polynomial P: the register after a text T of n bits is T * x^32 + register * x^n.  So a text
// can be cut into words, each of which is multiplied by x to the power of the bits behind it;
// these powers modulo P are known beforehand.
//
// In a word of 64 bits the lowest one is the coefficient of x^63, as the CRC has it.  The
// processor's product of two words has 127 bits.  Read as a word of 128 bits, whose lowest is
// the coefficient of x^127, it is the product times x; the constants make up for that.

namespace zel_crc::products {

namespace {

// P with all its powers, x^32 as the lowest bit.
constexpr std::uint64_t kWholePolynomial = (std::uint64_t{kPolynomial} << 1) | 1u;

// The word whose product with the one above has 1 as its lower 64 bits.
constexpr std::uint64_t MakeInverse() {
  std::uint64_t inverse = 0;
  std::uint64_t rest = 1;
  for (int bit = 0; bit < 64; ++bit) {
    if (((rest >> bit) & 1u) == 0) continue;
    inverse |= std::uint64_t{1} << bit;
    rest ^= kWholePolynomial << bit;
  }
  return inverse;
}

constexpr std::uint64_t kInverse = MakeInverse();

// Entry kNegative + n is x^(8n - 1) modulo P: what stands for n bytes behind a word.  Powers
// below zero exist, too: a power that x^0 does not occur in is divided by x as it is, any other
// together with P.
constexpr int kNegative = 8;
constexpr int kEntries = kNegative + 25;

constexpr std::array<std::uint64_t, kEntries> MakePowers() {
  std::uint32_t power = 0x80000000u;  // x^0
  for (int i = 0; i < 8 * kNegative + 1; ++i) {
    power = (power >> 31) == 0 ? power << 1 : ((power ^ kPolynomial) << 1) | 1u;
  }
  std::array<std::uint64_t, kEntries> powers{};
  for (std::uint64_t& entry : powers) {
    entry = std::uint64_t{power} << 32;
    for (int bit = 0; bit < 8; ++bit) power = (power >> 1) ^ ((power & 1u) != 0 ? kPolynomial : 0u);
  }
  return powers;
}

constexpr std::array<std::uint64_t, kEntries> kPowers = MakePowers();

constexpr char kZeros[32] = {};

template <class Number>
inline std::uint64_t Read(const char* bytes) noexcept {
  Number number;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

inline __m128i Read16(const char* bytes) noexcept {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

inline __m128i Word(std::uint64_t word) noexcept {
  return _mm_cvtsi64_si128(static_cast<long long>(word));
}

// The word that stands for the lower powers of 128 bits.
inline std::uint64_t LowPowers(__m128i bits) noexcept {
  return static_cast<std::uint64_t>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(bits, bits)));
}

// A word, with `behind` bytes behind it: its first 64 bits, or the other ones.
ZEL_CRC_TARGET inline __m128i Move(__m128i words, int behind) noexcept {
  return _mm_clmulepi64_si128(words, Word(kPowers[static_cast<std::size_t>(kNegative + behind)]),
                              0x00);
}
ZEL_CRC_TARGET inline __m128i MoveSecond(__m128i words, int behind) noexcept {
  return _mm_clmulepi64_si128(words, Word(kPowers[static_cast<std::size_t>(kNegative + behind)]),
                              0x01);
}

// The register after eight bytes, its own four already mixed into the first of them.  Fed bit
// by bit, P is added at each bit that is 1 then, until all 64 are 0.  The sum of what is added
// is the multiple of P that has these 64 bits, and the register is what it has above them.
ZEL_CRC_TARGET inline std::uint32_t Step(std::uint64_t mixed) noexcept {
  const __m128i constants =
      _mm_set_epi64x(static_cast<long long>(kWholePolynomial), static_cast<long long>(kInverse));
  const __m128i factor = _mm_clmulepi64_si128(Word(mixed), constants, 0x00);
  return static_cast<std::uint32_t>(LowPowers(_mm_clmulepi64_si128(factor, constants, 0x10)));
}

// The same after words that were moved, which have 96 bits together, and a last one.
ZEL_CRC_TARGET inline std::uint32_t StepAfter(__m128i moved, std::uint64_t last) noexcept {
  return Step(LowPowers(_mm_xor_si128(moved, Move(moved, 8))) ^ last);
}

}  // namespace

// Texts are short and of all lengths, so that a branch that depends on the length is often
// predicted wrongly, which takes longer than all the rest.  Up to 31 bytes are therefore read
// as pieces of 16, 8, 4, 2 and 1 bytes, each of which is there or is read from zeros.
ZEL_CRC_TARGET std::uint32_t Feed(std::uint32_t crc, const char* bytes,
                                  std::size_t length) noexcept {
  for (; length >= 32; bytes += 32, length -= 32) {
    const __m128i first = _mm_xor_si128(Read16(bytes), Word(crc));
    const __m128i second = Read16(bytes + 16);
    __m128i moved = _mm_xor_si128(Move(first, 24), MoveSecond(first, 16));
    moved = _mm_xor_si128(moved, Move(second, 8));
    crc = StepAfter(moved, LowPowers(second));
  }
  const char* const from[2] = {kZeros, bytes};
  const __m128i sixteen = Read16(from[length >> 4]);
  const std::uint64_t eight = Read<std::uint64_t>(from[(length >> 3) & 1] + (length & 16));
  const std::uint64_t four = Read<std::uint32_t>(from[(length >> 2) & 1] + (length & 24));
  const std::uint64_t two = Read<std::uint16_t>(from[(length >> 1) & 1] + (length & 28));
  const std::uint64_t one = Read<std::uint8_t>(from[length & 1] + (length & 30));

  // The last bytes of a text are the last ones of a word.
  const std::size_t rest = length & 7;
  const std::uint64_t last = (four | (two << (8 * (rest & 4))) | (one << (8 * (rest & 6))))
                             << (8 * (7 - rest)) << 8;
  const int behind16 = static_cast<int>(length & 15);
  __m128i moved = Move(Word(crc), static_cast<int>(length) - 8);
  moved = _mm_xor_si128(moved, Move(sixteen, behind16 + 8));
  moved = _mm_xor_si128(moved, MoveSecond(sixteen, behind16));
  moved = _mm_xor_si128(moved, Move(Word(eight), static_cast<int>(rest)));
  return StepAfter(moved, last);
}

// The same result as tables::FeedNumber.
ZEL_CRC_TARGET std::uint32_t FeedNumber(std::uint32_t crc, std::uint64_t bytes,
                                        std::size_t count) noexcept {
  const std::size_t bits = 8 * count;
  const std::uint64_t unmet = bits < 32 ? crc >> bits : 0;
  return Step((bytes ^ crc) << (64 - bits)) ^ static_cast<std::uint32_t>(unmet);
}

}  // namespace zel_crc::products

#endif
