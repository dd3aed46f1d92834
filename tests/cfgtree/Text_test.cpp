// The small helpers below the readers and commands: encodings, names, shown text, JSON.

#include "Text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "Encoding.h"
#include "Error.h"
#include "JsonWriter.h"
#include "Names.h"

using namespace cfgtree;
using namespace std::string_literals;
using namespace std::string_view_literals;

namespace {

struct NameCase {
  std::string_view name;
  std::string_view node_name;
};
const NameCase kNames[] = {
    {"plain", "plain"},
    {" blank ", " blank "},
    // What no path could reach.
    {"a\\b", "a%5Cb"},
    {"\\", "%5C"},
    {"a\0b"sv, "a%00b"},
    {"", "%"},
    // A percent sign is escaped only where it could be taken for an escape.
    {"%", "%25"},
    {"100%", "100%"},
    {"%PATH%", "%PATH%"},
    {"%5c", "%5c"},
    {"%5C", "%255C"},
    {"%00", "%2500"},
    {"%25", "%2525"},
    {"%40", "%2540"},
    {"%%5C", "%%255C"},
    {"%255C", "%25255C"},
    {"%\\", "%%5C"},
    {"%2\\", "%2%5C"},
    {"@", "@"},
};

TEST(Names, AreEscapedAndComeBack) {
  for (const NameCase& c : kNames) {
    SCOPED_TRACE(c.name);
    std::string storage;
    EXPECT_EQ(EncodeName(c.name, storage), c.node_name);
    EXPECT_EQ(DecodeName(c.node_name), c.name);
  }
}

TEST(Names, OfUpToFourSpecialCharactersAllComeBack) {
  constexpr std::string_view kCharacters("%25C04\\\0@", 9);
  std::string storage;
  for (int code = 0; code < 9 * 9 * 9 * 9 * 9; ++code) {
    std::string name;
    for (int rest = code; rest > 0; rest /= 9) name += kCharacters[static_cast<unsigned>(rest % 9)];
    const std::string node_name(EncodeName(name, storage));
    ASSERT_EQ(node_name.find_first_of("\\\0"sv), node_name.npos) << name;
    ASSERT_FALSE(node_name.empty());
    ASSERT_EQ(DecodeName(node_name), name) << node_name;
  }
}

struct Utf8Case {
  std::string_view text;
  std::size_t invalid;
};
const Utf8Case kUtf8[] = {
    {"", std::string_view::npos},
    {"0123456789abcdef", std::string_view::npos},
    {"\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
     std::string_view::npos},
    {"\xED\x9F\xBF\xEE\x80\x80", std::string_view::npos},
    {"a\x80", 1},         // a continuation alone
    {"abcdefgh\xC3", 8},  // cut off
    {"\xC3(", 0},         // no continuation
    {"\xC0\x80", 0},      // overlong
    {"\xC1\xBF", 0},
    {"\xE0\x9F\xBF", 0},
    {"\xF0\x8F\xBF\xBF", 0},
    {"\xED\xA0\x80", 0},  // surrogates
    {"\xED\xBF\xBF", 0},
    {"\xF4\x90\x80\x80", 0},  // beyond U+10FFFF
    {"\xF5\x80\x80\x80", 0},
    {"\xFF", 0},
};

TEST(Encoding, FindsTheFirstByteThatIsNoUtf8) {
  for (const Utf8Case& c : kUtf8) {
    SCOPED_TRACE(Printable(c.text));
    EXPECT_EQ(FindInvalidUtf8(c.text), c.invalid);
  }
}

TEST(Encoding, WritesEveryCharacterThatItReads) {
  for (char32_t code = 0; code <= 0x10FFFF; ++code) {
    if (code == 0xD800) code = 0xE000;
    std::string text;
    AppendUtf8(text, code);
    const Utf8Character character = DecodeUtf8(text, 0);
    ASSERT_EQ(character.code, code);
    ASSERT_EQ(character.length, text.size());
  }
}

struct ShownCase {
  std::string_view text;
  std::string_view shown;
};
const ShownCase kShown[] = {
    {"plain \\ text \xC3\xA9", "plain \\ text \xC3\xA9"},
    {"a\nb\r\tc", "a\\nb\\r\\tc"},
    // Nothing that drives a terminal passes.
    {"\x1b]0;x\x07", "\\x1b]0;x\\x07"},
    {"\x7f", "\\x7f"},
    {"\xC2\x9B"
     "31m",
     "\\x9b31m"},
    {"a\0b"sv, "a\\x00b"},
    // Nor anything that turns the order of what is shown, or hides.
    {"\xE2\x80\xAE", "\\u202e"},  // NOLINT(misc-misleading-bidirectional)
    {"\xE2\x81\xA6", "\\u2066"},  // NOLINT(misc-misleading-bidirectional)
    {"\xEF\xBB\xBF", "\\ufeff"},
    // Bytes that are no UTF-8.
    {"a\xE9z", "a\\xe9z"},
    {"\xE2\x82", "\\xe2\\x82"},
};

TEST(Text, IsShownHarmless) {
  for (const ShownCase& c : kShown) EXPECT_EQ(Printable(c.text), c.shown);
}

TEST(Text, IsMeasuredInColumns) {
  EXPECT_EQ(DisplayWidth("abc"), 3u);
  EXPECT_EQ(DisplayWidth("\xC3\xA9"), 1u);
  EXPECT_EQ(DisplayWidth("e\xCC\x81"), 1u);         // a combining accent
  EXPECT_EQ(DisplayWidth("\xE9\x9B\x85"), 2u);      // a wide character
  EXPECT_EQ(DisplayWidth("\xF0\x9F\x98\x80"), 2u);  // an emoji
}

TEST(Text, IsCutAtColumnsWithAnEllipsis) {
  EXPECT_EQ(CutToWidth("abcdef", 6), "abcdef");
  EXPECT_EQ(CutToWidth("abcdef", 5), "abcd…");
  EXPECT_EQ(CutToWidth("abcdef", 1), "…");
  EXPECT_EQ(CutToWidth("abcdef", 0), "");
  // A wide character that would not leave room for the ellipsis goes, too.
  EXPECT_EQ(CutToWidth("a\xE9\x9B\x85\xE9\x9B\x85", 4), "a\xE9\x9B\x85…");
  EXPECT_EQ(CutToWidth("a\xE9\x9B\x85\xE9\x9B\x85", 3), "a…");
}

TEST(Text, NumbersReadWell) {
  EXPECT_EQ(Grouped(0), "0");
  EXPECT_EQ(Grouped(999), "999");
  EXPECT_EQ(Grouped(1000), "1,000");
  EXPECT_EQ(Grouped(1234567), "1,234,567");
  EXPECT_EQ(Counted(1, "entry", "entries"), "1 entry");
  EXPECT_EQ(Counted(2000, "entry", "entries"), "2,000 entries");
  EXPECT_EQ(ByteSize(1023), "1,023 bytes");
  EXPECT_EQ(ByteSize(1536), "1.5 KiB");
  EXPECT_EQ(ByteSize(3u << 20), "3.0 MiB");
  EXPECT_EQ(ByteSize(std::uint64_t{5} << 40), "5120.0 GiB");
  EXPECT_EQ(Duration(0.0123), "12.3 ms");
  EXPECT_EQ(Duration(2), "2.0 s");
}

TEST(JsonWriter, SeparatesAndNests) {
  Output out;
  JsonWriter json(out);
  json.BeginObject();
  json.Field("a", "x");
  json.Key("b").BeginArray();
  json.Number(std::uint64_t{1});
  json.BeginObject();
  json.EndObject();
  json.String("y");
  json.EndArray();
  json.Field("c", std::uint64_t{2});
  json.EndObject();
  json.Finish();
  EXPECT_EQ(out.Text(), R"({"a":"x","b":[1,{},"y"],"c":2})"
                        "\n");
}

TEST(JsonWriter, EscapesTextsAndMendsBytesThatAreNoUtf8) {
  Output out;
  JsonWriter json(out);
  json.String("\"\\\n\r\t\x01\x7f/\xC3\xA9\xE9"s + "\0"s);
  EXPECT_EQ(out.Text(), "\"\\\"\\\\\\n\\r\\t\\u0001\\u007f/\xC3\xA9\\ufffd\\u0000\"");
}

TEST(Output, RefusesMoreThanAnyoneReads) {
  Output out(1000);
  out.Fill(999, ' ');
  out.RequireRoom(1);
  EXPECT_THROW(out.RequireRoom(2), Error);
  out << "x";
  EXPECT_THROW(out << "x", Error);
  EXPECT_THROW(out.Fill(1, ' '), Error);
}

TEST(Error, CountsLinesFromOneAndColumnsInCharacters) {
  const std::string_view text = "a\n\xC3\xA9\xC3\xA9x\n";
  EXPECT_STREQ(Error::AtText("f", text, 0, "w").what(), "f:1:1: w");
  EXPECT_STREQ(Error::AtText("f", text, 1, "w").what(), "f:1:2: w");
  EXPECT_STREQ(Error::AtText("f", text, 2, "w").what(), "f:2:1: w");
  EXPECT_STREQ(Error::AtText("f", text, 6, "w").what(), "f:2:3: w");
  EXPECT_STREQ(Error::AtText("f", text, 8, "w").what(), "f:3:1: w");
  EXPECT_STREQ(Error::AtByte("f", 7, "w").what(), "f: byte 7: w");
  EXPECT_STREQ(Error("f", "w").what(), "f: w");
}

}  // namespace
