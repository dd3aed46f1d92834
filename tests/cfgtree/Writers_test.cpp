// What the writers write, and what they count as lost.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "Kinds.h"
#include "ReaderText.h"
#include "TreeBytes.h"
#include "property/settings.h"
#include "support/SmallStackThread.h"
#include "support/TreeMaking.h"
#include "writers/RegWriter.h"
#include "writers/TextWriter.h"
#include "writers/Writer.h"
#include "writers/XmlWriter.h"

using namespace cfgtree;
using namespace std::string_literals;

namespace {

using Sentences = std::vector<std::string>;

struct Written {
  std::string bytes;
  Sentences losses;
};

Written Write(Tree_NodePtr top, Format format, const WriteOptions& options = {}) {
  Losses losses;
  Written written;
  written.bytes = WriteFormat(top, format, options, losses);
  written.losses = losses.Sentences();
  return written;
}

Tree_NodePtr From(Format format, std::string_view bytes) {
  return BuildTree({"f", bytes, nullptr}, format, "t");
}

WriteOptions Styled(const SourceStyle& style) {
  WriteOptions options;
  options.style = style;
  return options;
}

// --- Losses -------------------------------------------------------------------

TEST(Losses, CountsEachSortOnce) {
  Losses losses;
  EXPECT_TRUE(losses.empty());
  losses.Count("leaf is lost", "leaves are lost", 0);
  EXPECT_TRUE(losses.empty());
  losses.Count("leaf is lost", "leaves are lost");
  losses.Say("it is cold");
  losses.Count("tree is lost", "trees are lost", 1200);
  EXPECT_EQ(losses.Sentences(),
            (Sentences{"1 leaf is lost", "it is cold", "1,200 trees are lost"}));
  losses.Count("leaf is lost", "leaves are lost", 2);
  EXPECT_EQ(losses.Sentences()[0], "3 leaves are lost");
}

// --- Which format ------------------------------------------------------------

TEST(OutputFormat, GoesByTheExtension) {
  EXPECT_EQ(OutputFormat("a.tree"), Format::kTree);
  EXPECT_EQ(OutputFormat("x.y/a.REG"), Format::kReg);
  EXPECT_EQ(OutputFormat("a.b.json"), Format::kJson);
  EXPECT_EQ(OutputFormat("a.Txt"), Format::kText);
  EXPECT_EQ(OutputFormat("a.ini"), Format::kIni);
  EXPECT_EQ(OutputFormat("a.xml"), Format::kXml);
  for (const char* const path : {"", "-", "a", "a.text", "a.yaml", "a.json/b"}) {
    EXPECT_THROW(OutputFormat(path), UsageError) << path;
  }
}

// --- Serialized trees ---------------------------------------------------------

TEST(TreeWriter, WritesWhatTheLibraryWrites) {
  Tree_NodePtr top = Inner("cfg", {Leaf("a", "1", 1), Inner("b", {Leaf("c", "x")}), Leaf("d", "")});
  const std::string records = Record(0, -1, "cfg") + Record(1, 0, "a", "1", 1) + Record(2, 0, "b") +
                              Record(3, 2, "c", "x") + Record(4, 0, "d");
  EXPECT_EQ(Write(top, Format::kTree).bytes, records);
  EXPECT_EQ(Write(top, Format::kTree).losses, Sentences{});

  WriteOptions header;
  header.header = true;
  EXPECT_EQ(Write(top, Format::kTree, header).bytes, Number(0) + records);
  SourceStyle style;
  style.tree_header = "up\\there";
  EXPECT_EQ(Write(top, Format::kTree, Styled(style)).bytes, Sized("up\\there") + records);
}

TEST(TreeWriter, LeavesOutTheSubTreeThatIsSkipped) {
  Tree_NodePtr top = Inner("cfg", {Inner("b", {Leaf("c", "x")}), Leaf("b", "1"),
                                   Inner("a", {Inner("b", {Leaf("c", "y")})})});
  WriteOptions options;
  options.skip_name = "b";
  const Written written = Write(top, Format::kTree, options);
  EXPECT_EQ(Read(Format::kTree, written.bytes), "cfg/\n  b = 1\n  a/\n    b/\n      c = y\n");
  EXPECT_EQ(written.losses, Sentences{});
  options.skip_name = "no\nne";
  EXPECT_EQ(Write(top, Format::kTree, options).losses,
            Sentences{"no sub-tree of the top is called no\nne; nothing is left out"});
}

TEST(TreeWriter, KeepsSubTreesWithAnEmptyNameBelowTheTopOnly) {
  Tree_NodePtr top = Inner("cfg", {Inner("", {Leaf("a", "1")}), Leaf("-", ""),
                                   Inner("b", {Inner("", {Leaf("c", "2"), Inner("", {})})})});
  const Written written = Write(top, Format::kTree);
  EXPECT_EQ(Read(Format::kTree, written.bytes), "cfg/\n  /\n    a = 1\n  - = \n  b = \n");
  EXPECT_EQ(written.losses, Sentences{"1 sub-tree with an empty name is left out"});
}

TEST(TreeWriter, CountsWhatItCannotCarry) {
  EXPECT_EQ(Write(Inner("t", {Inner("a"), Inner("b"), Leaf("c", "", 1)}), Format::kTree).losses,
            (Sentences{"2 empty sub-trees become empty values",
                       "1 change flag of an empty value is not kept"}));
  EXPECT_EQ(Write(Leaf("t", "v"), Format::kTree).losses,
            Sentences{"the top has a value, which is not kept"});
  EXPECT_EQ(Write(From(Format::kJson, R"([1, true, null, "x", {"a": [2]}])"), Format::kTree).losses,
            (Sentences{"2 arrays become sub-trees", "4 numbers, booleans and nulls become texts"}));
  EXPECT_EQ(Write(From(Format::kIni, "bare\n"), Format::kTree).losses,
            Sentences{"1 key without a value gets an empty one"});
}

TEST(TreeWriter, CutsTextsAtZeroBytesAndLeavesTheTreeAsItIs) {
  Tree_NodePtr top = Inner("t", {Leaf(RWCString("a\0b", 3), RWCString("x\0y", 3)),
                                 Leaf("c", RWCString("\0z", 2)), Leaf("d", "e")});
  const std::vector<std::string> before = NodeLines(top);
  const Written written = Write(top, Format::kTree);
  EXPECT_EQ(Read(Format::kTree, written.bytes), "t/\n  a = x\n  c = \n  d = e\n");
  EXPECT_EQ(written.losses,
            (Sentences{"1 name is cut at its zero byte", "2 values are cut at their zero bytes"}));
  EXPECT_EQ(NodeLines(top), before);
}

// --- JSON ---------------------------------------------------------------------

TEST(JsonFileWriter, LaysOutAsPythonDoes) {
  Tree_NodePtr top =
      From(Format::kJson, R"({"a":[1,{},[],{"b":null}],"c":{"d":"x"},"e":-0.50,"f":true})");
  EXPECT_EQ(Write(top, Format::kJson).bytes,
            "{\n  \"a\": [\n    1,\n    {},\n    [],\n    {\n      \"b\": null\n    }\n  ],\n"
            "  \"c\": {\n    \"d\": \"x\"\n  },\n  \"e\": -0.50,\n  \"f\": true\n}\n");
  SourceStyle style;
  style.json_lines = false;
  EXPECT_EQ(
      Write(top, Format::kJson, Styled(style)).bytes,
      "{\"a\": [1, {}, [], {\"b\": null}], \"c\": {\"d\": \"x\"}, \"e\": -0.50, \"f\": true}\n");
  style.json_blanks = false;
  style.final_newline = false;
  EXPECT_EQ(Write(top, Format::kJson, Styled(style)).bytes,
            "{\"a\":[1,{},[],{\"b\":null}],\"c\":{\"d\":\"x\"},\"e\":-0.50,\"f\":true}");
}

TEST(JsonFileWriter, EscapesWhatJsonMustAndNothingElse) {
  Tree_NodePtr top = Inner("t", {Leaf("a%5Cb", RWCString("\"\\/\n\r\t\b\f\x01\x1f\x7f\0ü", 14)),
                                 Leaf("%", ""), Leaf("%2540", "x"), Leaf("%40", "y")});
  const Written written = Write(top, Format::kJson);
  EXPECT_EQ(written.bytes,
            "{\n  \"a\\\\b\": \"\\\"\\\\/\\n\\r\\t\\b\\f\\u0001\\u001f\x7f\\u0000ü\",\n"
            "  \"\": \"\",\n  \"%40\": \"x\",\n  \"@\": \"y\"\n}\n");
  EXPECT_EQ(written.losses, Sentences{"1 name that is really @ becomes that of a default value"});
}

TEST(JsonFileWriter, WritesAKindOnlyForATextOfThatKind) {
  const auto scalar = [](NodeKind kind, const char* value) {
    Tree_NodePtr leaf = Leaf("t", value);
    leaf->SetId(static_cast<int>(kind));
    return Write(leaf, Format::kJson).bytes;
  };
  for (const char* const number :
       {"0", "-0", "12", "-1.5", "1e3", "1E+20", "0.1e-7", "12345678901234567890"}) {
    EXPECT_EQ(scalar(NodeKind::kNumber, number), std::string(number) + "\n");
  }
  for (const char* const text : {"", "-", "01", "1.", ".5", "+1", "1e", "1e+", "0x1f", "1 ", "NaN",
                                 "--1", "1.5.2", "true"}) {
    EXPECT_EQ(scalar(NodeKind::kNumber, text), '"' + std::string(text) + "\"\n");
  }
  EXPECT_EQ(scalar(NodeKind::kBoolean, "false"), "false\n");
  EXPECT_EQ(scalar(NodeKind::kBoolean, "False"), "\"False\"\n");
  EXPECT_EQ(scalar(NodeKind::kNull, "null"), "null\n");
  EXPECT_EQ(scalar(NodeKind::kNull, ""), "\"\"\n");
  // Without a kind nothing is guessed.
  EXPECT_EQ(scalar(NodeKind::kPlain, "12"), "\"12\"\n");
  EXPECT_EQ(scalar(NodeKind::kPlain, "true"), "\"true\"\n");
}

Tree_NodePtr Array(std::vector<const char*> names) {
  std::vector<Tree_NodePtr> children;
  for (const char* const name : names) children.push_back(Leaf(name, name));
  Tree_NodePtr array = Inner("t", children);
  array->SetId(static_cast<int>(NodeKind::kArray));
  return array;
}

TEST(JsonFileWriter, PutsTheElementsOfAnArrayInTheirPlaces) {
  SourceStyle line;
  line.json_lines = false;
  const auto write = [&](std::vector<const char*> names) {
    return Write(Array(std::move(names)), Format::kJson, Styled(line));
  };
  EXPECT_EQ(write({"0", "1", "2"}).bytes, "[\"0\", \"1\", \"2\"]\n");
  EXPECT_EQ(write({"2", "0", "1"}).bytes, "[\"0\", \"1\", \"2\"]\n");
  EXPECT_EQ(write({"0"}).losses, Sentences{});
  for (const std::vector<const char*>& names : {std::vector<const char*>{"1"},
                                                {"0", "0"},
                                                {"0", "2"},
                                                {"0", "x"},
                                                {"00"},
                                                {"-0"},
                                                {"0", ""},
                                                {"0", "1 "},
                                                {"0", "4294967297"},
                                                {"+0"}}) {
    const Written written = write(names);
    EXPECT_EQ(written.bytes.front(), '{');
    EXPECT_EQ(written.losses[0],
              "1 array whose entries are not named 0, 1, 2, ... becomes an object");
  }
}

TEST(JsonFileWriter, CountsWhatItCannotCarry) {
  EXPECT_EQ(
      Write(Inner("t", {Leaf("a", "1", 1), Leaf("b", "2", 7), Leaf("a", "3")}), Format::kJson)
          .losses,
      (Sentences{"1 name comes again in its object, where most readers keep the last one only",
                 "2 change flags are not kept"}));
  const Written stray = Write(Inner("t", {Leaf("\xFF", "a\xC3")}), Format::kJson);
  EXPECT_EQ(stray.bytes, "{\n  \"\uFFFD\": \"a\uFFFD\"\n}\n");
  EXPECT_EQ(stray.losses, Sentences{"2 texts are not UTF-8; their stray bytes become U+FFFD"});
}

// --- Registry exports ---------------------------------------------------------

// The text behind the header of a REGEDIT4 file with LF.
Written WriteRegText(Tree_NodePtr top) {
  SourceStyle style;
  style.regedit4 = true;
  Written written = Write(top, Format::kReg, Styled(style));
  EXPECT_EQ(written.bytes.substr(0, 10), "REGEDIT4\n\n");
  written.bytes.erase(0, 10);
  return written;
}

TEST(RegWriter, WritesVersion5InUtf16AsTheEditorDoes) {
  const Written written = Write(Inner("t", {Inner("A", {Leaf("x", "1")})}), Format::kReg);
  EXPECT_EQ(written.bytes,
            Utf16("Windows Registry Editor Version 5.00\r\n\r\n[A]\r\n\"x\"=\"1\"\r\n\r\n"));
  EXPECT_EQ(written.losses, Sentences{});
}

TEST(RegWriter, WritesEachTypeInItsNotation) {
  Tree_NodePtr top =
      Inner("t", {Inner("A", {Leaf("@", "d"), Leaf("%40", "at"), Leaf("a%5Cb\"c", "say \"hi\\\""),
                              Leaf("%", "e"), Leaf("n", "dword:0000001f"), Leaf("h", "hex:"),
                              Leaf("i", "hex(2):25,00"), Leaf("o", "-"), Leaf("q", "\"-\""),
                              Leaf("r", "\"dword:0000001f\""), Leaf("l", "one\ntwo"),
                              Inner("B", {Leaf("C", "[-]")}), Leaf("z", "last")}),
                  Leaf("D", "[-]")});
  const Written written = WriteRegText(top);
  EXPECT_EQ(written.bytes,
            "[A]\n@=\"d\"\n\"@\"=\"at\"\n\"a\\\\b\\\"c\"=\"say \\\"hi\\\\\\\"\"\n\"\"=\"e\"\n"
            "\"n\"=dword:0000001f\n\"h\"=hex:\n\"i\"=hex(2):25,00\n\"o\"=-\n\"q\"=\"-\"\n"
            "\"r\"=\"dword:0000001f\"\n\"l\"=\"one\ntwo\"\n\"z\"=\"last\"\n\n"
            "[A\\B]\n\n[-A\\B\\C]\n\n[-D]\n\n");
  EXPECT_EQ(written.losses, Sentences{});
}

TEST(RegWriter, TellsTheTypesApart) {
  const std::pair<const char*, RegType> cases[] = {
      {"", RegType::kText},
      {"-", RegType::kDeletedValue},
      {"[-]", RegType::kDeletedKey},
      {"dword:0000001f", RegType::kDword},
      {"dword:0000001F", RegType::kText},
      {"dword:1f", RegType::kText},
      {"dword:0000001f0", RegType::kText},
      {"hex:", RegType::kHex},
      {"hex:0a", RegType::kHex},
      {"hex:0a,ff", RegType::kHex},
      {"hex:0a,", RegType::kText},
      {"hex:0a,f", RegType::kText},
      {"hex:0A", RegType::kText},
      {"hex:0a ff", RegType::kText},
      {"hex:a", RegType::kText},
      {"hex(2):", RegType::kHex},
      {"hex(0):00", RegType::kHex},
      {"hex(02):00", RegType::kText},
      {"hex(ffffffff):00", RegType::kHex},
      {"hex(100000000):00", RegType::kText},
      {"hex():00", RegType::kText},
      {"hex(2)", RegType::kText},
      {"hexen", RegType::kText},
      {"\"-\"", RegType::kText},
  };
  for (const auto& [value, type] : cases) EXPECT_EQ(RegTypeOf(value), type) << value;
}

TEST(RegWriter, BreaksLinesOfBytesBehindColumn76) {
  // "name"=hex: and so many bytes; where the lines end.
  const auto lines = [](std::size_t name, int bytes) {
    std::string value = "hex:";
    for (int i = 0; i < bytes; ++i) value += i > 0 ? ",ab" : "ab";
    std::string text =
        WriteRegText(
            Inner("t", {Inner("A", {Leaf(std::string(name, 'n').c_str(), value.c_str())})}))
            .bytes;
    text = text.substr(4, text.size() - 6);
    std::vector<std::size_t> sizes;
    for (std::size_t start = 0; start <= text.size();) {
      const std::size_t end = std::min(text.find('\n', start), text.size());
      sizes.push_back(end - start);
      start = end + 1;
    }
    return sizes;
  };
  using Sizes = std::vector<std::size_t>;
  // 11 columns for a name of 4 and what is around it: 22 bytes end in column 77.
  EXPECT_EQ(lines(4, 22), (Sizes{76}));
  EXPECT_EQ(lines(4, 23), (Sizes{78, 4}));
  // Column 76 itself is not behind column 76.
  EXPECT_EQ(lines(3, 22), (Sizes{75}));
  EXPECT_EQ(lines(3, 23), (Sizes{78}));
  EXPECT_EQ(lines(3, 24), (Sizes{80, 4}));
  // Later lines hold 25 bytes.
  EXPECT_EQ(lines(4, 22 + 25), (Sizes{78, 76}));
  EXPECT_EQ(lines(4, 22 + 26), (Sizes{78, 78, 4}));
  // A long name leaves no room for a byte.
  EXPECT_EQ(lines(80, 1), (Sizes{88, 4}));
}

TEST(RegWriter, CountsWhatItCannotCarry) {
  EXPECT_EQ(WriteRegText(Leaf("t", "v")).losses,
            Sentences{"1 value stands outside of every key and is left out"});
  const Written outside = WriteRegText(Inner("t", {Leaf("a", "1"), Leaf("b", "2"), Inner("K")}));
  EXPECT_EQ(outside.bytes, "[K]\n\n");
  EXPECT_EQ(outside.losses, Sentences{"2 values stand outside of every key and are left out"});

  const Written names = WriteRegText(
      Inner("t", {Inner("-x", {Inner("y")}), Inner("a\nb"), Inner("a%5Cb", {Inner("%")}),
                  Inner("-", {}), Inner("K", {Inner("-y")})}));
  EXPECT_EQ(names.bytes, "[a%5Cb]\n\n[a%5Cb\\%]\n\n[K]\n\n[K\\-y]\n\n");
  EXPECT_EQ(
      names.losses,
      (Sentences{"3 keys with names that cannot be written are left out with all below them",
                 "2 names keep their escapes (%5C, %00 or %), which stand for what they cannot "
                 "have"}));

  const Written repeated = WriteRegText(
      Inner("t", {Inner("K", {Leaf("a", "1"), Leaf("A", "2"), Inner("a"), Leaf("b", "[-]")}),
                  Inner("k", {})}));
  EXPECT_EQ(repeated.losses,
            Sentences{"2 names come again in their keys, where the registry keeps one only"});

  Tree_NodePtr json = From(Format::kJson, R"({"K": {"n": 1, "l": [true], "z": "a\u0000b"}})");
  const Written kinds = WriteRegText(json);
  EXPECT_EQ(kinds.bytes, "[K]\n\"n\"=\"1\"\n\"z\"=\"a\"\n\n[K\\l]\n\"0\"=\"true\"\n\n");
  EXPECT_EQ(kinds.losses,
            (Sentences{"2 numbers, booleans and nulls become texts",
                       "1 value is cut at its zero byte", "1 array becomes a sub-tree"}));
}

// --- INI ----------------------------------------------------------------------

TEST(IniWriter, WritesValuesAndSections) {
  const Written written = Write(
      Inner("t", {Leaf("a", "1"), Leaf("b%5Cc", ""), Inner("net", {Leaf("host", "a = b ; c")}),
                  Inner("empty"), Inner("net", {Leaf("host", "x")}), Inner("%", {Leaf("@", "y")}),
                  Inner("a%5Cb]c", {Leaf("[x", "1")})}),
      Format::kIni);
  EXPECT_EQ(
      written.bytes,
      "a = 1\nb\\c =\n\n[net]\nhost = a = b ; c\n\n[empty]\n\n[net]\nhost = x\n\n[]\n@ = y\n\n"
      "[a\\b]c]\n");
  EXPECT_EQ(written.losses, Sentences{"1 value with a name that cannot be written is left out"});
  // A file comes back as the same tree, keys without a value and all.
  const std::string file = "bare\na =\n\n[s]\nx = 1\nflag\n\n[s]\n\n[]\ny = 2\n";
  EXPECT_EQ(Write(From(Format::kIni, file), Format::kIni).bytes, file);
}

TEST(IniWriter, CountsWhatItCannotCarry) {
  const auto losses = [](Tree_NodePtr top) { return Write(top, Format::kIni).losses; };
  EXPECT_EQ(losses(Leaf("t", "v")), Sentences{"the top is a value, which is left out"});
  EXPECT_EQ(losses(Inner("t", {Inner("s"), Leaf("a", "1", 1), Leaf("b", "2")})),
            (Sentences{"2 values of the top move in front of the sections",
                       "1 change flag is not kept"}));
  const Written values = Write(Inner("t", {Leaf("a", "x\ny"), Leaf("b", " x\t"),
                                           Leaf("c", RWCString("x\0y", 3)), Leaf("d", "x\xFF")}),
                               Format::kIni);
  EXPECT_EQ(values.bytes, "b = x\nc = x\nd = x\uFFFD\n");
  EXPECT_EQ(values.losses,
            (Sentences{"1 value with a line break is left out", "1 value loses blanks at its ends",
                       "1 value is cut at its zero byte",
                       "1 text is not UTF-8; its stray bytes become U+FFFD"}));
  for (const char* const name :
       {"", "%", "a=b", " a", "a\t", "[a", ";a", "#a", "a\nb", "=", "a\r"}) {
    EXPECT_EQ(losses(Inner("t", {Leaf(name, "1")})),
              Sentences{"1 value with a name that cannot be written is left out"})
        << name;
  }
  for (const char* const name : {" a", "a ", "a\nb", "a];b", "a] #b"}) {
    EXPECT_EQ(losses(Inner("t", {Inner(name, {Leaf("x", "1")})})),
              Sentences{"1 section with a name that cannot be written is left out"})
        << name;
  }
  const Written nested =
      Write(From(Format::kJson, R"({"a": {"b": {"c": 1}, "d": 2, "e": {}}})"), Format::kIni);
  EXPECT_EQ(nested.bytes, "[a]\nd = 2\n\n[a\\b]\nc = 1\n\n[a\\e]\n");
  EXPECT_EQ(nested.losses, (Sentences{"2 numbers, booleans and nulls become texts",
                                      "2 nested sub-trees become sections named by their paths"}));
}

// --- XML ----------------------------------------------------------------------

constexpr const char* kXmlHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

TEST(XmlWriter, WritesElementsAttributesAndText) {
  const std::string file = std::string(kXmlHead) +
                           "<r a=\"1\" b=\"&lt;&quot;&amp;&#10;\">\n"
                           "  <x>v &amp; w</x>\n"
                           "  <empty/>\n"
                           "  <p>see <b>this</b><i k=\"2\"/> &lt;here&gt;</p>\n"
                           "  <q z=\"\">text</q>\n"
                           "  <s>\n    <t> two\n lines&#13; </t>\n  </s>\n"
                           "</r>\n";
  const Written written = Write(From(Format::kXml, file), Format::kXml);
  EXPECT_EQ(written.bytes, file);
  EXPECT_EQ(written.losses, Sentences{});
}

TEST(XmlWriter, MakesTheTopTheRootWhereThereAreSeveral) {
  for (Tree_NodePtr top :
       {Inner("cfg", {Leaf("a", "1"), Leaf("b", "2")}), Inner("cfg"), Leaf("cfg", "v"),
        Inner("cfg", {Leaf("@a", "1")}), Inner("cfg", {Leaf("#text", "x")})}) {
    const Written written = Write(top, Format::kXml);
    EXPECT_EQ(written.bytes.rfind(std::string(kXmlHead) + "<cfg", 0), 0u) << written.bytes;
    EXPECT_EQ(written.losses[0], "the top becomes the root element, of which a document has one");
    EXPECT_EQ(Read(Format::kXml, written.bytes).substr(0, 8), "t/\n  cfg") << written.bytes;
  }
}

TEST(XmlWriter, WritesNamesThatXmlHasNot) {
  const std::pair<const char*, const char*> names[] = {{"a", "a"},
                                                       {"größe", "größe"},
                                                       {"a-b.c:d_2", "a-b.c:d_2"},
                                                       {"", "_x_"},
                                                       {"_x_", "_x_"},
                                                       {"0", "_x0030_"},
                                                       {"a b", "a_x0020_b"},
                                                       {"-a", "_x002D_a"},
                                                       {"@a", "_x0040_a"},
                                                       {"a\\b", "a_x005C_b"},
                                                       {"_x0020_", "_x0020_"},
                                                       {"名前", "名前"},
                                                       {"ü€", "ü_x20AC_"},
                                                       {"😀", "_x1F600_"},
                                                       {"<&>", "_x003C__x0026__x003E_"}};
  for (const auto& [name, xml] : names) {
    EXPECT_EQ(XmlName(name), xml);
    EXPECT_EQ(Read(Format::kXml, "<" + XmlName(name) + "/>"),
              "t/\n  " + std::string(xml) + " = \n");
  }
}

TEST(XmlWriter, CountsWhatItCannotCarry) {
  const auto losses = [](std::vector<Tree_NodePtr> children) {
    return Write(Inner("t", {Inner("r", std::move(children))}), Format::kXml).losses;
  };
  EXPECT_EQ(losses({Leaf("@a", "1"), Leaf("@a", "2"), Leaf("x", "", 1)}),
            (Sentences{"1 attribute that comes again is left out", "1 change flag is not kept"}));
  EXPECT_EQ(losses({}), Sentences{"1 empty sub-tree becomes an empty value"});
  EXPECT_EQ(losses({Leaf("#text", "x")}), Sentences{"1 sub-tree of text only becomes a value"});
  EXPECT_EQ(losses({Leaf("#text", " "), Leaf("x", "")}),
            Sentences{"1 text of blanks only does not count when it is read"});
  EXPECT_EQ(losses({Leaf("x", "a\x01"), Leaf("y", "\xEF\xBF\xBE"), Leaf("z", "\xFF")}),
            (Sentences{"2 texts have characters that XML forbids; they become U+FFFD",
                       "1 text is not UTF-8; its stray bytes become U+FFFD"}));
  EXPECT_EQ(losses({Leaf("a b", "")}),
            Sentences{"1 name is no XML name and gets codes such as _x0020_"});
}

// --- Text ---------------------------------------------------------------------

TEST(TextWriter, WritesALinePerLeaf) {
  Tree_NodePtr top = From(Format::kJson, R"({"net": {"ports": {"http": 8080}, "host": "db",
      "none": {}}, "a": "x", "a": "y", "list": [], "e": ""})");
  const Written written = Write(top, Format::kText);
  EXPECT_EQ(written.bytes,
            "net\\ports\\http\t8080\nnet\\host\tdb\nnet\\none\\\t\na\tx\na[2]\ty\nlist\\\t\ne\t\n");
  EXPECT_EQ(written.losses, Sentences{});
  EXPECT_EQ(Write(Leaf("t", "v", 1), Format::kText).bytes, "\tv\n");
  EXPECT_EQ(Write(Leaf("t", "v", 1), Format::kText).losses, Sentences{"1 change flag is not kept"});
  EXPECT_EQ(Write(Inner("t"), Format::kText).bytes, "");
  EXPECT_EQ(Write(Inner("t", {Inner("", {Leaf("", "v")})}), Format::kText).bytes, "\\\tv\n");
}

TEST(TextWriter, KeepsEveryLeafOnItsLine) {
  EXPECT_EQ(TextValue("a\\b\n\t\x1b\xFF\u202e%"), "a\\\\b\\n\\t\\x1b\\xff\\u202e%");
  EXPECT_EQ(TextValue("\\n"), "\\\\n");
  EXPECT_EQ(TextName("a\tb\n\x7f\xFFü"), "a%09b%0A%7F%FFü");
  EXPECT_EQ(TextName("50% %PATH% a%5Cb %"), "50% %PATH% a%5Cb %");
  EXPECT_EQ(TextName("%09 %FF %1"), "%2509 %25FF %1");
  EXPECT_EQ(TextName("a\\b"), "a%5Cb");
}

// --- Deep and wide ------------------------------------------------------------

TEST(Writers, WriteDeepAndWideTreesOnASmallStack) {
  TreeBuilder deep("t");
  constexpr int kLevels = 1000000;
  for (int i = 0; i < kLevels; ++i) deep.Enter("n");
  TreeBuilder wide("t");
  wide.Enter("k");
  for (int i = 0; i < 100000; ++i) wide.Leaf("n" + std::to_string(i), "v");
  RunOnSmallStack([&] {
    Tree_NodePtr chain = deep.Finish();
    EXPECT_EQ(Write(chain, Format::kTree).bytes.size(), 17u * (kLevels + 1));
    EXPECT_EQ(Write(chain, Format::kText).bytes.size(), 2u * kLevels + 2);
    SourceStyle line;
    line.json_lines = false;
    EXPECT_EQ(Write(chain, Format::kJson, Styled(line)).bytes.size(), 7u * kLevels + 3u);
    // A line for each level takes the square of the depth.
    EXPECT_THROW(Write(chain, Format::kJson), Error);
    EXPECT_THROW(Write(chain, Format::kReg), Error);
    EXPECT_THROW(Write(chain, Format::kXml), Error);
    EXPECT_EQ(Write(chain, Format::kIni).bytes.size(), 2u * kLevels + 2);

    Tree_NodePtr row = wide.Finish();
    for (const Format format :
         {Format::kTree, Format::kText, Format::kJson, Format::kReg, Format::kIni, Format::kXml}) {
      EXPECT_GT(Write(row, format).bytes.size(), 1000000u);
    }
  });
}

// --- Kinds in merged trees ------------------------------------------------------

TEST(Kinds, AreCarriedFromTheLayerThatSuppliedTheNode) {
  Tree_NodePtr base = From(Format::kJson, R"({"a": 1, "b": [1, "x"], "c": {"d": null}, "e": "5"})");
  Tree_NodePtr over = From(Format::kJson, R"({"a": "2", "b": ["y"], "c": {"f": true}, "e": 5})");
  Tree_NodePtr merged = Tree_Node::Merge(base, over);
  CarryKinds(merged, {base, over});
  SourceStyle line;
  line.json_lines = false;
  EXPECT_EQ(Write(merged, Format::kJson, Styled(line)).losses, Sentences{});
  Tree_NodePtr again = From(Format::kJson, Write(merged, Format::kJson, Styled(line)).bytes);
  const auto get = [&](const char* path) {
    Tree_Path steps{RWCString(path)};
    Tree_NodePtr node = again->GetRelativeNode(steps, again);
    EXPECT_TRUE(static_cast<bool>(node)) << path;
    return node ? KindName(*node) + " "s + std::string(View(ValueOf(*node))) : "";
  };
  EXPECT_EQ(get("a"), "text 2");
  EXPECT_EQ(get("b\\0"), "text y");
  EXPECT_EQ(get("b\\1"), "text x");
  EXPECT_EQ(get("c\\d"), "null null");
  EXPECT_EQ(get("c\\f"), "boolean true");
  EXPECT_EQ(get("e"), "number 5");
}

TEST(Kinds, FollowRepeatedNamesAndValues) {
  Tree_NodePtr layer = From(Format::kJson, R"({"a": "1", "a": 1, "b": [0], "b": {"0": "0"}})");
  Tree_NodePtr copy = Inner("t", {Leaf("a", "1"), Leaf("a", "1"), Inner("b", {Leaf("0", "0")}),
                                  Inner("b", {Leaf("0", "0")}), Leaf("a", "2")});
  CarryKinds(copy, {layer, Tree_NodePtr()});
  EXPECT_EQ(
      TreeText(copy),
      "t/\n  a = 1\n  a:number = 1\n  b:array/\n    0:number = 0\n  b/\n    0 = 0\n  a = 2\n");
}

TEST(Kinds, KeysWithASectionInAnyLayerHaveOne) {
  Tree_NodePtr base = From(Format::kReg, "REGEDIT4\n[A\\B]\n[C]\n");
  Tree_NodePtr over = From(Format::kReg, "REGEDIT4\n[A]\n[C\\D]\n[E\\F]\n");
  Tree_NodePtr merged = Tree_Node::Merge(base, over);
  CarryKinds(merged, {base, over});
  RWCString name("E");
  EXPECT_EQ(KindOf(*merged->Get(name, merged)), NodeKind::kImpliedKey);
  for (const char* const key : {"A", "C"}) {
    RWCString listed(key);
    EXPECT_EQ(KindOf(*merged->Get(listed, merged)), NodeKind::kPlain) << key;
  }
}

}  // namespace
