#include "rw/RWCString.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "Zel/Zel_PoolAllocator.h"
#include "rw/RWBoundsErr.h"

namespace {

using namespace std::string_literals;

static_assert(sizeof(RWCString) == sizeof(void*), "one pointer");
static_assert(!std::is_convertible_v<RWCString, const char*>);
static_assert(std::is_convertible_v<const char*, RWCString>);
static_assert(std::is_nothrow_default_constructible_v<RWCString>);
static_assert(std::is_nothrow_copy_constructible_v<RWCString>);
static_assert(std::is_nothrow_move_constructible_v<RWCString>);
static_assert(std::is_nothrow_copy_assignable_v<RWCString>);
static_assert(std::is_nothrow_move_assignable_v<RWCString>);

RWCString Make(const std::string& text) {
  return RWCString(text.data(), text.size());
}
std::string Text(const RWCString& text) {
  return std::string(text.data(), text.length());
}

int SignOf(int n) {
  return n < 0 ? -1 : (n > 0 ? 1 : 0);
}

// ---------------------------------------------------------- Construction

TEST(RWCString, EmptyInEveryWayOfMakingIt) {
  const char* const null = nullptr;
  for (const RWCString& text : {RWCString(), RWCString(""), RWCString(null), RWCString(nullptr),
                                RWCString("abc", 0), RWCString(null, 5)}) {
    EXPECT_EQ(0u, text.length());
    EXPECT_TRUE(text.isNull());
    EXPECT_EQ('\0', *text.data());
  }
}

TEST(RWCString, KeepsTextAndZeroBytes) {
  const RWCString text("hello");
  EXPECT_STREQ("hello", text.data());
  EXPECT_EQ(5u, text.length());
  EXPECT_FALSE(text.isNull());
  const RWCString zeros("a\0b\0", 4);
  EXPECT_EQ("a\0b\0"s, Text(zeros));
  EXPECT_EQ('\0', zeros.data()[4]) << "not terminated";
  EXPECT_STREQ("hel", RWCString("hello", 3).data());
}

TEST(RWCString, CopiesShareOneRepresentationUntilOneIsChanged) {
  RWCString a("shared");
  const RWCString b(a);
  RWCString c;
  c = a;
  EXPECT_EQ(a.data(), b.data());
  EXPECT_EQ(a.data(), c.data());
  c.append("!");
  EXPECT_NE(a.data(), c.data());
  EXPECT_STREQ("shared", a.data());
  EXPECT_STREQ("shared!", c.data());
  a[0] = 'S';
  EXPECT_STREQ("Shared", a.data());
  EXPECT_STREQ("shared", b.data());
}

TEST(RWCString, MovingLeavesTheEmptyString) {
  RWCString a("moved");
  const char* const bytes = a.data();
  RWCString b(std::move(a));
  EXPECT_TRUE(a.isNull());  // NOLINT(bugprone-use-after-move): what the test is about
  EXPECT_EQ(bytes, b.data());
  RWCString c("old");
  c = std::move(b);
  EXPECT_TRUE(b.isNull());  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(bytes, c.data());
  a = c;
  EXPECT_STREQ("moved", a.data());
}

TEST(RWCString, AssignmentToItselfKeepsTheText) {
  RWCString a("self");
  RWCString& self = a;
  a = self;
  EXPECT_STREQ("self", a.data());
  a = std::move(self);
  EXPECT_STREQ("self", a.data());
  a = a.data() + 1;
  EXPECT_STREQ("elf", a.data());
  a = static_cast<const char*>(nullptr);
  EXPECT_TRUE(a.isNull());
}

// ---------------------------------------------------------------- Access

TEST(RWCString, GivesSingleBytes) {
  const RWCString text("a\0c", 3);
  EXPECT_EQ('a', text[0]);
  EXPECT_EQ('\0', text[1]);
  EXPECT_EQ('c', text[2]);
}

TEST(RWCString, ThrowsForABadIndex) {
  RWCString text("abc");
  const RWCString& read = text;
  EXPECT_THROW(static_cast<void>(read[3]), RWBoundsErr);
  EXPECT_THROW(text[3] = 'x', RWBoundsErr);
  EXPECT_THROW(static_cast<void>(RWCString()[0]), RWBoundsErr);
  try {
    static_cast<void>(read[static_cast<std::size_t>(-1)]);
    FAIL() << "nothing was thrown";
  } catch (const RWBoundsErr& error) {
    EXPECT_EQ(-1, error.index());
    EXPECT_EQ(3u, error.count());
  }
}

TEST(RWCString, WritingAByteChangesTheHash) {
  RWCString text("abc");
  EXPECT_EQ(RWCString("abc").hash(), text.hash());
  text[1] = 'X';
  EXPECT_EQ(RWCString("aXc").hash(), text.hash());
  text[1] = 'b';
  EXPECT_EQ(RWCString("abc").hash(), text.hash());
}

struct SubCase {
  const char* text;
  std::size_t pos, length;
  const char* sub;
};

const SubCase kSubCases[] = {
    {"hello", 0, 5, "hello"},
    {"hello", 1, 3, "ell"},
    // Fewer bytes when the string ends before.
    {"hello", 3, 100, "lo"},
    {"hello", 2, RW_NPOS, "llo"},
    {"hello", 5, 1, ""},
    {"hello", 0, 0, ""},
    {"", 0, 3, ""},
};

TEST(RWCString, HandsOutSubStrings) {
  for (const SubCase& c : kSubCases) {
    SCOPED_TRACE(testing::Message() << c.text << " " << c.pos << " " << c.length);
    EXPECT_STREQ(c.sub, RWCString(c.text)(c.pos, c.length).data());
  }
  EXPECT_THROW(RWCString("abc")(4, 0), RWBoundsErr);
  EXPECT_THROW(RWCString()(1, 1), RWBoundsErr);
}

TEST(RWCString, TheWholeAsASubStringIsShared) {
  const RWCString text("whole");
  EXPECT_EQ(text.data(), text(0, 5).data());
  EXPECT_EQ(text.data(), text(0, RW_NPOS).data());
}

// --------------------------------------------------------------- Changes

TEST(RWCString, AppendsEverythingItTakes) {
  RWCString text;
  text.append(RWCString("one")).append("two").append("three", 2).append('x').append('y', 3);
  EXPECT_STREQ("onetwothxyyy", text.data());
  text += RWCString("A");
  text += "B";
  text += 'C';
  EXPECT_STREQ("onetwothxyyyABC", text.data());
  text.append(static_cast<const char*>(nullptr)).append("").append('z', 0).append(RWCString());
  text.append(nullptr, 7);
  EXPECT_STREQ("onetwothxyyyABC", text.data());
  text.append("\0z", 2);
  EXPECT_EQ("onetwothxyyyABC\0z"s, Text(text));
}

TEST(RWCString, AppendsPiecesOfItself) {
  RWCString text("ab");
  text.append(text);
  EXPECT_STREQ("abab", text.data());
  text.append(text.data() + 1, 2);
  EXPECT_STREQ("ababba", text.data());
  for (int i = 0; i < 10; ++i) text.append(text.data());
  EXPECT_EQ(6u * 1024, text.length());
  // With room left and without, the zero byte at the end included.
  std::string model = "0123456789";
  RWCString own(model.c_str());
  for (int i = 0; i < 12; ++i) {
    own.append(own.data() + 3, own.length() - 3 + 1);
    model += model.substr(3) + '\0';
    ASSERT_EQ(model, Text(own));
  }
}

TEST(RWCString, AppendingToASharedStringLeavesTheOtherAlone) {
  RWCString a("base");
  a.append('x');  // room to grow
  const RWCString b(a);
  a.append("!");
  EXPECT_STREQ("basex", b.data());
  EXPECT_STREQ("basex!", a.data());
  RWCString c(b);
  c.append(c.data(), 4);
  EXPECT_STREQ("basexbase", c.data());
}

TEST(RWCString, GrowsInFewSteps) {
  RWCString text;
  const char* last = nullptr;
  int moves = 0;
  for (int i = 0; i < 1000000; ++i) {
    text.append('x');
    if (text.data() != last) ++moves;
    last = text.data();
  }
  EXPECT_EQ(1000000u, text.length());
  EXPECT_LT(moves, 30);
}

TEST(RWCString, AddsUpInAllCombinations) {
  const RWCString a("a");
  const RWCString b("b");
  EXPECT_STREQ("ab", (a + b).data());
  EXPECT_STREQ("ax", (a + "x").data());
  EXPECT_STREQ("xa", ("x" + a).data());
  EXPECT_STREQ("ac", (a + 'c').data());
  EXPECT_STREQ("ca", ('c' + a).data());
  EXPECT_STREQ("ab\\x-ba", (a + b + '\\' + "x" + '-' + (b + a)).data());
  EXPECT_STREQ("a", (a + static_cast<const char*>(nullptr)).data());
  EXPECT_STREQ("a", (static_cast<const char*>(nullptr) + a).data());
  EXPECT_STREQ("a", a.data());
  RWCString twice("t");
  EXPECT_STREQ("tt", (std::move(twice) + twice).data());
}

struct ReplaceCase {
  const char* text;
  std::size_t pos, length;
  const char* by;
  const char* result;
};

const ReplaceCase kReplaceCases[] = {
    {"hello", 1, 3, "EY", "hEYo"},  {"hello", 0, 5, "", ""},       {"hello", 0, 0, ">>", ">>hello"},
    {"hello", 5, 0, "!", "hello!"}, {"hello", 2, 100, "y", "hey"}, {"hello", 1, RW_NPOS, "i", "hi"},
    {"hello", 2, 2, "LL", "heLLo"}, {"", 0, 0, "new", "new"},      {"same", 1, 0, "", "same"},
    {"null", 1, 2, nullptr, "nl"},
};

TEST(RWCString, Replaces) {
  for (const ReplaceCase& c : kReplaceCases) {
    SCOPED_TRACE(testing::Message() << c.text << " " << c.pos << " " << c.length);
    RWCString text(c.text);
    const RWCString shared(text);
    EXPECT_STREQ(c.result, text.replace(c.pos, c.length, c.by).data());
    EXPECT_STREQ(c.text, shared.data());
    RWCString again(c.text);
    EXPECT_STREQ(c.result, again.replace(c.pos, c.length, RWCString(c.by)).data());
    EXPECT_EQ(std::string(c.result).size(), again.length());
  }
  RWCString text("abc");
  EXPECT_THROW(text.replace(4, 0, "x"), RWBoundsErr);
  EXPECT_STREQ("abc", text.data());
  EXPECT_EQ("a\0bc"s, Text(text.replace(1, 0, "\0", 1)));
}

TEST(RWCString, ReplacesByPiecesOfItself) {
  const std::string model = "0123456789";
  for (std::size_t pos = 0; pos <= 10; ++pos) {
    for (std::size_t from = 0; from <= 10; ++from) {
      for (std::size_t length = 0; from + length <= 10; ++length) {
        for (const std::size_t removed : {std::size_t{0}, std::size_t{1}, std::size_t{5}}) {
          RWCString text(model.c_str());
          text.append("spare room for what is to come");
          text.resize(10);
          text.replace(pos, removed, text.data() + from, length);
          std::string expected = model;
          expected.replace(pos, removed, model, from, length);
          ASSERT_EQ(expected, Text(text)) << pos << " " << from << " " << length << " " << removed;
        }
      }
    }
  }
}

TEST(RWCString, ResizeCutsOrFillsWithBlanks) {
  RWCString text("hello");
  const RWCString shared(text);
  text.resize(2);
  EXPECT_STREQ("he", text.data());
  text.resize(4);
  EXPECT_STREQ("he  ", text.data());
  text.resize(4);
  EXPECT_STREQ("he  ", text.data());
  text.resize(0);
  EXPECT_TRUE(text.isNull());
  EXPECT_STREQ("hello", shared.data());
  text.resize(1);
  EXPECT_STREQ(" ", text.data());
  text.clear();
  EXPECT_TRUE(text.isNull());
  text.clear();
  EXPECT_TRUE(text.isNull());
}

TEST(RWCString, RefusesLengthsBeyondTheLimitAndStaysAsItWas) {
  if (sizeof(std::size_t) < 8) GTEST_SKIP() << "such lengths do not exist here";
  const std::size_t too_long = std::size_t{1} << 32;
  RWCString text("abc");
  EXPECT_THROW(text.append('x', too_long), std::length_error);
  EXPECT_THROW(text.append('x', too_long - 17 - 2), std::length_error);
  EXPECT_THROW(text.append('x', static_cast<std::size_t>(-1)), std::length_error);
  EXPECT_THROW(text.resize(too_long), std::length_error);
  EXPECT_THROW(text.append("x", too_long), std::length_error);
  EXPECT_THROW(RWCString("x", too_long - 16), std::length_error);
  EXPECT_THROW(text.replace(0, 3, "x", too_long), std::length_error);
  EXPECT_STREQ("abc", text.data());
}

struct StripCase {
  const char* text;
  const char* leading;
  const char* trailing;
  const char* both;
};

const StripCase kStripCases[] = {
    {"", "", "", ""},
    {"x", "x", "x", "x"},
    {"  x ", "x ", "  x", "x"},
    {"   ", "", "", ""},
    // Only blanks, and only at the ends.
    {"\tx y ", "\tx y ", "\tx y", "\tx y"},
};

TEST(RWCString, Strips) {
  for (const StripCase& c : kStripCases) {
    SCOPED_TRACE(c.text);
    const RWCString text(c.text);
    EXPECT_STREQ(c.leading, text.strip(RWCString::leading).data());
    EXPECT_STREQ(c.trailing, text.strip(RWCString::trailing).data());
    EXPECT_STREQ(c.trailing, text.strip().data());
    EXPECT_STREQ(c.both, text.strip(RWCString::both).data());
    EXPECT_STREQ(c.text, text.data());
  }
  EXPECT_STREQ("a.b", RWCString("..a.b..").strip(RWCString::both, '.').data());
  const RWCString clean("clean");
  EXPECT_EQ(clean.data(), clean.strip(RWCString::both).data()) << "nothing to copy";
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
  EXPECT_EQ(1u, Make("a\0b"s).index('\0'));
  EXPECT_EQ(2u, Make("\xFF\x01\xFE"s).index('\xFE'));
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
    const RWCString a = Make(c.a);
    const RWCString b = Make(c.b);
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
  const RWCString text = Make("a\0b"s);
  EXPECT_FALSE(text == "a");
  EXPECT_TRUE(text != "a");
  EXPECT_TRUE("a" < text);
  EXPECT_TRUE(RWCString() == static_cast<const char*>(nullptr));
}

// Of every length, so that every way of cutting a text into words is taken; one byte differs.
TEST(RWCString, EqualsTheBytesThatItHasAndNoOthers) {
  std::string bytes;
  for (int length = 0; length <= 70; ++length) {
    const RWCString text = Make(bytes);
    EXPECT_TRUE(text.equals(bytes.data(), bytes.size()));
    EXPECT_TRUE(text == Make(bytes));
    for (std::size_t at = 0; at < bytes.size(); ++at) {
      std::string other = bytes;
      other[at] = static_cast<char>(other[at] ^ 0x80);
      EXPECT_FALSE(text.equals(other.data(), other.size())) << length << " " << at;
      EXPECT_FALSE(text == Make(other)) << length << " " << at;
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
      EXPECT_EQ(RW_NPOS, Make(bytes).last('\\'));
      for (std::size_t at = 0; at < length; ++at) {
        bytes[at] = '\\';
        EXPECT_EQ(at, Make(bytes).last('\\')) << length;
      }
    }
  }
}

// ------------------------------------------------------------------- Hash

TEST(RWCString, EqualContentsHaveEqualHashes) {
  std::string bytes;
  for (int length = 0; length < 300; ++length) {
    const RWCString text = Make(bytes);
    EXPECT_EQ(text.hash(), text.hash());
    EXPECT_EQ(text.hash(), Make(bytes).hash());
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

// --------------------------------------------------------------- Permanent

TEST(RWCString, PermanentStringsHaveTheSameContents) {
  for (const std::string& bytes :
       {"x"s, "a\0b"s, std::string(100, 'y'), std::string(9000, 'z'), std::string(200000, 'w')}) {
    const RWCString text = Make(bytes);
    const RWCString permanent = RWCString::Permanent(text);
    EXPECT_EQ(text, permanent);
    EXPECT_NE(text.data(), permanent.data());
    EXPECT_EQ('\0', permanent.data()[permanent.length()]);
    EXPECT_EQ(text.hash(), permanent.hash());
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(permanent.data()) % 4);
    EXPECT_EQ(permanent.data(), RWCString::Permanent(permanent).data());
  }
  EXPECT_TRUE(RWCString::Permanent(RWCString()).isNull());
}

TEST(RWCString, PermanentObjectsStandBesideTheirBytes) {
  for (const std::string& bytes :
       {"x"s, "a\0b"s, std::string(100, 'y'), std::string(9000, 'z'), std::string(200000, 'w')}) {
    const RWCString text = Make(bytes);
    const RWCString* const object = RWCString::PermanentObject(text);
    EXPECT_EQ(bytes, Text(*object));
    EXPECT_EQ('\0', object->data()[object->length()]);
    EXPECT_EQ(text.hash(), object->hash());
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(object) % alignof(RWCString));
    EXPECT_LT(object->data() - reinterpret_cast<const char*>(object), 32);

    // A text that is permanent already is not copied again; each object is another.
    const RWCString* const again = RWCString::PermanentObject(*object);
    EXPECT_NE(object, again);
    EXPECT_EQ(object->data(), again->data());
    RWCString changed(*object);
    changed.append("!");
    EXPECT_EQ(bytes, Text(*object));
  }
  EXPECT_TRUE(RWCString::PermanentObject(RWCString())->isNull());
  RWCString emptied("text");
  emptied.resize(0);
  EXPECT_TRUE(RWCString::PermanentObject(emptied)->isNull());
}

TEST(RWCString, DroppedPermanentObjectsMakeRoomForTheNext) {
  for (const std::string& bytes : {"x"s, ""s, "a\0b"s, std::string(1000, 'y')}) {
    const RWCString text = Make(bytes);
    const RWCString* const kept = RWCString::PermanentObject(Make("kept"));
    const RWCString* const dropped = RWCString::PermanentObject(text);
    RWCString::DropPermanentObject(dropped);
    EXPECT_EQ(dropped, RWCString::PermanentObject(text));
    // Another has been made since: the memory is lost, and nothing else happens.
    RWCString::DropPermanentObject(kept);
    EXPECT_NE(kept, RWCString::PermanentObject(Make("next")));
    EXPECT_EQ(bytes, Text(*dropped));
    EXPECT_EQ("kept", Text(*kept));
  }
  // A text that is permanent already stays when one of its objects goes.
  const RWCString permanent = RWCString::Permanent("permanent already");
  RWCString::DropPermanentObject(RWCString::PermanentObject(permanent));
  RWCString::PermanentObject(Make("in its place"));
  EXPECT_STREQ("permanent already", permanent.data());
  // Large ones have memory of their own, whatever their size; LeakSanitizer and
  // AddressSanitizer look after it.
  for (const std::size_t length : {65506u, 65507u, 65508u, 200000u}) {
    const RWCString large = Make(std::string(length, 'z'));
    const RWCString* const first = RWCString::PermanentObject(large);
    RWCString::DropPermanentObject(RWCString::PermanentObject(large));
    EXPECT_EQ(large, *first);
    RWCString::DropPermanentObject(first);
    EXPECT_EQ(large, *RWCString::PermanentObject(large));
  }
}

TEST(RWCString, PermanentTextOutlivesAllItsStrings) {
  const char* bytes = nullptr;
  {
    const RWCString permanent = RWCString::Permanent("stays where it is");
    bytes = permanent.data();
    const RWCString copy(permanent);
    EXPECT_EQ(bytes, copy.data());
  }
  EXPECT_STREQ("stays where it is", bytes);
}

TEST(RWCString, ChangingACopyOfAPermanentStringUnsharesIt) {
  const RWCString permanent = RWCString::Permanent("constant");
  RWCString appended(permanent), written(permanent), cut(permanent), replaced(permanent);
  appended.append("!");
  written[0] = 'K';
  cut.resize(5);
  replaced.replace(0, 3, "in");
  EXPECT_STREQ("constant", permanent.data());
  EXPECT_STREQ("constant!", appended.data());
  EXPECT_STREQ("Konstant", written.data());
  EXPECT_STREQ("const", cut.data());
  EXPECT_STREQ("instant", replaced.data());
}

TEST(RWCString, PermanentStringsDoNotOverlap) {
  std::vector<RWCString> texts;
  for (int i = 0; i < 5000; ++i) {
    texts.push_back(RWCString::Permanent(
        RWCString("text ").append(std::to_string(i).c_str()).append('.', std::size_t(i % 97))));
  }
  for (int i = 0; i < 5000; ++i) {
    const std::string expected =
        "text " + std::to_string(i) + std::string(static_cast<std::size_t>(i % 97), '.');
    ASSERT_EQ(expected, Text(texts[static_cast<std::size_t>(i)]));
  }
}

// -------------------------------------------------------------- Its memory

TEST(RWCString, HoldsTextsOfEverySize) {
  for (int round = 0; round < 3; ++round) {
    std::vector<RWCString> texts;
    for (std::size_t length = 0; length <= 300; ++length) {
      texts.push_back(Make(std::string(length, static_cast<char>('a' + length % 26))));
    }
    for (std::size_t length = 0; length <= 300; ++length) {
      RWCString& text = texts[length];
      ASSERT_EQ(std::string(length, static_cast<char>('a' + length % 26)), Text(text));
      // A change finds room for exactly what it needs.
      text.append('!', length % 40);
      ASSERT_EQ(length + length % 40, text.length());
      ASSERT_EQ('\0', text.data()[text.length()]);
    }
    for (std::size_t length = 0; length <= 300; ++length) {
      ASSERT_EQ(
          std::string(length, static_cast<char>('a' + length % 26)) + std::string(length % 40, '!'),
          Text(texts[length]));
    }
  }
}

// Under AddressSanitizer strings have no pools.
std::vector<Zel_PoolAllocator*> PoolsOfStrings() {
  std::vector<Zel_PoolAllocator*> pools;
  Zel_PoolAllocator::VisitAll([&pools](Zel_PoolAllocator& pool) {
    if (pool.GetName() == "RWCString"s) pools.push_back(&pool);
  });
  return pools;
}

std::uint64_t PooledStrings() {
  std::uint64_t sum = 0;
  for (Zel_PoolAllocator* const pool : PoolsOfStrings()) sum += pool->GetStats().elements_in_use;
  return sum;
}

TEST(RWCString, ShortTextsStandInPools) {
  const std::vector<Zel_PoolAllocator*> pools = PoolsOfStrings();
  const std::uint64_t before = PooledStrings();
  const std::size_t longest = pools.empty() ? 0 : pools.back()->GetElementSize() - 17;
  for (std::size_t length = 1; length <= 300; ++length) {
    const RWCString text = Make(std::string(length, 'x'));
    const RWCString shared(text);
    EXPECT_EQ(before + (length <= longest ? 1 : 0), PooledStrings()) << "length " << length;
  }
  EXPECT_EQ(before, PooledStrings());
}

TEST(RWCString, GoesToTheHeapWhenAPoolYieldsNothing) {
  for (std::size_t length = 1; length <= 130; ++length) {
    const std::uint64_t before = PooledStrings();
    for (Zel_PoolAllocator* const pool : PoolsOfStrings()) pool->FailNextAllocations(3);
    RWCString first = Make(std::string(length, 'x'));
    const RWCString second = Make(std::string(length, 'y'));
    EXPECT_EQ(before, PooledStrings());
    first.append('!', 1);
    for (Zel_PoolAllocator* const pool : PoolsOfStrings()) pool->FailNextAllocations(0);
    EXPECT_EQ(std::string(length, 'x') + "!", Text(first));
    EXPECT_EQ(std::string(length, 'y'), Text(second));
  }
}

TEST(RWCString, MayEndOnAnotherThreadThanItBegan) {
  const std::uint64_t before = PooledStrings();
  std::vector<RWCString> texts;
  std::thread([&texts] {
    for (std::size_t i = 0; i < 20000; ++i) texts.push_back(Make(std::string(1 + i % 150, 'a')));
  }).join();
  for (std::size_t i = 0; i < texts.size(); ++i) {
    ASSERT_EQ(std::string(1 + i % 150, 'a'), Text(texts[i]));
  }
  std::thread([&texts] {
    for (std::size_t i = 0; i < texts.size(); i += 2) texts[i] = RWCString();
  }).join();
  texts.clear();
  EXPECT_EQ(before, PooledStrings());
}

TEST(RWCString, MayEndWithItsThread) {
#if defined(__MINGW32__)
  GTEST_SKIP() << "mingw frees thread_local objects before it destroys them";
#endif
  const std::uint64_t before = PooledStrings();
  for (int i = 0; i < 3; ++i) {
    std::thread([] {
      thread_local RWCString kept;
      kept = Make(std::string(40, 'k'));
      thread_local std::vector<RWCString> many(100, kept);
      for (std::size_t k = 0; k < many.size(); ++k) many[k].append('!', k);
    }).join();
  }
  EXPECT_EQ(before, PooledStrings());
}

// -------------------------------------------------------------- The rest

TEST(RWCString, IsWrittenToStreamsByteByByte) {
  std::ostringstream out;
  out << RWCString("text ") << Make("a\0b"s);
  EXPECT_EQ("text a\0b"s, out.str());
}

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

TEST(RWCString, ThreadsShareARepresentation) {
  RWCString counted("a text that several threads hold");
  const RWCString permanent = RWCString::Permanent("a text that stays");
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([mine = counted, permanent, &wrong] {
      for (int i = 0; i < 3000; ++i) {
        RWCString copy(mine);
        const RWCString other(permanent);
        if (copy.hash() != mine.hash() || other != "a text that stays") ++wrong;
        copy.append("!");
        if (copy.length() != mine.length() + 1) ++wrong;
        RWCString written(mine);
        written[0] = 'A';
        if (mine.data()[0] != 'a') ++wrong;
      }
    });
  }
  counted = "something else";
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, wrong);
}

TEST(RWCString, ThreadsMakePermanentStrings) {
  std::vector<std::thread> threads;
  std::vector<std::vector<RWCString>> made(4);
  for (std::size_t t = 0; t < 4; ++t) {
    threads.emplace_back([&mine = made[t], t] {
      for (int i = 0; i < 2000; ++i) {
        mine.push_back(RWCString::Permanent(std::to_string(t * 10000 + std::size_t(i)).c_str()));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (std::size_t t = 0; t < 4; ++t) {
    for (std::size_t i = 0; i < 2000; ++i) {
      ASSERT_EQ(std::to_string(t * 10000 + i), Text(made[t][i]));
    }
  }
}

// Static strings may be made, copied and destroyed in any order of files.
const RWCString g_early_text = RWCString("early ") + "text";
const RWCString g_early_permanent = RWCString::Permanent(g_early_text);

TEST(RWCString, WorksWhileStaticObjectsAreMade) {
  EXPECT_STREQ("early text", g_early_text.data());
  EXPECT_EQ(g_early_text, g_early_permanent);
}

}  // namespace
