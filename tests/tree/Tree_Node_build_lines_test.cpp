// Tree_Node::BuildSubTree: the lines that it writes, and what is left when it fails.
//
// Trees are drawn as in support/TreeText.h, records written as in support/TreeRecords.h.

#include <gtest/gtest.h>

#include <string>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeBuilding.h"
#include "support/TreeLines.h"
#include "support/TreeRecords.h"
#include "support/TreeText.h"

namespace {

using namespace building;

// What creation by path writes for a node that becomes child number `index`.
Lines Made(int index) {
  return {lines::InsertStart(index, -1), lines::InsertEnd()};
}

// --- Lines ----------------------------------------------------------------------------------

TEST(BuildSubTree, WritesTheLinesOfWhatItAdds) {
  LogCapture log;
  Tree_NodePtr built = Build(NewList({"a=1", "p", "p|q=2", "p\\r\\s|t=3", "p\\r\\s|t=4", "z"}));
  const Lines expected = Lines{Start("top")} + lines::Added(0) + lines::Added(1) + lines::Added(0) +
                         Made(1) + Made(0) + lines::Added(0) + Lines{Skipped("p\\r\\s\\t")} +
                         lines::Added(2) + Lines{End("top")};
  EXPECT_EQ(expected, OfTheTree(log));
  EXPECT_EQ("top(a=1,p(q=2,r(s(t=3))),z)", Draw(built));
}

TEST(BuildSubTree, WritesNameLinesBeforeTheNodesAreAdded) {
  LogCapture log;
  Tree_NodePtr built = Build(NewList({" p | q =1", " p | r "}), " top ");
  const Lines expected =
      Lines{lines::NameFixed(" top ", "top"), Start(" top "), lines::NameFixed(" p ", "p")} +
      Made(0) + Lines{lines::NameFixed(" q ", "q")} + lines::Added(0) +
      Lines{lines::NameFixed(" r ", "r")} + lines::Added(1) + Lines{End(" top ")};
  EXPECT_EQ(expected, OfTheTree(log));
  EXPECT_EQ("top(p(q=1,r))", Draw(built));
}

TEST(BuildSubTree, WritesTheRefusalsOfLeaves) {
  LogCapture log;
  Tree_NodePtr built = Build(NewList({"a=1", "aB=2", "a|c=3"}));
  const Lines expected =
      Lines{Start("top")} + lines::Added(0) + lines::Added(1) +
      Lines{lines::AddStart(), lines::InsertStart(0, -1), lines::InsertIntoLeaf("a"), End("top")};
  EXPECT_EQ(expected, OfTheTree(log));
}

TEST(BuildSubTree, WritesTheRefusalOfAParentBelowALeaf) {
  LogCapture log;
  Tree_NodePtr built = Build(NewList({"a=1", "aB=2", "a\\c|d=3", "b=4"}));
  // The node c goes with what it lists as soon as nothing is added to it any more.
  const Lines expected = Lines{Start("top")} + lines::Added(0) + lines::Added(1) +
                         Lines{lines::InsertStart(0, -1), lines::InsertIntoLeaf("a")} +
                         lines::Added(0) + Lines{VecLine(1)} + lines::Added(2) + Lines{End("top")};
  EXPECT_EQ(expected, OfTheTree(log));
  EXPECT_EQ("top(a=1,aB=2,b=4)", Draw(built));
}

TEST(BuildSubTree, WritesTwoLinesWhenItFailsAndLetsEverythingGo) {
  LogCapture log;
  EXPECT_TRUE(Build(NewList({"a=1", "a|b=2", "c=3", "d|e=4"})).isNull());
  EXPECT_EQ((Lines{Start("top")} + lines::Added(0) + Failed() + Lines{VecLine(1)}), OfTheTree(log));

  EXPECT_TRUE(Build(NewList({"\\x|a=1", "c=3"})).isNull());
  EXPECT_EQ(Lines{Start("top")} + Failed(), OfTheTree(log));

  EXPECT_TRUE(Build(NewList({"A\\B|b=1", "a=1", "a|b=2"})).isNull());
  EXPECT_EQ((Lines{Start("top")} + Made(0) + Made(0) + lines::Added(0) + lines::Added(1) +
             Failed() + Lines{VecLine(2), VecLine(1), VecLine(1)}),
            OfTheTree(log));
}

TEST(BuildSubTree, WritesOnlyWhatTheLevelAccepts) {
  const Texts records = {" q =1", " q =2", "q=3", "r=1", "r|s=2"};
  const Lines all = Lines{Start("top"), lines::NameFixed(" q ", "q"), lines::NameFixed(" q ", "q"),
                          Skipped("q")} +
                    Failed();
  for (int level = 0; level <= 6; ++level) {
    SCOPED_TRACE(level);
    Lines expected;
    for (const LogLine& line : all) {
      if (line.level <= level) expected.push_back(line);
    }
    LogCapture log(level);
    EXPECT_TRUE(Build(NewList(records)).isNull());
    EXPECT_EQ(expected, OfTheTree(log));
  }
}

TEST(BuildSubTree, PrintsPercentSignsOfPathsAsTheyAre) {
  LogCapture log(6);
  Build(NewList({"%s%d=1", "%s%d=2"}), "%n");
  EXPECT_EQ((Lines{Start("%n"), Skipped("%s%d"), End("%n")}), OfTheTree(log));
}

// --- Failing ----------------------------------------------------------------------------------

TEST(BuildSubTree, LetsGoOfEverythingWhereverItFails) {
  // A record that cannot be placed, behind and before any number of others.
  for (int before = 0; before < 6; ++before) {
    for (int behind = 0; behind < 6; ++behind) {
      Texts records;
      for (int i = 0; i < before; ++i) {
        records.push_back("a" + std::to_string(i) + (i % 2 == 0 ? "=1" : "|b=2"));
      }
      records.push_back("m=3");
      records.push_back("m|n=4");
      for (int i = 0; i < behind; ++i) records.push_back("z" + std::to_string(i) + "=5");
      const PoolFigures figures = PoolFigures::Now();
      LogCapture log(3);
      EXPECT_TRUE(Build(NewList(records)).isNull());
      EXPECT_EQ(Failed(), OfTheTree(log));
      EXPECT_EQ(figures, PoolFigures::Now());
    }
  }
}

}  // namespace
