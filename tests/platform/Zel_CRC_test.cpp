#include "Zel/Zel_CRC.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>

#include "Zel_CRC_Feeds.h"

namespace {

unsigned long CrcOf(const std::string& bytes) {
  Zel_CRC crc;
  crc.AddBytes(bytes.data(), bytes.size());
  return crc.Finish();
}

// The definition, bit by bit: the register after some more bytes.
std::uint32_t SlowFeed(std::uint32_t value, const char* bytes, std::size_t length) {
  for (std::size_t i = 0; i < length; ++i) {
    value ^= static_cast<unsigned char>(bytes[i]);
    for (int bit = 0; bit < 8; ++bit) {
      value = (value >> 1) ^ ((value & 1u) != 0 ? 0xEDB88320u : 0u);
    }
  }
  return value;
}

std::uint32_t SlowCrcOf(const std::string& bytes) {
  return ~SlowFeed(0xFFFFFFFFu, bytes.data(), bytes.size());
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

// Both ways of feeding, of which a processor uses one.
using Feed = std::uint32_t (*)(std::uint32_t, const char*, std::size_t) noexcept;
using FeedNumber = std::uint32_t (*)(std::uint32_t, std::uint64_t, std::size_t) noexcept;

void ExpectTheDefinition(Feed feed, FeedNumber feed_number) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  constexpr std::size_t kLongest = 300;
  for (std::size_t start = 0; start < 32; ++start) {
    for (std::size_t length = 0; length <= kLongest; ++length) {
      // A block that ends with the bytes, so that reading beyond them is noticed.
      const auto block = std::make_unique<char[]>(start + length);
      for (std::size_t i = 0; i < start + length; ++i) {
        block[i] = static_cast<char>(random() & 0xFFu);
      }
      const char* const bytes = block.get() + start;
      const auto before = static_cast<std::uint32_t>(random());
      ASSERT_EQ(SlowFeed(before, bytes, length), feed(before, bytes, length))
          << "start " << start << ", length " << length;
      if (length == 0 || length > 8) continue;
      std::uint64_t number = 0;
      for (std::size_t i = length; i-- > 0;) {
        number = (number << 8) | static_cast<unsigned char>(bytes[i]);
      }
      ASSERT_EQ(SlowFeed(before, bytes, length), feed_number(before, number, length))
          << "a number of " << length << " bytes";
    }
  }
}

TEST(Zel_CRC, FeedingByTablesAgreesWithTheDefinition) {
  ExpectTheDefinition(zel_crc::tables::Feed, zel_crc::tables::FeedNumber);
}

TEST(Zel_CRC, FeedingByProductsAgreesWithTheDefinition) {
  if (!zel_crc::products::Available()) GTEST_SKIP() << "This processor has no such products.";
  ExpectTheDefinition(zel_crc::products::Feed, zel_crc::products::FeedNumber);
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
