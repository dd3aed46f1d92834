// Looking names up among many siblings.
//
// Wide nodes keep an index from name to child.  It must never show: every look-up
// yields what a scan of the children from the first to the last yields, whatever
// happened to the children and to their names.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <functional>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeText.h"

namespace {

std::string Name(int number) {
  return "n" + std::to_string(number);
}

Tree_NodePtr Wide(int children) {
  Tree_NodePtr top = Inner("top");
  for (int i = 0; i < children; ++i) {
    Tree_NodePtr child = Inner(Name(i));
    top->Add(child);
  }
  return top;
}

bool SameUpToZero(const std::string& a, const std::string& b) {
  return std::strcmp(a.c_str(), b.c_str()) == 0;
}

// The position that a scan finds, -1 for none.
int Scan(const Tree_NodePtr& node, const std::string& name, bool whole) {
  const int count = node->GetChildCount();
  for (int i = 0; i < count; ++i) {
    const RWCString& child = node->GetChildAt(i)->GetKeyName();
    if (whole ? Text(child) == name : SameUpToZero(Text(child), name)) return i;
  }
  return -1;
}

// Compares every kind of look-up for `name` with a scan.
void CheckName(Tree_NodePtr& node, const std::string& name) {
  SCOPED_TRACE(testing::PrintToString(name));
  const int whole = Scan(node, name, true);
  const int up_to_zero = Scan(node, name, false);
  Tree_NodePtr& null = Tree_Node::NULL_TREE_NODE_PTR;
  Tree_NodePtr& whole_slot = whole < 0 ? null : node->GetChildAt(whole);
  Tree_NodePtr& zero_slot = up_to_zero < 0 ? null : node->GetChildAt(up_to_zero);
  RWCString text = Bytes(name);

  const Tree_NodePtr& by_text = *name.c_str() == 0 ? node : zero_slot;
  ASSERT_EQ(by_text, node->Get(name.c_str(), node));
  ASSERT_EQ(by_text, node->Get(text, node));
  ASSERT_EQ(name.empty() ? node.get() : whole_slot.get(), node->Get(text, node.get()));
  ASSERT_EQ(name.empty() ? &node : &whole_slot, &node->GetByRef(text, node));

  if (name.find('\\') != std::string::npos) return;
  Tree_Path path(text);
  ASSERT_EQ(by_text, node->GetRelativeNode(path, node));
  Tree_Path path_for_ref(text);
  ASSERT_EQ(&by_text, &node->GetRelativeNodeByRef(path_for_ref, node));
}

void CheckNames(Tree_NodePtr& node, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    CheckName(node, name);
    if (testing::Test::HasFatalFailure()) return;
  }
}

// All names below `node`, and some that are not there.
void CheckAll(Tree_NodePtr& node) {
  std::vector<std::string> names = {"", "missing", "n", "N0", "n0 ", " n0"};
  for (int i = 0; i < node->GetChildCount(); ++i) {
    names.push_back(Text(node->GetChildAt(i)->GetKeyName()));
  }
  CheckNames(node, names);
}

// --- Widths -----------------------------------------------------------------------

TEST(TreeNameIndex, FindsEveryChildAtEveryWidth) {
  Tree_NodePtr top = Inner("top");
  for (int width = 0; width <= 70; ++width) {
    SCOPED_TRACE(width);
    CheckAll(top);
    Tree_NodePtr child = Inner(Name(width));
    top->Insert(child, width / 2, -1);
  }
  while (top->GetChildCount() > 0) {
    SCOPED_TRACE(top->GetChildCount());
    top->Remove(top->GetChildCount() / 3);
    CheckAll(top);
  }
}

TEST(TreeNameIndex, FindsEveryChildAmongThousands) {
  Tree_NodePtr top = Wide(5000);
  for (int i = 0; i < 5000; ++i) {
    RWCString name = Bytes(Name(i));
    ASSERT_EQ(&top->GetChildAt(i), &top->GetByRef(name, top));
    ASSERT_EQ(top->GetChildAt(i), top->Get(name, top));
    ASSERT_EQ(top->GetChildAt(i).get(), top->Get(name, top.get()));
  }
  for (int i = 5000; i < 6000; ++i) {
    RWCString name = Bytes(Name(i));
    ASSERT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &top->GetByRef(name, top));
    ASSERT_EQ(nullptr, top->Get(name, top.get()));
  }
}

TEST(TreeNameIndex, FindsNamesThatNobodyEverMade) {
  // Strings that were never interned cannot be anybody's name.
  for (const int width : {0, 5, 24, 100}) {
    Tree_NodePtr top = Wide(width);
    EXPECT_TRUE(top->Get("this name was never given to anything 1", top).isNull());
    RWCString name("this name was never given to anything 2");
    EXPECT_EQ(nullptr, top->Get(name, top.get()));
    EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &top->GetByRef(name, top));
    EXPECT_EQ(0, top->Remove(name));
    // Looking for it did not make it one: it can still be given.
    Tree_NodePtr child = Inner("this name was never given to anything 2");
    top->Add(child);
    EXPECT_EQ(child.get(), top->Get(name, top.get()));
  }
}

TEST(TreeNameIndex, WritesNoLines) {
  Tree_NodePtr top = Wide(100);
  LogCapture log;
  RWCString name("n50");
  top->Get("n50", top);
  top->GetByRef(name, top);
  top->GetChildAt(50)->SetKeyName("renamed");
  top->Get("renamed", top);
  EXPECT_NO_LOG(log);
}

// --- Equal names ------------------------------------------------------------------

TEST(TreeNameIndex, YieldsTheFirstOfEqualNames) {
  for (const int width : {3, 22, 23, 24, 25, 60}) {
    SCOPED_TRACE(width);
    Tree_NodePtr top = Wide(width);
    for (int i = 0; i < 6; ++i) {
      Tree_NodePtr twin = Inner("twin");
      top->Insert(twin, (i * 7) % (top->GetChildCount() + 1), -1);
      CheckAll(top);
    }
    // The first twin goes, moves behind the others and comes back.
    while (Scan(top, "twin", true) >= 0) {
      const int first = Scan(top, "twin", true);
      Tree_NodePtr twin = top->GetChildAt(first);
      top->Insert(twin, top->GetChildCount() - 1, -1);
      CheckAll(top);
      top->Insert(twin, 0, -1);
      CheckAll(top);
      EXPECT_EQ(1, top->Remove(RWCString("twin")));
      EXPECT_EQ(nullptr, twin->GetParent());
      CheckAll(top);
    }
    EXPECT_EQ(width, top->GetChildCount());
  }
}

TEST(TreeNameIndex, RemovesTheFirstOfEqualNames) {
  Tree_NodePtr top = Wide(50);
  Tree_NodePtr early = Inner("n40");
  top->Insert(early, 10, -1);
  Tree_NodePtr late = top->GetChildAt(41);
  ASSERT_EQ("n40", Text(late->GetKeyName()));
  EXPECT_EQ(1, top->Remove(RWCString("n40")));
  EXPECT_EQ(nullptr, early->GetParent());
  EXPECT_EQ(top.get(), late->GetParent());
  CheckAll(top);
  EXPECT_EQ(1, top->Remove(RWCString("n40")));
  EXPECT_EQ(nullptr, late->GetParent());
  EXPECT_EQ(0, top->Remove(RWCString("n40")));
  CheckAll(top);
}

TEST(TreeNameIndex, HandlesAThousandChildrenOfOneName) {
  Tree_NodePtr top = Inner("top");
  for (int i = 0; i < 1000; ++i) {
    Tree_NodePtr child = Inner("same");
    top->Insert(child, i / 2, -1);
  }
  for (int i = 0; i < 1000; i += 3) {
    CheckName(top, "same");
    top->GetChildAt(i % top->GetChildCount())->SetKeyName(Bytes("other" + std::to_string(i % 5)));
    CheckName(top, "other0");
    CheckName(top, "other3");
  }
  while (top->Remove(RWCString("same")) == 1) CheckName(top, "same");
  CheckAll(top);
}

// --- Renaming ---------------------------------------------------------------------

TEST(TreeNameIndex, FollowsRenamedChildren) {
  for (const int width : {10, 24, 100}) {
    Tree_NodePtr top = Wide(width);
    CheckAll(top);
    for (int i = 0; i < width; i += 2) {
      SCOPED_TRACE(i);
      const std::string old_name = Name(i);
      Tree_NodePtr child = top->GetChildAt(i);
      for (const char* name : {"renamed", "", "n1", " ", "renamed"}) {
        child->SetKeyName(name);
        CheckName(top, name);
        CheckName(top, old_name);
      }
    }
    CheckAll(top);
    for (int i = 0; i < width; i += 2) top->GetChildAt(i)->SetKeyName(Bytes(Name(width - i)));
    CheckAll(top);
  }
}

TEST(TreeNameIndex, FollowsARenamedChildWhoseParentWasForgotten) {
  Tree_NodePtr top = Wide(60);
  CheckAll(top);
  Tree_NodePtr child = top->GetChildAt(30);
  child->SetParent(nullptr);
  child->SetKeyName("new");
  CheckName(top, "new");
  CheckName(top, "n30");
  EXPECT_EQ(child, top->Get("new", top));
}

TEST(TreeNameIndex, FollowsARenamedChildThatNamesAnotherParent) {
  Tree_NodePtr top = Wide(60);
  Tree_NodePtr other = Wide(60);
  CheckAll(top);
  CheckAll(other);
  Tree_NodePtr child = top->GetChildAt(30);
  child->SetParent(other.get());
  child->SetKeyName("new");
  CheckAll(top);
  CheckAll(other);
  EXPECT_TRUE(other->Get("new", other).isNull());
  EXPECT_EQ(child, top->Get("new", top));
  // It takes a name that the other node knows, and then gives it up.
  child->SetKeyName("n10");
  CheckAll(other);
  CheckAll(top);
  child->SetKeyName("new");
  CheckAll(other);
  CheckAll(top);
  EXPECT_FALSE(other->Get("n10", other).isNull());
}

TEST(TreeNameIndex, IgnoresANodeThatOnlyClaimsToBeAChild) {
  Tree_NodePtr top = Wide(60);
  CheckAll(top);
  Tree_NodePtr claims = Inner("claims");
  claims->SetParent(top.get());
  CheckName(top, "claims");
  claims->SetKeyName("n7");
  CheckName(top, "n7");
  claims->SetKeyName("n8");
  CheckName(top, "n7");
  CheckName(top, "n8");
  CheckAll(top);
}

TEST(TreeNameIndex, RenamesAChildWhoseClaimedParentIsGone) {
  Tree_NodePtr top = Wide(60);
  CheckAll(top);
  Tree_NodePtr child = top->GetChildAt(30);
  {
    Tree_NodePtr short_lived = Wide(60);
    CheckAll(short_lived);
    child->SetParent(short_lived.get());
  }
  // Renaming asks no parent for anything.
  child->SetKeyName("new");
  CheckAll(top);
  EXPECT_EQ(child, top->Get("new", top));
}

TEST(TreeNameIndex, RenamesANodeThatAFailedInsertLeftBehindWhenItsParentIsGone) {
  Tree_NodePtr top = Wide(60);
  CheckAll(top);
  Tree_NodePtr child = top->GetChildAt(30);
  {
    Tree_NodePtr short_lived = Wide(60);
    EXPECT_THROW(short_lived->Insert(child, 61, -1), RWBoundsErr);
  }
  child->SetKeyName("renamed");
  EXPECT_EQ("renamed", Text(child->GetKeyName()));
  CheckAll(top);
  ExpectLost({.nodes = 1, .elements = 1, .records = 1});
}

TEST(TreeNameIndex, RenamesANodeInNoListWhoseClaimedParentIsGone) {
  Tree_NodePtr stranger = Inner("stranger");
  {
    Tree_NodePtr short_lived = Wide(60);
    stranger->SetParent(short_lived.get());
  }
  stranger->SetKeyName("renamed");
  EXPECT_EQ("renamed", Text(stranger->GetKeyName()));
}

TEST(TreeNameIndex, FollowsARenamedNodeThatTwoParentsList) {
  Tree_NodePtr first = Wide(60);
  Tree_NodePtr second = Wide(60);
  CheckAll(first);
  CheckAll(second);
  Tree_NodePtr shared = first->GetChildAt(5);
  shared->SetParent(nullptr);
  second->Insert(shared, 40, -1);
  for (const char* name : {"new", "n50", "", "n5", "n5", "newer"}) {
    SCOPED_TRACE(name);
    shared->SetKeyName(name);
    CheckAll(first);
    CheckAll(second);
  }
  // One of them lets it go; the other still follows.
  EXPECT_EQ(1, second->Remove(shared));
  shared->SetKeyName("only one");
  CheckAll(first);
  CheckAll(second);
  CheckName(second, "newer");
  EXPECT_EQ(shared, first->Get("only one", first));
  // Now the one that listed it first goes altogether.
  second->Add(shared);
  first = Tree_NodePtr();
  shared->SetKeyName("the other one");
  CheckAll(second);
  EXPECT_EQ(shared, second->Get("the other one", second));
}

TEST(TreeNameIndex, FollowsARenamedNodeThatOneParentListsTwice) {
  Tree_NodePtr top = Wide(60);
  CheckAll(top);
  Tree_NodePtr twice = top->GetChildAt(50);
  twice->SetParent(nullptr);
  top->Insert(twice, 10, -1);
  for (const char* name : {"new", "n30", "new"}) {
    twice->SetKeyName(name);
    CheckAll(top);
    CheckName(top, "n50");
  }
  EXPECT_EQ(1, top->Remove(twice));
  CheckAll(top);
  twice->SetKeyName("newer");
  CheckAll(top);
  EXPECT_EQ(twice, top->Get("newer", top));
}

TEST(TreeNameIndex, FollowsANodeThatGetsItsNameByAssignment) {
  Tree_NodePtr top = Wide(60);
  CheckAll(top);
  Tree_NodePtr child = top->GetChildAt(30);
  Tree_Node other("assigned");
  *child = other;
  EXPECT_EQ(nullptr, child->GetParent());
  CheckAll(top);
  CheckName(top, "n30");
  EXPECT_EQ(child, top->Get("assigned", top));
  // And on from there.
  child->SetKeyName("renamed");
  CheckAll(top);
  CheckName(top, "assigned");
  child->SetParent(top.get());
  EXPECT_EQ(1, top->Remove(RWCString("renamed")));
  CheckAll(top);
  // The node that it was assigned from is in no list.
  other.SetKeyName("n5");
  CheckAll(top);
}

TEST(TreeNameIndex, AssignsAChildToAChild) {
  Tree_NodePtr top = Wide(60);
  CheckAll(top);
  *top->GetChildAt(3) = *top->GetChildAt(40);
  CheckAll(top);
  CheckName(top, "n3");
  EXPECT_EQ(top->GetChildAt(3), top->Get("n40", top));
  top->GetChildAt(3)->SetKeyName("n3");
  CheckAll(top);
  EXPECT_EQ(top->GetChildAt(40), top->Get("n40", top));
  Tree_Node& self = *top->GetChildAt(7);
  self = *top->GetChildAt(7);
  CheckAll(top);
  // A node outside takes the fields of a child: it is in no list for all that.
  Tree_NodePtr outside = Inner("outside");
  *outside = *top->GetChildAt(9);
  outside->SetKeyName("elsewhere");
  CheckName(top, "elsewhere");
  CheckAll(top);
}

TEST(TreeNameIndex, FollowsAChildFromParentToParent) {
  Tree_NodePtr first = Wide(60);
  Tree_NodePtr second = Wide(40);
  CheckAll(first);
  CheckAll(second);
  for (int i = 0; i < 50; ++i) {
    Tree_NodePtr child = first->GetChildAt(i % first->GetChildCount());
    second->Insert(child, i, -1);
    child->SetKeyName(Bytes("moved" + std::to_string(i % 7)));
    CheckAll(first);
    CheckAll(second);
  }
}

TEST(TreeNameIndex, IsMadeAnewAfterDestroy) {
  Tree_NodePtr top = Wide(60);
  CheckAll(top);
  Tree_NodePtr held = top->GetChildAt(20);
  top->Destroy();
  CheckNames(top, {"n20", "n0", ""});
  held->SetKeyName("held");
  for (int i = 0; i < 60; ++i) {
    Tree_NodePtr child = Inner(Name(100 + i));
    top->Add(child);
  }
  CheckAll(top);
  CheckNames(top, {"n20", "held"});
  top->Add(held);
  CheckAll(top);
}

TEST(TreeNameIndex, IsThatOfACopyByItself) {
  Tree_NodePtr top = Wide(60);
  Tree_NodePtr twin = Inner("n7");
  top->Add(twin);
  CheckAll(top);
  Tree_NodePtr copy = top->DuplicateFromHereDown(false);
  CheckAll(copy);
  copy->GetChildAt(7)->SetKeyName("renamed");
  top->GetChildAt(8)->SetKeyName("renamed too");
  for (Tree_NodePtr* tree : {&top, &copy}) {
    CheckAll(*tree);
    CheckNames(*tree, {"n7", "n8", "renamed", "renamed too"});
  }
}

TEST(TreeNameIndex, ServesCreationByPath) {
  Tree_NodePtr top = Inner("top");
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 200; ++i) {
      Tree_Path path(Bytes(Name(i % 100) + "\\" + Name(i)));
      Tree_NodePtr made = top->GetOrCreateRelativeNode(path, top);
      ASSERT_EQ(Name(i), Text(made->GetKeyName()));
    }
    EXPECT_EQ(100, top->GetChildCount());
    EXPECT_EQ(301, top->GetNodeNum());
    CheckAll(top);
  }
}

TEST(TreeNameIndex, ServesPruning) {
  Tree_NodePtr top = Wide(200);
  for (int i = 0; i < 200; i += 3) {
    Tree_NodePtr leaf = Leaf("leaf", "v");
    top->GetChildAt(i)->Add(leaf);
  }
  CheckAll(top);
  EXPECT_TRUE(top->RemoveEmptyBranches());
  EXPECT_EQ(67, top->GetChildCount());
  CheckAll(top);
  CheckNames(top, {"n1", "n2", "n3", "n198", "n199"});
}

// Before anything is looked up again: the handle that the index had for "n100" is gone.
TEST(TreeNameIndex, ServesChildrenOfANodeThatTakesAPrunedOnesPlace) {
  Tree_NodePtr top = Wide(200);
  Tree_NodePtr leaf = Leaf("leaf", "v");
  top->GetChildAt(0)->Add(leaf);
  CheckAll(top);
  EXPECT_TRUE(top->RemoveEmptyBranches());
  Tree_NodePtr again = Inner("n100");
  top->Add(again);
  Tree_NodePtr below = Leaf("below", "w");
  again->Add(below);
  CheckAll(top);
  Tree_Path path("n100\\below");
  EXPECT_EQ(below, top->GetRelativeNode(path, top));
}

TEST(TreeNameIndex, IsLeftInOrderByAFailedInsert) {
  Tree_NodePtr top = Wide(60);
  CheckAll(top);
  Tree_NodePtr child = top->GetChildAt(30);
  // The child is taken out before the index is tested; an index of 60 is one too high
  // for the 59 that remain.
  EXPECT_THROW(top->Insert(child, 60, -1), RWBoundsErr);
  CheckAll(top);
  CheckName(top, "n30");
  child->SetKeyName("n31");
  CheckAll(top);
  child->SetParent(nullptr);
  EXPECT_EQ(1, top->Insert(child, 0, -1));
  CheckAll(top);
  EXPECT_EQ(child, top->Get("n31", top));
  child = Tree_NodePtr();
  // The lost element holds the node for good.
  Tree_NodePtr lost = top->GetChildAt(0);
  EXPECT_EQ(3u, lost.UseCount());
  ExpectLost({.nodes = 1, .elements = 1, .records = 1});
}

// --- Zero bytes inside names --------------------------------------------------------

TEST(TreeNameIndex, ComparesUpToAZeroByteOrWholeAsTheOperationSays) {
  const std::string kOdd[] = {
      std::string("n5\0", 3),   std::string("n5\0a", 4), std::string("\0", 1),
      std::string("\0n5", 3),   std::string("n", 1),     std::string("odd\0", 4),
      std::string("odd\0b", 5), std::string("odd", 3),   "",
  };
  const std::vector<std::string> names(std::begin(kOdd), std::end(kOdd));
  for (const int width : {4, 24, 60}) {
    for (const int at : {0, 3, 1000}) {
      SCOPED_TRACE(testing::Message() << width << " " << at);
      Tree_NodePtr top = Wide(width);
      CheckAll(top);
      for (const std::string& name : names) {
        Tree_NodePtr child = Inner("x");
        child->SetKeyName(Bytes(name));
        top->Insert(child, std::min(at, top->GetChildCount()), -1);
        CheckNames(top, names);
      }
      CheckAll(top);
      // They come and go by renaming as well.
      for (int i = 0; i < top->GetChildCount(); i += 2) {
        top->GetChildAt(i)->SetKeyName(Bytes(names[static_cast<std::size_t>(i) % names.size()]));
        CheckNames(top, names);
      }
      CheckAll(top);
      for (const std::string& name : names) {
        const int expected = name.empty() ? -1 : Scan(top, name, true);
        Tree_NodePtr first = expected < 0 ? Tree_NodePtr() : top->GetChildAt(expected);
        EXPECT_EQ(expected < 0 ? 0 : 1, top->Remove(Bytes(name)));
        EXPECT_EQ(-1, first.isNull() ? -1 : top->GetIndex(first));
        CheckNames(top, names);
      }
    }
  }
}

// --- Slots ------------------------------------------------------------------------

TEST(TreeNameIndex, SurvivesAssignmentsThroughTheReferencesItYields) {
  std::mt19937 random(77);
  const auto below = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE(round);
    Tree_NodePtr top = Wide(20 + round * 3);
    std::vector<Tree_NodePtr> held;
    for (int step = 0; step < 300; ++step) {
      const int count = top->GetChildCount();
      const std::string name = Name(below(2 * count));
      RWCString text = Bytes(name);
      switch (below(8)) {
        case 0:
        case 1: {
          // What a look-up found is replaced in place, by a node of whatever name.
          Tree_NodePtr& slot = top->GetByRef(text, top);
          if (&slot == &Tree_Node::NULL_TREE_NODE_PTR) break;
          if (below(2) == 0) held.push_back(slot);
          slot = Inner(Name(below(2 * count)));
          break;
        }
        case 2:
          if (count == 0) break;
          top->GetChildAt(below(count)) = Inner(Name(below(2 * count)));
          break;
        case 3:
          if (count == 0) break;
          top->GetChildAt(below(count))->SetKeyName(text);
          break;
        case 4: {
          Tree_NodePtr child = Inner(name);
          top->Insert(child, below(count + 1), -1);
          break;
        }
        case 5:
          if (count < 10) break;
          top->Remove(below(count));
          break;
        case 6:
          if (count < 10) break;
          top->Remove(text);
          break;
        default:
          // Nodes that were replaced live on elsewhere.
          if (held.empty()) break;
          held.back()->SetKeyName(text);
          if (below(3) == 0) held.pop_back();
          break;
      }
      // Whatever a look-up yields is one of the children.
      Tree_NodePtr found = top->Get(text, top);
      ASSERT_TRUE(found.isNull() || top->GetIndex(found) >= 0);
      Tree_Node* const raw = top->Get(text, top.get());
      bool listed = raw == nullptr || raw == top.get();
      for (int i = 0; i < top->GetChildCount(); ++i) {
        if (top->GetChildAt(i).get() == raw) listed = true;
      }
      ASSERT_TRUE(listed);
    }
  }
}

TEST(TreeNameIndex, FindsTheOthersAfterAnAssignmentThroughAReference) {
  Tree_NodePtr top = Wide(60);
  CheckAll(top);
  RWCString name("n30");
  top->GetByRef(name, top) = Inner("replacement");
  for (int i = 0; i < 60; ++i) {
    if (i != 30) CheckName(top, Name(i));
  }
  EXPECT_EQ("replacement", Text(top->GetChildAt(30)->GetKeyName()));
  EXPECT_EQ(1, top->Remove(30));
  CheckAll(top);
}

// --- Random changes -----------------------------------------------------------------

// Some nodes and what their lists of children must look like.
class Model {
 public:
  Model(unsigned seed, bool zero_bytes) : m_random(seed) {
    for (int i = 0; i < 40; ++i) m_names.push_back(Name(i));
    m_names.push_back("");
    m_names.push_back("N1");
    m_names.push_back(" n1");
    if (zero_bytes) {
      for (const char* start : {"", "n1", "n2", "odd"}) {
        m_names.push_back(std::string(start) + std::string("\0", 1));
        m_names.push_back(std::string(start) + std::string("\0a", 2));
      }
    }
    for (int i = 0; i < 3; ++i) {
      m_tops.push_back(Inner("top" + std::to_string(i)));
      m_lists.emplace_back();
    }
  }

  void Step() {
    const std::size_t t = Any(m_tops);
    Tree_NodePtr& top = m_tops[t];
    std::vector<Tree_NodePtr>& list = m_lists[t];
    const int kind = Below(20);
    if (kind < 5 || (kind < 9 && list.size() < 20)) {
      Insert(t, NewNode());
    } else if (kind < 7) {
      if (!list.empty()) Insert(t, AnyChild(Any(m_tops)));
    } else if (kind == 7) {
      if (!list.empty()) RemoveAt(t, Below(static_cast<int>(list.size())));
    } else if (kind == 8) {
      RemoveNamed(t, m_names[Any(m_names)]);
    } else if (kind < 14) {
      if (!list.empty()) Rename(list[Any(list)]);
    } else if (kind == 14) {
      // A parent that was set by hand; the list does not follow.
      if (!list.empty()) {
        Tree_NodePtr& child = list[Any(list)];
        Tree_Node* const real = child->GetParent();
        child->SetParent(Below(2) == 0 ? nullptr : m_tops[Any(m_tops)].get());
        Rename(child);
        if (Below(3) != 0) child->SetParent(real);
      }
    } else if (kind == 15) {
      // Listed once more, maybe below another node.
      if (!list.empty()) {
        Tree_NodePtr child = list[Any(list)];
        child->SetParent(nullptr);
        Insert(Any(m_tops), child);
      }
    } else if (kind == 16) {
      if (!list.empty()) {
        Tree_NodePtr child = list[Any(list)];
        Tree_Node other("x");
        other.SetKeyName(Bytes(m_names[Any(m_names)]));
        Tree_Node* const real = child->GetParent();
        *child = other;
        if (Below(2) == 0) child->SetParent(real);
      }
    } else if (kind == 17 && Below(20) == 0) {
      top->Destroy();
      list.clear();
    } else if (kind == 18 && Below(20) == 0) {
      // A node of the same name and children takes the place of this one.
      for (const std::vector<Tree_NodePtr>& children : m_lists) {
        for (const Tree_NodePtr& child : children) {
          if (child->GetParent() == top.get()) child->SetParent(nullptr);
        }
      }
      Tree_NodePtr copy = top->DuplicateFromHereDown(false);
      top = copy;
      for (std::size_t i = 0; i < list.size(); ++i) {
        list[i] = top->GetChildAt(static_cast<int>(i));
      }
    } else if (list.size() > 60) {
      for (int i = 0; i < 30; ++i) RemoveAt(t, Below(static_cast<int>(list.size())));
    }
  }

  void CheckSome() {
    for (Tree_NodePtr& top : m_tops) {
      for (int i = 0; i < 3; ++i) CheckName(top, m_names[Any(m_names)]);
    }
  }

  void CheckEverything() {
    for (std::size_t t = 0; t < m_tops.size(); ++t) {
      ASSERT_EQ(static_cast<int>(m_lists[t].size()), m_tops[t]->GetChildCount());
      for (std::size_t i = 0; i < m_lists[t].size(); ++i) {
        ASSERT_EQ(m_lists[t][i], m_tops[t]->GetChildAt(static_cast<int>(i)));
      }
      CheckNames(m_tops[t], m_names);
    }
  }

 private:
  int Below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(m_random); }
  template <class T>
  std::size_t Any(const std::vector<T>& items) {
    return static_cast<std::size_t>(Below(static_cast<int>(items.size())));
  }

  Tree_NodePtr NewNode() {
    Tree_NodePtr node = Inner("x");
    node->SetKeyName(Bytes(m_names[Any(m_names)]));
    return node;
  }

  Tree_NodePtr AnyChild(std::size_t t) {
    return m_lists[t].empty() ? NewNode() : m_lists[t][Any(m_lists[t])];
  }

  void Rename(const Tree_NodePtr& child) { child->SetKeyName(Bytes(m_names[Any(m_names)])); }

  static std::size_t PlaceOf(const std::vector<Tree_NodePtr>& list, const Tree_NodePtr& node) {
    for (std::size_t i = 0; i < list.size(); ++i) {
      if (list[i] == node) return i;
    }
    return list.size();
  }

  void Insert(std::size_t t, Tree_NodePtr child) {
    for (std::size_t p = 0; p < m_tops.size(); ++p) {
      if (child->GetParent() != m_tops[p].get()) continue;
      const std::size_t place = PlaceOf(m_lists[p], child);
      // A parent that does not list the child would throw: forget it first.
      if (place == m_lists[p].size()) {
        child->SetParent(nullptr);
      } else {
        m_lists[p].erase(m_lists[p].begin() + static_cast<std::ptrdiff_t>(place));
      }
      break;
    }
    const int at = Below(static_cast<int>(m_lists[t].size()) + 1);
    EXPECT_EQ(1, m_tops[t]->Insert(child, at, -1));
    m_lists[t].insert(m_lists[t].begin() + at, child);
  }

  void RemoveAt(std::size_t t, int at) {
    EXPECT_EQ(1, m_tops[t]->Remove(at));
    m_lists[t].erase(m_lists[t].begin() + at);
  }

  void RemoveNamed(std::size_t t, const std::string& name) {
    const int first = name.empty() ? -1 : Scan(m_tops[t], name, true);
    EXPECT_EQ(first < 0 ? 0 : 1, m_tops[t]->Remove(Bytes(name)));
    if (first < 0) return;
    // The child that is found is removed as a child: the first listing of it goes.
    const Tree_NodePtr child = m_lists[t][static_cast<std::size_t>(first)];
    m_lists[t].erase(m_lists[t].begin() + static_cast<std::ptrdiff_t>(PlaceOf(m_lists[t], child)));
  }

  std::mt19937 m_random;
  std::vector<std::string> m_names;
  std::vector<Tree_NodePtr> m_tops;
  std::vector<std::vector<Tree_NodePtr>> m_lists;
};

TEST(TreeNameIndex, NeverShowsWhateverChanges) {
  for (unsigned seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    LogCapture refusals(2);
    Model model(seed, seed % 2 == 0);
    for (int step = 0; step < 3000; ++step) {
      SCOPED_TRACE(testing::Message() << "step " << step);
      model.Step();
      model.CheckSome();
      if (step % 100 == 0) model.CheckEverything();
      if (testing::Test::HasFailure()) return;
    }
    model.CheckEverything();
  }
}

// --- When memory runs out -----------------------------------------------------------

// Runs `change` on a wide node, with operator new failing after ever more calls, until it
// comes through.  Every look-up must be right after each failure.
void FailAtEveryPoint(int width, int& failures, const std::function<void(Tree_NodePtr&)>& change) {
  for (const bool looked_up_before : {false, true}) {
    for (int allowed = 0;; ++allowed) {
      ASSERT_LT(allowed, 1000);
      SCOPED_TRACE(testing::Message() << "width " << width << ", " << allowed << " allowed");
      Tree_NodePtr top = Wide(width);
      if (looked_up_before) CheckAll(top);
      bool failed = false;
      try {
        HeapDenied denied(allowed);
        change(top);
      } catch (const std::bad_alloc&) {
        failed = true;
      }
      CheckAll(top);
      CheckNames(top, {"new", "n0", "n5", "n6", "n20"});
      if (testing::Test::HasFatalFailure()) return;
      if (!failed) break;
      ++failures;
    }
  }
}

TEST(TreeNameIndex, StaysRightWhenMemoryRunsOut) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  int failures = 0;
  const RWCString new_name("new");
  Tree_Node known(new_name);  // interned from here on
  for (const int width : {22, 23, 24, 25, 31, 32, 47, 48, 64, 100}) {
    FailAtEveryPoint(width, failures, [&](Tree_NodePtr& top) {
      for (int i = 0; i < 40; ++i) {
        Tree_NodePtr child(new Tree_Node(new_name));
        top->Insert(child, i, -1);
      }
    });
    FailAtEveryPoint(width, failures, [&](Tree_NodePtr& top) {
      for (int i = 0; i < 20; ++i) top->GetChildAt(i)->SetKeyName(new_name);
    });
    FailAtEveryPoint(width, failures, [](Tree_NodePtr& top) {
      Tree_NodePtr child = top->GetChildAt(5);
      top->Insert(child, 20, -1);
      top->Insert(child, 0, -1);
      top->Remove(child);
    });
    if (HasFailure()) return;
  }
  EXPECT_LT(20, failures);
}

TEST(TreeNameIndex, IsMadeByTheFirstLookUpAndNotBefore) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Tree_NodePtr source = Wide(100);
  Tree_NodePtr copy = source->DuplicateFromHereDown(false);
  const RWCString name("n70");
  for (Tree_NodePtr* top : {&source, &copy}) {
    Tree_Node* const expected = (*top)->GetChildAt(70).get();
    const auto blocks_made = [&] {
      const std::int64_t before = HeapBlocksMade();
      EXPECT_EQ(expected, (*top)->Get(name, top->get()));
      return HeapBlocksMade() - before;
    };
    EXPECT_LT(0, blocks_made());
    EXPECT_EQ(0, blocks_made());
  }
}

TEST(TreeNameIndex, IsDoneWithoutWhileThereIsNoMemoryForIt) {
  Tree_NodePtr top = Wide(100);
  const RWCString name("n70");
  const RWCString missing("missing");
  Tree_Node* const expected = top->GetChildAt(70).get();
  for (int allowed = 0; allowed < 3; ++allowed) {
    SCOPED_TRACE(allowed);
    HeapDenied denied(allowed);
    EXPECT_EQ(expected, top->Get(name, top.get()));
    EXPECT_EQ(nullptr, top->Get(missing, top.get()));
  }
  CheckAll(top);
}

TEST(TreeNameIndex, NeedsNoMemoryToRemoveChildren) {
  for (const int width : {10, 24, 100}) {
    SCOPED_TRACE(width);
    for (const bool looked_up_before : {false, true}) {
      Tree_NodePtr top = Wide(width);
      if (looked_up_before) CheckAll(top);
      Tree_NodePtr held = top->GetChildAt(3);
      {
        HeapDenied denied;
        top->Remove(7);
        top->Remove(held);
      }
      CheckAll(top);
      {
        HeapDenied denied;
        while (top->GetChildCount() > 1) top->Remove(1);
      }
      CheckAll(top);
    }
  }
}

// --- Threads ------------------------------------------------------------------------

TEST(TreeNameIndex, ServesManyReadersAtOnce) {
  constexpr int kWidth = 300;
  constexpr int kThreads = 4;
  for (int round = 0; round < 21; ++round) {
    Tree_NodePtr top = Wide(kWidth);
    // The readers make the index, or find one that is up to date, or replace it: nobody
    // told it of the renames.
    if (round % 3 != 0) CheckName(top, "n7");
    for (int i = 0; i < kWidth; i += 10) {
      Tree_NodePtr& child = top->GetChildAt(i);
      if (round % 3 == 2) child->SetParent(nullptr);
      child->SetKeyName("several");
    }
    for (int change = 0; change < 2; ++change) {
      // The first look-ups of all threads come at the same time.
      std::atomic<int> ready{0};
      std::atomic<int> wrong{0};
      std::vector<std::thread> threads;
      for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
          Tree_NodePtr mine(top);
          RWCString several("several");
          RWCString missing("missing");
          ++ready;
          while (ready.load() < kThreads) std::this_thread::yield();
          for (int i = 0; i < kWidth; ++i) {
            const int number = (i * 7 + t * 31) % kWidth;
            RWCString name(Bytes(Name(number)));
            const bool renamed = number % 10 == 0;
            Tree_NodePtr found = mine->Get(name, mine);
            if (renamed ? !found.isNull() : found != mine->GetChildAt(number)) ++wrong;
            if (mine->Get(several, mine.get()) != mine->GetChildAt(0).get()) ++wrong;
            if (&mine->GetByRef(missing, mine) != &Tree_Node::NULL_TREE_NODE_PTR) ++wrong;
            Tree_Path path(name);
            if (mine->GetRelativeNode(path, mine) != found) ++wrong;
          }
        });
      }
      for (std::thread& thread : threads) thread.join();
      ASSERT_EQ(0, wrong.load());
      // One thread changes the tree while nobody else looks.
      Tree_NodePtr last = top->GetChildAt(kWidth - 1);
      top->Remove(kWidth - 1);
      top->Add(last);
    }
  }
}

}  // namespace
