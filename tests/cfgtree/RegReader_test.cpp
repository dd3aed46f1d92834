// Registry exports become trees, or one line that says where they are broken.

#include "readers/RegReader.h"

#include <gtest/gtest.h>

#include <string>

#include "ReaderText.h"

using namespace cfgtree;
using namespace std::string_literals;
using namespace std::string_view_literals;

namespace {

constexpr std::string_view kHeader = "Windows Registry Editor Version 5.00\r\n";

std::string ReadReg(std::string_view body) {
  return Read(Format::kReg, std::string(kHeader) + std::string(body));
}

const ReadCase kTrees[] = {
    {"", "t/\n"},
    // Keys nest; those on the way to a key are there without a section of their own.
    {"[A\\B\\C]\n", "t/\n  A:implied/\n    B:implied/\n      C/\n"},
    {"[A]\n[A\\B]\n[A\\C]\n", "t/\n  A/\n    B/\n    C/\n"},
    {"[A\\B]\n[A]\n", "t/\n  A/\n    B/\n"},
    // A section that comes again goes on with the same node.
    {"[A]\n\"x\"=\"1\"\n[B]\n[A]\n\"y\"=\"2\"\n", "t/\n  A/\n    x = 1\n    y = 2\n  B/\n"},
    // Values in order, repeated ones kept; @ is the default value.
    {"[A]\n@=\"d\"\n\"x\"=\"1\"\n\"x\"=\"2\"\n", "t/\n  A/\n    @ = d\n    x = 1\n    x = 2\n"},
    // Each type keeps its notation, in one form.
    {"[A]\n\"d\"=dword:1F\n\"e\"=DWORD:0000001f\n",
     "t/\n  A/\n    d = dword:0000001f\n    e = dword:0000001f\n"},
    {"[A]\n\"h\"=hex:DE,ad,7\n\"i\"=hex:\n\"j\"=hex(2):25,00\n\"k\"=hex(0B):01\n\"l\"=hex(0):\n",
     "t/\n  A/\n    h = hex:de,ad,07\n    i = hex:\n    j = hex(2):25,00\n    k = hex(b):01\n"
     "    l = hex(0):\n"},
    {"[A]\r\n\"h\"=hex:01,\\\r\n  02,\\\r\n  03\r\n\"i\"=\"x\"\r\n",
     "t/\n  A/\n    h = hex:01,02,03\n    i = x\n"},
    // Text: quotes and backslashes are taken out of their escapes; lines may break in it.
    {"[A]\n\"x\"=\"a\\\\b \\\"c\\\"\"\n\"y\"=\"one\r\ntwo\"\n\"z\"=\"\"\n",
     "t/\n  A/\n    x = a\\b \"c\"\n    y = one\r\ntwo\n    z = \n"},
    // Text that looks like another type's notation is kept in quotes.
    {"[A]\n\"a\"=\"dword:00000001\"\n\"b\"=\"hex(2):00\"\n\"c\"=\"-\"\n\"d\"=\"\\\"q\"\n"
     "\"e\"=\"hexen\"\n\"f\"=\"[-]\"\n",
     "t/\n  A/\n    a = \"dword:00000001\"\n    b = \"hex(2):00\"\n    c = \"-\"\n"
     "    d = \"\"q\"\n    e = hexen\n    f = \"[-]\"\n"},
    // Deletions are leaves.
    {"[A]\n\"x\"=-\n@=-\n[-A\\B]\n[-C]\n",
     "t/\n  A/\n    x = -\n    @ = -\n    B = [-]\n  C = [-]\n"},
    // A value of a sub-key's name does not stand in its way.
    {"[A]\n\"B\"=\"v\"\n[A\\B]\n\"x\"=\"1\"\n[A\\B\\C]\n[A\\B]\n\"y\"=\"2\"\n",
     "t/\n  A/\n    B = v\n    B/\n      x = 1\n      C/\n      y = 2\n"},
    {"[-A]\n[A]\n\"x\"=\"1\"\n", "t/\n  A = [-]\n  A/\n    x = 1\n"},
    // Names that no path could reach, or that mean something else, are escaped.
    {"[A]\n\"a\\\\b\"=\"1\"\n\"@\"=\"2\"\n\"\"=\"3\"\n\"%40\"=\"4\"\n",
     "t/\n  A/\n    a%5Cb = 1\n    %40 = 2\n    % = 3\n    %2540 = 4\n"},
    // Names are kept exactly, in either case, with blanks and brackets.
    {"[a]\n[A]\n[ b ]\n[c]d;e]\n", "t/\n  a/\n  A/\n   b /\n  c]d;e/\n"},
    // Comments and empty lines; blanks where they do no harm.
    {"; c\n\n[A] ; d\n  \"x\" = \"1\" ; e\n@ = dword: 2\n ; f\n",
     "t/\n  A/\n    x = 1\n    @ = dword:00000002\n"},
};

TEST(RegReader, MapsFilesToTrees) {
  for (const ReadCase& c : kTrees) {
    SCOPED_TRACE(c.bytes);
    EXPECT_EQ(ReadReg(c.bytes), c.expected);
  }
}

TEST(RegReader, ReadsEveryEncodingOfAnExport) {
  const std::string tree = "t/\n  A/\n    x = 1\n";
  const std::string body = "\r\n[A]\r\n\"x\"=\"1\"\r\n";
  const std::string version5 = "Windows Registry Editor Version 5.00\r\n" + body;
  EXPECT_EQ(Read(Format::kReg, Utf16(version5)), tree);
  EXPECT_EQ(Read(Format::kReg, Utf16(version5, true)), tree);
  EXPECT_EQ(Read(Format::kReg, version5), tree);
  EXPECT_EQ(Read(Format::kReg, "\xEF\xBB\xBF" + version5), tree);
  EXPECT_EQ(Read(Format::kReg, "REGEDIT4\r\n" + body), tree);
}

TEST(RegReader, JoinsSurrogatePairs) {
  std::string bytes = Utf16(std::string(kHeader) + "[A]\r\n@=\"");
  bytes += "\x3D\xD8\x00\xDE"sv;
  bytes += "\"\0"sv;
  EXPECT_EQ(Read(Format::kReg, bytes), "t/\n  A/\n    @ = \xF0\x9F\x98\x80\n");
}

const ReadCase kBroken[] = {
    {"\"x\"=\"1\"\n", "f:2:1: a value that stands below no [key]"},
    {"[-A]\n\"x\"=\"1\"\n", "f:3:1: a value that stands below no [key]"},
    {"[A\n", "f:2:1: a key without its closing ]"},
    {"[A] B\n", "f:2:5: text behind the ] of a key"},
    {"[]\n", "f:2:2: an empty name in the path of a key"},
    {"[A\\\\B]\n", "f:2:4: an empty name in the path of a key"},
    {"[A\\]\n", "f:2:4: an empty name in the path of a key"},
    {"[-]\n", "f:2:3: an empty name in the path of a key"},
    {"text\n", "f:2:1: not a [key], a \"name\"=, @= or a comment"},
    {"[A]\n\"x\n", "f:3:1: a text without its closing quote"},
    {"[A]\n\"x\" \"1\"\n", "f:3:5: = expected behind the name of a value"},
    {"[A]\n@\n", "f:3:2: = expected behind the name of a value"},
    {"[A]\n\"x\"=\n", "f:3:5: a value is \"text\", dword:, hex:, hex(n): or -"},
    {"[A]\n\"x\"=1\n", "f:3:5: a value is \"text\", dword:, hex:, hex(n): or -"},
    {"[A]\n\"x\"=\"1\" 2\n", "f:3:9: text behind a value"},
    {"[A]\n\"x\"=-1\n", "f:3:6: text behind a value"},
    {"[A]\n\"x\"=\"a\\nb\"\n", "f:3:7: only \\\\ and \\\" may stand in a text"},
    {"[A]\n\"x\"=dword:\n", "f:3:11: a dword has 1 to 8 hex digits"},
    {"[A]\n\"x\"=dword:123456789\n", "f:3:11: a dword has 1 to 8 hex digits"},
    {"[A]\n\"x\"=dword:12g\n", "f:3:13: text behind a value"},
    {"[A]\n\"x\"=hex\n", "f:3:8: a : is missing behind hex"},
    {"[A]\n\"x\"=hex(g):\n", "f:3:5: hex(n): has 1 to 8 hex digits for n"},
    {"[A]\n\"x\"=hex:01,\n", "f:3:12: a byte of 1 or 2 hex digits expected"},
    {"[A]\n\"x\"=hex:012\n", "f:3:9: a byte of 1 or 2 hex digits expected"},
    {"[A]\n\"x\"=hex:01 02\n", "f:3:12: text behind a value"},
    {"[A]\n\"x\"=hex:01,\\",
     "f:3:12: a \\ inside bytes must end its line, and another line must follow"},
    {"[A]\n@=\"\xE9\"\n", "f:3:4: byte E9 is not UTF-8"},
};

TEST(RegReader, NamesThePlaceOfAnError) {
  for (const ReadCase& c : kBroken) {
    SCOPED_TRACE(c.bytes);
    EXPECT_EQ(ReadReg(c.bytes), "error: " + std::string(c.expected));
  }
}

TEST(RegReader, InsistsOnItsFirstLine) {
  const std::string expected =
      "error: f:1:1: not a registry export: its first line is neither \"Windows Registry Editor "
      "Version 5.00\" nor \"REGEDIT4\"";
  for (const std::string_view bytes :
       {""sv, "[A]\n"sv, "REGEDIT5\n"sv, "Windows Registry Editor Version 4.00\n"sv}) {
    SCOPED_TRACE(bytes);
    EXPECT_EQ(Read(Format::kReg, bytes), expected);
  }
}

TEST(RegReader, NamesTheByteWhereUtf16Breaks) {
  const std::string start = Utf16(kHeader);
  const std::string at = "error: f: byte " + std::to_string(start.size()) + ": ";
  const std::string half = at + "half of a surrogate pair; this is not UTF-16";
  EXPECT_EQ(Read(Format::kReg, start + "\x00\xD8\x41\x00"s), half);
  EXPECT_EQ(Read(Format::kReg, start + "\x00\xDC\x41\x00"s), half);
  EXPECT_EQ(Read(Format::kReg, start + "\x00\xD8"s), half);
  EXPECT_EQ(Read(Format::kReg, start + "\x00\x00"s),
            at + "zero character; this is not a text file");
  EXPECT_EQ(Read(Format::kReg, start + "\x41"s), at + "UTF-16 text ends with half a character");
}

TEST(RegReader, FindsManySubKeysBehindValuesOfTheSameNames) {
  constexpr int kNames = 20000;
  std::string body = "[A]\n";
  for (int i = 0; i < kNames; ++i) body += "\"n" + std::to_string(i) + "\"=\"v\"\n";
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < kNames; ++i) body += "[A\\n" + std::to_string(i) + "]\n@=\"k\"\n";
  }
  Tree_NodePtr top = BuildTree({"f", std::string(kHeader) + body, nullptr}, Format::kReg, "t");
  // The top, A, a value and a sub-key per name, and two default values in each.
  EXPECT_EQ(top->GetNodeNum(), 2 + 4 * kNames);
}

}  // namespace
