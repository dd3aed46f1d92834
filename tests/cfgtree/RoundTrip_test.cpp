// Files that are read and written again come back as they were.

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>

#include "ChildProcess.h"
#include "ReaderText.h"
#include "TreeBytes.h"
#include "property/settings.h"
#include "writers/Writer.h"

using namespace cfgtree;
using namespace std::string_literals;

namespace {

// The bytes that the file becomes when it is read and written again.
std::string Again(Format format, std::string_view bytes, Losses* losses = nullptr) {
  LoadedFile file;
  file.format = format;
  file.top = ReadExactly(format, bytes, &file.style);
  Losses own;
  return WriteFormat(file.top, format, WriteOptionsLike(file, format),
                     losses != nullptr ? *losses : own);
}

void ExpectSame(Format format, std::string_view bytes) {
  Losses losses;
  EXPECT_EQ(Again(format, bytes, &losses), bytes);
  EXPECT_TRUE(losses.empty()) << losses.Sentences()[0];
}

// --- Registry exports ---------------------------------------------------------

constexpr std::string_view kBody =
    "[HKEY_CURRENT_USER\\Software\\Post]\r\n"
    "@=\"mail\"\r\n"
    "\"Path\"=hex(2):25,00,50,00,72,00,6f,00,67,00,72,00,61,00,6d,00,44,00,61,00,74,\\\r\n"
    "  00,61,00,25,00,5c,00,46,00,65,00,72,00,72,00,79,00,5c,00,53,00,70,00,6f,00,\\\r\n"
    "  6f,00,6c,00,00,00\r\n"
    "\"Count\"=dword:0000001f\r\n"
    "\"Big\"=hex(b):00,00,00,00,10,00,00,00\r\n"
    "\"None\"=hex(0):\r\n"
    "\"Bytes\"=hex:\r\n"
    "\"Quote\"=\"say \\\"hi\\\", C:\\\\x\"\r\n"
    "\"Lines\"=\"one\r\ntwo\"\r\n"
    "\"Looks\"=\"dword:00000001\"\r\n"
    "\"a\\\\b\"=\"x\"\r\n"
    "\"Gone\"=-\r\n"
    "\r\n"
    "[HKEY_CURRENT_USER\\Software\\Post\\Empty]\r\n"
    "\r\n"
    "[HKEY_CURRENT_USER\\Software\\Post\\Post]\r\n"
    "\"Empty\"=\"\"\r\n"
    "\r\n"
    "[-HKEY_CURRENT_USER\\Software\\Post\\Old]\r\n"
    "\r\n"
    "[HKEY_LOCAL_MACHINE]\r\n"
    "\r\n"
    "[HKEY_LOCAL_MACHINE\\X y]\r\n"
    "\"@\"=\"at\"\r\n"
    "\r\n";

std::string Lf(std::string text) {
  for (std::size_t i = text.find('\r'); i != text.npos; i = text.find('\r', i)) text.erase(i, 1);
  return text;
}

TEST(RoundTrip, RegistryExportsAsTheEditorWritesThem) {
  const std::string version5 = "Windows Registry Editor Version 5.00\r\n\r\n" + std::string(kBody);
  const std::string version4 = "REGEDIT4\r\n\r\n" + std::string(kBody);
  ExpectSame(Format::kReg, Utf16(version5));
  ExpectSame(Format::kReg, Utf16(version5, true));
  ExpectSame(Format::kReg, "\xEF\xBB\xBF" + version5);
  ExpectSame(Format::kReg, version5);
  ExpectSame(Format::kReg, version4);
  ExpectSame(Format::kReg, Lf(version4));
  ExpectSame(Format::kReg, Utf16(version4));
  // Without the blank line at the end, and without the last line end.
  ExpectSame(Format::kReg, version5.substr(0, version5.size() - 2));
  ExpectSame(Format::kReg, version5.substr(0, version5.size() - 4));
  ExpectSame(Format::kReg, Lf(version4).substr(0, Lf(version4).size() - 1));
  // Nothing but a header.
  ExpectSame(Format::kReg, "REGEDIT4\r\n\r\n");
  ExpectSame(Format::kReg, Utf16("Windows Registry Editor Version 5.00\r\n\r\n"));
  ExpectSame(Format::kReg, "REGEDIT4\r\n");
  // Comments in front of the first key.
  ExpectSame(Format::kReg, "REGEDIT4\r\n\r\n; one\r\n\r\n;two\r\n[A]\r\n\r\n");
  ExpectSame(Format::kReg,
             "REGEDIT4\n\n[A\\s\xC3\xBC\x64 \xF0\x9F\x98\x80]\n\"\xC3\xBC\"=\"x\"\n\n");
}

TEST(RoundTrip, RegistryExportsOfCommentsAlone) {
  const std::string header = "Windows Registry Editor Version 5.00\r\n\r\n";
  for (const char* const end : {"", "\r\n", "\r\n\r\n", "\r\n\r\n; two\r\n"}) {
    ExpectSame(Format::kReg, header + "; one \xF0\x9F\x98\x80" + end);
  }
}

TEST(RoundTrip, KeysThatComeBehindACommentWithoutALineEnd) {
  LoadedFile file;
  file.format = Format::kReg;
  file.top = ReadExactly(Format::kReg, "Windows Registry Editor Version 5.00\r\n\r\n; the end",
                         &file.style);
  const char* const whole = "Windows Registry Editor Version 5.00\r\n\r\n[K]\r\n\"a\"=\"b\"\r\n";
  file.top->Add(ReadExactly(Format::kReg, whole, nullptr)->GetChildAt(0));
  Losses losses;
  EXPECT_EQ(WriteFormat(file.top, Format::kReg, WriteOptionsLike(file, Format::kReg), losses),
            "Windows Registry Editor Version 5.00\r\n\r\n; the end\r\n[K]\r\n\"a\"=\"b\"");
}

TEST(RoundTrip, TheRegistryExportsOfTheExamples) {
  for (const char* const name : {"ferry.reg", "ferry-site.reg"}) {
    SCOPED_TRACE(name);
    ExpectSame(Format::kReg, ReadBytes(std::string(CFGTREE_EXAMPLES) + "/" + name));
  }
}

// --- JSON ---------------------------------------------------------------------

TEST(RoundTrip, JsonInTheLayoutThatItHad) {
  const std::string files[] = {
      "{\n  \"a\": 1,\n  \"b\": [\n    true,\n    null,\n    {\n      \"c\": \"\"\n    }\n  ],\n"
      "  \"d\": {},\n  \"e\": []\n}\n",
      "{\n    \"a\": 1.50,\n    \"b\": \"x\"\n}",
      "{\n\t\"a\": {\n\t\t\"b\": 1\n\t}\n}\n",
      "{\r\n  \"a\": 1,\r\n  \"b\": 2\r\n}\r\n",
      "{\n\"a\": 1\n}\n",
      "\xEF\xBB\xBF{\n  \"a\": 1\n}\n",
      "{\"a\":1,\"b\":[1,2]}\n",
      "{\"a\": 1, \"b\": [1, 2]}",
      "[1, 2]",
      "[1,2]\n",
      "[\",\",1]",
      "[\"\\\",\", 1]",
      "{\n  \"a\":1,\n  \"b\":[\n    2\n  ]\n}\n",
      "\"text\"\n",
      "12e+3",
      "null\n",
      "{}\n",
      "[]",
      "{\n  \"a\\\\b\": \"\\\"\\\\\\n\\r\\t\\b\\f\\u0001\\u001f/\u00fc\x7f\U0001F600\",\n  \"\": 0\n}\n",
      "{\n  \"%5C\": \"a\\u0000b\",\n  \"%\": \"%\",\n  \"@\": \"@\",\n  \"%40\": 1\n}\n",
      "[\n  \"0\",\n  {\n    \"0\": \"a\"\n  },\n  [\n    \"a\"\n  ]\n]\n",
  };
  for (const std::string& file : files) ExpectSame(Format::kJson, file);
}

// Lists of a package that nobody here wrote, in Python's layout.
TEST(RoundTrip, TheJsonListsOfIsoCodes) {
  const std::filesystem::path folder = "/usr/share/iso-codes/json";
  ASSERT_TRUE(std::filesystem::exists(folder)) << "iso-codes is not installed; ./dev test does it";
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    SCOPED_TRACE(name);
    const std::string bytes = ReadBytes(entry.path().string());
    if (name.rfind("iso_", 0) == 0) {
      ++files;
      EXPECT_TRUE(Again(Format::kJson, bytes) == bytes);
      continue;
    }
    // The schemas are laid out by hand, each list in its own way: those keep their content.
    Tree_NodePtr top = ReadExactly(Format::kJson, bytes);
    Tree_NodePtr copy = ReadExactly(Format::kJson, Again(Format::kJson, bytes));
    EXPECT_TRUE(NodeLines(copy) == NodeLines(top));
  }
  EXPECT_GT(files, 0);
}

// --- Serialized trees ---------------------------------------------------------

TEST(RoundTrip, SerializedTrees) {
  const std::string records = Record(0, -1, "cfg") + Record(1, 0, "a", "1", -5) +
                              Record(2, 0, "e") + Record(3, 0, "net") + Record(4, 3, "p", "\xFF") +
                              Record(5, 0, "a%5Cb", "%");
  ExpectSame(Format::kTree, records);
  ExpectSame(Format::kTree, Sized("") + records);
  ExpectSame(Format::kTree, Sized("up\\there") + records);
  ExpectSame(Format::kTree, Record(0, -1, ""));
  ExpectSame(Format::kTree, Record(0, -1, "cfg") + Record(1, 0, "") + Record(2, 1, "a", "x"));
}

// --- XML and INI: the tree comes back, the layout is the writer's -----------------

TEST(RoundTrip, TheTreesOfXmlAndIniFiles) {
  const std::string data = CFGTREE_TEST_DATA;
  const std::pair<Format, std::string> files[] = {
      {Format::kXml, data + "/sample.xml"},
      {Format::kXml, data + "/sample-utf16.xml"},
      {Format::kXml, "/usr/share/mime/packages/freedesktop.org.xml"},
      {Format::kIni, data + "/sample.ini"},
      {Format::kIni, std::string(CFGTREE_EXAMPLES) + "/ferry.ini"},
  };
  for (const auto& [format, path] : files) {
    SCOPED_TRACE(path);
    const std::string bytes = ReadBytes(path);
    Losses losses;
    const std::string once = Again(format, bytes, &losses);
    EXPECT_TRUE(losses.empty()) << losses.Sentences()[0];
    Tree_NodePtr top = ReadExactly(format, bytes);
    Tree_NodePtr copy = ReadExactly(format, once);
    EXPECT_TRUE(NodeLines(copy) == NodeLines(top));
    EXPECT_TRUE(Again(format, once) == once);
  }
}

TEST(RoundTrip, RandomTreesThroughXmlAndIni) {
  std::mt19937_64 random(settings::Seed());
  SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(settings::Seed()));
  for (std::uint64_t round = 0; round < settings::Rounds(300); ++round) {
    RandomTreeOptions options;
    options.nodes = static_cast<int>(random() % 30);
    options.flags = false;
    options.names.insert(options.names.end(),
                         {"@a", "#text", "@", "x=y", "[s]", "a]b", "a] ;b", ";c", "_x0020_", "0"});
    Tree_NodePtr top = RandomTree(random, options);
    for (const Format format : {Format::kXml, Format::kIni}) {
      Losses losses;
      const std::string once = WriteFormat(top, format, {}, losses);
      // Whatever was lost is lost the first time; texts that stand next to each other become
      // one only then, and blanks that nothing kept apart from layout go.
      const std::string twice = Again(format, once);
      ASSERT_EQ(Again(format, twice), twice) << "round " << round << '\n' << once;
      if (losses.empty() && format == Format::kIni) {
        Tree_NodePtr copy = ReadExactly(format, once);
        ASSERT_EQ(NodeLines(copy), NodeLines(top)) << once;
      }
    }
  }
}

// --- Random trees ---------------------------------------------------------------

TEST(RoundTrip, RandomTreesThroughJson) {
  std::mt19937_64 random(settings::Seed());
  SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(settings::Seed()));
  RandomTreeOptions options;
  options.flags = false;
  options.kinds = true;
  for (std::uint64_t round = 0; round < settings::Rounds(300); ++round) {
    Tree_NodePtr top = RandomTree(random, options);
    SourceStyle style;
    if (random() % 2 == 0) style.json_lines = false;
    style.json_blanks = random() % 2 == 0;
    WriteOptions writing;
    writing.style = style;
    Losses losses;
    const std::string bytes = WriteFormat(top, Format::kJson, writing, losses);
    Tree_NodePtr copy = ReadExactly(Format::kJson, bytes);
    ASSERT_EQ(NodeLines(copy), NodeLines(top)) << bytes;
    ASSERT_EQ(Again(Format::kJson, bytes), bytes);
  }
}

TEST(RoundTrip, RandomTreesThroughRegistryExports) {
  std::mt19937_64 random(settings::Seed());
  SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(settings::Seed()));
  RandomTreeOptions options;
  options.flags = false;
  for (std::uint64_t round = 0; round < settings::Rounds(300); ++round) {
    options.distinct = round % 2 == 0;
    Tree_NodePtr top = RandomTree(random, options);
    Losses losses;
    std::string once = WriteFormat(top, Format::kReg, {}, losses);
    // Sub-trees of one name become one key when they are read.  Values outside of keys go
    // when they are first written.  What is left is kept exactly.
    if (!options.distinct) once = Again(Format::kReg, once);
    ASSERT_EQ(Again(Format::kReg, once), once) << "round " << round;
  }
}

// A tree that has been through a serialized tree has lost its kinds and nothing else, so
// that a registry export, which has none that matter, comes back from one.
TEST(RoundTrip, RegistryExportsThroughSerializedTrees) {
  const std::string bytes = ReadBytes(std::string(CFGTREE_EXAMPLES) + "/ferry.reg");
  LoadedFile file;
  file.format = Format::kReg;
  file.top = ReadExactly(Format::kReg, bytes, &file.style);
  Losses losses;
  const std::string tree = WriteFormat(file.top, Format::kTree, {}, losses);
  Tree_NodePtr copy = ReadExactly(Format::kTree, tree);
  EXPECT_TRUE(losses.empty());
  EXPECT_EQ(NodeLines(copy, true), NodeLines(file.top, true));
  const std::string back = WriteFormat(copy, Format::kReg, {}, losses);
  Tree_NodePtr again = ReadExactly(Format::kReg, back);
  EXPECT_EQ(NodeLines(again, true), NodeLines(file.top, true));
}

}  // namespace
