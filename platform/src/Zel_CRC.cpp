#include "Zel/Zel_CRC.h"

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
  for (; length > 0; ++bytes, --length) {
    crc = (crc >> 8) ^ kByteTable[(crc & 0xFFu) ^ static_cast<unsigned char>(*bytes)];
  }
  m_register = crc;
}
