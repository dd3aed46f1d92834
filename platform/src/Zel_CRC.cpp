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

// Four bytes as a number, the first byte lowest, on any machine.
inline std::uint32_t LittleEndian32(const char* bytes) noexcept {
  const auto at = [bytes](int i) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i]));
  };
  return at(0) | (at(1) << 8) | (at(2) << 16) | (at(3) << 24);
}

}  // namespace

constinit const std::array<std::uint32_t, 256> Zel_CRC::crc32_table = MakeByteTable();

void Zel_CRC::AddString(const char* text) noexcept {
  if (text != nullptr) AddBytes(text, std::strlen(text));
}

void Zel_CRC::AddBytes(const char* bytes, std::size_t length) noexcept {
  std::uint32_t crc = m_register;
  for (; length >= 8; bytes += 8, length -= 8) {
    const std::uint32_t low = crc ^ LittleEndian32(bytes);
    const std::uint32_t high = LittleEndian32(bytes + 4);
    crc = kAhead[7][low & 0xFFu] ^ kAhead[6][(low >> 8) & 0xFFu] ^ kAhead[5][(low >> 16) & 0xFFu] ^
          kAhead[4][low >> 24] ^ kAhead[3][high & 0xFFu] ^ kAhead[2][(high >> 8) & 0xFFu] ^
          kAhead[1][(high >> 16) & 0xFFu] ^ kAhead[0][high >> 24];
  }
  // The rest in one step, too: names and values are mostly shorter than eight bytes.
  if (length > 0) {
    std::uint32_t rest = length < 4 ? crc >> (8 * length) : 0;
    for (std::size_t i = 0; i < length; ++i) {
      const std::uint32_t mixed = i < 4 ? crc >> (8 * i) : 0;
      rest ^= kAhead[length - 1 - i][(mixed ^ static_cast<unsigned char>(bytes[i])) & 0xFFu];
    }
    crc = rest;
  }
  m_register = crc;
}

void Zel_CRC::AddNibbles(std::uint32_t value) noexcept {
  // A nibble to a byte, the lowest one first.
  std::uint64_t letters = value;
  letters = (letters | (letters << 16)) & 0x0000FFFF0000FFFFu;
  letters = (letters | (letters << 8)) & 0x00FF00FF00FF00FFu;
  letters = (letters | (letters << 4)) & 0x0F0F0F0F0F0F0F0Fu;
  letters += 0x4141414141414141u;
  char bytes[8];
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<char>(letters >> (8 * i));
  AddBytes(bytes, (static_cast<std::size_t>(std::bit_width(value)) + 3) / 4);
}
