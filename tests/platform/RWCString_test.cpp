// RWCString: how strings are made, read and changed.

#include "rw/RWCString.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "rw/RWBoundsErr.h"
#include "support/StringText.h"

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

TEST(RWCString, IsWrittenToStreamsByteByByte) {
  std::ostringstream out;
  out << RWCString("text ") << Bytes("a\0b"s);
  EXPECT_EQ("text a\0b"s, out.str());
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

}  // namespace
