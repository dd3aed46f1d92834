// Tree_Node::GetIdNodeVecFromTree and GetIdNodeVecFromTreeSkipPath.

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "Zel/Zel_PoolAllocator.h"
#include "support/FlatTrees.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

using namespace flat;

// --- Records of a tree ---------------------------------------------------------

TEST(GetIdNodeVecFromTree, NumbersTheNodesInPreOrder) {
  Tree_NodePtr top = Mixed();
  EXPECT_EQ("0<-1 top, 1<0 a=1, 2<0 b, 3<2 c=x, 4<0 d=", Flattened(top));
}

TEST(GetIdNodeVecFromTree, KeepsLeavesAndSubTreesInChildOrder) {
  Tree_NodePtr top =
      Inner("t", {Inner("s1", {Inner("u", {Leaf("v", "1"), Inner("w")}), Leaf("x", "2")}),
                  Leaf("l1", "3"), Inner("s2"), Leaf("l2", "4"), Inner("s3", {Leaf("y", "5")})});
  EXPECT_EQ(
      "0<-1 t, 1<0 s1, 2<1 u, 3<2 v=1, 4<2 w, 5<1 x=2, 6<0 l1=3, 7<0 s2, 8<0 l2=4, 9<0 s3, "
      "10<9 y=5",
      Flattened(top));
}

TEST(GetIdNodeVecFromTree, GivesOneRecordForANodeAlone) {
  Tree_NodePtr inner = Inner("alone");
  EXPECT_EQ("0<-1 alone", Flattened(inner));
  Tree_NodePtr nameless = Inner("");
  EXPECT_EQ("0<-1 ", Flattened(nameless));
}

// Whatever it holds.
TEST(GetIdNodeVecFromTree, NeverGivesTheTopAValue) {
  Tree_NodePtr leaf = Leaf("leaf", "value", 1);
  EXPECT_EQ("0<-1 leaf", Flattened(leaf));
  Tree_NodePtr emptied = LeafWithoutValue("leaf");
  EXPECT_EQ("0<-1 leaf", Flattened(emptied));
  Tree_NodePtr valued = Inner("inner", {Leaf("a", "1", 1)});
  valued->SetTreeValue(new Tree_Value("inside", 1));
  EXPECT_EQ("0<-1 inner, 1<0 a=1*1", Flattened(valued));
}

// A leaf below which nothing hangs is asked for its value, an inner node never is.
TEST(GetIdNodeVecFromTree, TellsLeavesByTheirKindAndNotByTheirValue) {
  Tree_NodePtr odd = Odd();
  EXPECT_EQ("0<-1 odd, 1<0 kept=k*-1, 2<0 gone=, 3<0 opened, 4<0 valued, 5<4 in=1*3, 6<0 emptied",
            Flattened(odd));
}

TEST(GetIdNodeVecFromTree, ReadsALeafWithoutAValueAsEmptyAndUnchanged) {
  Tree_NodePtr top = Inner("top", {LeafWithoutValue("gone"), Leaf("empty", "", 4)});
  const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
  ASSERT_EQ(3u, list.size());
  ASSERT_NE(nullptr, list[1].GetRWValue());
  EXPECT_EQ(0u, list[1].GetRWValue()->length());
  EXPECT_EQ(0, list[1].IsChange());
  // Interned like any other empty value.
  EXPECT_EQ(list[2].GetRWValue(), list[1].GetRWValue());
  EXPECT_EQ(4, list[2].IsChange());
}

TEST(GetIdNodeVecFromTree, CopiesTheChangeFlagAsItIs) {
  for (const int flag : {0, 1, 2, -1, 255, 256, INT_MAX, INT_MIN}) {
    SCOPED_TRACE(flag);
    Tree_NodePtr top = Inner("top", {Leaf("a", "v", flag), Leaf("b", "", flag)});
    const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
    ASSERT_EQ(3u, list.size());
    EXPECT_EQ(0, list[0].IsChange());
    EXPECT_EQ(flag, list[1].IsChange());
    EXPECT_EQ(flag, list[2].IsChange());
  }
}

TEST(GetIdNodeVecFromTree, TakesNamesAndValuesUnchanged) {
  const RWCString kTexts[] = {
      "",
      " ",
      " a ",
      "a\\b",
      "%s%d%n",
      "\x80\xFF",
      "\t",
      Bytes("a\0b"),
      Bytes("\0a"),
      Bytes("a \0"),
      RWCString(std::string(70000, 'l').c_str()),
  };
  for (const RWCString& text : kTexts) {
    SCOPED_TRACE(Text(text).substr(0, 100));
    Tree_NodePtr top = Inner(text, {Leaf(text, text)});
    const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
    ASSERT_EQ(2u, list.size());
    EXPECT_EQ(Text(text), Text(*list[0].GetRWPath()));
    EXPECT_EQ(Text(text), Text(*list[1].GetRWPath()));
    EXPECT_EQ(Text(text), Text(*list[1].GetRWValue()));
  }
}

TEST(GetIdNodeVecFromTree, SharesTheInternedStringsWithTheTree) {
  Tree_NodePtr leaf = Leaf("same", "same", 1);
  Tree_NodePtr top = Inner("top", {leaf, Inner("same")});
  const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
  ASSERT_EQ(3u, list.size());
  EXPECT_EQ(&top->GetKeyName(), list[0].GetRWPath());
  EXPECT_EQ(&leaf->GetKeyName(), list[1].GetRWPath());
  EXPECT_EQ(&leaf->GetKeyName(), list[1].GetRWValue());
  EXPECT_EQ(&leaf->GetKeyName(), list[2].GetRWPath());
}

TEST(GetIdNodeVecFromTree, KeepsChildrenOfOneName) {
  Tree_NodePtr top = Inner("x", {Leaf("x", "1"), Inner("x", {Leaf("x", "2")}), Leaf("x", "1")});
  EXPECT_EQ("0<-1 x, 1<0 x=1, 2<0 x, 3<2 x=2, 4<0 x=1", Flattened(top));
}

// The way down to the node does not show.
TEST(GetIdNodeVecFromTree, BeginsWithTheNodeThatItIsGiven) {
  Tree_NodePtr b = Inner("b", {Leaf("c", "x"), Inner("d")});
  Tree_NodePtr top = Inner("top", {Leaf("a", "1"), b});
  RWCString above("sys\\main");
  top->SetVirtualParentPath(above);
  b->SetVirtualParentPath(above);
  EXPECT_EQ("0<-1 b, 1<0 c=x, 2<0 d", Flattened(b));
  EXPECT_EQ("0<-1 c", Flattened(b->GetChildAt(0)));
  EXPECT_EQ("0<-1 top, 1<0 a=1, 2<0 b, 3<2 c=x, 4<2 d", Flattened(top));
}

TEST(GetIdNodeVecFromTree, LeavesTheTreeAsItWas) {
  Tree_NodePtr b = Inner("b", {Leaf("c", "x", 1)});
  Tree_NodePtr top = Inner("top", {Leaf("a", "1"), b});
  top->SetId(7);
  b->SetId(-3);
  EXPECT_EQ("0<-1 top, 1<0 a=1, 2<0 b, 3<2 c=x*1", Flattened(top));
  EXPECT_EQ("0<-1 top, 1<0 a=1, 2<0 b, 3<2 c=x*1", Flattened(top));
  EXPECT_EQ(7, top->GetId());
  EXPECT_EQ(-3, b->GetId());
  EXPECT_EQ(0, b->GetChildAt(0)->GetId());
  EXPECT_EQ(1u, top.UseCount());
  EXPECT_EQ(2u, b.UseCount());
  EXPECT_EQ(top.get(), b->GetParent());
  EXPECT_EQ(nullptr, top->GetParent());
  EXPECT_EQ(4, top->GetNodeNum());
  EXPECT_EQ(1, b->GetChildAt(0)->GetTreeValue()->IsChange());
}

// The records do not need the tree any more.
TEST(GetIdNodeVecFromTree, GivesRecordsThatOutliveTheTree) {
  Tree_NodePtr top = Mixed();
  const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
  top = Tree_NodePtr();
  EXPECT_EQ("0<-1 top, 1<0 a=1, 2<0 b, 3<2 c=x, 4<0 d=", Shown(list.get()));
}

TEST(GetIdNodeVecFromTree, GivesNoListForANullHandle) {
  Tree_NodePtr null;
  RWCString name("x");
  const std::unique_ptr<Zel_PoolAllocator> pool(NewPool(4));
  EXPECT_EQ(nullptr, Tree_Node::GetIdNodeVecFromTree(null, nullptr));
  EXPECT_EQ(nullptr, Tree_Node::GetIdNodeVecFromTree(Tree_Node::NULL_TREE_NODE_PTR, pool.get()));
  EXPECT_EQ(nullptr, Tree_Node::GetIdNodeVecFromTreeSkipPath(null, pool.get(), name));
  EXPECT_EQ(0u, InUse(*pool));
}

TEST(GetIdNodeVecFromTree, WritesOneLineForBothFormsAndAnyTree) {
  Tree_NodePtr top = Mixed();
  Tree_NodePtr odd = Odd();
  Tree_NodePtr leaf = Leaf("leaf", "1");
  Tree_NodePtr null;
  RWCString name("b");
  LogCapture log;
  for (Tree_NodePtr* tree : {&top, &odd, &leaf, &null}) {
    const FlatList all(Tree_Node::GetIdNodeVecFromTree(*tree, nullptr));
    EXPECT_LOG(log, StartLine());
    const FlatList some(Tree_Node::GetIdNodeVecFromTreeSkipPath(*tree, nullptr, name));
    EXPECT_LOG(log, StartLine());
  }
}

TEST(GetIdNodeVecFromTree, WritesNothingBelowLevelSeven) {
  Tree_NodePtr odd = Odd();
  LogCapture log(6);
  Flattened(odd);
  Flattened(odd, "valued");
  EXPECT_NO_LOG(log);
}

// --- Names to skip -------------------------------------------------------------

struct SkipCase {
  const char* about;
  Tree_NodePtr tree;
  RWCString skip_name;
  std::string expected;
};

void ExpectSkips(std::vector<SkipCase> cases) {
  for (SkipCase& c : cases) {
    SCOPED_TRACE(c.about);
    const RWCString before = c.skip_name;
    EXPECT_EQ(c.expected, Flattened(c.tree, c.skip_name));
    EXPECT_EQ(Text(before), Text(c.skip_name));
    if (c.skip_name.isNull()) {
      EXPECT_EQ(c.expected, Flattened(c.tree));
    }
  }
}

TEST(GetIdNodeVecFromTreeSkipPath, LeavesOutInnerChildrenOfTheTopOfThatName) {
  ExpectSkips({
      {"with everything below it, and without a gap in the numbers",
       Inner("t", {Leaf("a", "1"), Inner("x", {Leaf("b", "2"), Inner("y", {Leaf("c", "3")})}),
                   Leaf("d", "4"), Inner("z", {Leaf("e", "5")})}),
       "x", "0<-1 t, 1<0 a=1, 2<0 d=4, 3<0 z, 4<3 e=5"},
      {"all of them",
       Inner("t", {Inner("x"), Leaf("a", "1"), Inner("x", {Leaf("b", "2")}), Inner("x")}), "x",
       "0<-1 t, 1<0 a=1"},
      {"so that the top may be all that stays", Inner("t", {Inner("x", {Inner("x")})}), "x",
       "0<-1 t"},
      {"the top itself stays", Inner("x", {Inner("x", {Leaf("a", "1")}), Leaf("b", "2")}), "x",
       "0<-1 x, 1<0 b=2"},
      {"nothing when there is no such child", Inner("t", {Inner("y"), Leaf("a", "1")}), "x",
       "0<-1 t, 1<0 y, 2<0 a=1"},
      {"nothing of a node without children", Inner("x"), "x", "0<-1 x"},
      {"nothing of a leaf", Leaf("x", "1"), "x", "0<-1 x"},
      {"a name of blanks", Inner("t", {Inner(" "), Inner("  ")}), " ", "0<-1 t, 1<0   "},
  });
}

TEST(GetIdNodeVecFromTreeSkipPath, SkipsThatNameOnlyDirectlyBelowTheTop) {
  ExpectSkips({
      {"two levels down it stays",
       Inner("t", {Inner("y", {Inner("x", {Leaf("a", "1"), Inner("x")})}), Inner("x")}), "x",
       "0<-1 t, 1<0 y, 2<1 x, 3<2 a=1, 4<2 x"},
      {"a path is no name", Inner("t", {Inner("y", {Inner("x")}), Inner("y\\x")}), "y\\x",
       "0<-1 t, 1<0 y, 2<1 x"},
  });
}

TEST(GetIdNodeVecFromTreeSkipPath, NeverSkipsALeaf) {
  Tree_NodePtr opened = Leaf("x", "1");
  delete opened->GetTreeValue();
  opened->SetTreeValue(nullptr);
  Tree_NodePtr valued = Inner("x");
  valued->SetTreeValue(new Tree_Value("v", 1));
  ExpectSkips({
      {"whatever its name", Inner("t", {Leaf("x", "1"), Inner("x"), Leaf("x", "", 1)}), "x",
       "0<-1 t, 1<0 x=1, 2<0 x=*1"},
      {"an empty one included",
       Inner("t", {Leaf("", "1"), Inner("s", {Leaf("", "2"), Leaf("", "")})}), "",
       "0<-1 t, 1<0 =1, 2<0 s, 3<2 =2, 4<2 ="},
      {"without a value either", Inner("t", {LeafWithoutValue("x"), LeafWithoutValue("")}), "x",
       "0<-1 t, 1<0 x=, 2<0 ="},
      {"but a leaf that was made an inner node", Inner("t", {opened, Leaf("a", "1")}), "x",
       "0<-1 t, 1<0 a=1"},
      {"and an inner node with a value", Inner("t", {valued, Leaf("a", "1")}), "x",
       "0<-1 t, 1<0 a=1"},
  });
}

TEST(GetIdNodeVecFromTreeSkipPath, ComparesNamesWholeAndByteForByte) {
  const RWCString with_zero = Bytes("x\0y");
  ExpectSkips({
      {"letter case counts", Inner("t", {Inner("X"), Inner("x")}), "x", "0<-1 t, 1<0 X"},
      {"and every blank", Inner("t", {Inner("x "), Inner(" x"), Inner("x")}), "x",
       "0<-1 t, 1<0 x , 2<0  x"},
      {"also in the name to skip", Inner("t", {Inner("x"), Inner("x ")}), "x ", "0<-1 t, 1<0 x"},
      {"neither a beginning", Inner("t", {Inner("xy"), Inner("x")}), "x", "0<-1 t, 1<0 xy"},
      {"nor an end will do", Inner("t", {Inner("x"), Inner("y"), Inner("xy")}), "xy",
       "0<-1 t, 1<0 x, 2<0 y"},
      {"what stands behind a zero byte counts", Inner("t", {Inner(with_zero), Inner("x")}), "x",
       "0<-1 t, 1<0 " + Text(with_zero)},
      {"on either side", Inner("t", {Inner("x"), Inner(with_zero)}), with_zero, "0<-1 t, 1<0 x"},
      {"bytes beyond ASCII", Inner("t", {Inner("\xC3\xA4"), Inner("\xC3\x84")}), "\xC3\xA4",
       "0<-1 t, 1<0 \xC3\x84"},
  });
}

// Below the top it is the empty name that is skipped, whichever name was given.
TEST(GetIdNodeVecFromTreeSkipPath, SkipsInnerNodesWithoutANameFurtherDown) {
  ExpectSkips({
      {"with a name given, those below the top stay",
       Inner("t", {Inner("", {Leaf("a", "1")}), Inner("x")}), "x", "0<-1 t, 1<0 , 2<1 a=1"},
      {"but not those below them", Inner("t", {Inner("", {Inner("", {Leaf("a", "1")})})}), "x",
       "0<-1 t, 1<0 "},
      {"nor any further down",
       Inner("t", {Inner("s", {Inner("", {Leaf("a", "1")}), Leaf("b", "2"),
                               Inner("u", {Inner(""), Leaf("c", "3")})})}),
       "x", "0<-1 t, 1<0 s, 2<1 b=2, 3<1 u, 4<3 c=3"},
      {"without one, none stays",
       Inner("t", {Inner("", {Leaf("a", "1")}), Inner("s", {Inner(""), Leaf("b", "2")}),
                   Inner("", {Inner("u")})}),
       "", "0<-1 t, 1<0 s, 2<1 b=2"},
      {"but the top", Inner("", {Inner(""), Leaf("a", "1")}), "", "0<-1 , 1<0 a=1"},
      {"a blank is a name", Inner("t", {Inner(" ", {Inner(" ")})}), "", "0<-1 t, 1<0  , 2<1  "},
      {"and so is a zero byte", Inner("t", {Inner(Bytes("\0"), {Inner("a")})}), "",
       "0<-1 t, 1<0 " + std::string(1, '\0') + ", 2<1 a"},
      {"the mark of an empty sub-tree is a name like others",
       Inner("t", {Inner(Tree_EmptySubTree_DummyName, {Inner(Tree_EmptySubTree_DummyName)})}), "",
       "0<-1 t, 1<0 this_is_an_empty_sub_tree_name_indication, "
       "2<1 this_is_an_empty_sub_tree_name_indication"},
  });
}

// --- Where records come from ---------------------------------------------------

TEST(GetIdNodeVecFromTree, TakesItsRecordsFromThePool) {
  Tree_NodePtr top = Mixed();
  const std::unique_ptr<Zel_PoolAllocator> pool(NewPool(3));
  {
    const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, pool.get()), pool.get());
    EXPECT_EQ("0<-1 top, 1<0 a=1, 2<0 b, 3<2 c=x, 4<0 d=", Shown(list.get()));
    EXPECT_EQ(5u, InUse(*pool));
    for (std::size_t i = 0; i < list.size(); ++i) EXPECT_TRUE(pool->Exist(&list[i])) << i;

    // Another list gets records of its own.
    RWCString name("b");
    const FlatList some(Tree_Node::GetIdNodeVecFromTreeSkipPath(top, pool.get(), name), pool.get());
    EXPECT_EQ("0<-1 top, 1<0 a=1, 2<0 d=", Shown(some.get()));
    EXPECT_EQ(8u, InUse(*pool));
    EXPECT_EQ("0<-1 top, 1<0 a=1, 2<0 b, 3<2 c=x, 4<0 d=", Shown(list.get()));
  }
  EXPECT_EQ(0u, InUse(*pool));
}

// What a record held before does not show in it.
TEST(GetIdNodeVecFromTree, MakesEveryRecordAfresh) {
  Tree_NodePtr leaves = Inner("t", {Leaf("a", "1", 7), Leaf("b", "2", 7), Leaf("c", "3", 7)});
  Tree_NodePtr inner = Inner("t", {Inner("a"), Inner("b"), Inner("c")});
  const std::unique_ptr<Zel_PoolAllocator> pool(NewPool(4));
  for (int round = 0; round < 3; ++round) {
    const FlatList full(Tree_Node::GetIdNodeVecFromTree(leaves, pool.get()), pool.get());
    EXPECT_EQ("0<-1 t, 1<0 a=1*7, 2<0 b=2*7, 3<0 c=3*7", Shown(full.get()));
    Free(Tree_Node::GetIdNodeVecFromTree(leaves, pool.get()), pool.get());
    const FlatList bare(Tree_Node::GetIdNodeVecFromTree(inner, pool.get()), pool.get());
    EXPECT_EQ("0<-1 t, 1<0 a, 2<0 b, 3<0 c", Shown(bare.get()));
  }
}

TEST(GetIdNodeVecFromTree, GoesToTheHeapForEachRecordThatThePoolDoesNotYield) {
  Tree_NodePtr top = Mixed();
  const std::unique_ptr<Zel_PoolAllocator> pool(NewPool(8));
  for (int failures = 0; failures <= 6; ++failures) {
    SCOPED_TRACE(failures);
    pool->FailNextAllocations(failures);
    {
      const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, pool.get()), pool.get());
      pool->FailNextAllocations(0);
      EXPECT_EQ("0<-1 top, 1<0 a=1, 2<0 b, 3<2 c=x, 4<0 d=", Shown(list.get()));
      // Records are taken in the order of the list.
      for (std::size_t i = 0; i < list.size(); ++i) {
        EXPECT_EQ(static_cast<int>(i) >= failures, pool->Exist(&list[i])) << i;
      }
      EXPECT_EQ(failures < 5 ? 5u - static_cast<unsigned>(failures) : 0u, InUse(*pool));
    }
    EXPECT_EQ(0u, InUse(*pool));
  }
}

TEST(GetIdNodeVecFromTree, DoesWithAPoolThatYieldsNothing) {
  Tree_NodePtr top = Mixed();
  const std::unique_ptr<Zel_PoolAllocator> pool(NewPool(0));
  const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, pool.get()), pool.get());
  EXPECT_EQ("0<-1 top, 1<0 a=1, 2<0 b, 3<2 c=x, 4<0 d=", Shown(list.get()));
  for (std::size_t i = 0; i < list.size(); ++i) EXPECT_FALSE(pool->Exist(&list[i])) << i;
}

TEST(GetIdNodeVecFromTree, LeavesNothingBehindWhenMemoryRunsOut) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Tree_NodePtr top = Mixed();
  Free(Tree_Node::GetIdNodeVecFromTree(top, nullptr), nullptr);
  const std::int64_t blocks = HeapLiveBlocks();
  const int failures =
      FailEveryAllocation([&] { Free(Tree_Node::GetIdNodeVecFromTree(top, nullptr), nullptr); },
                          [&] { EXPECT_EQ(blocks, HeapLiveBlocks()); });
  // The list, its array and five records.
  EXPECT_LE(5, failures);

  // Some from the pool, some not: what the pool gave goes back to it.
  const std::unique_ptr<Zel_PoolAllocator> pool(NewPool(8));
  Free(Tree_Node::GetIdNodeVecFromTree(top, pool.get()), pool.get());
  const std::int64_t blocks_with_pool = HeapLiveBlocks();
  FailEveryAllocation(
      [&] {
        pool->FailNextAllocations(3);
        Free(Tree_Node::GetIdNodeVecFromTree(top, pool.get()), pool.get());
      },
      [&] {
        EXPECT_EQ(0u, InUse(*pool));
        EXPECT_EQ(blocks_with_pool, HeapLiveBlocks());
      });
  pool->FailNextAllocations(0);
}

}  // namespace
