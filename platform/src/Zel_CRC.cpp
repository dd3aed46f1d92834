#include "Zel/Zel_CRC.h"

#include <bit>
#include <cstring>

#include "Zel_CRC_Feeds.h"

constinit const std::array<std::uint32_t, 256> Zel_CRC::crc32_table = zel_crc::MakeByteTable();

void Zel_CRC::AddString(const char* text) noexcept {
  if (text != nullptr) AddBytes(text, std::strlen(text));
}

void Zel_CRC::AddBytes(const char* bytes, std::size_t length) noexcept {
  m_register = zel_crc::products::Available() ? zel_crc::products::Feed(m_register, bytes, length)
                                              : zel_crc::tables::Feed(m_register, bytes, length);
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
  m_register = zel_crc::products::Available()
                   ? zel_crc::products::FeedNumber(m_register, letters, count)
                   : zel_crc::tables::FeedNumber(m_register, letters, count);
}
