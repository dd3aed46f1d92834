// XML becomes a tree, or one line that says where it is broken.

#include <gtest/gtest.h>

#include <string>

#include "ReaderText.h"

using namespace cfgtree;
using namespace std::string_view_literals;

namespace {

const ReadCase kTrees[] = {
    // An element with neither attributes nor child elements is a leaf with its text.
    {"<a>x</a>", "t/\n  a = x\n"},
    {"<a/>", "t/\n  a = \n"},
    {"<a></a>", "t/\n  a = \n"},
    {"<a> x </a>", "t/\n  a =  x \n"},
    {"<a>  </a>", "t/\n  a =   \n"},
    // Attributes come first, text beside them is #text.
    {"<a k='1' j='2'/>", "t/\n  a/\n    @k = 1\n    @j = 2\n"},
    {"<a k='1'>x</a>", "t/\n  a/\n    @k = 1\n    #text = x\n"},
    {"<a k='1'>  </a>", "t/\n  a/\n    @k = 1\n"},
    {"<a k=''/>", "t/\n  a/\n    @k = \n"},
    // Child elements in order, repeated names kept, white space between them dropped.
    {"<a>\n <b>1</b>\n <c/>\n <b>2</b>\n</a>", "t/\n  a/\n    b = 1\n    c = \n    b = 2\n"},
    {"<a><b><c>x</c></b></a>", "t/\n  a/\n    b/\n      c = x\n"},
    // Mixed content: every run of text stands at its place, blanks included.
    {"<p>see <b>here</b> first <i/></p>",
     "t/\n  p/\n    #text = see \n    b = here\n    #text =  first \n    i = \n"},
    // Comments and instructions go and do not end a run; CDATA is text.
    {"<a>x<!-- no -->y<?pi z?>z</a>", "t/\n  a = xyz\n"},
    {"<a><![CDATA[<&>]]> ]</a>", "t/\n  a = <&> ]\n"},
    {"<!-- before --><a/><!-- behind -->\n", "t/\n  a = \n"},
    // References, and entities of the document's own.
    {"<a k='&lt;&#233;'>&amp;&#x20AC;</a>",
     "t/\n  a/\n    @k = <\xC3\xA9\n    #text = &\xE2\x82\xAC\n"},
    {"<!DOCTYPE a [<!ENTITY e 'v<b>w</b>'>]><a>&e;!</a>",
     "t/\n  a/\n    #text = v\n    b = w\n    #text = !\n"},
    {"<!DOCTYPE a [<!ATTLIST a k CDATA 'dflt'>]><a/>", "t/\n  a/\n    @k = dflt\n"},
    {"<!DOCTYPE a SYSTEM 'x' [<!ENTITY e 'v'><!ENTITY f '&e;&amp;&#65;'><!ENTITY g '&no;'>"
     "<!ATTLIST a k CDATA '[&e;>'><!-- &no; -->]><a j='&f;'/>",
     "t/\n  a/\n    @j = v&A\n    @k = [v>\n"},
    // A DTD elsewhere is left unread.
    {"<!DOCTYPE a SYSTEM 'http://127.0.0.1/x.dtd'><a>x</a>", "t/\n  a = x\n"},
    // Names as written, prefixes included.
    {"<n:a xmlns:n='u' n:k='1'/>", "t/\n  n:a/\n    @xmlns:n = u\n    @n:k = 1\n"},
    // The declared encoding counts.
    {"<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9</a>", "t/\n  a = \xC3\xA9\n"},
    {"\xEF\xBB\xBF<a/>", "t/\n  a = \n"},
};

TEST(XmlReader, MapsDocumentsToTrees) {
  for (const ReadCase& c : kTrees) {
    SCOPED_TRACE(c.bytes);
    EXPECT_EQ(Read(Format::kXml, c.bytes), c.expected);
  }
}

TEST(XmlReader, ReadsUtf16OfEitherOrder) {
  EXPECT_EQ(Read(Format::kXml, Utf16("<a>x</a>")), "t/\n  a = x\n");
  EXPECT_EQ(Read(Format::kXml, Utf16("<a>x</a>", true)), "t/\n  a = x\n");
}

const ReadCase kBroken[] = {
    {"", "f:1:1: the document is empty"},
    {" \n", "f:2:1: the document is empty"},
    {"<a>", "f:1:4: the document ends before its first element is closed"},
    {"<a><b></a>", "f:1:9: mismatched tag"},
    {"<a>\n  <b x=1/>\n</a>", "f:2:8: not well-formed"},
    {"<a k='1' k='2'/>", "f:1:10: duplicate attribute"},
    {"<a/><b/>", "f:1:5: more text behind the end of the document"},
    {"<a/>x", "f:1:5: more text behind the end of the document"},
    {"x", "f:1:1: not XML; markup was expected here"},
    {"<a>1 & 2</a>", "f:1:7: an & that begins no entity (write &amp;)"},
    {"<a>&e;</a>", "f:1:4: undefined entity"},
    {"<a>\xE9</a>", "f:1:4: a byte that is not UTF-8, and no other encoding is declared"},
    {"<a>\0</a>"sv, "f:1:4: zero byte; this is not a text file"},
    {"<?xml version='1.0' encoding='EBCDIC-X'?><a/>",
     "f:1:31: unknown encoding (UTF-8, UTF-16, ISO-8859-1 and US-ASCII are read)"},
    // Nothing outside the file is read, and nothing is silently left out.
    {"<!DOCTYPE a [<!ENTITY e SYSTEM '/etc/passwd'>]><a>&e;</a>",
     "f:1:51: external entities are not read"},
    {"<!DOCTYPE a SYSTEM 'x.dtd'><a>&e;</a>", "f:1:31: entity &e; is not declared in this file"},
    // The same in attributes and their defaults, be it through entities that are declared.
    {"<!DOCTYPE a SYSTEM 'x.dtd'><a k='1&foo;2'>t</a>",
     "f:1:28: entity &foo; is not declared in this file"},
    {"<!DOCTYPE a [<!ENTITY % p SYSTEM 'x.ent'>%p;]><a>\n <b k='&lt;&foo;'/></a>",
     "f:2:2: entity &foo; is not declared in this file"},
    {"<!DOCTYPE a SYSTEM 'x.dtd' [<!ATTLIST a k CDATA 'x&foo;y'>]><a/>",
     "f:1:58: entity &foo; is not declared in this file"},
    {"<!DOCTYPE a SYSTEM 'x' [<!ENTITY d 'v&foo;'><!ENTITY e '&d;'>]><a k='&e;'/>",
     "f:1:64: entity &foo; is not declared in this file"},
    {"<!DOCTYPE a SYSTEM 'x' [<!ENTITY e '<b k=\"&foo;\"/>'>]><a>&e;</a>",
     "f:1:58: entity &foo; is not declared in this file"},
    {"<!DOCTYPE a [<!ENTITY e '&e;'>]><a>&e;</a>", "f:1:36: recursive entity reference"},
};

TEST(XmlReader, NamesThePlaceOfAnError) {
  for (const ReadCase& c : kBroken) {
    SCOPED_TRACE(c.bytes);
    EXPECT_EQ(Read(Format::kXml, c.bytes), "error: " + std::string(c.expected));
  }
}

TEST(XmlReader, NamesThePlaceOfAnErrorBehindAByteOrderMark) {
  const std::string mark = "\xEF\xBB\xBF";
  const std::string first = "error: f:1:9: mismatched tag";
  EXPECT_EQ(Read(Format::kXml, mark + "<a><b></c>"), first);
  EXPECT_EQ(Read(Format::kXml, Utf16("<a><b></c>")), first);
  EXPECT_EQ(Read(Format::kXml, Utf16("<a><b></c>", true)), first);
  EXPECT_EQ(Read(Format::kXml, mark + "<a>\n<b></c>"), "error: f:2:6: mismatched tag");
  EXPECT_EQ(Read(Format::kXml, Utf16("<a>\n<b></c>")), "error: f:2:6: mismatched tag");
  EXPECT_EQ(Read(Format::kXml, mark), "error: f:1:1: the document is empty");
  EXPECT_EQ(Read(Format::kXml, mark + "x"), "error: f:1:1: not XML; markup was expected here");
  const std::string doctype = "<!DOCTYPE a SYSTEM 'x'><a k='&foo;'/>";
  EXPECT_EQ(Read(Format::kXml, Utf16(doctype)),
            "error: f:1:24: entity &foo; is not declared in this file");
}

// The parser gets a file in pieces of 1 MiB; these have every sort of place at their ends.
TEST(XmlReader, ReadsFilesOfManyPieces) {
  const std::string line = "<b k=\"\xF0\x9F\x98\x80&amp;\">\xC3\xA9\r\n&lt;<![CDATA[]]]]></b>\r\n";
  const std::size_t lines = 3 * (std::size_t{1} << 20) / line.size();
  for (std::size_t shift = 0; shift < line.size(); shift += 5) {
    std::string bytes = "<a>" + std::string(shift, ' ') + "\r\n";
    for (std::size_t i = 0; i < lines; ++i) bytes += line;
    Tree_NodePtr top = BuildTree({"f", bytes + "</a>", nullptr}, Format::kXml, "t");
    Tree_Node& a = *top->GetChildAt(0);
    ASSERT_EQ(a.GetChildCount(), static_cast<int>(lines));
    for (int i = 0; i < a.GetChildCount(); ++i) {
      Tree_Node& b = *a.GetChildAt(i);
      ASSERT_EQ(View(ValueOf(*b.GetChildAt(0))), "\xF0\x9F\x98\x80&") << i;
      ASSERT_EQ(View(ValueOf(*b.GetChildAt(1))), "\xC3\xA9\n<]]") << i;
    }
    EXPECT_EQ(Read(Format::kXml, bytes + "\xC3\xA9</c>"),
              "error: f:" + std::to_string(2 * lines + 2) + ":4: mismatched tag");
  }
  // A token that is longer than a piece.
  const std::string text(std::size_t{5} << 20, 'x');
  EXPECT_EQ(Read(Format::kXml, "<a><!--" + text + "--><b k='" + text + "'/></a>"),
            "t/\n  a/\n    b/\n      @k = " + text + "\n");
}

TEST(XmlReader, StopsEntitiesThatGrowWithoutEnd) {
  std::string bytes = "<!DOCTYPE a [<!ENTITY e0 'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx'>";
  for (int i = 1; i < 30; ++i) {
    const std::string below = "&e" + std::to_string(i - 1) + ";";
    bytes += "<!ENTITY e" + std::to_string(i) + " '";
    for (int k = 0; k < 10; ++k) bytes += below;
    bytes += "'>";
  }
  bytes += "]><a>&e29;</a>";
  const std::string result = Read(Format::kXml, bytes);
  EXPECT_NE(result.find("limit on input amplification factor"), result.npos) << result;
}

TEST(XmlReader, ReadsAMillionLevels) {
  constexpr int kLevels = 1000000;
  std::string bytes;
  for (int i = 0; i < kLevels; ++i) bytes += "<a>";
  for (int i = 0; i < kLevels; ++i) bytes += "</a>";
  Tree_NodePtr top = BuildTree({"f", bytes, nullptr}, Format::kXml, "t");
  EXPECT_EQ(top->GetNodeNum(), kLevels + 1);
}

}  // namespace
