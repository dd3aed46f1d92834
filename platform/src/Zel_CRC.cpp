#include "Zel/Zel_CRC.h"

#include <bit>
#include <cstring>

namespace {

using Table = std::array<std::uint32_t, 256>;

constexpr Table MakeByteTable() {
  Table table{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t value = byte;
    for (int bit = 0; bit < 8; ++bit) {
      value = (value >> 1) ^ ((value & 1u) != 0 ? 0xEDB88320u : 0u);
    }
    table[byte] = value;
  }
  return table;
}

constexpr Table kByteTable = MakeByteTable();

// kAhead[k][b] is what byte b does to the register with k zero bytes behind
// it, so eight bytes are fed as eight independent look-ups.
constexpr std::array<Table, 8> MakeAheadTables() {
  std::array<Table, 8> tables{};
  tables[0] = kByteTable;
  for (std::size_t k = 1; k < 8; ++k) {
    for (std::size_t byte = 0; byte < 256; ++byte) {
      const std::uint32_t before = tables[k - 1][byte];
      tables[k][byte] = (before >> 8) ^ kByteTable[before & 0xFFu];
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

// The register after `count` bytes, 1 to 8 of them.  Zero bytes in front of the first one do
// nothing to a register of zero, so that eight can be fed however many there are; a register's
// bytes that none of them meets move down.
inline std::uint32_t StepUpTo8(std::uint32_t crc, std::uint64_t bytes, std::size_t count) noexcept {
  const std::size_t bits = 8 * count;
  const std::uint64_t unmet = bits < 32 ? crc >> bits : 0;
  return Step((bytes ^ crc) << (64 - bits)) ^ static_cast<std::uint32_t>(unmet);
}

}  // namespace

constinit const std::array<std::uint32_t, 256> Zel_CRC::crc32_table = MakeByteTable();

void Zel_CRC::AddString(const char* text) noexcept {
  if (text != nullptr) AddBytes(text, std::strlen(text));
}

void Zel_CRC::AddBytes(const char* bytes, std::size_t length) noexcept {
  std::uint32_t crc = m_register;
  for (; length > 8; bytes += 8, length -= 8) crc = Step(crc ^ LittleEndian(bytes, 8));
  if (length > 0) crc = StepUpTo8(crc, LittleEndian(bytes, length), length);
  m_register = crc;
}

void Zel_CRC::AddNibbles(std::uint32_t value) noexcept {
  if (value == 0) return;
  // A nibble to a byte, the lowest one first.
  std::uint64_t letters = value;
  letters = (letters | (letters << 16)) & 0x0000FFFF0000FFFFu;
  letters = (letters | (letters << 8)) & 0x00FF00FF00FF00FFu;
  letters = (letters | (letters << 4)) & 0x0F0F0F0F0F0F0F0Fu;
  letters += 0x4141414141414141u;
  const std::size_t count = (static_cast<std::size_t>(std::bit_width(value)) + 3) / 4;
  m_register = StepUpTo8(m_register, letters, count);
}
