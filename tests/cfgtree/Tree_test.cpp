// What the client does around the readers: building, detecting formats, finding and
// naming places.

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "Places.h"
#include "ReaderText.h"
#include "Terminal.h"
#include "TreeBuilder.h"
#include "Zel/Zel_LogFile.h"
#include "property/settings.h"

using namespace cfgtree;
using namespace std::string_view_literals;

namespace {

Tree_NodePtr FromJson(std::string_view json) {
  return BuildTree({"f", json, nullptr}, Format::kJson, "t");
}

TEST(TreeBuilder, KeepsNamesExactlyAndWithoutALogLine) {
  std::vector<std::string> lines;
  ZelGLog.SetSink([&](const Zel_LogRecord& record) { lines.push_back(record.text); });
  ZelGLog.SetLevel(5);
  TreeBuilder tree(" top ");
  tree.Enter(" a ");
  tree.Leaf(" ", " v ");
  tree.Leaf("\tb", "");
  tree.Leave();
  tree.Leaf("c", "x");
  Tree_NodePtr top = tree.Finish();
  ZelGLog.SetSink({});

  EXPECT_EQ(TreeText(top), " top /\n   a /\n      =  v \n    \tb = \n  c = x\n");
  EXPECT_TRUE(lines.empty()) << lines[0];
  RWCString path(" a \\ ");
  EXPECT_EQ(View(top->GetValue(path, top)), " v ");
}

TEST(TreeBuilder, MakesTheTopALeaf) {
  TreeBuilder tree("t");
  tree.MakeTopLeaf("12", NodeKind::kNumber);
  Tree_NodePtr top = tree.Finish();
  EXPECT_EQ(TreeText(top), "t:number = 12\n");
}

struct DetectCase {
  std::string_view path;
  std::string_view bytes;
  std::string_view format;  // empty: none
};
const DetectCase kDetections[] = {
    // The extension, in either case.
    {"a.json", "<x/>", "json"},
    {"a.XML", "{}", "xml"},
    {"d.x/a.Ini", "<x/>", "ini"},
    {"a.reg", "", "reg"},
    {"a.Tree", "{}", "tree"},
    // The first record of a serialized tree, alone or behind an empty header.  Text is never
    // read as such.
    {"a", "\0\0\0\0\xFF\xFF\xFF\xFF"sv, "tree"},
    {"a", "\0\0\0\0\0\0\0\0\xFF\xFF\xFF\xFF\0"sv, "tree"},
    {"a", "\0\0\0\0\0\0\0\0\0\0\0\0"sv, ""},
    {"a.txt", "<x/>", "xml"},
    {"a.txt", "some words", ""},
    // Extensions that say little.
    {"a.conf", "x = 1", "ini"},
    {"a.cfg", "[s]", "ini"},
    {"a.cfg", "[1]", "ini"},
    {"a.conf", "", "ini"},
    {"a.conf", "some words", "ini"},
    {"a.conf", "<?xml version='1.0'?><x/>", "xml"},
    {"a.cfg", " {\"a\": 1}", "json"},
    {"a.cfg", "\xEF\xBB\xBF{\"a\": 1}", "json"},
    {"a.cfg", "REGEDIT4\n", "reg"},
    {"a.cfg", "\0\0\0\0\xFF\xFF\xFF\xFF"sv, "tree"},
    {"a.conf", "\"key\" = 1", "ini"},
    {"a.conf", "-verbose", "ini"},
    {"a.conf", "127.0.0.1", "ini"},
    {"a.conf", "true", "ini"},
    {"a.conf", "[1, 2]", "ini"},
    {"a.conf", "\xEF\xBB\xBF[1]\na=1", "ini"},
    {"a.conf",
     "\xFF\xFE[\0"
     "1\0]\0"sv,
     "ini"},
    // The first bytes.
    {"a", "{\"a\": 1}", "json"},
    {"a", " \n[1, 2]", "json"},
    {"a", "[\n  {\"a\": 1}\n]", "json"},
    {"a", "[]", "json"},
    {"a", "[[1]]", "json"},
    {"a", "[true]", "json"},
    {"a", "[true, false]", "json"},
    {"a", "[null,1]", "json"},
    {"a", "[ false , [1]]", "json"},
    {"a", "\"text\"", "json"},
    {"a", "-12.5", "json"},
    {"a", "null", "json"},
    {"a", "[section]\na = 1", "ini"},
    {"a", "[truest]\na = 1", "ini"},
    {"a", "[true north]\na = 1", "ini"},
    {"a", "[nullable, too]\na = 1", "ini"},
    {"a", "; comment\n\n# more\nname = 1", "ini"},
    {"a", "1 = 2", "ini"},
    {"a", "<a/>", "xml"},
    {"a", "\xEF\xBB\xBF <a/>", "xml"},
    {"a", "REGEDIT4\n", "reg"},
    {"a", "Windows Registry Editor Version 5.00\n", "reg"},
    {"a", "\xFF\xFEW\0i\0n\0d\0o\0w\0s\0 \0R\0e\0g\0i\0s\0t\0r\0y\0 \0E\0d\0i\0t\0o\0r\0"sv, "reg"},
    {"a", "\xFE\xFF\0<\0a"sv, "xml"},
    {"a", "\xFF\xFE[\0s\0]\0"sv, "ini"},
    // Neither.
    {"a.txt", "", ""},
    {"a", "some words", ""},
    {"a",
     "\x7f"
     "ELF\x02\x01",
     ""},
    {"a", "; only a comment", ""},
    {"json", "x", ""},
};

TEST(FormatDetection, GoesByExtensionAndThenByContent) {
  for (const DetectCase& c : kDetections) {
    SCOPED_TRACE(std::string(c.path) + ": " + Printable(c.bytes));
    const std::optional<Format> format = DetectFormat(c.path, c.bytes);
    EXPECT_EQ(format ? FormatName(*format) : "", c.format);
  }
}

TEST(TopName, IsTheFileNameWithoutFoldersAndExtension) {
  EXPECT_EQ(TopName("a.json"), "a");
  EXPECT_EQ(TopName("x/y.z/a.b.json"), "a.b");
  EXPECT_EQ(TopName("a"), "a");
  EXPECT_EQ(TopName(" a .json"), " a ");
  EXPECT_EQ(TopName("-"), "stdin");
  // Nothing fit for a name.
  EXPECT_EQ(TopName(".json"), "tree");
  EXPECT_EQ(TopName("x/"), "tree");
  EXPECT_EQ(TopName("a\nb.json"), "tree");
  EXPECT_EQ(TopName("\xE9.json"), "tree");
}

TEST(Places, FindsWhatTheLibraryFinds) {
  Tree_NodePtr top = FromJson(R"({"a": {"b": {"c": 1}}, "": 2})");
  EXPECT_EQ(FindNode(top, "", "f").get(), top.get());
  EXPECT_EQ(View(FindNode(top, "a\\b\\c", "f")->GetKeyName()), "c");
  EXPECT_EQ(View(FindNode(top, "a\\b\\", "f")->GetKeyName()), "b");
  EXPECT_EQ(FindNode(top, "\\a", "f").get(), top.get());
  EXPECT_EQ(View(FindNode(top, "%", "f")->GetTreeValue()->GetValue()), "2");
}

struct MissingCase {
  std::string_view path;
  std::string_view line;
};
const MissingCase kMissing[] = {
    {"x", "f: no such path: x"},
    {"x/y", "f: no such path: x/y (names are joined by a backslash)"},
    {"a\\x", "f: no such path: a\\x (a has no x)"},
    {"a\\b\\c\\d", "f: no such path: a\\b\\c\\d (a\\b\\c is a value and has nothing below it)"},
    {"a\\b[2]\\c", "f: no such path: a\\b[2]\\c (a has no b[2])"},
    {"a[0]", "f: no such path: a[0]"},
    {"a[-1]", "f: no such path: a[-1]"},
    {"a[1x]", "f: no such path: a[1x]"},
    {"a[]", "f: no such path: a[]"},
    {"a[99999999999]", "f: no such path: a[99999999999]"},
    {"]", "f: no such path: ]"},
    {"a\\\x1b", "f: no such path: a\\\\x1b (a has no \\x1b)"},
};

TEST(Places, SaysWhichPartOfAPathIsMissing) {
  Tree_NodePtr top = FromJson(R"({"a": {"b": {"c": 1}}})");
  for (const MissingCase& c : kMissing) {
    SCOPED_TRACE(c.path);
    try {
      FindNode(top, c.path, "f");
      FAIL() << "found";
    } catch (const Error& error) {
      EXPECT_EQ(error.what(), c.line);
    }
  }
}

TEST(Places, NumbersReachSiblingsOfOneName) {
  Tree_NodePtr top = FromJson(
      R"({"a": {"x": 1}, "b": 0, "a": {"y": 2, "y": 3}, "a": 4, "c[2]": 5, "c": 6, "c": 7})");
  const auto value = [&](std::string_view path) {
    return std::string(View(FindNode(top, path, "f")->GetTreeValue()->GetValue()));
  };
  EXPECT_EQ(value("a[1]\\x"), "1");
  EXPECT_EQ(value("a[2]\\y"), "2");
  EXPECT_EQ(value("a[2]\\y[2]"), "3");
  EXPECT_EQ(value("a[3]"), "4");
  EXPECT_THROW(value("a[4]"), Error);
  // A name that looks like a number's use comes first.
  EXPECT_EQ(value("c[2]"), "5");
}

TEST(Places, EveryNodeIsFoundByItsPath) {
  Tree_NodePtr top =
      FromJson(R"({"a": {"x": 1, "x": [1, 2, {"z": []}]}, "b": 0, "a": {"y": 2, "y": 3}, "a": 4})");
  PathNamer namer(top.get());
  int count = 0;
  Walk(top, [&](Tree_NodePtr& node, std::size_t) {
    const std::string path = namer.PathOf(node.get());
    SCOPED_TRACE(path);
    EXPECT_EQ(FindNode(top, path, "f").get(), node.get());
    ++count;
  });
  EXPECT_EQ(count, 13);
}

// Names that look like each other with a number.
TEST(Places, EveryNodeOfARandomTreeIsFoundByItsPath) {
  constexpr const char* kNames[] = {"a", "a[2]", "a[02]", "a[2][2]", "b[1]", "b", "[2]"};
  const std::uint64_t seed = settings::Seed();
  const std::uint64_t rounds = settings::Rounds(200);
  std::size_t numbered = 0;
  for (std::uint64_t round = 0; round < rounds; ++round) {
    SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(seed + round) + " TREE_TEST_ROUNDS=1");
    std::mt19937_64 random(seed + round);
    TreeBuilder tree("t");
    for (int i = 0; i < 8; ++i) {
      tree.Enter(kNames[random() % std::size(kNames)]);
      for (int k = 0; k < 6; ++k) tree.Leaf(kNames[random() % std::size(kNames)], "x");
      tree.Leave();
    }
    Tree_NodePtr top = tree.Finish();
    PathNamer namer(top.get());
    Walk(top, [&](Tree_NodePtr& node, std::size_t) {
      const std::string path = namer.PathOf(node.get());
      EXPECT_EQ(FindNode(top, path, "f").get(), node.get()) << path;
      if (path.find("[02]") != path.npos) ++numbered;
    });
    if (testing::Test::HasFailure()) return;
  }
  if (rounds < 50) return;
  EXPECT_GT(numbered, rounds);
}

TEST(Table, EndsAtTheEdge) {
  Style style;
  style.columns = true;
  for (style.width = 1; style.width < 100; ++style.width) {
    Output out;
    Table table(style, out);
    table.Heading({"NAME", "N", "VALUE", "NOTE"});
    for (const std::size_t length : {1u, 5u, 30u, 200u}) {
      const std::string text(length, 'x');
      table.Row({{text}, {"123", Colour::kNone, true}, {text}, {text}});
    }
    table.Finish();
    const std::string& lines = out.Text();
    for (std::size_t start = 0; start < lines.size(); start = lines.find('\n', start) + 1) {
      const std::string line = lines.substr(start, lines.find('\n', start) - start);
      EXPECT_LE(DisplayWidth(line), style.width) << line;
    }
  }
}

TEST(Table, AlignsColumnsOrSeparatesByTabs) {
  Style style;
  style.columns = true;
  style.width = 20;
  const auto written = [&] {
    Output out;
    Table table(style, out);
    table.Heading({"NAME", "N", "VALUE"});
    table.Row({{"a"}, {"1", Colour::kNone, true}, {"short"}});
    table.Row({{"\xE9\x9B\x85"}, {"12", Colour::kNone, true}, {"a value that is long"}});
    table.Finish();
    return out.Text();
  };
  EXPECT_EQ(written(), "NAME   N  VALUE\na      1  short\n\xE9\x9B\x85    12  a value t…\n");
  style.width = 6;
  EXPECT_EQ(written(), "NA…  N\na    1\n\xE9\x9B\x85   …\n");
  style.columns = false;
  EXPECT_EQ(written(), "a\t1\tshort\n\xE9\x9B\x85\t12\ta value that is long\n");
}

}  // namespace
