// The index that wide nodes keep from name to child, while children are renamed, moved,
// copied, pruned and created by path.

#include <gtest/gtest.h>

#include <string>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/NameLookUps.h"
#include "support/TreeText.h"

namespace {

using namespace name_look_ups;

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
    Tree_NodePtr child = Inner(Bytes(Name(100 + i)));
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

}  // namespace
