// Tree_Node::GetSerializedTreeNode and GetSerializedTreeNodeSkipPath.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "Zel/Zel_PoolAllocator.h"
#include "support/FlatTrees.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/SmallStackThread.h"
#include "support/TreeMaking.h"

namespace {

using namespace flat;

std::string SerializedOnce(Tree_NodePtr& tree, bool with_header) {
  int size = -1;
  char* const buffer = Tree_Node::GetSerializedTreeNode(tree, size, with_header);
  return Taken(buffer, size);
}

std::string SerializedOnce(Tree_NodePtr& tree, RWCString skip_name, bool with_header) {
  int size = -1;
  char* const buffer = Tree_Node::GetSerializedTreeNodeSkipPath(tree, size, with_header, skip_name);
  return Taken(buffer, size);
}

// The bytes are the same whether anybody reads the lines or not.
std::string Serialized(Tree_NodePtr& tree, bool with_header = false) {
  const std::string bytes = SerializedOnce(tree, with_header);
  const EveryLineMade lines;
  EXPECT_EQ(bytes, SerializedOnce(tree, with_header));
  return bytes;
}

std::string Serialized(Tree_NodePtr& tree, const RWCString& skip_name, bool with_header) {
  const std::string bytes = SerializedOnce(tree, skip_name, with_header);
  const EveryLineMade lines;
  EXPECT_EQ(bytes, SerializedOnce(tree, skip_name, with_header));
  return bytes;
}

// --- Bytes ---------------------------------------------------------------------

TEST(GetSerializedTreeNode, WritesTheTree) {
  Tree_NodePtr top = Mixed();
  EXPECT_EQ(MixedBytes(), Serialized(top));
}

TEST(GetSerializedTreeNode, WritesOddNodesByTheirKind) {
  Tree_NodePtr odd = Odd();
  EXPECT_EQ(Record(0, -1, "odd") + Record(1, 0, "kept", "k", -1) + Record(2, 0, "gone") +
                Record(3, 0, "opened") + Record(4, 0, "valued") + Record(5, 4, "in", "1", 3) +
                Record(6, 0, "emptied"),
            Serialized(odd));
}

TEST(GetSerializedTreeNode, WritesALeafAloneWithoutItsValue) {
  Tree_NodePtr leaf = Leaf("port", "8080", 1);
  EXPECT_EQ(Record(0, -1, "port"), Serialized(leaf));
  EXPECT_EQ(20u, Serialized(leaf).size());
  EXPECT_EQ(24u, Serialized(leaf, true).size());
}

// Intended: the virtual parent path of the node does not get there.
TEST(GetSerializedTreeNode, BeginsTheBufferWithFourZeroBytesForAHeader) {
  Tree_NodePtr top = Mixed();
  EXPECT_EQ(std::string(4, '\0') + MixedBytes(), Serialized(top, true));
  RWCString above("sys\\main");
  top->SetVirtualParentPath(above);
  EXPECT_EQ(std::string(4, '\0') + MixedBytes(), Serialized(top, true));
  EXPECT_EQ(MixedBytes(), Serialized(top, false));
  EXPECT_EQ(std::string(4, '\0') + MixedBytes(), Serialized(top, "nothing", true));
}

TEST(GetSerializedTreeNode, SkipsLikeTheList) {
  Tree_NodePtr top =
      Inner("x", {Inner("x", {Leaf("lost", "1")}), Leaf("x", "2"), Inner("", {Inner("")}),
                  Inner("s", {Inner("x"), Inner("", {Leaf("lost", "3")})})});
  EXPECT_EQ(Record(0, -1, "x") + Record(1, 0, "x", "2", 0) + Record(2, 0, "") + Record(3, 0, "s") +
                Record(4, 3, "x"),
            Serialized(top, "x", false));
  EXPECT_EQ(Int(0) + Record(0, -1, "x") + Record(1, 0, "x") + Record(2, 1, "lost", "1", 0) +
                Record(3, 0, "x", "2", 0) + Record(4, 0, "s") + Record(5, 4, "x"),
            Serialized(top, "", true));
  EXPECT_EQ(Serialized(top, "", false), Serialized(top));
}

TEST(GetSerializedTreeNode, LeavesTheTreeAndTheNameAsTheyWere) {
  Tree_NodePtr top = Mixed();
  top->SetId(5);
  RWCString name("b");
  int size = -1;
  delete[] Tree_Node::GetSerializedTreeNodeSkipPath(top, size, true, name);
  EXPECT_EQ(RWCString("b"), name);
  EXPECT_EQ(5, top->GetId());
  EXPECT_EQ(1u, top.UseCount());
  EXPECT_EQ(5, top->GetNodeNum());
  EXPECT_EQ("0<-1 top, 1<0 a=1, 2<0 b, 3<2 c=x, 4<0 d=", Flattened(top));
}

TEST(GetSerializedTreeNode, WritesTextsUpToTheirZeroByte) {
  Tree_NodePtr top = Inner(Bytes("ab\0cd"), {Leaf("l", Bytes("\0xyz"), 1)});
  EXPECT_EQ(Record(0, -1, "ab") + Record(1, 0, "l") + std::string(3 + 4 + 4, '\0'),
            Serialized(top));
}

TEST(GetSerializedTreeNode, BeginsWithTheNodeThatItIsGiven) {
  Tree_NodePtr b = Inner("b", {Leaf("c", "x", 1)});
  Tree_NodePtr top = Inner("top", {Leaf("a", "1"), b});
  EXPECT_EQ(Record(0, -1, "b") + Record(1, 0, "c", "x", 1), Serialized(b));
  EXPECT_EQ(Record(0, -1, "c"), Serialized(b->GetChildAt(0)));
}

// Beyond 2^31 bytes, and beyond 2^32, where 32 bits would have wrapped around to little.
TEST(GetSerializedTreeNode, ThrowsWhenTheSizeIsBeyondAnInt) {
  for (const int leaves : {2048, 4097}) {
    for (const int level : {5, 6}) {
      SCOPED_TRACE(testing::Message() << leaves << " leaves, level " << level);
      Tree_NodePtr top = Huge(leaves);
      LogCapture log(level);
      int size = -1;
      EXPECT_THROW(Tree_Node::GetSerializedTreeNode(top, size, true), std::bad_alloc);
      EXPECT_NO_LOG(log);
    }
  }
}

// --- Lines ---------------------------------------------------------------------

TEST(GetSerializedTreeNode, WritesTheLinesOfBothSteps) {
  Tree_NodePtr top = Inner("top", {Leaf("a", "1", 1), Inner("b", {Leaf("c", "x")})});
  LogCapture log;
  SerializedOnce(top, false);
  EXPECT_LOG(log, StartLine(),  //
             Write("id <0>"), Write("p_id <-1>"), Write("path len <3>"), Write("path <top>"),
             Write("val_len  <0>"),  //
             Write("id <1>"), Write("p_id <0>"), Write("path len <1>"), Write("path <a>"),
             Write("val_len  <1>"), Write("val <1>"), Write("is change <1>"),  //
             Write("id <2>"), Write("p_id <0>"), Write("path len <1>"), Write("path <b>"),
             Write("val_len  <0>"),  //
             Write("id <3>"), Write("p_id <2>"), Write("path len <1>"), Write("path <c>"),
             Write("val_len  <1>"), Write("val <x>"), Write("is change <0>"));
  SerializedOnce(top, "b", true);
  EXPECT_LOG(log, StartLine(),  //
             Write("virtual parent path len <0>"), Write("virtual parent path <>"), Write("id <0>"),
             Write("p_id <-1>"), Write("path len <3>"), Write("path <top>"),
             Write("val_len  <0>"),  //
             Write("id <1>"), Write("p_id <0>"), Write("path len <1>"), Write("path <a>"),
             Write("val_len  <1>"), Write("val <1>"), Write("is change <1>"));
}

TEST(GetSerializedTreeNode, RefusesANullHandle) {
  Tree_NodePtr null;
  RWCString name("x");
  const LogLine failed =
      TreeLine(3, "Tree_Node::GetSerializedTreeNodeSkipPath", "Failed to create id node vec\n");
  LogCapture log;
  int size = 1234;
  EXPECT_EQ(nullptr, Tree_Node::GetSerializedTreeNode(null, size, true));
  EXPECT_LOG(log, StartLine(), failed);
  EXPECT_EQ(nullptr, Tree_Node::GetSerializedTreeNode(Tree_Node::NULL_TREE_NODE_PTR, size, false));
  EXPECT_LOG(log, StartLine(), failed);
  EXPECT_EQ(nullptr, Tree_Node::GetSerializedTreeNodeSkipPath(null, size, false, name));
  EXPECT_LOG(log, StartLine(), failed);
  EXPECT_EQ(1234, size);
}

// Whatever else is written or not.
TEST(GetSerializedTreeNode, WritesTheLineOfARefusalFromItsLevelOn) {
  Tree_NodePtr null;
  const LogLine failed =
      TreeLine(3, "Tree_Node::GetSerializedTreeNodeSkipPath", "Failed to create id node vec\n");
  for (const int level : {3, 5, 6}) {
    SCOPED_TRACE(level);
    LogCapture log(level);
    EXPECT_EQ("null", SerializedOnce(null, false));
    EXPECT_EQ("null", SerializedOnce(null, "x", true));
    EXPECT_LOG(log, failed, failed);
  }
  LogCapture log(2);
  EXPECT_EQ("null", SerializedOnce(null, false));
  EXPECT_NO_LOG(log);
}

TEST(GetSerializedTreeNode, WritesNoLinesBelowLevelSix) {
  Tree_NodePtr odd = Odd();
  RWCString name("valued");
  LogCapture log(5);
  SerializedOnce(odd, true);
  SerializedOnce(odd, name, false);
  EXPECT_NO_LOG(log);
}

// --- The pool of its records ---------------------------------------------------

// Calls `visit` for the pool that a tree is serialized with, while that happens.
std::string SerializedWatching(Tree_NodePtr& tree,
                               const std::function<void(Zel_PoolAllocator&)>& visit) {
  ZelGLog.SetSink([&](const Zel_LogRecord& record) {
    if (record.text != StartLine().text) return;
    Zel_PoolAllocator::VisitAll([&](Zel_PoolAllocator& pool) {
      if (std::strcmp(pool.GetName(), "Tree_IdNodeInfo") == 0) visit(pool);
    });
  });
  ZelGLog.SetLevel(7);
  const std::string bytes = SerializedOnce(tree, false);
  ZelGLog.SetLevel(5);
  ZelGLog.SetSink({});
  return bytes;
}

TEST(GetSerializedTreeNode, TakesItsRecordsFromAPoolThatItMakesAndDestroys) {
  const struct {
    Tree_NodePtr tree;
    int nodes_below;
  } kTrees[] = {{Mixed(), 4}, {Odd(), 6}, {Inner("alone"), 0}, {Leaf("alone", "1"), 0}};
  for (auto c : kTrees) {
    SCOPED_TRACE(c.nodes_below);
    int pools = 0;
    SerializedWatching(c.tree, [&](Zel_PoolAllocator& pool) {
      ++pools;
      EXPECT_EQ(sizeof(Tree_IdNodeInfo), pool.GetElementSize());
      EXPECT_EQ(c.nodes_below, pool.GetCurrElementsInBlock());
      EXPECT_EQ(0u, InUse(pool));
    });
    EXPECT_EQ(1, pools);
    Zel_PoolAllocator::VisitAll(
        [](Zel_PoolAllocator& pool) { EXPECT_STRNE("Tree_IdNodeInfo", pool.GetName()); });
  }
}

// Both kinds of records go the way they came.
TEST(GetSerializedTreeNode, GoesToTheHeapForEachRecordThatItsPoolDoesNotYield) {
  Tree_NodePtr top = Mixed();
  for (int failures = 0; failures <= 6; ++failures) {
    SCOPED_TRACE(failures);
    int pools = 0;
    EXPECT_EQ(MixedBytes(), SerializedWatching(top, [&](Zel_PoolAllocator& pool) {
                ++pools;
                pool.FailNextAllocations(failures);
              }));
    EXPECT_EQ(1, pools);
  }
}

// Fails every allocation of a call in turn.
int FailEverywhere(Tree_NodePtr& top) {
  RWCString name("b");
  int size = -1;
  const auto serialize = [&] {
    delete[] Tree_Node::GetSerializedTreeNodeSkipPath(top, size, true, name);
  };
  serialize();
  const std::int64_t blocks = HeapLiveBlocks();
  const PoolFigures figures = PoolFigures::Now();
  const int failures = FailEveryAllocation(serialize, [&] {
    EXPECT_EQ(blocks, HeapLiveBlocks());
    EXPECT_EQ(figures, PoolFigures::Now());
  });
  Zel_PoolAllocator::VisitAll(
      [](Zel_PoolAllocator& pool) { EXPECT_STRNE("Tree_IdNodeInfo", pool.GetName()); });
  return failures;
}

TEST(GetSerializedTreeNode, LeavesNothingBehindWhenMemoryRunsOut) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Tree_NodePtr top = Mixed();
  EXPECT_LE(1, FailEverywhere(top));
}

TEST(GetSerializedTreeNode, LeavesNothingBehindWhenMemoryRunsOutWhileLinesAreWritten) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Tree_NodePtr top = Mixed();
  const EveryLineMade lines;
  EXPECT_LE(3, FailEverywhere(top));
}

// --- Deep and wide trees -------------------------------------------------------

constexpr int kDepth = 1'000'000;
constexpr int kWidth = 100'000;

// Levels of a test that writes several lines per level.
constexpr int kTracedDepth = 100'000;

int IntAt(const std::string& bytes, std::size_t at) {
  unsigned number = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    number = number << 8 | static_cast<unsigned char>(bytes.at(at + i));
  }
  return static_cast<int>(number);
}

// `levels` nodes called "x", each below the one before, and below the last of them a leaf.
Tree_NodePtr DeepChain(int levels) {
  Tree_NodePtr bottom;
  Tree_NodePtr top = Chain(levels, "x", bottom);
  Tree_NodePtr end = Leaf("end", "reached", 1);
  bottom->Add(end);
  return top;
}

void ExpectDeepBytes(const std::string& bytes, int levels) {
  const std::string end = Record(levels, levels - 1, "end", "reached", 1);
  ASSERT_EQ(static_cast<std::size_t>(levels) * 17 + end.size(), bytes.size());
  for (int i = 0; i < levels; ++i) {
    const std::size_t at = static_cast<std::size_t>(i) * 17;
    ASSERT_EQ(i, IntAt(bytes, at));
    ASSERT_EQ(i - 1, IntAt(bytes, at + 4));
    ASSERT_EQ(1, IntAt(bytes, at + 8));
    ASSERT_EQ('x', bytes[at + 12]);
    ASSERT_EQ(0, IntAt(bytes, at + 13));
  }
  EXPECT_EQ(end, bytes.substr(static_cast<std::size_t>(levels) * 17));
}

TEST(FlatteningADeepTree, GivesOneRecordPerLevel) {
  RunOnSmallStack([] {
    Tree_NodePtr top = DeepChain(kDepth);
    FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
    top = Tree_NodePtr();
    ASSERT_EQ(std::size_t{kDepth} + 1, list.size());
    for (int i = 0; i < kDepth; ++i) {
      const Tree_IdNodeInfo& record = list[static_cast<std::size_t>(i)];
      ASSERT_EQ(i, record.GetId());
      ASSERT_EQ(i - 1, record.GetParentId());
      ASSERT_EQ(list[0].GetRWPath(), record.GetRWPath());
      ASSERT_EQ(nullptr, record.GetRWValue());
    }
    EXPECT_EQ("1000000<999999 end=reached*1", Shown(list[kDepth]));
    ExpectDeepBytes(Written(list.release(), "", false, false), kDepth);
  });
}

TEST(FlatteningADeepTree, WritesOneBuffer) {
  RunOnSmallStack([] {
    Tree_NodePtr top = DeepChain(kDepth);
    ExpectDeepBytes(SerializedOnce(top, false), kDepth);
    // The name of every level, but it is skipped below the top only.
    EXPECT_EQ(Record(0, -1, "x"), SerializedOnce(top, "x", false));
    Tree_NodePtr above = Inner("above", {top});
    EXPECT_EQ(std::size_t{kDepth + 1} * 17 + 4 + 30, SerializedOnce(above, "end", false).size());
  });
}

TEST(FlatteningADeepTree, WritesTheLinesOfEveryLevel) {
  RunOnSmallStack([] {
    Tree_NodePtr top = DeepChain(kTracedDepth);
    const EveryLineMade lines;
    ExpectDeepBytes(SerializedOnce(top, false), kTracedDepth);
    // The start, five for each node, and seven for the leaf.
    EXPECT_EQ(1 + std::size_t{kTracedDepth} * 5 + 7, lines.Count());
  });
}

// Everything below a node without a name is left out with it.
TEST(FlatteningADeepTree, EndsAtANodeWithoutAName) {
  RunOnSmallStack([] {
    Tree_NodePtr lower = DeepChain(kDepth / 2);
    lower->SetKeyName("");
    Tree_NodePtr bottom;
    Tree_NodePtr top = Chain(kDepth / 2, "x", bottom);
    bottom->Add(lower);
    EXPECT_EQ(std::size_t{kDepth / 2} * 17, SerializedOnce(top, false).size());
    lower->SetKeyName("x");
    ExpectDeepBytes(SerializedOnce(top, false), kDepth);
  });
}

TEST(FlatteningADeepTree, TakesAllRecordsFromAPool) {
  RunOnSmallStack([] {
    Tree_NodePtr top = DeepChain(kDepth);
    const std::unique_ptr<Zel_PoolAllocator> pool(NewPool(10000));
    {
      const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, pool.get()), pool.get());
      EXPECT_EQ(std::uint64_t{kDepth} + 1, InUse(*pool));
      ExpectDeepBytes(Written(list.get(), "", false, true), kDepth);
    }
    EXPECT_EQ(0u, InUse(*pool));
  });
}

// Leaves and sub-trees by turns, and below each sub-tree one leaf.
TEST(FlatteningAWideTree, KeepsTheOrderOfTheChildren) {
  RunOnSmallStack([] {
    Tree_NodePtr top = Inner("wide");
    std::string expected = Record(0, -1, "wide");
    std::string without_sub_trees = expected;
    int id = 0;
    for (int i = 0; i < kWidth; ++i) {
      const std::string name = std::to_string(i);
      Tree_NodePtr child;
      if (i % 2 == 0) {
        child = Leaf(name.c_str(), "v", i);
        expected += Record(++id, 0, name, "v", i);
        without_sub_trees += Record(i / 2 + 1, 0, name, "v", i);
      } else {
        child = Inner("sub", {Leaf("in", name.c_str())});
        expected += Record(id + 1, 0, "sub") + Record(id + 2, id + 1, "in", name, 0);
        id += 2;
      }
      top->Insert(child, i, kWidth);
    }
    EXPECT_TRUE(expected == Serialized(top));
    EXPECT_TRUE(without_sub_trees == SerializedOnce(top, "sub", false));
    EXPECT_TRUE(Int(0) + expected ==
                Written(Tree_Node::GetIdNodeVecFromTree(top, nullptr), "", true, false));
  });
}

// Writing a tree at once and writing its records are two pieces of code.
void ExpectBytesOfTheRecords(Tree_NodePtr& top) {
  EXPECT_TRUE(Written(Tree_Node::GetIdNodeVecFromTree(top, nullptr), "", false, false) ==
              SerializedOnce(top, false));
}

RWCString TextOf(int length) {
  RWCString text;
  while (static_cast<int>(text.length()) < length) text.append("abcdefghijklmnopqrstuvwxyz");
  text.resize(static_cast<std::size_t>(length));
  return text;
}

TEST(GetSerializedTreeNode, WritesNamesAndValuesOfEveryLength) {
  Tree_NodePtr all(new Tree_Node("top"));
  for (int name = 1; name < 70; ++name) {
    for (int value = 0; value < 70; ++value) {
      Tree_NodePtr leaf(new Tree_Node(TextOf(name), new Tree_Value(TextOf(value), value)));
      all->Add(leaf);
      if (name > 35 && value > 35) continue;
      SCOPED_TRACE(testing::Message() << "name of " << name << ", value of " << value);
      Tree_NodePtr alone(new Tree_Node(TextOf(name)));
      Tree_NodePtr only(new Tree_Node(TextOf(name), new Tree_Value(TextOf(value), 1)));
      alone->Add(only);
      ExpectBytesOfTheRecords(alone);
    }
  }
  ExpectBytesOfTheRecords(all);
}

TEST(GetSerializedTreeNode, WritesBuffersOfManyMegabytes) {
  Tree_NodePtr top(new Tree_Node("top"));
  const RWCString value = TextOf(1000);
  for (int i = 0; i < 9000; ++i) {
    Tree_NodePtr leaf(new Tree_Node("leaf", new Tree_Value(value, i)));
    top->Add(leaf);
  }
  ExpectBytesOfTheRecords(top);
}

}  // namespace
