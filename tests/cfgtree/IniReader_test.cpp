// INI files become trees, or one line that says where they are broken.

#include <gtest/gtest.h>

#include <string>

#include "ReaderText.h"

using namespace cfgtree;
using namespace std::string_view_literals;

namespace {

const ReadCase kTrees[] = {
    {"", "t/\n"},
    {"a=1\n[s]\nb=2", "t/\n  a = 1\n  s/\n    b = 2\n"},
    // Blanks and tabs around names and values go, those inside stay.
    {" a b \t=  c  d \t\n", "t/\n  a b = c  d\n"},
    {"[ s t ]\n", "t/\n  s t/\n"},
    // The value is the rest of the line.
    {"a = \"q ; r\" ; s # t\n", "t/\n  a = \"q ; r\" ; s # t\n"},
    {"a = b = c\n", "t/\n  a = b = c\n"},
    {"a = x \\\nb = y\n", "t/\n  a = x \\\n  b = y\n"},
    {"url:x = C:\\y\n", "t/\n  url:x = C:\\y\n"},
    {"empty =\n", "t/\n  empty = \n"},
    // Comments and empty lines go, wherever they stand.
    {"; c\n  # d\n\n\t\n[s] ; e\n#[x]\n", "t/\n  s/\n"},
    // Repeated sections and keys are kept, in order.
    {"[s]\na=1\na=2\n[r]\n[s]\na=3\n", "t/\n  s/\n    a = 1\n    a = 2\n  r/\n  s/\n    a = 3\n"},
    // A word alone is a key without a value.
    {"verbose\n[s]\nfast\n", "t/\n  verbose:bare = \n  s/\n    fast:bare = \n"},
    // Indented keys are keys.
    {"[s]\n\ta = 1\n    b = 2\n", "t/\n  s/\n    a = 1\n    b = 2\n"},
    // Section names may have brackets and anything else inside.
    {"[a]b]\n[c \"d\"]\n[]\n", "t/\n  a]b/\n  c \"d\"/\n  %/\n"},
    {"[a] ; see [b]\n", "t/\n  a/\n"},
    // Names that no path could reach are escaped.
    {"[net\\ports]\n%5C=1\nC:\\x=2\n", "t/\n  net%5Cports/\n    %255C = 1\n    C:%5Cx = 2\n"},
    // Either kind of line end; the last line needs none.
    {"a=1\r\n[s]\r\nb=2\r\n", "t/\n  a = 1\n  s/\n    b = 2\n"},
    {"\xEF\xBB\xBF[s]\n", "t/\n  s/\n"},
    {"n = \xC3\xA9\n", "t/\n  n = \xC3\xA9\n"},
};

TEST(IniReader, MapsFilesToTrees) {
  for (const ReadCase& c : kTrees) {
    SCOPED_TRACE(c.bytes);
    EXPECT_EQ(Read(Format::kIni, c.bytes), c.expected);
  }
}

TEST(IniReader, ReadsUtf16OfEitherOrder) {
  EXPECT_EQ(Read(Format::kIni, Utf16("[s]\r\na=1\r\n")), "t/\n  s/\n    a = 1\n");
  EXPECT_EQ(Read(Format::kIni, Utf16("[s]\r\na=1\r\n", true)), "t/\n  s/\n    a = 1\n");
}

const ReadCase kBroken[] = {
    {"a=1\n  [s\n", "f:2:3: a section name without its closing ]"},
    {"[s] x\n", "f:1:5: text behind the ] of a section name"},
    {"[s]x] y\n", "f:1:7: text behind the ] of a section name"},
    {"\n = 1\n", "f:2:2: a value without a name before its ="},
    {"[s]\nsome text\n", "f:2:1: not a [section], a name = value or a comment"},
    {"a =\n  more\n", "f:2:3: an indented line without a = (values end with their line)"},
    {"a = \xC3\xA9 \xE9\n", "f:1:7: byte E9 is not UTF-8"},
    {"a = 1\nb\0 = 2\n"sv, "f:2:2: zero byte; this is not a text file"},
    {"\xFF\xFE[\0s\0]"sv, "f: byte 6: UTF-16 text ends with half a character"},
    {"\xFF\xFE\0\xD8"sv, "f: byte 2: half of a surrogate pair; this is not UTF-16"},
    {"\xFF\xFE\0\0"sv, "f: byte 2: zero character; this is not a text file"},
};

TEST(IniReader, NamesThePlaceOfAnError) {
  for (const ReadCase& c : kBroken) {
    SCOPED_TRACE(c.bytes);
    EXPECT_EQ(Read(Format::kIni, c.bytes), "error: " + std::string(c.expected));
  }
}

}  // namespace
