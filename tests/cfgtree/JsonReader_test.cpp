// JSON becomes a tree, or one line that says where it is broken.

#include <gtest/gtest.h>

#include <string>

#include "ReaderText.h"

using namespace cfgtree;
using namespace std::string_view_literals;

namespace {

const ReadCase kTrees[] = {
    // Objects and arrays are inner nodes, scalars leaves; each keeps its kind.
    {R"({"a": "x", "b": {"c": 1}})", "t/\n  a = x\n  b/\n    c:number = 1\n"},
    {R"(["x", true, false, null])",
     "t:array/\n  0 = x\n  1:boolean = true\n  2:boolean = false\n  3:null = null\n"},
    {R"([[1, 2], {"0": 3}])",
     "t:array/\n  0:array/\n    0:number = 1\n    1:number = 2\n  1/\n    0:number = 3\n"},
    // Empty objects, arrays and texts stay apart.
    {R"({"o": {}, "a": [], "s": ""})", "t/\n  o/\n  a:array/\n  s = \n"},
    {"{}", "t/\n"},
    {"[]", "t:array/\n"},
    // A scalar alone makes the top a leaf.
    {"\"x\"", "t = x\n"},
    {" 12 ", "t:number = 12\n"},
    {"null", "t:null = null\n"},
    // Numbers keep their own text.
    {"[-0, 1.50, 1E+2, 123456789012345678901234567890, 0.1e-400]",
     "t:array/\n  0:number = -0\n  1:number = 1.50\n  2:number = 1E+2\n"
     "  3:number = 123456789012345678901234567890\n  4:number = 0.1e-400\n"},
    // No number is too big or too long.
    {"[1e999, -1E+99999999999, 0e400, 0.0e999]",
     "t:array/\n  0:number = 1e999\n  1:number = -1E+99999999999\n  2:number = 0e400\n"
     "  3:number = 0.0e999\n"},
    // What looks like a number in a text, or its end, is none.
    {R"({"1e5\\": "-2 \" 3", "4":5,"6" : 7})",
     "t/\n  1e5%5C = -2 \" 3\n  4:number = 5\n  6:number = 7\n"},
    // Order and repeated keys are kept.
    {R"({"b": 1, "a": 2, "b": 3})", "t/\n  b:number = 1\n  a:number = 2\n  b:number = 3\n"},
    // Escapes become UTF-8; pairs of surrogates one character.
    {R"(["\u00e9\ud83d\ude00\n\/"])", "t:array/\n  0 = \xC3\xA9\xF0\x9F\x98\x80\n/\n"},
    {R"(["\ud7ff"])", "t:array/\n  0 = \xED\x9F\xBF\n"},
    {"\xEF\xBB\xBF[1]", "t:array/\n  0:number = 1\n"},
    // Names that no path could reach are escaped, others are left alone.
    {R"({"a\\b": 1, "": 2, "c\u0000d": 3, "50%": 4, "%5C": 5})"sv,
     "t/\n  a%5Cb:number = 1\n  %:number = 2\n  c%00d:number = 3\n  50%:number = 4\n"
     "  %255C:number = 5\n"},
    // Blanks at the ends of names and values are kept.
    {R"({" a ": " x "})", "t/\n   a  =  x \n"},
    {R"({" ": 1})", "t/\n   :number = 1\n"},
    // A zero byte in a value is kept.
    {R"(["a\u0000b"])", "t:array/\n  0 = a\0b\n"sv},
};

TEST(JsonReader, MapsDocumentsToTrees) {
  for (const ReadCase& c : kTrees) {
    SCOPED_TRACE(c.bytes);
    EXPECT_EQ(Read(Format::kJson, c.bytes), c.expected);
  }
}

const ReadCase kBroken[] = {
    {"", "f:1:1: no JSON value; the document is empty"},
    {" \n ", "f:2:2: no JSON value; the document is empty"},
    {"[1,\n 2", "f:2:3: missing a comma or ']' after an array element (the document ends here)"},
    {"[1,]", "f:1:4: not a JSON value"},
    {"[1 2]", "f:1:4: missing a comma or ']' after an array element"},
    {"{\"a\" 1}", "f:1:6: missing a colon after a name of object member"},
    {"{\"a\": 1, }", "f:1:10: missing a name for object member"},
    {"{a: 1}", "f:1:2: missing a name for object member"},
    {"[1] x", "f:1:5: more text behind the end of the document"},
    {"[1]\n[2]", "f:2:1: more text behind the end of the document"},
    {"[", "f:1:2: the document ends where a value should stand"},
    {"tru", "f:1:4: the document ends where a value should stand"},
    {"nulL", "f:1:4: not a JSON value"},
    {"'x'", "f:1:1: not a JSON value"},
    {"[01]", "f:1:3: missing a comma or ']' after an array element"},
    {"[1.]", "f:1:4: miss fraction part in number"},
    {"[1e]", "f:1:4: miss exponent in number"},
    {"]", "f:1:1: not a JSON value"},
    {" \n}", "f:2:1: not a JSON value"},
    {",1", "f:1:1: not a JSON value"},
    {"[1e999.]", "f:1:2: not a JSON number"},
    {"[-]", "f:1:3: not a JSON value"},
    {"[1-2]", "f:1:3: missing a comma or ']' after an array element"},
    {"[1 , 2 3]", "f:1:8: missing a comma or ']' after an array element"},
    {"[\"a\"1]", "f:1:5: missing a comma or ']' after an array element"},
    {"[\"a\\", "f:1:4: invalid escape character in a string"},
    {"// no comments\n1", "f:1:1: not a JSON value"},
    {"[\"a\nb\"]", "f:1:4: line break or control character in a string"},
    {"[\"a", "f:1:4: the document ends inside a string"},
    {R"(["\x"])", "f:1:3: invalid escape character in a string"},
    {R"(["\u12"])", "f:1:3: incorrect hex digit after \\u escape in string"},
    // Half of a surrogate pair, first and second, in values and in names.
    {R"(["\ud800"])", "f:1:3: half of a surrogate pair in a string"},
    {R"(["\ud800x"])", "f:1:3: half of a surrogate pair in a string"},
    {R"(["\ud800\u0041"])", "f:1:3: half of a surrogate pair in a string"},
    {R"(["x", "a\udc00b"])", "f:1:9: half of a surrogate pair in a string"},
    {R"({"\udfff": 1})", "f:1:3: half of a surrogate pair in a string"},
    {R"(["\\udfff", "\ud83d\ude00\uDE00"])", "f:1:26: half of a surrogate pair in a string"},
    {R"({"\\\uDBFF": 1})", "f:1:5: half of a surrogate pair in a string"},
    // What is no UTF-8 text is refused before anything else.
    {"[\"\xC3\xA9\", \"\xE9\"]", "f:1:8: byte E9 is not UTF-8"},
    {"[1]\xC0\x80", "f:1:4: byte C0 is not UTF-8"},
    {"[\"\xED\xA0\x80\"]", "f:1:3: byte ED is not UTF-8"},
    {"[\"cut \xE2\x82", "f:1:7: byte E2 is not UTF-8"},
    {"[1]\0[2]"sv, "f:1:4: zero byte; this is not a text file"},
    {"[\"a\0\"]"sv, "f:1:4: zero byte; this is not a text file"},
    {"\xFF\xFE[\0]\0"sv, "f: byte 0: UTF-16 text; JSON must be UTF-8"},
    {"\xFE\xFF\0[\0]"sv, "f: byte 0: UTF-16 text; JSON must be UTF-8"},
};

TEST(JsonReader, NamesThePlaceOfAnError) {
  for (const ReadCase& c : kBroken) {
    SCOPED_TRACE(c.bytes);
    EXPECT_EQ(Read(Format::kJson, c.bytes), "error: " + std::string(c.expected));
  }
}

TEST(JsonReader, ReadsAMillionLevels) {
  constexpr int kLevels = 1000000;
  const std::string bytes = std::string(kLevels, '[') + std::string(kLevels, ']');
  Tree_NodePtr top = BuildTree({"f", bytes, nullptr}, Format::kJson, "t");
  EXPECT_EQ(top->GetNodeNum(), kLevels);
  std::size_t deepest = 0;
  Walk(top, [&](Tree_NodePtr&, std::size_t depth) { deepest = depth; });
  EXPECT_EQ(deepest, static_cast<std::size_t>(kLevels - 1));
}

TEST(JsonReader, RefusesAMillionOpenBracketsWithOneLine) {
  EXPECT_EQ(Read(Format::kJson, std::string(1000000, '[')),
            "error: f:1:1000001: the document ends where a value should stand");
}

TEST(JsonReader, FindsEachOfAHundredThousandKeys) {
  constexpr int kKeys = 100000;
  std::string bytes = "{";
  for (int i = 0; i < kKeys; ++i) {
    const std::string number = std::to_string(i);
    for (const char* const part :
         {i > 0 ? ",\"k" : "\"k", number.c_str(), "\":\"v", number.c_str(), "\""}) {
      bytes += part;
    }
  }
  bytes += '}';
  Tree_NodePtr top = BuildTree({"f", bytes, nullptr}, Format::kJson, "t");
  ASSERT_EQ(top->GetChildCount(), kKeys);
  for (int i = 0; i < kKeys; i += 997) {
    RWCString path = ToRWCString("k" + std::to_string(i));
    EXPECT_EQ(View(top->GetValue(path, top)), "v" + std::to_string(i));
  }
}

}  // namespace
