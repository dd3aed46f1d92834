// RWCString: searches, comparison and hashes, and random changes beside a std::string.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "rw/RWCString.h"
#include "support/StringText.h"

namespace {

using namespace std::string_literals;

int SignOf(int n) {
  return n < 0 ? -1 : (n > 0 ? 1 : 0);
}

// --------------------------------------------------------------- Searches

struct IndexCase {
  const char* text;
  const char* pattern;
  std::size_t start;
  std::size_t found;
};

const IndexCase kIndexCases[] = {
    {"a\\b\\c", "\\", 0, 1},
    {"a\\b\\c", "\\", 1, 1},
    {"a\\b\\c", "\\", 2, 3},
    {"a\\b\\c", "\\", 4, RW_NPOS},
    {"hello", "l", 0, 2},
    {"hello", "llo", 0, 2},
    {"hello", "lly", 0, RW_NPOS},
    {"hello", "hello there", 0, RW_NPOS},
    {"hello", "h", 5, RW_NPOS},
    {"hello", "h", 100, RW_NPOS},
    {"", "x", 0, RW_NPOS},
    // The empty text is everywhere, the end included.
    {"hello", "", 0, 0},
    {"hello", "", 5, 5},
    {"hello", "", 6, RW_NPOS},
    {"hello", nullptr, 2, 2},
    {"aaab", "aab", 0, 1},
};

TEST(RWCString, FindsTheFirst) {
  for (const IndexCase& c : kIndexCases) {
    SCOPED_TRACE(testing::Message() << c.text << " " << RWCString(c.pattern) << " " << c.start);
    const RWCString text(c.text);
    EXPECT_EQ(c.found, text.index(c.pattern, c.start));
    EXPECT_EQ(c.found, text.index(RWCString(c.pattern), c.start));
    if (c.pattern != nullptr && std::string(c.pattern).size() == 1) {
      EXPECT_EQ(c.found, text.index(*c.pattern, c.start));
    }
  }
  EXPECT_EQ(1u, Bytes("a\0b"s).index('\0'));
  EXPECT_EQ(2u, Bytes("\xFF\x01\xFE"s).index('\xFE'));
}

TEST(RWCString, FindsTheLast) {
  const RWCString text("a\\b\\c");
  EXPECT_EQ(3u, text.last('\\'));
  EXPECT_EQ(3u, text.last("\\"));
  EXPECT_EQ(3u, text.last(RWCString("\\")));
  EXPECT_EQ(0u, text.last('a'));
  EXPECT_EQ(4u, text.last('c'));
  EXPECT_EQ(RW_NPOS, text.last('x'));
  EXPECT_EQ(RW_NPOS, text.last("x"));
  EXPECT_EQ(2u, text.last("b\\"));
  EXPECT_EQ(5u, text.last(""));
  EXPECT_EQ(5u, text.last(static_cast<const char*>(nullptr)));
  EXPECT_EQ(RW_NPOS, RWCString().last('x'));
}

// ------------------------------------------------------------- Comparison

struct CompareCase {
  std::string a, b;
  int order;
};

const CompareCase kCompareCases[] = {
    {"", "", 0},
    {"abc", "abc", 0},
    {"abc", "abd", -1},
    // The shorter comes first when one begins with the other.
    {"abc", "abcd", -1},
    {"", "a", -1},
    // Bytes count as unsigned.
    {"\x7F", "\x80", -1},
    {"a\xFF", "az", 1},
    {"A", "a", -1},
    // Zero bytes are bytes like others.
    {"a\0b"s, "a\0c"s, -1},
    {"a"s, "a\0"s, -1},
};

TEST(RWCString, ComparesBytesAndThenLengths) {
  for (const CompareCase& c : kCompareCases) {
    SCOPED_TRACE(testing::PrintToString(c.a) + " " + testing::PrintToString(c.b));
    const RWCString a = Bytes(c.a);
    const RWCString b = Bytes(c.b);
    EXPECT_EQ(c.order, SignOf(a.compareTo(b)));
    EXPECT_EQ(-c.order, SignOf(b.compareTo(a)));
    EXPECT_EQ(c.order == 0, a == b);
    EXPECT_EQ(c.order != 0, a != b);
    EXPECT_EQ(c.order < 0, a < b);
    EXPECT_EQ(c.order > 0, b < a);
    if (c.b.find('\0') != std::string::npos) continue;
    const char* const text = c.b.c_str();
    EXPECT_EQ(c.order, SignOf(a.compareTo(text)));
    EXPECT_EQ(c.order == 0, a == text);
    EXPECT_EQ(c.order == 0, text == a);
    EXPECT_EQ(c.order != 0, a != text);
    EXPECT_EQ(c.order != 0, text != a);
    EXPECT_EQ(c.order < 0, a < text);
    EXPECT_EQ(c.order > 0, text < a);
  }
}

TEST(RWCString, AStringWithAZeroByteEqualsNoPlainText) {
  const RWCString text = Bytes("a\0b"s);
  EXPECT_FALSE(text == "a");
  EXPECT_TRUE(text != "a");
  EXPECT_TRUE("a" < text);
  EXPECT_TRUE(RWCString() == static_cast<const char*>(nullptr));
}

// Of every length, so that every way of cutting a text into words is taken; one byte differs.
TEST(RWCString, EqualsTheBytesThatItHasAndNoOthers) {
  std::string bytes;
  for (int length = 0; length <= 70; ++length) {
    const RWCString text = Bytes(bytes);
    EXPECT_TRUE(text.equals(bytes.data(), bytes.size()));
    EXPECT_TRUE(text == Bytes(bytes));
    for (std::size_t at = 0; at < bytes.size(); ++at) {
      std::string other = bytes;
      other[at] = static_cast<char>(other[at] ^ 0x80);
      EXPECT_FALSE(text.equals(other.data(), other.size())) << length << " " << at;
      EXPECT_FALSE(text == Bytes(other)) << length << " " << at;
    }
    EXPECT_FALSE(text.equals((bytes + "x").data(), bytes.size() + 1));
    EXPECT_EQ(bytes.empty(), text.equals(bytes.data(), 0));
    bytes.push_back(static_cast<char>(length * 11));
  }
}

// Bytes that differ from the wanted one in their lowest or highest bit are not taken for it.
TEST(RWCString, FindsTheLastByteWhereverItStands) {
  for (const char other : {']', '\xdc', '\0', '\xff'}) {
    for (std::size_t length = 0; length <= 40; ++length) {
      std::string bytes(length, other);
      EXPECT_EQ(RW_NPOS, Bytes(bytes).last('\\'));
      for (std::size_t at = 0; at < length; ++at) {
        bytes[at] = '\\';
        EXPECT_EQ(at, Bytes(bytes).last('\\')) << length;
      }
    }
  }
}

// ------------------------------------------------------------------- Hash

TEST(RWCString, EqualContentsHaveEqualHashes) {
  std::string bytes;
  for (int length = 0; length < 300; ++length) {
    const RWCString text = Bytes(bytes);
    EXPECT_EQ(text.hash(), text.hash());
    EXPECT_EQ(text.hash(), Bytes(bytes).hash());
    EXPECT_EQ(text.hash(), RWCString::hash(bytes.data(), bytes.size()));
    EXPECT_NE(0u, text.hash());
    bytes.push_back(static_cast<char>(length * 7));
  }
  EXPECT_EQ(RWCString().hash(), RWCString("").hash());
}

TEST(RWCString, EveryChangeOfAStringChangesItsHash) {
  RWCString text("one");
  const unsigned before = text.hash();
  text.append("x");
  EXPECT_EQ(RWCString("onex").hash(), text.hash());
  text.hash();
  text.append('y');
  EXPECT_EQ(RWCString("onexy").hash(), text.hash());
  text.replace(0, 3, "ONE");
  EXPECT_EQ(RWCString("ONExy").hash(), text.hash());
  text.resize(3);
  EXPECT_EQ(RWCString("ONE").hash(), text.hash());
  EXPECT_NE(before, text.hash());
}

// Texts that differ in one bit anywhere, in their length only, or that look
// like keys of a configuration: collisions stay about as rare as chance has
// them among 32-bit numbers.
TEST(RWCString, HashesSpreadWell) {
  std::set<std::string> texts;
  for (std::size_t length : {1u, 3u, 4u, 7u, 8u, 12u, 16u, 17u, 31u, 48u, 49u, 100u, 200u}) {
    const std::string zeros(length, '\0');
    texts.insert(zeros);
    for (std::size_t bit = 0; bit < 8 * length; ++bit) {
      std::string flipped = zeros;
      flipped[bit / 8] = static_cast<char>(1u << (bit % 8));
      texts.insert(flipped);
    }
  }
  for (int i = 0; i < 100000; ++i) {
    texts.insert("key" + std::to_string(i));
    texts.insert("cfg\\servers\\" + std::to_string(i) + "\\port");
  }
  std::set<unsigned> hashes;
  std::vector<int> low_bits(256, 0);
  for (const std::string& text : texts) {
    const unsigned hash = RWCString::hash(text.data(), text.size());
    hashes.insert(hash);
    ++low_bits[hash & 255u];
  }
  // 200,000 random numbers of 32 bits collide about 5 times.
  EXPECT_GE(hashes.size() + 30, texts.size());
  for (const int count : low_bits) {
    EXPECT_NEAR(static_cast<double>(texts.size()) / 256, count, 200.0);
  }
}

// Texts that would make a factor of the hash's product zero, did it depend on nothing but what
// can be read in its source.
TEST(RWCString, HashesOfCraftedTextsDiffer) {
  constexpr std::uint64_t kSecret = 0xE7037ED1A0B428DBu;
  std::set<unsigned> hashes;
  constexpr unsigned kTexts = 1000;
  for (unsigned i = 0; i < kTexts; ++i) {
    std::string text(16, 'x');
    for (std::size_t byte = 0; byte < 4; ++byte) {
      text[byte] = static_cast<char>(kSecret >> (32 + 8 * byte));
      text[8 + byte] = static_cast<char>(kSecret >> (8 * byte));
      text[4 + byte] = static_cast<char>('a' + (i >> (3 * byte)) % 8);
    }
    hashes.insert(RWCString::hash(text.data(), text.size()));
  }
  EXPECT_GT(hashes.size(), kTexts - 10);
}

// ---------------------------------------------------------- Random changes

TEST(RWCString, AgreesWithAModelOverRandomChanges) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  const auto below = [&random](std::size_t n) { return n == 0 ? 0 : random() % n; };
  RWCString texts[4];
  std::string models[4];
  for (int step = 0; step < 20000; ++step) {
    const std::size_t i = below(4);
    const std::size_t j = below(4);
    RWCString& text = texts[i];
    std::string& model = models[i];
    switch (below(8)) {
      case 0:
        text = texts[j];
        model = models[j];
        break;
      case 1:
        text.append(texts[j]);
        model.append(models[j]);
        break;
      case 2: {
        const std::size_t pos = below(model.size() + 1);
        const std::size_t length = below(10);
        text.replace(pos, length, texts[j]);
        model.replace(pos, length, std::string(models[j]));
        break;
      }
      case 3: {
        const std::size_t pos = below(model.size() + 1);
        const std::size_t length = below(20);
        text = text(pos, length);
        model = model.substr(pos, length);
        break;
      }
      case 4:
        text.append(static_cast<char>('a' + below(26)), 1 + below(5));
        model.append(text.data() + model.size(), text.length() - model.size());
        break;
      case 5:
        if (!model.empty()) {
          const std::size_t at = below(model.size());
          text[at] = '#';
          model[at] = '#';
        }
        break;
      case 6:
        text.resize(below(30));
        model.resize(text.length(), ' ');
        break;
      default:
        EXPECT_EQ(RWCString::hash(model.data(), model.size()), text.hash());
    }
    if (model.size() > 5000) {
      text.clear();
      model.clear();
    }
    for (std::size_t k = 0; k < 4; ++k) ASSERT_EQ(models[k], Text(texts[k])) << "step " << step;
    ASSERT_EQ(SignOf(models[i].compare(models[j])), SignOf(texts[i].compareTo(texts[j])));
  }
}

}  // namespace
