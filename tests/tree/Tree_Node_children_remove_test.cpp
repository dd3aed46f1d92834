// Detaching children from one node: Remove, by index, by node and by name.

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeChildren.h"
#include "support/TreeLines.h"
#include "support/TreeText.h"

namespace {

TEST(TreeNodeRemove, DetachesTheChildAtAnIndex) {
  const char* const kRest[] = {"top(b,c)", "top(a,c)", "top(a,b)"};
  for (const int index : {0, 1, 2}) {
    SCOPED_TRACE(index);
    Tree_NodePtr top = Plant("top(a,b,c)");
    Tree_NodePtr child = Child(top, index);
    LogCapture log;
    EXPECT_EQ(1, top->Remove(index));
    EXPECT_NO_LOG(log);
    EXPECT_EQ(kRest[index], Draw(top));
    EXPECT_EQ(nullptr, child->GetParent());
    EXPECT_EQ(1u, child.UseCount());
  }
}

TEST(TreeNodeRemove, DestroysAChildThatNobodyElseHolds) {
  Tree_NodePtr top = Plant("top(a(b(c=1),d),e)");
  const PoolFigures before = PoolFigures::Now();
  LogCapture log;
  EXPECT_EQ(1, top->Remove(0));
  EXPECT_LOG(log, VecLine(2), VecLine(1));
  EXPECT_EQ((PoolFigures{4, 2, 4, 1, 4}), before - PoolFigures::Now());
  EXPECT_EQ("top(e)", Draw(top));
}

TEST(TreeNodeRemove, ThrowsForABadIndex) {
  Tree_NodePtr top = Plant("top(a,b)");
  LogCapture log;
  for (const int index : {-1, 2, 3, INT_MAX, INT_MIN}) {
    SCOPED_TRACE(index);
    ExpectBoundsErr(index, 2, [&] { top->Remove(index); });
    EXPECT_NO_LOG(log);
    EXPECT_EQ("top(a,b)", Draw(top));
  }
}

TEST(TreeNodeRemove, ThrowsOnAnEmptiedVector) {
  Tree_NodePtr top = Plant("top(a)");
  top->Remove(0);
  LogCapture log;
  ExpectBoundsErr(0, 0, [&] { top->Remove(0); });
  EXPECT_NO_LOG(log);
}

TEST(TreeNodeRemove, IsRefusedAtEveryIndexWithoutAVector) {
  Tree_NodePtr top = Inner("top");
  Tree_NodePtr leaf = Leaf("leaf", "v");
  LogCapture log;
  for (const int index : {-1, 0, 1, INT_MAX, INT_MIN}) {
    EXPECT_EQ(0, top->Remove(index));
    EXPECT_LOG(log, lines::RemoveWithoutVector());
    EXPECT_EQ(0, leaf->Remove(index));
    EXPECT_LOG(log, lines::RemoveWithoutVector());
  }
}

TEST(TreeNodeRemove, DetachesAGivenChild) {
  Tree_NodePtr top = Plant("top(a,b=1,c)");
  Tree_NodePtr b = Child(top, 1);
  LogCapture log;
  EXPECT_EQ(1, top->Remove(b));
  EXPECT_NO_LOG(log);
  EXPECT_EQ("top(a,c)", Draw(top));
  EXPECT_EQ(nullptr, b->GetParent());
}

TEST(TreeNodeRemove, AcceptsTheSlotOfTheChildItself) {
  Tree_NodePtr top = Plant("top(a(x=1),b)");
  EXPECT_EQ(1, top->Remove(top->GetChildAt(0)));
  EXPECT_EQ("top(b)", Draw(top));
}

TEST(TreeNodeRemove, RefusesANullChild) {
  for (const char* tree : {"top", "top(a)", "leaf=v"}) {
    SCOPED_TRACE(tree);
    Tree_NodePtr top = Plant(tree);
    for (Tree_NodePtr& null : std::vector<Tree_NodePtr>(NullHandles())) {
      LogCapture log;
      EXPECT_EQ(0, top->Remove(null));
      EXPECT_LOG(log, lines::RemoveNull());
    }
    EXPECT_EQ(tree, Draw(top));
  }
}

TEST(TreeNodeRemove, ThrowsForANodeThatIsNotAChild) {
  Tree_NodePtr top = Plant("top(a(deep),b)");
  Tree_NodePtr deep = Child(Child(top, 0), 0);
  Tree_NodePtr stranger = Inner("a");
  LogCapture log;
  for (Tree_NodePtr* node : {&deep, &stranger, &top}) {
    ExpectBoundsErr(-1, 2, [&] { top->Remove(*node); });
    EXPECT_NO_LOG(log);
  }
  EXPECT_EQ("top(a(deep),b)", Draw(top));
  EXPECT_EQ(Child(top, 0), deep->GetParent());
}

TEST(TreeNodeRemove, WritesTwoLinesForAnyNodeWithoutAVector) {
  Tree_NodePtr top = Inner("top");
  Tree_NodePtr stranger = Inner("a");
  LogCapture log;
  EXPECT_EQ(0, top->Remove(stranger));
  EXPECT_LOG(log, lines::IndexWithoutVector(), lines::RemoveWithoutVector());
}

TEST(TreeNodeRemove, LooksAtTheListAndNotAtTheParent) {
  Tree_NodePtr top = Plant("top(a,b)");
  Tree_NodePtr a = Child(top, 0);
  Tree_NodePtr other = Inner("other");
  a->SetParent(other.get());
  EXPECT_EQ(1, top->Remove(a));
  EXPECT_EQ("top(b)", Draw(top));
  EXPECT_EQ(nullptr, a->GetParent());
}

struct RemoveNameCase {
  std::string name;
  int result;
  const char* rest;
};

const RemoveNameCase kRemoveNameCases[] = {
    {"x", 1, "top(X=1,a(x=8),x=3,x y)"},
    {"X", 1, "top(a(x=8),x=2,x=3,x y)"},
    {"a", 1, "top(X=1,x=2,x=3,x y)"},
    {"x y", 1, "top(X=1,a(x=8),x=2,x=3)"},
    // Names are not stripped, paths not followed, and all bytes count.
    {" x", 0, nullptr},
    {"x ", 0, nullptr},
    {"a\\x", 0, nullptr},
    {"xy", 0, nullptr},
    {"y", 0, nullptr},
    {" ", 0, nullptr},
    {std::string("x\0", 2), 0, nullptr},
};

TEST(TreeNodeRemove, DetachesTheFirstChildOfAName) {
  const char* const kTree = "top(X=1,a(x=8),x=2,x=3,x y)";
  for (const RemoveNameCase& c : kRemoveNameCases) {
    SCOPED_TRACE(testing::PrintToString(c.name));
    Tree_NodePtr top = Plant(kTree);
    LogCapture log;
    EXPECT_EQ(c.result, top->Remove(Bytes(c.name)));
    // Only `a` has children whose vector says that it goes.
    if (c.name == "a") {
      EXPECT_LOG(log, VecLine(1));
    } else {
      EXPECT_NO_LOG(log);
    }
    EXPECT_EQ(c.rest == nullptr ? kTree : c.rest, Draw(top));
  }
}

TEST(TreeNodeRemove, RemovesANameWithAZeroByteWhole) {
  Tree_NodePtr top = Inner("top");
  for (const std::string& name : {std::string("x\0a", 3), std::string("x\0b", 3)}) {
    Tree_NodePtr child = Inner(Bytes(name));
    top->Add(child);
  }
  EXPECT_EQ(0, top->Remove(RWCString("x")));
  EXPECT_EQ(1, top->Remove(RWCString("x\0b", 3)));
  ASSERT_EQ(1, top->GetChildCount());
  EXPECT_EQ(std::string("x\0a", 3), Text(Child(top, 0)->GetKeyName()));
}

TEST(TreeNodeRemove, LetsTheHeldChildGoWithItsParentCleared) {
  Tree_NodePtr top = Plant("top(x=1,x=2)");
  Tree_NodePtr first = Child(top, 0);
  EXPECT_EQ(1, top->Remove(RWCString("x")));
  EXPECT_EQ(nullptr, first->GetParent());
  EXPECT_EQ("top(x=2)", Draw(top));
  EXPECT_EQ(1, top->Remove(RWCString("x")));
  EXPECT_EQ(0, top->Remove(RWCString("x")));
}

TEST(TreeNodeRemove, AcceptsTheNameOfTheVeryChild) {
  Tree_NodePtr top = Plant("top(x=1)");
  EXPECT_EQ(1, top->Remove(Child(top, 0)->GetKeyName()));
  EXPECT_EQ("top", Draw(top));
}

TEST(TreeNodeRemove, RefusesAnEmptyName) {
  Tree_NodePtr top = Plant("top(mid(a),leaf=v,none)");
  Child(Child(top, 0), 0)->SetKeyName("");
  const struct {
    Tree_NodePtr node;
    const char* path;
  } kCases[] = {
      {top, "top"},
      {Child(top, 0), "top\\mid"},
      {Child(top, 1), "top\\leaf"},
      {Child(top, 2), "top\\none"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.path);
    LogCapture log;
    EXPECT_EQ(0, c.node->Remove(RWCString()));
    EXPECT_LOG(log, lines::RemoveEmptyName(c.path));
  }
  EXPECT_EQ(1, Child(top, 0)->GetChildCount());
}

TEST(TreeNodeRemove, FindsNoNameWithoutChildrenAndWritesNothing) {
  Tree_NodePtr never = Inner("never");
  Tree_NodePtr emptied = Plant("emptied(x)");
  emptied->Remove(0);
  Tree_NodePtr leaf = Leaf("leaf", "v");
  LogCapture log;
  EXPECT_EQ(0, never->Remove(RWCString("x")));
  EXPECT_EQ(0, emptied->Remove(RWCString("x")));
  EXPECT_EQ(0, leaf->Remove(RWCString("x")));
  EXPECT_NO_LOG(log);
}

}  // namespace
