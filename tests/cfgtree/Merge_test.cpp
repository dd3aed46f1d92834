// Files laid over each other.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "ChildProcess.h"
#include "ProgramLine.h"
#include "RandomTrees.h"
#include "ReaderText.h"
#include "commands/Layers.h"

using namespace cfgtree;

namespace {

struct MergeCase {
  std::vector<std::string_view> layers;
  std::string_view expected;  // as JSON, in the order of the result
  bool one_level = false;
};
const MergeCase kMerges[] = {
    {{"{}", "{}"}, "{}"},
    {{R"({"a": "1", "b": "1"})", R"({"b": "2"})"}, R"({"b": "2", "a": "1"})"},
    {{R"({"a": "1"})", R"({"a": "2"})", R"({"a": "3"})"}, R"({"a": "3"})"},
    // The last layer wins although the one before it lacks the value.
    {{R"({"a": "1", "b": "1"})", R"({"b": "2"})", R"({"a": "3"})"}, R"({"a": "3", "b": "2"})"},
    // Sub-trees that both sides have move to the end.
    {{R"({"s": {"x": "1"}, "a": "1"})", R"({"s": {"y": "2"}, "b": "2"})"},
     R"({"b": "2", "s": {"y": "2", "x": "1"}, "a": "1"})"},
    {{R"({"s": {"x": "1"}, "a": "1"})", R"({"s": {"y": "2"}, "b": "2"})"},
     R"({"s": {"y": "2"}, "b": "2", "a": "1"})",
     true},
    {{R"({"v": {"blobencoding": "x", "chunk0000": "1", "chunk0001": "2"}, "a": "1"})",
      R"({"v": {"blobencoding": "x", "chunk0000": "3"}, "b": "2"})"},
     R"({"b": "2", "v": {"blobencoding": "x", "chunk0000": "3"}, "a": "1"})"},
};

TEST(MergeLayers, FoldsFromTheLowestUp) {
  for (const MergeCase& c : kMerges) {
    std::string trace;
    for (const std::string_view layer : c.layers) trace += std::string(layer) + ' ';
    SCOPED_TRACE(trace);
    Tree_NodePtr merged = MergeLayers(JsonLayers(c.layers), c.one_level);
    Tree_NodePtr expected = JsonTree(c.expected);
    EXPECT_EQ(TreeText(merged), TreeText(expected));
  }
}

TEST(MergeLayers, OfOneIsThatOne) {
  const std::vector<Tree_NodePtr> layers = JsonLayers({R"({"a": "1"})"});
  EXPECT_EQ(MergeLayers(layers, false).get(), layers[0].get());
}

TEST(RepeatedNames, AreCounted) {
  Tree_NodePtr none = JsonTree(R"({"a": {"a": 1, "b": 1}, "b": [1, 2]})");
  EXPECT_EQ(CountRepeatedNames(none), 0u);
  Tree_NodePtr some = JsonTree(R"({"a": {"a": 1, "b": 1, "a": 2, "a": 3}, "b": 1, "a": 1})");
  EXPECT_EQ(CountRepeatedNames(some), 3u);
}

// --- The program ------------------------------------------------------------------

class MergeProgram : public testing::Test {
 protected:
  TempFile m_base{"base.json",
                  "{\n  \"host\": \"db\",\n  \"port\": 80,\n  \"tls\": true,\n  \"l\": [1, 2],\n"
                  "  \"none\": null,\n  \"e\": {}\n}\n"};
  TempFile m_site{"site.json", R"({"port": 8080, "l": [3], "x": "1"})"};
};

TEST_F(MergeProgram, KeepsTheKindsOfJson) {
  const TempFile out("merged.json", "");
  const RunResult result = RunProgram({"merge", m_base.Path(), m_site.Path(), "-o", out.Path()});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out + result.err, "");
  EXPECT_EQ(ReadBytes(out.Path()),
            "{\n  \"port\": 8080,\n  \"x\": \"1\",\n  \"host\": \"db\",\n  \"tls\": true,\n"
            "  \"l\": [\n    3,\n    2\n  ],\n  \"none\": null,\n  \"e\": {}\n}\n");
}

TEST_F(MergeProgram, KeepsTheTypesOfTheRegistry) {
  const TempFile base("base.reg",
                      "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\P]\n@=\"x\"\n\"N\"=dword:0000000a\n"
                      "\"H\"=hex:01,02\n\"T\"=\"dword:1\"\n");
  const TempFile site("site.reg", "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\P]\n\"N\"=dword:0000000b\n");
  const TempFile out("merged.reg", "");
  const RunResult result = RunProgram({"merge", base.Path(), site.Path(), "-o", out.Path()});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out + result.err, "");
  EXPECT_EQ(RunProgram({"ls", out.Path(), "HKEY_LOCAL_MACHINE\\P"}).out,
            "N\ttext\tdword:0000000b\n@\ttext\tx\nH\ttext\thex:01,02\nT\ttext\t\"dword:1\"\n");
  const RunResult diff = RunProgram({"diff", base.Path(), out.Path()});
  EXPECT_EQ(diff.out, "~\tHKEY_LOCAL_MACHINE\\P\\N\tdword:0000000a\tdword:0000000b\n");
}

TEST_F(MergeProgram, WritesTextToStandardOutput) {
  const RunResult result = RunProgram({"merge", m_base.Path(), "-", "-o", "-", "--to", "text"},
                                      R"({"host": "x", "new": {"a": 1}})");
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out,
            "host\tx\nnew\\a\t1\nport\t80\ntls\ttrue\nl\\0\t1\nl\\1\t2\nnone\tnull\ne\\\t\n");
}

TEST_F(MergeProgram, CallsTheTopAfterTheBase) {
  const TempFile out("merged.tree", "");
  EXPECT_EQ(RunProgram({"merge", m_base.Path(), m_site.Path(), "-o", out.Path()}).code, 0);
  const std::string base_name = TopName(m_base.Path());
  EXPECT_EQ(RunProgram({"print", out.Path(), "--depth", "0"}).out.find(base_name + " ("), 0u);
}

TEST_F(MergeProgram, MergesOneLevelWhenAsked) {
  const RunResult result =
      RunProgram({"merge", "--one-level", "-", m_site.Path(), "-o", "-", "--to", "text"},
                 R"({"l": [1, 2, 3], "y": "2"})");
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out, "port\t8080\nl\\0\t3\nx\t1\ny\t2\n");
}

TEST_F(MergeProgram, WarnsOfRepeatedNamesInAllLayersButTheLast) {
  const TempFile ini("routes.ini", "[route]\nhost = a\n[route]\nhost = b\n[route]\nhost = c\n");
  RunResult result = RunProgram({"merge", ini.Path(), m_site.Path(), "-o", "-", "--to", "text"});
  EXPECT_EQ(result.code, 0);
  EXPECT_NE(result.out.find("route\\host\ta\n"), std::string::npos);
  EXPECT_EQ(result.out.find("route[2]"), std::string::npos);
  EXPECT_NE(result.err.find("cfgtree: warning: " + ini.Path() +
                            ": 2 nodes bear the name of an earlier sibling and are not kept "
                            "apart by a merge\n"),
            std::string::npos)
      << result.err;
  result = RunProgram({"merge", m_site.Path(), ini.Path(), "-o", "-", "--to", "text"});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.err.find("not kept apart"), std::string::npos) << result.err;
  EXPECT_NE(result.out.find("route[3]\\host\tc\n"), std::string::npos);
}

TEST_F(MergeProgram, AgreesWithTheLibrarysLog) {
  const RunResult result = RunProgram(
      {"merge", "-", m_site.Path(), "-o", "-", "--to", "text", "--log", "6"}, R"({"l": {"a": 1}})");
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.err.find("Found chunk area"), std::string::npos);
  const TempFile area("area.json", R"({"l": {"blobencoding": "x", "chunk0000": "1"}})");
  const RunResult chunked = RunProgram(
      {"merge", "-", area.Path(), "-o", "-", "--to", "text", "--log", "6"}, R"({"l": {"a": 1}})");
  EXPECT_EQ(chunked.out, "l\\blobencoding\tx\nl\\chunk0000\t1\n");
  EXPECT_NE(chunked.err.find("log 6 Tree_Node::Merge: Found chunk area that should be kept united "
                             "Modifying it accordingly\n"),
            std::string::npos)
      << chunked.err;
}

TEST(Help, OfEachCommandHasExamples) {
  for (const char* const command : {"merge", "explain", "diff", "changes", "checksum"}) {
    const RunResult result = RunProgram({command, "--help"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_NE(result.out.find(std::string("Usage: cfgtree ") + command), std::string::npos);
    EXPECT_NE(result.out.find(std::string("Examples:\n  cfgtree ") + command), std::string::npos);
  }
}

#if !defined(_WIN32)

TEST(CommandsOnASmallStack, TakeAMillionLevels) {
  constexpr int kLevels = 1000000;
  const auto chain = [](const char* value) {
    return std::string(kLevels, '[') + value + std::string(kLevels, ']');
  };
  const TempFile old_file("old.json", chain("1"));
  const TempFile new_file("new.json", chain("2"));
  const TempFile out("out.tree", "");
  const std::string files = ShellWord(old_file.Path()) + " " + ShellWord(new_file.Path());
  const std::string limited = "ulimit -s 1024; " + ShellWord(CFGTREE_PROGRAM) + " ";
  const std::string to = " -o " + ShellWord(out.Path()) + " 2>/dev/null";
  EXPECT_EQ(RunShell(limited + "merge " + files + to), 0);
  EXPECT_EQ(RunShell(limited + "changes " + files + to), 0);
  EXPECT_EQ(RunShell(limited + "explain '0\\0' " + files + " >/dev/null"), 0);
  EXPECT_EQ(RunShell(limited + "diff " + files + " >/dev/null"), 1);
  EXPECT_EQ(RunShell(limited + "checksum " + ShellWord(old_file.Path()) + " >/dev/null"), 0);
}

#else

TEST(CommandsOnASmallStack, TakeAMillionLevels) {
  GTEST_SKIP() << "needs a POSIX shell; the programs have 1 MiB of stack here anyway";
}

#endif

TEST_F(MergeProgram, SaysInOneLineWhatIsWrongAndLeavesTheFileAlone) {
  const TempFile out("out.json", "as it was");
  const TempFile bad("bad.json", "{\"a\": }");
  const std::string base = m_base.Path();
  const std::string tail = "; see cfgtree --help";
  struct Case {
    std::vector<std::string> arguments;
    int code;
    std::string line;
  };
  const Case cases[] = {
      {{"merge", base, bad.Path(), "-o", out.Path()}, 1, bad.Path() + ":1:7: ..."},
      {{"merge", bad.Path(), base, "-o", out.Path()}, 1, bad.Path() + ":1:7: ..."},
      {{"merge", base, "/no/such/file", "-o", out.Path()},
       1,
       "/no/such/file: no such file or directory"},
      {{"merge", base, base, "-o", "/no/such/folder/x.json"},
       1,
       "/no/such/folder/x.json: no such file or directory"},
      {{"merge", base, base, "-o", "/"}, 2, "cannot tell what / shall become..."},
      {{"merge", base, "-o", out.Path()}, 2, "OVERRIDE is required" + tail},
      {{"merge", "-o", out.Path()}, 2, "BASE is required" + tail},
      {{"merge", base, base}, 2, "--output is required" + tail},
      {{"merge", base, base, "-o"}, 2, "--output needs a value" + tail},
      {{"merge", "-", "-", "-o", out.Path()}, 2, "only one file can be standard input" + tail},
      {{"merge", base, base, "-o", out.Path(), "--to", "yaml"},
       2,
       "--to: yaml not in {json,xml,ini,reg,tree,text}" + tail},
      {{"merge", base, base, "-o", out.Path(), "--two-level"},
       2,
       "unknown option --two-level" + tail},
      {{"merge", base, base, "-o", out.Path(), "--json"}, 2, "unknown option --json" + tail},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    ExpectRefusal(RunProgram(c.arguments), c.code, c.line);
    EXPECT_EQ(ReadBytes(out.Path()), "as it was");
  }
}

}  // namespace
