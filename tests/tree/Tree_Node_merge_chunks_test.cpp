// Merge: chunk areas, which are replaced whole, and the lines of the look-ups that find
// them and of the additions.

#include <gtest/gtest.h>

#include <string>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeLines.h"
#include "support/TreeMerging.h"
#include "support/TreeText.h"

namespace {

using lines::ChunkFound;
using namespace merging;

LogLine ChunkOverride() {
  return TreeLine(7, "Tree_Node::Merge",
                  "Override = replace all the chunks ---- No-Override dont replace the chunks");
}

LogLine ValueMissing(const std::string& path) {
  return TreeLine(7, "Tree_Node::GetValue",
                  "GetValue(RWCString & path,int index,Tree_NodePtr & this_ptr): path " + path +
                      " does not exist, return \n");
}

LogLine ValueOfSubTree() {
  return TreeLine(7, "Tree_Node::GetValue",
                  "GetValue(RWCString & path,Tree_NodePtr & this_ptr) : path represent a sub "
                  "tree,return empty string\n");
}

// --- Chunk areas ------------------------------------------------------------------

TEST(Merge, ReturnsAChunkAreaItselfWhenTheOverrideIsOne) {
  for (const char* base_text :
       {"v", "v=1", "v(x=1)", "v(blobencoding=b,chunk0000=1,chunk0001=2,chunk0002=3)"}) {
    SCOPED_TRACE(base_text);
    Tree_NodePtr base = Plant(base_text);
    Tree_NodePtr override = Plant("v(blobencoding=z,chunk0000=9,chunk0001=8,own(deep=1))");
    override->SetId(5);
    LogCapture log;
    const PoolFigures before = PoolFigures::Now();
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    EXPECT_EQ(override, result);
    EXPECT_EQ(2u, override.UseCount());
    EXPECT_EQ(before, PoolFigures::Now());
    EXPECT_LOG(log, ChunkFound(), ChunkOverride());
    EXPECT_EQ("v(blobencoding=z,chunk0000=9,chunk0001=8,own(deep=1))", Draw(result));
    EXPECT_EQ(5, result->GetId());
    EXPECT_EQ(base_text, Draw(base));
  }
}

TEST(Merge, WritesTheTwoLinesOfAChunkAreaAtTheirLevels) {
  Tree_NodePtr base = Plant("t(v(x=1))");
  Tree_NodePtr override = Plant("t(v(chunk0000=9,blobencoding=z))");
  {
    LogCapture log(5);
    Tree_Node::Merge(base, override);
    EXPECT_NO_LOG(log);
  }
  {
    LogCapture log(6);
    Tree_Node::Merge(base, override);
    EXPECT_LOG(log, ChunkFound());
  }
  {
    LogCapture log(7);
    Tree_Node::Merge(base, override);
    Lines chunk_lines;
    for (const LogLine& line : log.Take()) {
      if (line.function == "Tree_Node::Merge") chunk_lines.push_back(line);
    }
    EXPECT_EQ((Lines{ChunkFound(), ChunkOverride()}), chunk_lines);
  }
}

TEST(Merge, ReplacesAChunkAreaWhole) {
  Check(Tree_Node::Merge,
        {
            {"a longer one",
             "t(v(blobencoding=b,chunk0000=1,chunk0001=2,note=n),k=1)",
             "t(v(blobencoding=z,chunk0000=9),m=2)",
             "t(m=2,v(blobencoding=z,chunk0000=9),k=1)",
             {ChunkFound()}},
            {"a plain node",
             "t(v(x=1,y(z=1)))",
             "t(v(blobencoding=z,chunk0000=9,w=2),m=2)",
             "t(m=2,v(blobencoding=z,chunk0000=9,w=2))",
             {ChunkFound()}},
            {"an empty node",
             "t(v)",
             "t(v(blobencoding=z,chunk0000=9),m=2)",
             "t(m=2,v(blobencoding=z,chunk0000=9))",
             {ChunkFound()}},
            {"far down",
             "t(a(b(c(v(x=1),k=1))))",
             "t(a(b(c(v(blobencoding=z,chunk0000=9),m=2))))",
             "t(a(b(c(m=2,v(blobencoding=z,chunk0000=9),k=1))))",
             {ChunkFound()}},
            {"two of them, in the order of the base",
             "t(v(x=1),w=1,u(y=1))",
             "t(u(blobencoding=z,chunk0000=9),v(blobencoding=z,chunk0000=8))",
             "t(v(blobencoding=z,chunk0000=8),w=1,u(blobencoding=z,chunk0000=9))",
             {ChunkFound(), ChunkFound()}},
            {"what stands below a chunk area is not looked at",
             "t(v(w(blobencoding=b,chunk0000=1,chunk0001=2)))",
             "t(v(blobencoding=z,chunk0000=9,w(blobencoding=z,chunk0000=8)))",
             "t(v(blobencoding=z,chunk0000=9,w(blobencoding=z,chunk0000=8)))",
             {ChunkFound()}},
            {"a leaf of the base is not merged at all", "t(v=1)",
             "t(v(blobencoding=z,chunk0000=9),m=2)", "t(v(blobencoding=z,chunk0000=9),m=2)"},
            {"a chunk area that the base lacks", "t(k=1)", "t(v(blobencoding=z,chunk0000=9),m=2)",
             "t(v(blobencoding=z,chunk0000=9),m=2,k=1)"},
            {"one that the override lacks", "t(v(blobencoding=b,chunk0000=1,chunk0001=2))",
             "t(m=2)", "t(m=2,v(blobencoding=b,chunk0000=1,chunk0001=2))"},
            {"the second of two in the base meets the first",
             "t(v(blobencoding=b,chunk0000=1,chunk0001=2),v(x=1))",
             "t",
             "t(v(blobencoding=b,chunk0000=1,chunk0001=2))",
             {ChunkFound()}},
            {"lines come in the order of the walk",
             "t(a(v(x=1),l(y=1)),b(v(x=1)),l(z=1))",
             "t(l=2,b(v(blobencoding=z,chunk0000=9)),a(l=2,v(blobencoding=z,chunk0000=8)))",
             "t(a(v(blobencoding=z,chunk0000=8),l=2),b(v(blobencoding=z,chunk0000=9)),l=2)",
             {ChunkFound(), lines::InsertIntoLeaf("l"), ChunkFound(), lines::InsertIntoLeaf("l")}},
        });
}

TEST(Merge, MergesANodeThatOnlyLooksLikeAChunkArea) {
  const char* const kBase = "t(v(blobencoding=b,chunk0000=1,chunk0001=2))";
  Check(
      Tree_Node::Merge,
      {
          {"the base is one, the override is not", kBase, "t(v(x=9))",
           "t(v(x=9,blobencoding=b,chunk0000=1,chunk0001=2))"},
          {"no chunk0000", kBase, "t(v(blobencoding=z,chunk0001=9))",
           "t(v(blobencoding=z,chunk0001=9,chunk0000=1))"},
          {"an empty chunk0000", kBase, "t(v(blobencoding=z,chunk0000=))",
           "t(v(blobencoding=z,chunk0000=,chunk0001=2))"},
          {"a sub-tree chunk0000", kBase, "t(v(blobencoding=z,chunk0000(x=9)))",
           "t(v(blobencoding=z,chunk0000(x=9),chunk0001=2))"},
          {"no blobencoding", kBase, "t(v(chunk0000=9))",
           "t(v(chunk0000=9,blobencoding=b,chunk0001=2))"},
          {"an empty blobencoding", kBase, "t(v(blobencoding=,chunk0000=9))",
           "t(v(blobencoding=,chunk0000=9,chunk0001=2))"},
          {"a sub-tree blobencoding", kBase, "t(v(blobencoding(x=9),chunk0000=9))",
           "t(v(blobencoding(x=9),chunk0000=9,chunk0001=2))"},
          {"other names", kBase, "t(v(Blobencoding=z,chunk0000=9))",
           "t(v(Blobencoding=z,chunk0000=9,blobencoding=b,chunk0001=2))"},
          {"another chunk", kBase, "t(v(blobencoding=z,chunk0002=9))",
           "t(v(blobencoding=z,chunk0002=9,chunk0000=1,chunk0001=2))"},
          {"the first blobencoding counts", kBase, "t(v(blobencoding=,blobencoding=z,chunk0000=9))",
           "t(v(blobencoding=,blobencoding=z,chunk0000=9,chunk0001=2))"},
          {"the first chunk0000 counts", kBase, "t(v(blobencoding=z,chunk0000,chunk0000=9))",
           "t(v(blobencoding=z,chunk0000,chunk0000=9,chunk0001=2))"},
      });
  Check(Tree_Node::Merge, {{"whatever comes second",
                            kBase,
                            "t(v(chunk0000=9,blobencoding=z,blobencoding=,chunk0000=))",
                            "t(v(chunk0000=9,blobencoding=z,blobencoding=,chunk0000=))",
                            {ChunkFound()}}});
}

// The values are looked up by path, where a name ends with its first zero byte.
TEST(Merge, FindsTheNamesOfAChunkAreaUpToAZeroByte) {
  Tree_NodePtr base = Plant("v(x=1)");
  Tree_NodePtr override = Plant("v(first=z,chunk0000=9)");
  override->GetChildAt(0)->SetKeyName(Bytes(std::string("blobencoding\0x", 14)));
  LogCapture log(6);
  EXPECT_EQ(override, Tree_Node::Merge(base, override));
  EXPECT_LOG(log, ChunkFound());
}

TEST(Merge, TakesAValueOfZeroBytesForAValue) {
  Tree_NodePtr base = Plant("v(x=1)");
  Tree_NodePtr override = Plant("v");
  Tree_NodePtr encoding = Leaf("blobencoding", Bytes("\0"));
  Tree_NodePtr chunk = Leaf("chunk0000", Bytes("\0"));
  override->Add(encoding);
  override->Add(chunk);
  EXPECT_EQ(override, Tree_Node::Merge(base, override));
}

TEST(Merge, TakesAChunkThatLostItsValueForNone) {
  Tree_NodePtr base = Plant("v(x=1)");
  Tree_NodePtr override = Plant("v(blobencoding=z)");
  Tree_NodePtr chunk = LeafWithoutValue("chunk0000");
  override->Add(chunk);
  LogCapture log(6);
  EXPECT_EQ("v(blobencoding=z,chunk0000,x=1)", Merged(Tree_Node::Merge, base, override));
  EXPECT_NO_LOG(log);
}

TEST(Merge, CopiesAChunkAreaBelowTheTop) {
  Tree_NodePtr base = Plant("t(v(x=1))");
  Tree_NodePtr override = Plant("t(v(blobencoding=z,chunk0000=9))");
  Tree_NodePtr result = Tree_Node::Merge(base, override);
  EXPECT_FALSE(Share(result, override));
  override->GetChildAt(0)->GetChildAt(0)->GetTreeValue()->SetValue(RWCString("changed"));
  EXPECT_EQ("t(v(blobencoding=z,chunk0000=9))", Draw(result));
}

// --- Lines of level 7 -------------------------------------------------------------

TEST(Merge, WritesTheLinesOfItsLookUpsAndAdditions) {
  struct Case {
    const char* base;
    const char* override;
    Lines lines;
  };
  const Case cases[] = {
      {"t", "t", {ValueMissing("blobencoding")}},
      {"t=1", "t=2", {ValueMissing("blobencoding")}},
      {"t(a=1)",
       "t",
       {ValueMissing("blobencoding"), lines::AddStart(), lines::InsertStart(0, -1),
        lines::InsertEnd()}},
      {"t(a=1,b=1,a=2)",
       "t",
       {ValueMissing("blobencoding"), lines::AddStart(), lines::InsertStart(0, -1),
        lines::InsertEnd(), lines::AddStart(), lines::InsertStart(1, -1), lines::InsertEnd()}},
      {"t(a=1)",
       "t=2",
       {ValueMissing("blobencoding"), lines::AddStart(), lines::InsertStart(0, -1),
        lines::InsertIntoLeaf("t")}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.base) + " " + c.override);
    Tree_NodePtr base = Plant(c.base);
    Tree_NodePtr override = Plant(c.override);
    LogCapture log;
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    Lines written = log.Take();
    // A copy that was refused had no children vector to clear.
    EXPECT_EQ(c.lines, written);
  }
}

TEST(Merge, LooksForTheChunkOnlyBehindAnEncoding) {
  struct Case {
    const char* override;
    Lines lines;
  };
  const Case cases[] = {
      {"t(x=1)", {ValueMissing("blobencoding")}},
      {"t(chunk0000=1)", {ValueMissing("blobencoding")}},
      {"t(blobencoding=)", {}},
      {"t(blobencoding)", {ValueOfSubTree()}},
      {"t(blobencoding=b)", {ValueMissing("chunk0000")}},
      {"t(blobencoding=b,chunk0000)", {ValueOfSubTree()}},
      {"t(blobencoding=b,chunk0000=)", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.override);
    Tree_NodePtr base = Plant("t");
    Tree_NodePtr override = Plant(c.override);
    LogCapture log;
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    Lines look_ups;
    for (const LogLine& line : log.Take()) {
      if (line.function == "Tree_Node::GetValue") look_ups.push_back(line);
    }
    EXPECT_EQ(c.lines, look_ups);
  }
}

}  // namespace
