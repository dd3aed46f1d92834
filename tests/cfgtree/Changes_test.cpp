// Which leaves are flagged as changed, and what their extraction carries.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "ChildProcess.h"
#include "ProgramLine.h"
#include "RandomTrees.h"
#include "ReaderText.h"
#include "commands/Layers.h"
#include "commands/Marks.h"
#include "commands/TreeDiff.h"
#include "property/settings.h"

using namespace cfgtree;

namespace {

struct MarkCase {
  std::string_view old_text;
  std::string_view new_text;
  std::string_view changes;  // the extraction, as JSON; empty: nothing
  // changed, added, kept whole, removed, empty, repeated
  std::vector<std::uint64_t> counts;
};
const MarkCase kMarks[] = {
    {"{}", "{}", "", {0, 0, 0, 0, 0, 0}},
    {R"({"a": "1", "b": "1"})",
     R"({"b": "2", "c": "3", "a": "1"})",
     R"({"b": "2", "c": "3"})",
     {1, 1, 0, 0, 0, 0}},
    {R"({"s": {"a": "1", "b": "1"}})",
     R"({"s": {"a": "1", "b": ""}})",
     R"({"s": {"b": ""}})",
     {1, 0, 0, 0, 0, 0}},
    // What was removed is not carried, nor are empty sub-trees.
    {R"({"a": "1", "s": {"b": "1"}})", R"({"s": {}})", "", {0, 0, 0, 2, 0, 0}},
    {R"({"e": {}})", R"({"f": {}, "a": "1"})", R"({"a": "1"})", {0, 1, 0, 1, 1, 0}},
    // A value in the place of a sub-tree carries the end of that, and the other way round.
    {R"({"s": {"a": "1", "t": {"b": "2"}}})", R"({"s": "1"})", R"({"s": "1"})", {0, 1, 0, 0, 0, 0}},
    {R"({"s": "1"})", R"({"s": {"a": "1"}})", R"({"s": {"a": "1"}})", {0, 1, 0, 0, 0, 0}},
    {R"({"s": "1"})", R"({"s": {"a": {}}})", "", {0, 0, 0, 1, 1, 0}},
    // Chunk areas go whole, whatever changed in them.
    {R"({"v": {"blobencoding": "x", "chunk0000": "1", "chunk0001": "2"}})",
     R"({"v": {"blobencoding": "x", "chunk0000": "3", "chunk0001": "2"}})",
     R"({"v": {"blobencoding": "x", "chunk0000": "3", "chunk0001": "2"}})",
     {1, 0, 2, 0, 0, 0}},
    {R"({"v": {"blobencoding": "x", "chunk0000": "1", "chunk0001": "2"}})",
     R"({"v": {"blobencoding": "x", "chunk0000": "1"}})",
     R"({"v": {"blobencoding": "x", "chunk0000": "1"}})",
     {0, 0, 2, 0, 0, 0}},
    {R"({"v": {"blobencoding": "x", "chunk0000": "1", "s": {"a": "1"}}, "w": "1"})",
     R"({"v": {"blobencoding": "x", "chunk0000": "1", "s": {"a": "2"}}, "w": "1"})",
     R"({"v": {"blobencoding": "x", "chunk0000": "1", "s": {"a": "2"}}})",
     {1, 0, 2, 0, 0, 0}},
    {R"({"v": {"blobencoding": "x", "chunk0000": "1"}, "w": "1"})",
     R"({"v": {"blobencoding": "x", "chunk0000": "1"}, "w": "2"})",
     R"({"w": "2"})",
     {1, 0, 0, 0, 0, 0}},
    {R"({"v": {"blobencoding": "", "chunk0000": "1", "a": "1"}})",
     R"({"v": {"blobencoding": "", "chunk0000": "2", "a": "1"}})",
     R"({"v": {"chunk0000": "2"}})",
     {1, 0, 0, 0, 0, 0}},
    // Siblings of one name.
    {R"({"s": {"a": "1"}, "s": {"a": "1"}})",
     R"({"s": {"a": "1"}, "s": {"a": "2"}})",
     R"({"s": {"a": "2"}})",
     {1, 0, 0, 0, 0, 1}},
};

TEST(Marks, FlagWhatChanged) {
  for (const MarkCase& c : kMarks) {
    SCOPED_TRACE(std::string(c.old_text) + " " + std::string(c.new_text));
    Tree_NodePtr old_top = JsonTree(c.old_text);
    Tree_NodePtr new_top = JsonTree(c.new_text);
    const Marks marks = MarkChanges(old_top, new_top);
    EXPECT_EQ((std::vector<std::uint64_t>{marks.changed, marks.added, marks.kept_whole,
                                          marks.removed, marks.empty, marks.repeated}),
              c.counts);
    Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(new_top);
    ASSERT_EQ(!changes, c.changes.empty());
    if (!changes) continue;
    Tree_NodePtr expected = JsonTree(c.changes);
    EXPECT_EQ(TreeText(changes), TreeText(expected));
  }
}

TEST(Marks, ClearOldFlags) {
  Tree_NodePtr old_top = JsonTree(R"({"a": "1"})");
  Tree_NodePtr new_top = JsonTree(R"({"a": "1"})");
  new_top->GetChildAt(0)->GetTreeValue()->SetIsChange(7);
  EXPECT_EQ(MarkChanges(old_top, new_top).Flagged(), 0u);
  EXPECT_FALSE(Tree_Node::GetChangesTreeNode(new_top));
}

// Laid over the old tree, the changes make the new one, but for what the marks say.
TEST(Marks, TellExactlyWhatIsNotCarried) {
  const QuietLog quiet;
  const std::uint64_t seed = settings::Seed();
  const std::uint64_t rounds = settings::Rounds(300);
  int complete = 0;
  for (std::uint64_t round = 0; round < rounds; ++round) {
    SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(seed + round) + " TREE_TEST_ROUNDS=1");
    Random random(seed + round);
    Tree_NodePtr old_top = RandomTree(random, {});
    Tree_NodePtr new_top = RandomTree(random, {});
    const Marks marks = MarkChanges(old_top, new_top);
    Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(new_top);
    ASSERT_EQ(!changes, marks.Flagged() == 0);
    Tree_NodePtr merged = MergeLayers({old_top, changes}, false);
    std::uint64_t removed = 0;
    std::uint64_t empty = 0;
    std::string other;
    CompareTrees(*merged, *new_top, [&](const Difference& difference) {
      if (difference.change == Change::kRemoved) {
        ++removed;
      } else if (difference.change == Change::kAdded && !difference.new_node->IsLeaf()) {
        ++empty;
      } else {
        other += difference.path + '\n';
      }
    });
    EXPECT_EQ(removed, marks.removed) << TreeText(old_top) << TreeText(new_top);
    EXPECT_EQ(empty, marks.empty) << TreeText(old_top) << TreeText(new_top);
    EXPECT_EQ(other, "") << TreeText(old_top) << TreeText(new_top);
    if (removed + empty == 0) ++complete;
    if (testing::Test::HasFailure()) return;
  }
  if (rounds >= 300) {
    EXPECT_GT(complete, 0);
  }
}

TEST(Marks, TakeLongChains) {
  constexpr int kLevels = 1000000;
  TreeBuilder deep_old("d");
  TreeBuilder deep_new("d");
  for (int i = 0; i < kLevels; ++i) {
    deep_old.Enter("a");
    deep_new.Enter("a");
  }
  deep_old.Leaf("x", "1");
  deep_new.Leaf("x", "2");
  Tree_NodePtr old_top = deep_old.Finish();
  Tree_NodePtr new_top = deep_new.Finish();
  EXPECT_EQ(MarkChanges(old_top, new_top).changed, 1u);
  Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(new_top);
  EXPECT_EQ(changes->GetNodeNum(), kLevels + 2);
}

// --- The program ------------------------------------------------------------------

class ChangesProgram : public testing::Test {
 protected:
  RunResult Run(const std::string& out, std::vector<std::string> more = {}) {
    std::vector<std::string> arguments = {"changes", m_old.Path(), m_new.Path(), "-o", out};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunProgram(arguments);
  }

  TempFile m_old{"old.json", R"({"ports": [80, 443], "tls": true, "gone": 1, "host": "db"})"};
  TempFile m_new{"new.json", R"({"ports": [80, 8443], "tls": true, "host": "db", "new": null})"};
};

TEST_F(ChangesProgram, WritesWhatChanged) {
  const TempFile out("changes.json", "old");
  const RunResult result = Run(out.Path());
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "cfgtree: warning: 1 array whose entries are not named 0, 1, 2, ... becomes an object\n"
            "cfgtree: " +
                out.Path() + ": 1 changed, 1 added; not carried: 1 removed\n");
  EXPECT_EQ(ReadBytes(out.Path()).find("old"), std::string::npos);
  EXPECT_EQ(RunProgram({"get", out.Path(), "ports\\1", "--json"}).out,
            R"({"path":"ports\\1","kind":"number","value":"8443"})"
            "\n");
  EXPECT_EQ(RunProgram({"get", out.Path(), "new", "--json"}).out,
            R"({"path":"new","kind":"null","value":"null"})"
            "\n");
  EXPECT_EQ(RunProgram({"get", out.Path(), "tls"}).code, 1);
}

TEST_F(ChangesProgram, WritesToStandardOutput) {
  const RunResult result = Run("-", {"--to", "text"});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out, "ports\\1\t8443\nnew\tnull\n");
  EXPECT_EQ(result.err, "cfgtree: standard output: 1 changed, 1 added; not carried: 1 removed\n");
}

TEST_F(ChangesProgram, KeepsFlagsInSerializedTrees) {
  const TempFile out("changes.tree", "");
  EXPECT_EQ(Run(out.Path()).code, 0);
  const RunResult diff = RunProgram({"diff", out.Path(), "-"}, R"({"ports": {"1": 8443},
                                                                   "new": null})");
  EXPECT_EQ(diff.out + diff.err, "");
  EXPECT_EQ(diff.code, 0);
  // The flag stands in the four bytes behind the value.
  const std::string bytes = ReadBytes(out.Path());
  const std::size_t value = bytes.find("8443");
  ASSERT_NE(value, std::string::npos);
  EXPECT_EQ(bytes.substr(value + 4, 4), std::string("\0\0\0\1", 4));
}

TEST_F(ChangesProgram, WritesNothingWhenNothingChanged) {
  const TempFile out("changes.json", "as it was");
  RunResult result = RunProgram({"changes", m_old.Path(), m_old.Path(), "-o", out.Path()});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "cfgtree: " + out.Path() + ": not written, nothing changed or added\n");
  EXPECT_EQ(ReadBytes(out.Path()), "as it was");
  result = RunProgram({"changes", m_old.Path(), "-", "-o", out.Path()}, "{}");
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.err, "cfgtree: " + out.Path() +
                            ": not written, nothing changed or added; not carried: 5 removed\n");
  EXPECT_EQ(ReadBytes(out.Path()), "as it was");
}

TEST_F(ChangesProgram, WarnsOfRepeatedNames) {
  const TempFile old_file("old.ini", "[route]\nhost = a\n[route]\nhost = b\n");
  const TempFile new_file("new.ini", "[route]\nhost = a\n[route]\nhost = c\n");
  const RunResult result =
      RunProgram({"changes", old_file.Path(), new_file.Path(), "-o", "-", "--to", "text"});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out, "route\\host\tc\n");
  EXPECT_EQ(result.err,
            "cfgtree: standard output: 1 changed, 0 added\n"
            "cfgtree: warning: 1 of these values stands below names that repeat; a merge takes the "
            "first of a name\n");
}

TEST_F(ChangesProgram, SaysInOneLineWhatIsWrongAndLeavesTheFileAlone) {
  const TempFile out("out.json", "as it was");
  const TempFile bad("bad.json", "[1,");
  const TempFile scalar("scalar.json", "1");
  const std::string old_path = m_old.Path();
  const std::string tail = "; see cfgtree --help";
  struct Case {
    std::vector<std::string> arguments;
    int code;
    std::string line;
  };
  const Case cases[] = {
      {{"changes", old_path, bad.Path(), "-o", out.Path()}, 1, bad.Path() + ":1:4: ..."},
      {{"changes", "/no/such/file", old_path, "-o", out.Path()},
       1,
       "/no/such/file: no such file or directory"},
      {{"changes", old_path, scalar.Path(), "-o", out.Path()},
       1,
       scalar.Path() + ": is a single value, of which no part can be extracted"},
      {{"changes", old_path, m_new.Path(), "-o", "/no/such/folder/x.json"},
       1,
       "/no/such/folder/x.json: no such file or directory"},
      {{"changes", old_path, m_new.Path()}, 2, "--output is required" + tail},
      {{"changes", old_path, m_new.Path(), "-o", "x", "--to", "yaml"},
       2,
       "--to: yaml not in {json,xml,ini,reg,tree,text}" + tail},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    ExpectRefusal(RunProgram(c.arguments), c.code, c.line);
    EXPECT_EQ(ReadBytes(out.Path()), "as it was");
  }
  // A name that tells no format.
  ExpectRefusal(Run("changes.what"), 2, "cannot tell what changes.what shall become...");
  ExpectRefusal(Run("-"), 2, "cannot tell what standard output shall become...");
}

}  // namespace
