#include "Zel/Zel_CRC.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

namespace {

unsigned long CrcOf(const std::string& bytes) {
  Zel_CRC crc;
  crc.AddBytes(bytes.data(), bytes.size());
  return crc.Finish();
}

// The definition, bit by bit.
std::uint32_t SlowCrcOf(const std::string& bytes) {
  std::uint32_t value = 0xFFFFFFFFu;
  for (const char byte : bytes) {
    value ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) {
      value = (value >> 1) ^ ((value & 1u) != 0 ? 0xEDB88320u : 0u);
    }
  }
  return ~value;
}

struct CrcCase {
  const char* text;
  unsigned long crc;
};

// Published check values of CRC-32.
const CrcCase kCrcCases[] = {
    {"", 0x00000000ul},
    {"a", 0xE8B7BE43ul},
    {"abc", 0x352441C2ul},
    {"123456789", 0xCBF43926ul},
    {"The quick brown fox jumps over the lazy dog", 0x414FA339ul},
};

TEST(Zel_CRC, GivesThePublishedCheckValues) {
  for (const CrcCase& c : kCrcCases) {
    SCOPED_TRACE(c.text);
    Zel_CRC crc;
    crc.AddString(c.text);
    EXPECT_EQ(c.crc, crc.Finish());
    EXPECT_EQ(c.crc, CrcOf(c.text));
  }
}

TEST(Zel_CRC, TableHoldsTheWellKnownEntries) {
  EXPECT_EQ(256u, Zel_CRC::crc32_table.size());
  EXPECT_EQ(0x00000000u, Zel_CRC::crc32_table[0]);
  EXPECT_EQ(0x77073096u, Zel_CRC::crc32_table[1]);
  EXPECT_EQ(0xEDB88320u, Zel_CRC::crc32_table[128]);
  EXPECT_EQ(0x2D02EF8Du, Zel_CRC::crc32_table[255]);
}

TEST(Zel_CRC, RegisterIsTheFirstMember) {
  static_assert(sizeof(Zel_CRC) == 4, "the register and nothing else");
  Zel_CRC crc;
  std::uint32_t value = 0;
  std::memcpy(&value, static_cast<const void*>(&crc), sizeof value);
  EXPECT_EQ(0xFFFFFFFFu, value);
  crc.AddString("123456789");
  std::memcpy(&value, static_cast<const void*>(&crc), sizeof value);
  EXPECT_EQ(~0xCBF43926u, value);
}

TEST(Zel_CRC, FeedsZeroBytesAndHighBytes) {
  for (const std::string& bytes : {std::string("\0", 1), std::string("\0\0\0\0", 4),
                                   std::string("a\0b", 3), std::string("\xFF\x80\xFE\x7F", 4)}) {
    EXPECT_EQ(SlowCrcOf(bytes), CrcOf(bytes)) << testing::PrintToString(bytes);
  }
}

TEST(Zel_CRC, AgreesWithTheDefinitionForEveryLengthAndAlignment) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  std::string bytes;
  for (int i = 0; i < 100; ++i) bytes.push_back(static_cast<char>(random() & 0xFFu));
  for (std::size_t start = 0; start < 9; ++start) {
    for (std::size_t length = 0; start + length <= bytes.size(); ++length) {
      const std::string part = bytes.substr(start, length);
      Zel_CRC crc;
      crc.AddBytes(bytes.data() + start, length);
      ASSERT_EQ(SlowCrcOf(part), crc.Finish()) << "start " << start << ", length " << length;
    }
  }
}

TEST(Zel_CRC, DoesNotDependOnHowTheBytesAreSplit) {
  const std::string text = "The quick brown fox jumps over the lazy dog";
  for (std::size_t cut = 0; cut <= text.size(); ++cut) {
    Zel_CRC crc;
    crc.AddString(text.substr(0, cut).c_str());
    crc.AddBytes(text.data() + cut, text.size() - cut);
    EXPECT_EQ(0x414FA339ul, crc.Finish()) << "cut at " << cut;
  }
}

TEST(Zel_CRC, FinishCanBeAskedBetweenFeeds) {
  Zel_CRC crc;
  EXPECT_EQ(0ul, crc.Finish());
  crc.AddString("1234");
  crc.Finish();
  crc.AddByte('5');
  crc.AddString("6789");
  crc.AddString(nullptr);
  EXPECT_EQ(0xCBF43926ul, crc.Finish());
}

struct NibbleCase {
  std::uint32_t value;
  const char* letters;
};

const NibbleCase kNibbleCases[] = {
    {0, ""},
    {1, "B"},
    {0xF, "P"},
    {0x10, "AB"},  // the lowest nibble first
    {0x1234, "EDCB"},
    {0xF0000000u, "AAAAAAAP"},
    {0xCBF43926u, "GCJDEPLM"},
};

TEST(Zel_CRC, FeedsNumbersAsLetters) {
  for (const NibbleCase& c : kNibbleCases) {
    SCOPED_TRACE(c.letters);
    Zel_CRC numbers;
    numbers.AddNibbles(c.value);
    EXPECT_EQ(CrcOf(c.letters), numbers.Finish());
  }
}

// Table and accumulator serve constructors of static objects, whatever the
// order of initialisation.
const unsigned long g_early_crc = CrcOf("123456789");

TEST(Zel_CRC, WorksWhileStaticObjectsAreMade) {
  EXPECT_EQ(0xCBF43926ul, g_early_crc);
}

}  // namespace
