// Attaching, detaching and finding the children of one node.

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeLines.h"
#include "support/TreeText.h"

namespace {

// Runs `fn`, which has to throw the bounds error of `index` and `count`.
void ExpectBoundsErr(long long index, std::size_t count, const std::function<void()>& fn) {
  try {
    fn();
    ADD_FAILURE() << "no bounds error";
  } catch (const RWBoundsErr& error) {
    EXPECT_EQ(index, error.index());
    EXPECT_EQ(count, error.count());
    EXPECT_NE(std::string::npos, std::string(error.what()).find(std::to_string(index)));
    EXPECT_NE(std::string::npos, std::string(error.what()).find(std::to_string(count)));
  }
}

Tree_NodePtr Child(const Tree_NodePtr& node, int index) {
  return node->GetChildAt(index);
}

// A handle without a control record and one with: both are null.
std::vector<Tree_NodePtr> NullHandles() {
  return {Tree_NodePtr(), Tree_NodePtr(static_cast<Tree_Node*>(nullptr)),
          Tree_Node::NULL_TREE_NODE_PTR};
}

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
  Tree_NodePtr leaf = Leaf(name, "v");
  Tree_NodePtr null;
  LogCapture log(3);
  leaf->Insert(leaf, 0, -1);
  EXPECT_LOG(log, lines::InsertIntoLeaf(name));
  leaf->Add(null);
  EXPECT_LOG(log, lines::AddNull(name));
}

TEST(TreeNodeLines, AreNeverCut) {
  const std::string name(20000, 'n');
  Tree_NodePtr top = Inner(name);
  Tree_NodePtr child = Inner(name);
  top->Add(child);
  Tree_NodePtr null;
  LogCapture log(3);
  child->Add(null);
  EXPECT_LOG(log, lines::AddNull(name + "\\" + name));
}

// --- Remove ---------------------------------------------------------------------

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
    Tree_NodePtr child = Inner(name);
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
