// Proves that the leak check catches leaks: a program of its own, in which some tests
// leave something behind.  It succeeds when exactly those fail.

#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"

namespace {

// Where leaks stay reachable, so that no leak sanitizer reports them as well.
std::vector<Tree_NodePtr>& Kept() {
  static auto* kept = new std::vector<Tree_NodePtr>;
  if (kept->capacity() == 0) kept->reserve(1000);
  return *kept;
}
int* kept_blocks[10];
int kept_block_count = 0;
Zel_PoolAllocator* kept_pool = nullptr;
Tree_Value* kept_value = nullptr;

void LoseOneElement() {
  Tree_NodePtrVec vec;
  Tree_NodePtr child(new Tree_Node("lost"));
  EXPECT_THROW(vec.insertAt(-1, child), RWBoundsErr);
}

TEST(Clean, LeavesNothing) {
  Tree_NodePtr top(new Tree_Node("top"));
  Tree_NodePtr leaf(new Tree_Node("leaf", new Tree_Value("value", 0)));
  top->Add(leaf);
}

TEST(Clean, MayInternStrings) {
  for (int i = 0; i < 1000; ++i) {
    Tree_Node node(RWCString(("a string of its own, number " + std::to_string(i)).c_str()));
  }
}

TEST(Clean, MayInternMoreStringsThanOneBufferHolds) {
  for (int i = 0; i < 100000; ++i) {
    Tree_Node node(RWCString(("one of very many strings " + std::to_string(i)).c_str()));
  }
}

TEST(Clean, MayLetAPoolGrow) {
  std::vector<Tree_NodePtr> nodes;
  for (int i = 0; i < 30000; ++i) nodes.push_back(new Tree_Node("n"));
}

TEST(Clean, MayUseAPoolOfItsOwn) {
  Zel_PoolAllocator pool("own", 16, -1, 10, 8, true);
  pool.AddToFreeList(pool.Allocate());
}

TEST(Clean, LosesWhatItDeclares) {
  LoseOneElement();
  ExpectLost({.nodes = 1, .elements = 1, .records = 1});
}

TEST(Clean, MayDeclareInParts) {
  LoseOneElement();
  ExpectLost({.elements = 1});
  LoseOneElement();
  ExpectLost({.nodes = 2, .elements = 1, .records = 2});
}

TEST(Leaky, KeepsANode) {
  Kept().push_back(new Tree_Node("kept"));
}

TEST(Leaky, KeepsAHandleWithoutANode) {
  Kept().push_back(static_cast<Tree_Node*>(nullptr));
}

TEST(Leaky, KeepsAValue) {
  kept_value = new Tree_Value("kept", 0);
}

TEST(Leaky, LosesAnElementWithoutSaying) {
  LoseOneElement();
}

TEST(Leaky, DeclaresTooLittle) {
  LoseOneElement();
  ExpectLost({.elements = 1});
}

TEST(Leaky, DeclaresTooMuch) {
  LoseOneElement();
  ExpectLost({.nodes = 1, .elements = 1, .values = 1, .records = 1});
}

TEST(Leaky, DeclaresALossThatDoesNotHappen) {
  ExpectLost({.vectors = 1});
}

TEST(Leaky, ReturnsMoreThanItTook) {
  // Taken before the first test: see main().
  delete kept_value;
  kept_value = nullptr;
  Kept().clear();
}

TEST(Leaky, KeepsAnElementOfAPoolOfItsOwn) {
  if (kept_pool == nullptr) kept_pool = new Zel_PoolAllocator("kept", 16, -1, 10, 8, true);
  EXPECT_NE(nullptr, kept_pool->Allocate());
}

TEST(LeakyHeap, KeepsABlock) {
  kept_blocks[kept_block_count++] = new int(1);
}

TEST(LeakyHeap, KeepsANodeThatThePoolDidNotHave) {
  NodesPool().FailNextAllocations(1);
  static Tree_NodePtr* kept = new Tree_NodePtr[3];
  static int count = 0;
  kept[count++] = Tree_NodePtr(new Tree_Node("kept"));
  ExpectLost({.records = 1});
}

class Failures : public testing::EmptyTestEventListener {
 public:
  std::set<std::string> names;

 private:
  void OnTestEnd(const testing::TestInfo& test) override {
    if (test.result()->Failed())
      names.insert(std::string(test.test_suite_name()) + "." + test.name());
  }
};

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  auto& listeners = testing::UnitTest::GetInstance()->listeners();
  delete listeners.Release(listeners.default_result_printer());
  auto* failures = new Failures;
  listeners.Append(failures);
  RunAllTests();

  int wrong = 0;
  int count = 0;
  const testing::UnitTest& all = *testing::UnitTest::GetInstance();
  for (int s = 0; s < all.total_test_suite_count(); ++s) {
    const testing::TestSuite& suite = *all.GetTestSuite(s);
    const std::string suite_name = suite.name();
    const bool must_fail = suite_name == "Leaky" || (suite_name == "LeakyHeap" && HeapIsCounted());
    for (int t = 0; t < suite.total_test_count(); ++t, ++count) {
      const std::string name = suite_name + "." + suite.GetTestInfo(t)->name();
      const bool failed = failures->names.count(name) != 0;
      if (failed == must_fail) continue;
      std::printf("%s %s\n", name.c_str(), failed ? "fails" : "does not fail");
      ++wrong;
    }
  }
  std::printf("%d tests, %d judged wrongly\n", count, wrong);
  return wrong == 0 && count > 0 ? 0 : 1;
}
