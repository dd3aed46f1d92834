// Where the parts of a tree come from: the pools, their sizes, and the general heap.

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeText.h"

namespace {

// Puts the block sizes of all pools back when a test has played with them.
class TreePools : public testing::Test {
 protected:
  TreePools() {
    for (Zel_PoolAllocator* pool : m_all) m_sizes.push_back(pool->GetCurrElementsInBlock());
  }
  ~TreePools() override {
    for (std::size_t i = 0; i < m_sizes.size(); ++i) {
      m_all[i]->ResetBlockInfo(m_sizes[i], -1);
      m_all[i]->FailNextAllocations(0);
    }
  }

  Zel_PoolAllocator& m_nodes = NodesPool();
  Zel_PoolAllocator& m_vectors = VectorsPool();
  Zel_PoolAllocator& m_elements = ElementsPool();
  Zel_PoolAllocator& m_values = ValuesPool();
  Zel_PoolAllocator& m_records = RecordsPool();

  const std::vector<Zel_PoolAllocator*> m_all = {&m_nodes, &m_vectors, &m_elements, &m_values,
                                                 &m_records};

 private:
  std::vector<int> m_sizes;
};

// --- Who comes from where ---------------------------------------------------------

TEST_F(TreePools, BearTheirNamesAndElementSizes) {
  EXPECT_STREQ("Tree_Node", m_nodes.GetName());
  EXPECT_STREQ("Tree_NodePtrVec", m_vectors.GetName());
  EXPECT_STREQ("Tree_NodePtrVec", m_elements.GetName());
  EXPECT_STREQ("Tree_Value", m_values.GetName());
  EXPECT_EQ(sizeof(Tree_Node), m_nodes.GetElementSize());
  EXPECT_EQ(sizeof(Tree_NodePtrVec), m_vectors.GetElementSize());
  EXPECT_EQ(sizeof(Tree_NodePtr), m_elements.GetElementSize());
  EXPECT_EQ(sizeof(Tree_Value), m_values.GetElementSize());
  EXPECT_NE(&m_vectors, &m_elements);
}

struct UseCase {
  const char* tree;
  PoolFigures used;  // nodes, vectors, elements, values, records
};

const UseCase kUses[] = {
    {"top", {1, 0, 0, 0, 1}},
    {"top=v", {1, 0, 0, 1, 1}},
    {"top(a)", {2, 1, 1, 0, 2}},
    {"top(a,b=1,c=)", {4, 1, 3, 2, 4}},
    {"top(a(b(c=1,d),e),f(g))", {8, 4, 7, 1, 8}},
};

TEST_F(TreePools, HoldEveryPartOfATree) {
  for (const UseCase& c : kUses) {
    SCOPED_TRACE(c.tree);
    const PoolFigures before = PoolFigures::Now();
    Tree_NodePtr top = Plant(c.tree);
    EXPECT_EQ(c.used, PoolFigures::Now() - before);
    top = Tree_NodePtr();
    EXPECT_EQ((PoolFigures{0, 0, 0, 0, 0}), PoolFigures::Now() - before);
  }
}

TEST_F(TreePools, ServeOperatorNewOfNodesAndValues) {
  void* node = Tree_Node::operator new(sizeof(Tree_Node));
  void* value = Tree_Value::operator new(sizeof(Tree_Value));
  EXPECT_TRUE(m_nodes.Exist(node));
  EXPECT_TRUE(m_values.Exist(value));
  EXPECT_FALSE(m_nodes.Exist(value));
  Tree_Node::operator delete(node);
  Tree_Value::operator delete(value);
  Tree_Node::operator delete(nullptr);
  Tree_Value::operator delete(nullptr);
}

TEST_F(TreePools, GiveAVectorWithTheFirstChildAndKeepItUntilDestroy) {
  Tree_NodePtr top = Inner("top");
  const PoolFigures before = PoolFigures::Now();
  Tree_NodePtr null;
  top->Add(null);
  EXPECT_EQ(0, (PoolFigures::Now() - before).vectors);
  Tree_NodePtr child = Inner("c");
  top->Add(child);
  EXPECT_EQ(1, (PoolFigures::Now() - before).vectors);
  top->Remove(0);
  EXPECT_EQ(1, (PoolFigures::Now() - before).vectors);
  top->Destroy();
  EXPECT_EQ(0, (PoolFigures::Now() - before).vectors);
}

TEST_F(TreePools, GiveAVectorEvenWhenTheInsertFails) {
  Tree_NodePtr top = Inner("top");
  Tree_NodePtr child = Inner("c");
  const PoolFigures before = PoolFigures::Now();
  EXPECT_THROW(top->Insert(child, 1, -1), RWBoundsErr);
  EXPECT_EQ((PoolFigures{0, 1, 1, 0, 0}), PoolFigures::Now() - before);
  ExpectLost({.nodes = 1, .elements = 1, .records = 1});
}

TEST_F(TreePools, SpareTheHeapInTheSteadyState) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Tree_NodePtr top = Plant("top(first)");
  Tree_NodePtr child = Plant("child");
  const RWCString name("name");
  const RWCString text("value");
  const auto work = [&] {
    for (int i = 0; i < 100; ++i) {
      Tree_NodePtr node(new Tree_Node(name));
      delete new Tree_Value(text, 0);
      child->SetParent(nullptr);
      top->Add(child);
      top->Remove(1);
    }
  };
  work();
  const std::int64_t before = HeapBlocksMade();
  work();
  EXPECT_EQ(before, HeapBlocksMade());
}

// --- The sizes of blocks ------------------------------------------------------------

struct SizeCase {
  const char* what;
  int nodes, vectors, values, elements;  // before
  int n;
  int new_nodes, new_vectors, new_values, new_elements;
};

const SizeCase kSizes[] = {
    {"nothing is larger than n", 100, 100, 100, 100, 101, 101, 50, 101, 101},
    {"half of an even number", 100, 100, 100, 100, 200, 200, 100, 200, 200},
    {"the vectors may get fewer", 10000, 10000, 2000, 2000, 10001, 10001, 5000, 10001, 10001},
    {"equal to n is enough", 100, 100, 100, 100, 100, 100, 100, 100, 100},
    {"nodes are enough, the others ask for themselves", 100, 7, 10, 20, 50, 100, 7, 50, 50},
    {"values are enough", 10, 10, 500, 10, 60, 60, 30, 500, 60},
    {"elements are enough", 10, 10, 10, 500, 60, 60, 30, 60, 500},
    {"only the nodes are too few", 10, 10, 500, 500, 60, 60, 30, 500, 500},
    {"no nodes at all", 100, 100, 100, 100, 0, 100, 100, 100, 100},
    {"a negative number", 100, 100, 100, 100, -5, 100, 100, 100, 100},
    {"one node has no vector", 0, 10, 0, 0, 1, 1, 0, 1, 1},
};

TEST_F(TreePools, GrowTheirBlocksForATreeOfSoManyNodes) {
  for (const SizeCase& c : kSizes) {
    SCOPED_TRACE(c.what);
    m_nodes.ResetBlockInfo(c.nodes, 3);
    m_vectors.ResetBlockInfo(c.vectors, 3);
    m_values.ResetBlockInfo(c.values, 3);
    m_elements.ResetBlockInfo(c.elements, -1);
    LogCapture log;
    Tree_Node::InitNodesPool(c.n);
    EXPECT_NO_LOG(log);
    EXPECT_EQ(c.new_nodes, m_nodes.GetCurrElementsInBlock());
    EXPECT_EQ(c.new_vectors, m_vectors.GetCurrElementsInBlock());
    EXPECT_EQ(c.new_values, m_values.GetCurrElementsInBlock());
    EXPECT_EQ(c.new_elements, m_elements.GetCurrElementsInBlock());
  }
}

TEST_F(TreePools, AreSetOnlyTheFirstTimeForOneNumber) {
  m_nodes.ResetBlockInfo(100, 3);
  Tree_Node::InitNodesPool(400);
  EXPECT_EQ(200, m_vectors.GetCurrElementsInBlock());
  m_vectors.ResetBlockInfo(7, 3);
  Tree_Node::InitNodesPool(400);
  EXPECT_EQ(7, m_vectors.GetCurrElementsInBlock());
  EXPECT_EQ(400, m_nodes.GetCurrElementsInBlock());
}

TEST_F(TreePools, OfValuesAndElementsAreSetByThemselves) {
  m_nodes.ResetBlockInfo(10, 3);
  m_vectors.ResetBlockInfo(10, 3);
  m_values.ResetBlockInfo(10, 3);
  m_elements.ResetBlockInfo(10, -1);

  Tree_Value::InitValuesPool(11);
  EXPECT_EQ(11, m_values.GetCurrElementsInBlock());
  EXPECT_EQ(10, m_elements.GetCurrElementsInBlock());
  for (const int n : {11, 10, 0, -1, INT_MIN}) {
    Tree_Value::InitValuesPool(n);
    EXPECT_EQ(11, m_values.GetCurrElementsInBlock());
  }

  Tree_NodePtrVec::InitPool(12);
  EXPECT_EQ(12, m_elements.GetCurrElementsInBlock());
  for (const int n : {12, 11, 0, -1, INT_MIN}) {
    Tree_NodePtrVec::InitPool(n);
    EXPECT_EQ(12, m_elements.GetCurrElementsInBlock());
  }
  EXPECT_EQ(11, m_values.GetCurrElementsInBlock());
  EXPECT_EQ(10, m_nodes.GetCurrElementsInBlock());
  EXPECT_EQ(10, m_vectors.GetCurrElementsInBlock());
}

TEST_F(TreePools, OfRecordsFollowTheElements) {
  m_elements.ResetBlockInfo(10, -1);
  m_records.ResetBlockInfo(10, -1);
  Tree_NodePtrVec::InitPool(25);
  EXPECT_EQ(25, m_records.GetCurrElementsInBlock());
  // Nothing happens while the elements are enough, whatever the records are.
  m_records.ResetBlockInfo(10, -1);
  Tree_NodePtrVec::InitPool(25);
  EXPECT_EQ(10, m_records.GetCurrElementsInBlock());
}

TEST_F(TreePools, TakeOneBlockForATreeThatWasAnnounced) {
  constexpr int kNodes = 30000;
  Tree_Node::InitNodesPool(kNodes);
  const auto blocks = [this] {
    std::vector<std::uint64_t> all;
    for (Zel_PoolAllocator* pool : m_all) {
      all.push_back(pool->GetStats().blocks);
    }
    return all;
  };
  const std::vector<std::uint64_t> before = blocks();
  Tree_NodePtr top = Inner("top");
  for (int i = 1; i < kNodes / 2; ++i) {
    Tree_NodePtr mid = Inner("mid");
    Tree_NodePtr leaf = Leaf("leaf", "v");
    mid->Add(leaf);
    top->Add(mid);
  }
  const std::vector<std::uint64_t> after = blocks();
  for (std::size_t i = 0; i < before.size(); ++i) EXPECT_LE(after[i], before[i] + 1) << i;
}

// --- The general heap -----------------------------------------------------------------

TEST_F(TreePools, LeaveANodeToTheHeapWhenTheyHaveNone) {
  const PoolFigures before = PoolFigures::Now();
  const std::int64_t heap = HeapLiveBlocks();
  m_nodes.FailNextAllocations(1);
  auto* node = new Tree_Node("n");
  EXPECT_FALSE(m_nodes.Exist(node));
  EXPECT_EQ((PoolFigures{0, 0, 0, 0, 0}), PoolFigures::Now() - before);
  EXPECT_EQ(HeapIsCounted() ? 1 : 0, HeapLiveBlocks() - heap);
  Tree_NodePtr handle(node);
  Tree_NodePtr child = Inner("c");
  EXPECT_EQ(1, node->Add(child));
  handle = Tree_NodePtr();
  EXPECT_EQ(nullptr, child->GetParent());
}

TEST_F(TreePools, LeaveAValueToTheHeapWhenTheyHaveNone) {
  const PoolFigures before = PoolFigures::Now();
  m_values.FailNextAllocations(1);
  auto* value = new Tree_Value("v", 1);
  EXPECT_FALSE(m_values.Exist(value));
  EXPECT_EQ(0, (PoolFigures::Now() - before).values);
  Tree_NodePtr leaf(new Tree_Node("leaf", value));
  EXPECT_EQ("leaf=v*", Draw(leaf));
  leaf->Destroy();
  EXPECT_EQ(nullptr, leaf->GetTreeValue());
  m_values.FailNextAllocations(1);
  delete new Tree_Value("w", 0);
}

TEST_F(TreePools, LeaveAVectorAndItsElementsToTheHeapWhenTheyHaveNone) {
  Tree_NodePtr top = Inner("top");
  Tree_NodePtr a = Inner("a");
  Tree_NodePtr b = Inner("b");
  const PoolFigures before = PoolFigures::Now();
  m_vectors.FailNextAllocations(1);
  m_elements.FailNextAllocations(1);
  top->Add(a);
  top->Add(b);
  EXPECT_EQ((PoolFigures{0, 0, 1, 0, 0}), PoolFigures::Now() - before);
  EXPECT_FALSE(m_elements.Exist(&top->GetChildAt(0)));
  EXPECT_TRUE(m_elements.Exist(&top->GetChildAt(1)));
  EXPECT_EQ(1, top->Remove(0));
  EXPECT_EQ(1, top->Remove(0));
  EXPECT_EQ((PoolFigures{0, 0, 0, 0, 0}), PoolFigures::Now() - before);
  m_elements.FailNextAllocations(1);
  top->Add(a);
  LogCapture log;
  top->Destroy();
  EXPECT_LOG(log, VecLine(1));
  EXPECT_EQ(1u, a.UseCount());
}

TEST_F(TreePools, LeaveARecordToTheHeapWhenTheyHaveNone) {
  const PoolFigures before = PoolFigures::Now();
  m_records.FailNextAllocations(2);
  Tree_NodePtr null(static_cast<Tree_Node*>(nullptr));
  Tree_NodePtr node = Inner("n");
  Tree_NodePtr copy = node;
  EXPECT_EQ((PoolFigures{1, 0, 0, 0, 0}), PoolFigures::Now() - before);
  EXPECT_EQ(2u, node.UseCount());
}

TEST_F(TreePools, WorkWithBlocksOfNoElements) {
  for (Zel_PoolAllocator* pool : m_all) pool->ResetBlockInfo(0, -1);
  std::vector<Tree_NodePtr> many;
  // More than whatever is free by now.
  for (int i = 0; i < 60000; ++i) many.push_back(Plant("top(a=1)"));
  EXPECT_EQ("top(a=1)", Draw(many.front()));
  EXPECT_EQ("top(a=1)", Draw(many.back()));
}

// Everything that takes something from a pool, and releases it again.
struct Scenario {
  RWCString names[3] = {"top", "a", "b"};
  RWCString value = "v";
  Tree_NodePtr result;

  void Run() {
    Tree_NodePtr top(new Tree_Node(names[0]));
    Tree_NodePtr a(new Tree_Node(names[1]));
    Tree_NodePtr leaf(new Tree_Node(names[2], new Tree_Value(value, 1)));
    Tree_NodePtr extra(new Tree_Node(names[2]));
    top->Insert(a, 0, 4);
    a->Add(leaf);
    a->Add(extra);
    Tree_NodePtr copy = top->DuplicateFromHereDown(false);
    Tree_Path path(names[2]);
    copy->GetOrCreateRelativeNode(path, copy);
    copy->RemoveEmptyBranches();
    top->Insert(leaf, 0, -1);
    a->Remove(extra);
    top->ExecuteOnEntireSubtree([](Tree_Node* node) { node->SetId(1); });
    top->Add(copy);
    a->Destroy();
    result = top;
  }
};

constexpr char kScenarioResult[] = "top(b=v*,a,top(a(b=v*)))";

TEST_F(TreePools, MayRefuseAnyNumberOfAllocations) {
  const struct {
    const char* name;
    Zel_PoolAllocator& pool;
  } kPools[] = {{"nodes", m_nodes},
                {"vectors", m_vectors},
                {"elements", m_elements},
                {"values", m_values},
                {"records", m_records}};
  for (const auto& c : kPools) {
    for (int n = 0; n <= 20; ++n) {
      SCOPED_TRACE(testing::Message() << c.name << ", " << n << " refused");
      const PoolFigures before = PoolFigures::Now();
      c.pool.FailNextAllocations(n);
      Scenario scenario;
      scenario.Run();
      EXPECT_EQ(kScenarioResult, Draw(scenario.result));
      scenario.result = Tree_NodePtr();
      c.pool.FailNextAllocations(0);
      EXPECT_EQ((PoolFigures{0, 0, 0, 0, 0}), PoolFigures::Now() - before);
    }
  }
}

TEST_F(TreePools, MayRefuseEverything) {
  const PoolFigures before = PoolFigures::Now();
  for (Zel_PoolAllocator* pool : m_all) {
    pool->FailNextAllocations(INT_MAX);
  }
  Scenario scenario;
  scenario.Run();
  EXPECT_EQ(kScenarioResult, Draw(scenario.result));
  EXPECT_EQ((PoolFigures{0, 0, 0, 0, 0}), PoolFigures::Now() - before);
}

TEST_F(TreePools, LoseNothingWhenTheHeapFailsAtAnyPoint) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  // Strings that are known need no memory any more.
  Scenario().Run();
  int failures = 0;
  for (int allowed = 0;; ++allowed) {
    ASSERT_LT(allowed, 1000);
    SCOPED_TRACE(allowed);
    const PoolFigures before = PoolFigures::Now();
    const std::int64_t heap = HeapLiveBlocks();
    {
      Scenario scenario;
      bool failed = false;
      for (Zel_PoolAllocator* pool : m_all) {
        pool->FailNextAllocations(INT_MAX);
      }
      try {
        HeapDenied denied(allowed);
        scenario.Run();
      } catch (const std::bad_alloc&) {
        failed = true;
      }
      for (Zel_PoolAllocator* pool : m_all) {
        pool->FailNextAllocations(0);
      }
      if (!failed) {
        EXPECT_EQ(kScenarioResult, Draw(scenario.result));
        break;
      }
      ++failures;
      EXPECT_TRUE(scenario.result.isNull());
    }
    EXPECT_EQ((PoolFigures{0, 0, 0, 0, 0}), PoolFigures::Now() - before);
    EXPECT_EQ(heap, HeapLiveBlocks());
  }
  EXPECT_LT(15, failures);
}

}  // namespace
