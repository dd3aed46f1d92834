#include "Zel_CRC_Feeds.h"

namespace zel_crc::tables {

namespace {

using Table = std::array<std::uint32_t, 256>;

// kAhead[k][b] is what byte b does to the register with k zero bytes behind
// it, so eight bytes are fed as eight independent look-ups.
constexpr std::array<Table, 8> MakeAheadTables() {
  std::array<Table, 8> tables{};
  tables[0] = MakeByteTable();
  for (std::size_t k = 1; k < 8; ++k) {
    for (std::size_t byte = 0; byte < 256; ++byte) {
      const std::uint32_t before = tables[k - 1][byte];
      tables[k][byte] = (before >> 8) ^ tables[0][before & 0xFFu];
    }
  }
  return tables;
}

constexpr std::array<Table, 8> kAhead = MakeAheadTables();

// `count` bytes, at most eight, as a number, the first byte lowest, on any machine.
inline std::uint64_t LittleEndian(const char* bytes, std::size_t count) noexcept {
  const auto at = [bytes](std::size_t i) {
    return static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
  };
  const auto four = [bytes](std::size_t from) {
    const auto byte = [bytes, from](std::size_t i) {
      return static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[from + i])) << (8 * i);
    };
    return byte(0) | byte(1) | byte(2) | byte(3);
  };
  // Four bytes that overlap others bring the same ones once more.
  if (count >= 4) return four(0) | (four(count - 4) << (8 * (count - 4)));
  return at(0) | at(count / 2) | at(count - 1);
}

// The register after eight bytes, its own four already mixed into the first of them.
inline std::uint32_t Step(std::uint64_t mixed) noexcept {
  const auto byte = [mixed](int i) { return static_cast<std::size_t>((mixed >> (8 * i)) & 0xFFu); };
  return kAhead[7][byte(0)] ^ kAhead[6][byte(1)] ^ kAhead[5][byte(2)] ^ kAhead[4][byte(3)] ^
         kAhead[3][byte(4)] ^ kAhead[2][byte(5)] ^ kAhead[1][byte(6)] ^ kAhead[0][byte(7)];
}

}  // namespace

std::uint32_t Feed(std::uint32_t crc, const char* bytes, std::size_t length) noexcept {
  for (; length > 8; bytes += 8, length -= 8) crc = Step(crc ^ LittleEndian(bytes, 8));
  return length == 0 ? crc : FeedNumber(crc, LittleEndian(bytes, length), length);
}

// Zero bytes in front of the first one do nothing to a register of zero, so that eight can be
// fed however many there are; a register's bytes that none of them meets move down.
std::uint32_t FeedNumber(std::uint32_t crc, std::uint64_t bytes, std::size_t count) noexcept {
  const std::size_t bits = 8 * count;
  const std::uint64_t unmet = bits < 32 ? crc >> bits : 0;
  return Step((bytes ^ crc) << (64 - bits)) ^ static_cast<std::uint32_t>(unmet);
}

}  // namespace zel_crc::tables
