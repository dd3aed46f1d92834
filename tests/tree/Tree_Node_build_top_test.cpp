// Tree_Node::BuildSubTree: the node on top of what is built, and the one that is asked.
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

// --- The top node -----------------------------------------------------------------------

struct RootCase {
  const char* root_path;
  const char* name;
  const char* full_path;  // of the top node
};
const RootCase kRootCases[] = {
    {"a", "a", "a\\a"},
    {"a\\b", "b", "a\\b\\b"},
    {"sys\\main\\cfg", "cfg", "sys\\main\\cfg\\cfg"},
    {"\\a", "a", "\\a\\a"},
    {"a\\\\b", "b", "a\\\\b\\b"},
    {"a b", "a b", "a b\\a b"},
};

TEST(BuildSubTree, NamesTheTopAfterTheEndOfTheRootPathAndKeepsAllOfIt) {
  for (const RootCase& c : kRootCases) {
    SCOPED_TRACE(c.root_path);
    LogCapture log(6);
    Tree_NodePtr built = Build(NewList({"x", "x|y=1"}), c.root_path);
    EXPECT_EQ((Lines{Start(c.root_path), End(c.root_path)}), OfTheTree(log));
    EXPECT_EQ(std::string(c.name) + "(x(y=1))", Draw(built));
    EXPECT_EQ(c.root_path, Text(built->GetVirtualParentPath()));
    EXPECT_EQ(c.full_path, Text(built->GetPath()));
    Tree_NodePtr x = built->GetChildAt(0);
    EXPECT_EQ(c.full_path + std::string("\\x\\y"), Text(x->GetChildAt(0)->GetPath()));
    EXPECT_EQ("", Text(x->GetVirtualParentPath()));
    EXPECT_EQ(built.get(), x->GetParent());
    EXPECT_EQ(nullptr, built->GetParent());
    EXPECT_EQ(nullptr, built->GetTreeValue());
    EXPECT_EQ(0, built->GetId());
    EXPECT_TRUE(built->IsAllowsChildren());
  }
}

TEST(BuildSubTree, StripsTheNameOfTheTopButNotItsPath) {
  LogCapture log(6);
  Tree_NodePtr built = Build(NewList({"x=1"}), " a\\ b ");
  EXPECT_EQ((Lines{lines::NameFixed(" b ", "b"), Start(" a\\ b "), End(" a\\ b ")}),
            OfTheTree(log));
  EXPECT_EQ("b(x=1)", Draw(built));
  EXPECT_EQ(" a\\ b ", Text(built->GetVirtualParentPath()));
  EXPECT_EQ(" a\\ b \\b", Text(built->GetPath()));
}

TEST(BuildSubTree, TakesTheBackslashWhateverTheSeparatorIs) {
  const RWCString saved = Tree_Node::separator;
  Tree_Node::separator = "/";
  Tree_NodePtr built = Build(NewList({"x\\y|z=1", "x/y=2"}), "a\\b");
  EXPECT_EQ("b(x/y=2,x(y(z=1)))", Draw(built));
  EXPECT_EQ("a\\b", Text(built->GetVirtualParentPath()));
  EXPECT_EQ("a\\b/b", Text(built->GetPath()));
  built = Build(nullptr, "a/b");
  EXPECT_EQ("a/b", Draw(built));
  Tree_Node::separator = saved;
}

TEST(BuildSubTree, MakesATopAloneOfNoRecords) {
  LogCapture log;
  Tree_NodePtr of_null = Build(nullptr, "a\\b");
  Tree_NodePtr of_empty = Build(new RecordList, "a\\b");
  EXPECT_EQ((Lines{Start("a\\b"), End("a\\b"), Start("a\\b"), End("a\\b")}), OfTheTree(log));
  for (const Tree_NodePtr& built : {of_null, of_empty}) {
    EXPECT_EQ("b", Draw(built));
    EXPECT_FALSE(built->IsLeaf());
    EXPECT_EQ("a\\b", Text(built->GetVirtualParentPath()));
    EXPECT_EQ("a\\b\\b", Text(built->GetPath()));
  }
  EXPECT_NE(of_null, of_empty);
}

TEST(BuildSubTree, RefusesATopWithoutNameAndTakesNothing) {
  for (const char* root_path : {"", "\\", "a\\", "a\\b\\", "\\\\"}) {
    SCOPED_TRACE(root_path);
    RecordList* const list = NewList({"a=1", "b", "b|c=2"});
    Tree_NodeInfo* const first = list->at(0);
    LogCapture log;
    EXPECT_TRUE(Build(list, root_path).isNull());
    EXPECT_TRUE(Build(nullptr, root_path).isNull());
    EXPECT_EQ(Lines{}, OfTheTree(log));
    EXPECT_EQ((Texts{"a=1", "b", "b|c=2"}), TextsOf(*list));
    EXPECT_EQ(first, list->at(0));

    // They may be used again.
    EXPECT_EQ("top(a=1,b(c=2))", Draw(Build(list)));
  }
}

// --- The node that is asked ---------------------------------------------------------------

TEST(BuildSubTree, NeitherReadsNorChangesTheNodeThatIsAsked) {
  Tree_NodePtr top = Plant("top(a(b=1),p(q=2*),x=3)");
  RWCString above("sys");
  top->SetVirtualParentPath(above);
  Tree_NodePtr of_itself = top->GetChildAt(0);
  for (Tree_NodePtr asked : {top, of_itself, top->GetChildAt(2)}) {
    SCOPED_TRACE(Draw(asked));
    RWCString root_path("top");
    LogCapture log(6);
    Tree_NodePtr built = asked->BuildSubTree(NewList({"a|b=5", "p|q=6", "x", "y=7"}), root_path);
    EXPECT_EQ((Lines{Start("top"), End("top")}), OfTheTree(log));
    EXPECT_EQ("top(a(b=5),p(q=6),x,y=7)", Draw(built));
    EXPECT_EQ("top(a(b=1),p(q=2*),x=3)", Draw(top));
    EXPECT_EQ("sys", Text(top->GetVirtualParentPath()));
  }
}

TEST(BuildSubTree, HandsOutATreeThatNobodyElseHolds) {
  const PoolFigures before = PoolFigures::Now();
  Tree_NodePtr built = Build(NewList({"a|b=1", "p", "p|q=2", "z=3"}));
  // a, b, p, q, z and the top; what the top, a and p list.
  EXPECT_EQ((PoolFigures{6, 3, 5, 3, 6}), PoolFigures::Now() - before);
  built = Tree_NodePtr();
  EXPECT_EQ((PoolFigures{0, 0, 0, 0, 0}), PoolFigures::Now() - before);
}

}  // namespace
