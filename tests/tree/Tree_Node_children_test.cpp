// Finding the children of one node, and the lines that are written when one is attached,
// detached or looked for.

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/TreeChildren.h"
#include "support/TreeLines.h"
#include "support/TreeText.h"

namespace {

// --- Asking ---------------------------------------------------------------------

TEST(TreeNodeChildAt, YieldsTheStoredHandle) {
  Tree_NodePtr top = Plant("top(a,b)");
  LogCapture log;
  Tree_NodePtr& slot = top->GetChildAt(1);
  EXPECT_EQ("b", Text(slot->GetKeyName()));
  EXPECT_EQ(&slot, &top->GetChildAt(1));
  EXPECT_NE(&slot, &top->GetChildAt(0));
  EXPECT_EQ(1u, slot.UseCount());
  EXPECT_NO_LOG(log);
}

TEST(TreeNodeChildAt, KeepsTheHandleInItsPlaceWhileOthersComeAndGo) {
  Tree_NodePtr top = Plant("top(a,b,c)");
  Tree_NodePtr* const slot = &top->GetChildAt(1);
  for (int i = 0; i < 100; ++i) {
    Tree_NodePtr more = Inner("more");
    top->Insert(more, 0, -1);
  }
  top->Remove(top->GetChildCount() - 1);
  EXPECT_EQ(slot, &top->GetChildAt(101));
}

TEST(TreeNodeChildAt, YieldsTheNullHandleForABadIndex) {
  Tree_NodePtr top = Plant("top(mid(a,b),none,leaf=v)");
  Tree_NodePtr emptied = Child(top, 0)->DuplicateFromHereDown(false);
  emptied->Remove(0);
  emptied->Remove(0);
  const struct {
    Tree_NodePtr node;
    const char* path;
    int count;
  } kNodes[] = {
      {Child(top, 0), "top\\mid", 2},
      // Without a vector too, the index is tested against the count first.
      {Child(top, 1), "top\\none", 0},
      {Child(top, 2), "top\\leaf", 0},
      {emptied, "mid", 0},
  };
  for (const auto& c : kNodes) {
    LogCapture log;
    for (const int index : {-1, -2, INT_MIN}) {
      SCOPED_TRACE(testing::Message() << c.path << " " << index);
      EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &c.node->GetChildAt(index));
      EXPECT_LOG(log, lines::ChildIndexBelowZero(c.path, index));
    }
    for (const int index : {c.count, c.count + 1, INT_MAX}) {
      SCOPED_TRACE(testing::Message() << c.path << " " << index);
      EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &c.node->GetChildAt(index));
      EXPECT_LOG(log, lines::ChildIndexTooHigh());
    }
  }
  EXPECT_TRUE(Tree_Node::NULL_TREE_NODE_PTR.isNull());
}

TEST(TreeNodeIndex, IsThePositionOfTheNode) {
  Tree_NodePtr top = Plant("top(a,a,b(a))");
  LogCapture log;
  for (int i = 0; i < 3; ++i) {
    Tree_NodePtr child = Child(top, i);
    EXPECT_EQ(i, top->GetIndex(child));
  }
  Tree_NodePtr deep = Child(Child(top, 2), 0);
  Tree_NodePtr stranger = Inner("a");
  Tree_NodePtr null;
  EXPECT_EQ(-1, top->GetIndex(deep));
  EXPECT_EQ(-1, top->GetIndex(stranger));
  EXPECT_EQ(-1, top->GetIndex(top));
  EXPECT_EQ(-1, top->GetIndex(null));
  EXPECT_NO_LOG(log);
}

TEST(TreeNodeIndex, IsRefusedWithoutAVector) {
  Tree_NodePtr top = Inner("top");
  Tree_NodePtr stranger = Inner("a");
  Tree_NodePtr null;
  LogCapture log;
  EXPECT_EQ(-1, top->GetIndex(stranger));
  EXPECT_LOG(log, lines::IndexWithoutVector());
  EXPECT_EQ(-1, top->GetIndex(null));
  EXPECT_LOG(log, lines::IndexWithoutVector());
}

TEST(TreeNodeIsChild, AsksForTheParentAndForAnyChildAtAll) {
  Tree_NodePtr top = Plant("top(a(deep),b)");
  Tree_NodePtr a = Child(top, 0);
  Tree_NodePtr deep = Child(a, 0);
  Tree_NodePtr claims = Inner("claims");
  Tree_NodePtr none = Inner("none");
  Tree_NodePtr claims_none = Inner("claims none");
  claims->SetParent(top.get());
  claims_none->SetParent(none.get());
  LogCapture log;
  EXPECT_EQ(1, top->IsNodeChild(a));
  EXPECT_EQ(0, top->IsNodeChild(deep));
  EXPECT_EQ(1, a->IsNodeChild(deep));
  EXPECT_EQ(0, top->IsNodeChild(top));
  EXPECT_EQ(1, top->IsNodeChild(claims));
  EXPECT_EQ(0, none->IsNodeChild(claims_none));
  a->SetParent(nullptr);
  EXPECT_EQ(0, top->IsNodeChild(a));
  EXPECT_NO_LOG(log);
}

TEST(TreeNodeIsChild, RefusesNull) {
  for (const char* tree : {"top(a)", "top", "leaf=v"}) {
    Tree_NodePtr top = Plant(tree);
    for (Tree_NodePtr& null : std::vector<Tree_NodePtr>(NullHandles())) {
      LogCapture log;
      EXPECT_EQ(0, top->IsNodeChild(null));
      EXPECT_LOG(log, lines::IsChildNull());
    }
  }
}

TEST(TreeNodeIsAncestor, MeetsTheNodeItselfAndAllAboveIt) {
  Tree_NodePtr top = Plant("top(a(b(c=1)),d)");
  Tree_NodePtr a = Child(top, 0);
  Tree_NodePtr b = Child(a, 0);
  Tree_NodePtr c = Child(b, 0);
  Tree_NodePtr d = Child(top, 1);
  Tree_NodePtr stranger = Inner("a");
  const struct {
    Tree_NodePtr node;
    Tree_NodePtr another;
    bool expected;
  } kCases[] = {
      {c, c, true},     {c, b, true},         {c, a, true},           {c, top, true},
      {top, top, true}, {top, c, false},      {a, b, false},          {d, a, false},
      {c, d, false},    {c, stranger, false}, {stranger, top, false},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(Text(test.node->GetPath()) + " below " + Text(test.another->GetPath()));
    LogCapture log;
    Tree_NodePtr another = test.another;
    EXPECT_EQ(test.expected ? 1 : 0, test.node->IsNodeAncestor(another));
    EXPECT_LOG(log, lines::AncestorStart(), lines::AncestorEnd(test.expected));
  }
}

TEST(TreeNodeIsAncestor, FollowsParentsThatWereSetByHand) {
  Tree_NodePtr top = Inner("top");
  Tree_NodePtr claims = Inner("claims");
  claims->SetParent(top.get());
  EXPECT_EQ(1, claims->IsNodeAncestor(top));
}

TEST(TreeNodeIsAncestor, RefusesNull) {
  Tree_NodePtr top = Plant("top(a)");
  for (Tree_NodePtr& null : std::vector<Tree_NodePtr>(NullHandles())) {
    LogCapture log;
    EXPECT_EQ(0, top->IsNodeAncestor(null));
    EXPECT_LOG(log, lines::AncestorStart(), lines::AncestorNull());
  }
}

// --- Names in lines ---------------------------------------------------------------

TEST(TreeNodeLines, BearTheWholePathWithTheVirtualParentPath) {
  Tree_NodePtr top = Plant("top(mid(low))");
  RWCString above("sys\\main");
  top->SetVirtualParentPath(above);
  Tree_NodePtr low = Child(Child(top, 0), 0);
  Tree_NodePtr null;
  const std::string path = "sys\\main\\top\\mid\\low";
  LogCapture log(3);
  low->Add(null);
  EXPECT_LOG(log, lines::AddNull(path));
  low->Insert(null, 0, 0);
  EXPECT_LOG(log, lines::InsertNull(path));
  low->Remove(RWCString());
  EXPECT_LOG(log, lines::RemoveEmptyName(path));
  low->GetChildAt(-7);
  EXPECT_LOG(log, lines::ChildIndexBelowZero(path, -7));
}

TEST(TreeNodeLines, TakeNamesForTextsAndNotForFormats) {
  const std::string name = "%s%n 100% %d";
  Tree_NodePtr leaf = Leaf(Bytes(name), "v");
  Tree_NodePtr null;
  LogCapture log(3);
  leaf->Insert(leaf, 0, -1);
  EXPECT_LOG(log, lines::InsertIntoLeaf(name));
  leaf->Add(null);
  EXPECT_LOG(log, lines::AddNull(name));
}

TEST(TreeNodeLines, AreNeverCut) {
  const std::string name(20000, 'n');
  Tree_NodePtr top = Inner(Bytes(name));
  Tree_NodePtr child = Inner(Bytes(name));
  top->Add(child);
  Tree_NodePtr null;
  LogCapture log(3);
  child->Add(null);
  EXPECT_LOG(log, lines::AddNull(name + "\\" + name));
}

// --- Quiet levels -----------------------------------------------------------------

TEST(TreeNodeChildren, AreSilentAtLevelSixWhenNothingIsRefused) {
  LogCapture log(6);
  {
    Tree_NodePtr top = Plant("top(a(x=1,y),b)");
    Tree_NodePtr b = Child(top, 1);
    Tree_NodePtr x = Child(Child(top, 0), 0);
    EXPECT_EQ(1, b->Add(x));
    EXPECT_EQ(1, b->Insert(x, 0, 3));
    EXPECT_EQ(1, x->IsNodeAncestor(top));
    EXPECT_EQ(nullptr, b->GetTreeValue());
    EXPECT_EQ(1, b->Remove(x));
    EXPECT_EQ(1, top->Remove(0));
    EXPECT_EQ(0, x->Remove(0));  // this refusal is of level 7
  }
  EXPECT_NO_LOG(log);
}

TEST(TreeNodeChildren, WriteRefusalsAtLevelThree) {
  LogCapture log(3);
  Tree_NodePtr top = Plant("top(leaf=v)");
  Tree_NodePtr leaf = Child(top, 0);
  Tree_NodePtr null;
  EXPECT_EQ(0, top->Add(null));
  EXPECT_LOG(log, lines::AddNull("top"));
  EXPECT_EQ(0, leaf->Add(top));
  EXPECT_LOG(log, lines::InsertIntoLeaf("leaf"));
  EXPECT_EQ(0, leaf->Remove(top));
  EXPECT_LOG(log, lines::IndexWithoutVector());
}

TEST(TreeNodeChildren, WriteNothingAtLevelTwo) {
  LogCapture log(2);
  Tree_NodePtr top = Plant("top(leaf=v)");
  Tree_NodePtr null;
  EXPECT_EQ(0, top->Add(null));
  EXPECT_EQ(0, top->Insert(null, 0, -1));
  EXPECT_EQ(0, top->Remove(null));
  EXPECT_EQ(0, top->Remove(RWCString()));
  EXPECT_EQ(0, top->IsNodeChild(null));
  EXPECT_EQ(0, top->IsNodeAncestor(null));
  EXPECT_TRUE(top->GetChildAt(-1).isNull());
  EXPECT_TRUE(top->GetChildAt(1).isNull());
  EXPECT_NO_LOG(log);
}

}  // namespace
