// Attaching children to one node: Add and Insert.

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeChildren.h"
#include "support/TreeLines.h"
#include "support/TreeText.h"

namespace {

// --- Add ------------------------------------------------------------------------

TEST(TreeNodeAdd, PutsTheChildBehindItsSiblings) {
  Tree_NodePtr top = Inner("top");
  Tree_NodePtr a = Inner("a");
  Tree_NodePtr b = Leaf("b", "2");
  LogCapture log;
  EXPECT_EQ(1, top->Add(a));
  EXPECT_LOG(log, lines::AddStart(), lines::InsertStart(0, -1), lines::InsertEnd());
  EXPECT_EQ(1, top->Add(b));
  EXPECT_LOG(log, lines::AddStart(), lines::InsertStart(1, -1), lines::InsertEnd());
  EXPECT_EQ("top(a,b=2)", Draw(top));
  EXPECT_EQ(top.get(), a->GetParent());
  EXPECT_EQ(top.get(), b->GetParent());
  EXPECT_EQ(2u, a.UseCount());
}

TEST(TreeNodeAdd, RefusesANullChild) {
  Tree_NodePtr top = Plant("top(mid)");
  Tree_NodePtr mid = Child(top, 0);
  for (Tree_NodePtr& null : std::vector<Tree_NodePtr>(NullHandles())) {
    LogCapture log;
    EXPECT_EQ(0, mid->Add(null));
    EXPECT_LOG(log, lines::AddStart(), lines::AddNull("top\\mid"));
    EXPECT_EQ(0, mid->GetChildCount());
  }
}

TEST(TreeNodeAdd, TestsForNullBeforeItTestsForALeaf) {
  Tree_NodePtr leaf = Leaf("leaf", "v");
  Tree_NodePtr null;
  LogCapture log;
  EXPECT_EQ(0, leaf->Add(null));
  EXPECT_LOG(log, lines::AddStart(), lines::AddNull("leaf"));
}

TEST(TreeNodeAdd, IsRefusedByALeaf) {
  Tree_NodePtr top = Plant("top(leaf=v)");
  Tree_NodePtr leaf = Child(top, 0);
  Tree_NodePtr child = Inner("c");
  LogCapture log;
  EXPECT_EQ(0, leaf->Add(child));
  EXPECT_LOG(log, lines::AddStart(), lines::InsertStart(0, -1), lines::InsertIntoLeaf("leaf"));
  EXPECT_EQ(nullptr, child->GetParent());
  EXPECT_EQ(0, leaf->GetChildCount());
  EXPECT_EQ(1u, child.UseCount());
}

TEST(TreeNodeAdd, LeavesTheChildOfAnotherParentThereWhenALeafRefusesIt) {
  Tree_NodePtr top = Plant("top(a(c),leaf=v)");
  Tree_NodePtr c = Child(Child(top, 0), 0);
  EXPECT_EQ(0, Child(top, 1)->Add(c));
  EXPECT_EQ("top(a(c),leaf=v)", Draw(top));
  EXPECT_EQ(Child(top, 0), c->GetParent());
}

TEST(TreeNodeAdd, TakesTheChildAwayFromItsOldParent) {
  Tree_NodePtr top = Plant("top(a(x,y,z),b(q))");
  Tree_NodePtr y = Child(Child(top, 0), 1);
  LogCapture log;
  EXPECT_EQ(1, Child(top, 1)->Add(y));
  EXPECT_LOG(log, lines::AddStart(), lines::InsertStart(1, -1), lines::InsertEnd());
  EXPECT_EQ("top(a(x,z),b(q,y))", Draw(top));
  EXPECT_EQ(Child(top, 1), y->GetParent());
  EXPECT_EQ(2u, y.UseCount());
}

TEST(TreeNodeAdd, AcceptsTheSlotThatHoldsTheChildInItsOldParent) {
  Tree_NodePtr top = Plant("top(a(x=1,y(p,q=2)),b)");
  Tree_NodePtr a = Child(top, 0);
  Tree_NodePtr b = Child(top, 1);
  // The slot goes away while the child is being moved.
  EXPECT_EQ(1, b->Add(a->GetChildAt(1)));
  EXPECT_EQ(1, b->Add(a->GetChildAt(0)));
  EXPECT_EQ("top(a,b(y(p,q=2),x=1))", Draw(top));
}

TEST(TreeNodeAdd, ThrowsForANodeThatIsAChildAlready) {
  for (const int index : {0, 1, 2}) {
    SCOPED_TRACE(index);
    Tree_NodePtr top = Plant("top(a=1,b=2,c=3)");
    Tree_NodePtr child = Child(top, index);
    const std::string rest[] = {"top(b=2,c=3)", "top(a=1,c=3)", "top(a=1,b=2)"};
    const std::string name = Text(child->GetKeyName());
    LogCapture log;
    ExpectBoundsErr(2, 2, [&] { top->Add(child); });
    EXPECT_LOG(log, lines::AddStart(), lines::InsertStart(3, -1));

    // The child is detached, names the node as its parent all the same, and one
    // count of it is lost.
    EXPECT_EQ(rest[index], Draw(top));
    EXPECT_EQ(top.get(), child->GetParent());
    EXPECT_EQ(2u, child.UseCount());
    EXPECT_EQ(-1, top->GetIndex(child));
    EXPECT_EQ(1, top->IsNodeChild(child));
    ExpectLost({.nodes = 1, .elements = 1, .values = 1, .records = 1});
  }
}

TEST(TreeNodeAdd, ThrowsForTheOnlyChildToo) {
  Tree_NodePtr top = Plant("top(a)");
  Tree_NodePtr a = Child(top, 0);
  LogCapture log;
  ExpectBoundsErr(0, 0, [&] { top->Add(a); });
  EXPECT_LOG(log, lines::AddStart(), lines::InsertStart(1, -1));
  EXPECT_EQ("top", Draw(top));
  EXPECT_EQ(top.get(), a->GetParent());
  EXPECT_EQ(0, top->IsNodeChild(a));
  EXPECT_EQ(2u, a.UseCount());
  ExpectLost({.nodes = 1, .elements = 1, .records = 1});
}

TEST(TreeNodeAdd, ThrowsWhenTheSlotOfAnOwnChildIsGiven) {
  Tree_NodePtr top = Plant("top(a,b)");
  ExpectBoundsErr(1, 1, [&] { top->Add(top->GetChildAt(0)); });
  EXPECT_EQ("top(b)", Draw(top));
  ExpectLost({.nodes = 1, .elements = 1, .records = 1});
}

// --- Insert ---------------------------------------------------------------------

struct InsertCase {
  int index;
  const char* result;
};

const InsertCase kInsertCases[] = {
    {0, "top(new,a,b)"},
    {1, "top(a,new,b)"},
    // The count of children appends.
    {2, "top(a,b,new)"},
};

TEST(TreeNodeInsert, PutsTheChildAtTheIndex) {
  for (const InsertCase& c : kInsertCases) {
    for (const int hint : {-1, 0, 1, 100, INT_MIN}) {
      SCOPED_TRACE(testing::Message() << c.index << " with hint " << hint);
      Tree_NodePtr top = Plant("top(a,b)");
      Tree_NodePtr child = Inner("new");
      LogCapture log;
      EXPECT_EQ(1, top->Insert(child, c.index, hint));
      EXPECT_LOG(log, lines::InsertStart(c.index, hint), lines::InsertEnd());
      EXPECT_EQ(c.result, Draw(top));
      EXPECT_EQ(top.get(), child->GetParent());
      EXPECT_EQ(2u, child.UseCount());
    }
  }
}

TEST(TreeNodeInsert, TakesAFirstChildWithAnyHint) {
  for (const int hint : {INT_MIN, -1, 0, 1, 2, 1000}) {
    SCOPED_TRACE(hint);
    Tree_NodePtr top = Inner("top");
    Tree_NodePtr child = Inner("c");
    LogCapture log;
    EXPECT_EQ(1, top->Insert(child, 0, hint));
    EXPECT_LOG(log, lines::InsertStart(0, hint), lines::InsertEnd());
    EXPECT_EQ("top(c)", Draw(top));
  }
}

TEST(TreeNodeInsert, MakesRoomForAsManyChildrenAsTheHintSays) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  std::vector<Tree_NodePtr> children;
  for (int i = 0; i < 20; ++i) children.push_back(Inner("c"));
  {
    // Afterwards the pools have whatever it takes.
    Tree_NodePtr first = Inner("first");
    for (Tree_NodePtr& child : children) first->Add(child);
  }
  Tree_NodePtr top = Inner("top");
  EXPECT_EQ(1, top->Insert(children[0], 0, 20));
  const std::int64_t before = HeapBlocksMade();
  for (std::size_t i = 1; i < children.size(); ++i) top->Add(children[i]);
  EXPECT_EQ(before, HeapBlocksMade());
}

TEST(TreeNodeInsert, IsRefusedByALeafWhateverTheArguments) {
  Tree_NodePtr top = Plant("top(leaf=v)");
  Tree_NodePtr leaf = Child(top, 0);
  Tree_NodePtr child = Inner("c");
  for (const int index : {INT_MIN, -1, 0, 1, INT_MAX}) {
    SCOPED_TRACE(index);
    LogCapture log;
    EXPECT_EQ(0, leaf->Insert(child, index, 3));
    EXPECT_LOG(log, lines::InsertStart(index, 3), lines::InsertIntoLeaf("leaf"));
    Tree_NodePtr null;
    EXPECT_EQ(0, leaf->Insert(null, index, 4));
    EXPECT_LOG(log, lines::InsertStart(index, 4), lines::InsertIntoLeaf("leaf"));
  }
  EXPECT_EQ(nullptr, child->GetParent());
}

TEST(TreeNodeInsert, RefusesANullChildWhateverTheIndex) {
  Tree_NodePtr top = Plant("top(mid(a))");
  Tree_NodePtr mid = Child(top, 0);
  for (Tree_NodePtr& null : std::vector<Tree_NodePtr>(NullHandles())) {
    for (const int index : {INT_MIN, -1, 0, 1, 2, INT_MAX}) {
      SCOPED_TRACE(index);
      LogCapture log;
      EXPECT_EQ(0, mid->Insert(null, index, -1));
      EXPECT_LOG(log, lines::InsertStart(index, -1), lines::InsertNull("top\\mid"));
    }
  }
  EXPECT_EQ("top(mid(a))", Draw(top));
}

struct BadIndexCase {
  const char* tree;
  int index;
  long long reported;
  std::size_t count;
};

const BadIndexCase kBadIndexCases[] = {
    {"top(a,b)", 3, 2, 2},
    {"top(a,b)", 4, 3, 2},
    {"top(a,b)", INT_MAX, INT_MAX - 1LL, 2},
    {"top(a,b)", -1, -2, 2},
    {"top(a,b)", INT_MIN, INT_MIN - 1LL, 2},
    {"top", 1, 0, 0},
    {"top", -1, -2, 0},
};

TEST(TreeNodeInsert, ThrowsForABadIndexAndLeavesTheChildBetweenParents) {
  for (const BadIndexCase& c : kBadIndexCases) {
    SCOPED_TRACE(testing::Message() << c.tree << " index " << c.index);
    Tree_NodePtr top = Plant(c.tree);
    Tree_NodePtr old_parent = Plant("old(x,child=1,y)");
    Tree_NodePtr child = Child(old_parent, 1);
    LogCapture log;
    ExpectBoundsErr(c.reported, c.count, [&] { top->Insert(child, c.index, 5); });
    EXPECT_LOG(log, lines::InsertStart(c.index, 5));

    EXPECT_EQ("old(x,y)", Draw(old_parent));
    EXPECT_EQ(c.tree, Draw(top));
    EXPECT_EQ(top.get(), child->GetParent());
    EXPECT_EQ(-1, top->GetIndex(child));
    EXPECT_NO_LOG(log);  // the vector is there, even below a node that had none
    EXPECT_EQ(2u, child.UseCount());
    ExpectLost({.nodes = 1, .elements = 1, .values = 1, .records = 1});
  }
}

TEST(TreeNodeInsert, ThrowsAgainUntilTheParentIsSetToNull) {
  Tree_NodePtr top = Plant("top(a,b)");
  Tree_NodePtr other = Plant("other(c)");
  Tree_NodePtr child = Inner("child");
  ExpectBoundsErr(6, 2, [&] { top->Insert(child, 7, -1); });
  // No element is lost from here on: the old parent refuses before one is made.
  LogCapture log;
  ExpectBoundsErr(-1, 2, [&] { top->Insert(child, 0, -1); });
  EXPECT_LOG(log, lines::InsertStart(0, -1));
  ExpectBoundsErr(-1, 2, [&] { other->Add(child); });
  EXPECT_LOG(log, lines::AddStart(), lines::InsertStart(1, -1));
  EXPECT_EQ(top.get(), child->GetParent());
  EXPECT_EQ("other(c)", Draw(other));

  child->SetParent(nullptr);
  EXPECT_EQ(1, other->Add(child));
  EXPECT_EQ("other(c,child)", Draw(other));
  EXPECT_EQ("top(a,b)", Draw(top));
  ExpectLost({.nodes = 1, .elements = 1, .records = 1});
}

TEST(TreeNodeInsert, ThrowsAgainAlsoWhenTheFirstFailureMadeTheVector) {
  Tree_NodePtr top = Inner("top");
  Tree_NodePtr child = Inner("child");
  ExpectBoundsErr(0, 0, [&] { top->Insert(child, 1, -1); });
  LogCapture log;
  ExpectBoundsErr(-1, 0, [&] { top->Insert(child, 0, -1); });
  EXPECT_LOG(log, lines::InsertStart(0, -1));
  child->SetParent(nullptr);
  EXPECT_EQ(1, top->Insert(child, 0, -1));
  EXPECT_EQ("top(child)", Draw(top));
  ExpectLost({.nodes = 1, .elements = 1, .records = 1});
}

struct MoveCase {
  int from;
  int to;
  const char* result;
};

const MoveCase kMoveCases[] = {
    {0, 0, "top(a,b,c)"}, {0, 1, "top(b,a,c)"}, {0, 2, "top(b,c,a)"},
    {1, 0, "top(b,a,c)"}, {1, 1, "top(a,b,c)"}, {1, 2, "top(a,c,b)"},
    {2, 0, "top(c,a,b)"}, {2, 1, "top(a,c,b)"}, {2, 2, "top(a,b,c)"},
};

TEST(TreeNodeInsert, MovesAChildOfTheSameParent) {
  for (const MoveCase& c : kMoveCases) {
    SCOPED_TRACE(testing::Message() << c.from << " to " << c.to);
    Tree_NodePtr top = Plant("top(a,b,c)");
    Tree_NodePtr child = Child(top, c.from);
    LogCapture log;
    EXPECT_EQ(1, top->Insert(child, c.to, -1));
    EXPECT_LOG(log, lines::InsertStart(c.to, -1), lines::InsertEnd());
    EXPECT_EQ(c.result, Draw(top));
    EXPECT_EQ(2u, child.UseCount());
    EXPECT_EQ(top.get(), child->GetParent());
  }
}

TEST(TreeNodeInsert, MovesAChildThatIsGivenAsItsOwnSlot) {
  for (const MoveCase& c : kMoveCases) {
    SCOPED_TRACE(testing::Message() << c.from << " to " << c.to);
    Tree_NodePtr top = Plant("top(a,b,c)");
    EXPECT_EQ(1, top->Insert(top->GetChildAt(c.from), c.to, -1));
    EXPECT_EQ(c.result, Draw(top));
  }
}

TEST(TreeNodeInsert, DoesNotAskWhetherTheChildStandsAbove) {
  Tree_NodePtr top = Plant("top(mid)");
  Tree_NodePtr mid = Child(top, 0);
  EXPECT_EQ(1, mid->Add(top));
  EXPECT_EQ(mid.get(), top->GetParent());
  EXPECT_EQ(0, mid->GetIndex(top));
  // The circle has to be opened, or it would hold itself for ever.
  EXPECT_EQ(1, mid->Remove(top));
  EXPECT_EQ("top(mid)", Draw(top));
}

TEST(TreeNodeInsert, GoesOnWhenTheOldParentHasNoChildren) {
  Tree_NodePtr top = Inner("top");
  Tree_NodePtr stranger = Inner("stranger");
  Tree_NodePtr child = Inner("c");
  child->SetParent(stranger.get());
  LogCapture log;
  EXPECT_EQ(1, top->Insert(child, 0, -1));
  EXPECT_LOG(log, lines::InsertStart(0, -1), lines::IndexWithoutVector(),
             lines::RemoveWithoutVector(), lines::InsertEnd());
  EXPECT_EQ("top(c)", Draw(top));
  EXPECT_EQ(top.get(), child->GetParent());
}

TEST(TreeNodeInsert, ThrowsWhenTheOldParentHasOtherChildrenOnly) {
  Tree_NodePtr top = Inner("top");
  Tree_NodePtr stranger = Plant("stranger(x)");
  Tree_NodePtr child = Inner("c");
  child->SetParent(stranger.get());
  LogCapture log;
  ExpectBoundsErr(-1, 1, [&] { top->Insert(child, 0, -1); });
  EXPECT_LOG(log, lines::InsertStart(0, -1));
  EXPECT_EQ(stranger.get(), child->GetParent());
  EXPECT_EQ("top", Draw(top));
  EXPECT_EQ(1u, child.UseCount());
}

TEST(TreeNodeInsert, ListsANodeTwiceOnceItsParentIsForgotten) {
  Tree_NodePtr top = Plant("top(a,b)");
  Tree_NodePtr a = Child(top, 0);
  a->SetParent(nullptr);
  EXPECT_EQ(1, top->Add(a));
  EXPECT_EQ("top(a,b,a)", Draw(top));
  EXPECT_EQ(0, top->GetIndex(a));
  EXPECT_EQ(3u, a.UseCount());
  // The first listing goes first, and takes the parent with it.
  EXPECT_EQ(1, top->Remove(a));
  EXPECT_EQ("top(b,a)", Draw(top));
  EXPECT_EQ(nullptr, a->GetParent());
}

TEST(TreeNodeInsert, PutsEvenANodeBelowItself) {
  Tree_NodePtr top = Inner("top");
  EXPECT_EQ(1, top->Add(top));
  EXPECT_EQ(top.get(), top->GetParent());
  EXPECT_EQ(0, top->GetIndex(top));
  EXPECT_EQ(2u, top.UseCount());
  EXPECT_EQ(1, top->Remove(top));
  EXPECT_EQ("top", Draw(top));
}

}  // namespace
